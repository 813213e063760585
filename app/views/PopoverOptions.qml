import QtQuick
import Pellmora

// The options of a sleep run; every toggle is saved at once.
Column {
    id: options
    // The counted windows, or null when not known.
    property var windowCount: null

    spacing: 9

    // A click sets the box by itself and so drops its binding: write the
    // model, then bind again so later changes elsewhere show here too.
    function bindOption(row, name) {
        row.isOn = Qt.binding(function() { return AppModel[name] })
    }
    function toggle(row, name) {
        AppModel[name] = row.isOn
        bindOption(row, name)
    }

    CheckRow {
        id: groupByWindow
        objectName: "optionGroupByWindow"
        width: parent.width
        title: PopoverText.groupOption(options.windowCount)
        isOn: AppModel.groupByWindow
        onToggled: options.toggle(groupByWindow, "groupByWindow")
    }
    CheckRow {
        id: sortByTopic
        objectName: "optionSortByTopic"
        width: parent.width
        title: PopoverText.topicOption(AppModel.aiAvailable)
        isOn: AppModel.sortByTopic
        onToggled: options.toggle(sortByTopic, "sortByTopic")
    }
    CheckRow {
        id: saveContent
        objectName: "optionSaveContent"
        width: parent.width
        title: "Seiteninhalt speichern, damit die Suche ihn kennt"
        isOn: AppModel.saveContent
        onToggled: options.toggle(saveContent, "saveContent")
    }
    CheckRow {
        id: keepPinned
        objectName: "optionKeepPinned"
        width: parent.width
        title: "Angepinnte Tabs offen lassen (siehe Einstellungen)"
        isOn: AppModel.keepPinned
        onToggled: options.toggle(keepPinned, "keepPinned")
    }
}

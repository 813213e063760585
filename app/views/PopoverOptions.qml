import QtQuick
import Pellmora

// The options of a sleep run; every toggle is saved at once.
Column {
    id: options
    // The counted windows, or null when not known.
    property var windowCount: null

    spacing: 9

    CheckRow {
        id: groupByWindow
        objectName: "optionGroupByWindow"
        width: parent.width
        leftPadding: 0
        title: PopoverText.groupOption(options.windowCount)
        isOn: AppModel.groupByWindow
        onToggled: AppModel.groupByWindow = isOn
    }
    CheckRow {
        id: sortByTopic
        objectName: "optionSortByTopic"
        width: parent.width
        leftPadding: 0
        title: PopoverText.topicOption(AppModel.aiAvailable)
        isOn: AppModel.sortByTopic
        onToggled: AppModel.sortByTopic = isOn
    }
    CheckRow {
        id: saveContent
        objectName: "optionSaveContent"
        width: parent.width
        leftPadding: 0
        title: "Seiteninhalt speichern, damit die Suche ihn kennt"
        isOn: AppModel.saveContent
        onToggled: AppModel.saveContent = isOn
    }
    CheckRow {
        id: keepPinned
        objectName: "optionKeepPinned"
        width: parent.width
        leftPadding: 0
        title: "Angepinnte Tabs offen lassen (siehe Einstellungen)"
        isOn: AppModel.keepPinned
        onToggled: AppModel.keepPinned = isOn
    }
}

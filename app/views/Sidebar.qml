import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// The search field, the sections of the library with their rows, and the
// demo capsule at the bottom.
Rectangle {
    id: sidebar
    property var model: AppModel
    required property LibraryPresenter presenter

    color: Theme.sidebar

    SidebarSearchField {
        id: search
        objectName: "searchField"
        x: 14
        y: 14
        width: parent.width - 28
        text: sidebar.model ? sidebar.model.query : ""
        placeholder: "Suchen oder fragen …"
        onEdited: (text) => sidebar.model.query = text
    }

    ListView {
        id: rows
        objectName: "sidebarList"
        anchors.top: search.bottom
        anchors.topMargin: 4
        anchors.bottom: capsule.visible ? capsule.top : parent.bottom
        anchors.bottomMargin: 8
        x: 8
        width: parent.width - 16
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: sidebar.model ? sidebar.model.sidebar : null
        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }

        section.property: "section"
        section.delegate: SidebarSectionTitle {
            required property string section
            objectName: "sectionTitle"
            width: rows.width
            text: section
        }

        // Roles arrive on a plain item: the row's own "color" and "label" differ from them.
        delegate: Item {
            id: entry
            required property string key
            required property string label
            required property string icon
            required property string color
            required property int count
            width: rows.width
            height: row.implicitHeight + 2

            SidebarRow {
                id: row
                objectName: "sidebarRow:" + entry.key
                width: parent.width
                height: implicitHeight
                selected: sidebar.model.query === "" && sidebar.model.selectionKey === entry.key
                isTopic: entry.key.startsWith("topic:")
                topicColor: entry.color
                icon: entry.icon
                label: entry.label
                count: sidebar.presenter.number(entry.count)
                onAction: sidebar.presenter.select(entry.key)
            }
        }
    }

    // Marks where the list scrolls on under the capsule.
    Rectangle {
        visible: rows.contentHeight > rows.height
        anchors.top: rows.bottom
        width: parent.width
        height: 1
        color: Theme.line
    }

    Rectangle {
        id: capsule
        objectName: "demoCapsule"
        visible: sidebar.presenter.hasDemoTabs
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 14
        width: capsuleText.implicitWidth + 24
        height: capsuleText.implicitHeight + 10
        radius: height / 2
        color: Theme.petrolSoft
        border.color: Theme.petrol
        border.width: 1
        Text {
            id: capsuleText
            anchors.centerIn: parent
            text: "Beispiel-Daten geladen"
            color: Theme.petrol
            font.weight: Font.DemiBold
            font.pointSize: Theme.points(12)
        }
    }
}

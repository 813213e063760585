import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// One saved tab in the list: chip, title, where and when it was saved, the
// summary, tags, the hint's reason under the hints, and markers at the
// trailing edge. A click opens the detail sheet; the context menu acts on it.
Item {
    id: row
    required property int index
    required property string tabId
    required property string title
    required property string domain
    required property string summary
    required property string note
    required property var tags
    required property var reminderAt
    property LibraryPresenter presenter
    property var model: AppModel

    // Re-read whenever the library, the selection or the minute moves on.
    readonly property var info: presenter && presenter.revision >= 0 ? presenter.rowInfo(tabId) : ({})
    readonly property bool hasHint: info.hasHint === true

    objectName: "tabRow:" + index
    implicitHeight: Math.max(column.implicitHeight, markers.implicitHeight) + 28
    height: implicitHeight

    Rectangle {
        anchors.fill: parent
        color: area.containsMouse ? Qt.rgba(0, 0, 0, 0.025) : "transparent"
    }

    LetterChip {
        id: chip
        x: 28
        y: 15
        size: 34
        domain: row.domain
        title: row.title
    }

    Column {
        id: column
        anchors.left: chip.right
        anchors.leftMargin: 14
        anchors.right: markers.left
        anchors.rightMargin: 16
        y: 14
        spacing: 4

        Text {
            objectName: "tabTitle"
            width: parent.width
            text: row.title
            elide: Text.ElideRight
            maximumLineCount: 1
            color: Theme.ink
            font.pointSize: Theme.points(16.5)
        }
        Text {
            objectName: "tabDateLine"
            width: parent.width
            text: row.info.dateLine || ""
            elide: Text.ElideRight
            color: Theme.secondary
            font.pointSize: Theme.points(14)
        }
        Text {
            objectName: "tabSummary"
            visible: row.summary !== ""
            width: parent.width
            text: "Zusammenfassung: " + row.summary
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
            color: Theme.ink
            opacity: 0.9
            font.pointSize: Theme.points(14.5)
        }
        Flow {
            objectName: "tabTags"
            visible: row.tags.length > 0
            width: parent.width
            spacing: 6
            topPadding: 2
            Repeater {
                model: row.tags
                TagChip {
                    required property string modelData
                    objectName: "tag:" + modelData
                    text: modelData
                }
            }
        }
        Text {
            objectName: "tabHintReason"
            visible: (row.info.hintReason || "") !== ""
            width: parent.width
            text: "💡 " + (row.info.hintReason || "")
            wrapMode: Text.Wrap
            color: Theme.petrol
            font.pointSize: Theme.points(13.5)
        }
    }

    Column {
        id: markers
        anchors.right: parent.right
        anchors.rightMargin: 28
        y: 14
        spacing: 4

        Text {
            objectName: "markerNote"
            visible: row.note !== ""
            anchors.right: parent.right
            text: "📝"
            font.pointSize: Theme.points(15)
        }
        Row {
            objectName: "markerReminder"
            visible: row.reminderAt !== null && row.reminderAt !== undefined
            anchors.right: parent.right
            spacing: 4
            Text {
                text: "⏰"
                font.pointSize: Theme.points(15)
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                objectName: "reminderText"
                text: row.info.reminderText || ""
                color: row.info.reminderDue === true ? Theme.red : Theme.secondary
                font.pointSize: Theme.points(14.5)
                anchors.verticalCenter: parent.verticalCenter
            }
        }
        Text {
            objectName: "markerHint"
            visible: row.hasHint
            anchors.right: parent.right
            text: "💡"
            font.pointSize: Theme.points(15)
        }
    }

    Rectangle {
        anchors.bottom: parent.bottom
        x: 28
        width: parent.width - 56
        height: 1
        color: Theme.line
    }

    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onClicked: (mouse) => {
            if (mouse.button === Qt.RightButton)
                menu.popup()
            else
                row.model.showDetail(row.tabId)
        }
    }

    Menu {
        id: menu
        objectName: "tabMenu"
        MenuItem {
            objectName: "menuOpen"
            text: row.model.words.openButton
            onTriggered: row.model.openTabs([row.tabId])
        }
        MenuItem {
            objectName: "menuDetail"
            text: "Notiz und Erinnerung …"
            onTriggered: row.model.showDetail(row.tabId)
        }
        MenuItem {
            objectName: "menuDismissHint"
            text: "Hinweis: nicht relevant"
            visible: row.hasHint
            height: visible ? implicitHeight : 0
            onTriggered: row.model.dismissHintFor(row.tabId)
        }
        MenuSeparator {}
        MenuItem {
            objectName: "menuDelete"
            text: "Aus der Bibliothek löschen"
            onTriggered: row.model.deleteTabById(row.tabId)
        }
    }
}

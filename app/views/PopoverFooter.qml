import QtQuick
import Pellmora

// Today's reminders and the open hints, and the ways into the windows.
Column {
    id: footer
    signal openLibrary()
    signal openChat()

    spacing: 4

    Text {
        objectName: "footerLine"
        width: parent.width
        text: PopoverText.footerLine(AppModel.remindersTodayCount, AppModel.openHintCount)
        color: Theme.ink
        opacity: 0.85
        font.pointSize: Theme.points(14.5)
        wrapMode: Text.Wrap
    }
    Row {
        spacing: 10

        LinkButtonStyle {
            objectName: "footerLibraryButton"
            leftPadding: 0 // flush with the line above
            text: "Bibliothek öffnen"
            fontSize: 14.5
            onClicked: footer.openLibrary()
        }
        LinkButtonStyle {
            objectName: "footerChatButton"
            text: "Frag deine Tabs"
            fontSize: 14.5
            onClicked: footer.openChat()
        }
    }
}

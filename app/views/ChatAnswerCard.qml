import QtQuick
import QtQuick.Layouts
import Pellmora

// One recommended tab of an answer: title, saved date, reason, open button.
Rectangle {
    id: root
    required property var card
    required property ChatRules rules

    radius: 12
    color: "white"
    border.color: Theme.line
    border.width: 1
    implicitHeight: column.implicitHeight + 32

    ColumnLayout {
        id: column
        x: 16
        y: 16
        width: root.width - 32
        spacing: 4

        Text {
            objectName: "cardTitle"
            Layout.fillWidth: true
            text: root.card.title
            font.bold: true
            font.pointSize: Theme.points(16)
            color: Theme.ink
            wrapMode: Text.Wrap
        }
        Text {
            objectName: "cardSaved"
            Layout.fillWidth: true
            text: root.rules.savedText(root.card)
            font.pointSize: Theme.points(14)
            color: Theme.secondary
        }
        Text {
            objectName: "cardReason"
            Layout.fillWidth: true
            text: root.card.reason
            font.pointSize: Theme.points(15)
            color: Theme.ink
            wrapMode: Text.Wrap
        }
        BorderedButtonStyle {
            objectName: "cardOpen"
            Layout.topMargin: 4
            text: "Öffnen"
            onClicked: root.rules.openCard(root.card)
        }
    }
}

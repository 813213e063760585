import QtQuick
import QtQuick.Layouts
import Pellmora

// One transcript entry: a question on the right in petrol, or an answer on
// the left with its cards and the actions for all of them.
Item {
    id: message
    required property int index
    required property bool isUser
    required property string text
    required property var cards
    required property ChatRules rules

    readonly property int cardCount: cards ? cards.length : 0
    readonly property string openLabel: rules.openLabel(cardCount)

    objectName: "message" + index
    implicitHeight: isUser ? question.height : answer.height

    Rectangle {
        id: question
        objectName: "question"
        visible: message.isUser
        anchors.right: parent.right
        radius: 18
        color: Theme.petrol
        width: questionText.width + 40
        height: questionText.height + 28

        Text {
            id: questionText
            objectName: "questionText"
            x: 20
            y: 14
            // The natural width, but leave at least 160 free on the left.
            width: Math.min(implicitWidth, Math.max(0, message.width - 160 - 40))
            text: message.isUser ? message.text : ""
            color: "white"
            font.pointSize: Theme.points(16.5)
            wrapMode: Text.Wrap
        }
    }

    Rectangle {
        id: answer
        objectName: "answer"
        visible: !message.isUser
        readonly property real maxWidth: Math.min(560, message.width - 40)
        radius: 18
        color: Theme.bubble
        width: message.cardCount > 0 ? maxWidth : Math.min(maxWidth, answerText.implicitWidth + 36)
        height: answerColumn.implicitHeight + 36

        ColumnLayout {
            id: answerColumn
            x: 18
            y: 18
            width: answer.width - 36
            spacing: 10

            Text {
                id: answerText
                objectName: "answerText"
                Layout.fillWidth: true
                text: message.isUser ? "" : message.text
                color: Theme.ink
                font.pointSize: Theme.points(16)
                wrapMode: Text.Wrap
            }
            Repeater {
                model: message.isUser ? [] : message.cards
                delegate: ChatAnswerCard {
                    required property var modelData
                    required property int index
                    objectName: "card" + index
                    Layout.fillWidth: true
                    card: modelData
                    rules: message.rules
                }
            }
            Row {
                objectName: "actions"
                visible: !message.isUser && message.cardCount > 0
                Layout.topMargin: 2
                spacing: 6

                LinkButtonStyle {
                    objectName: "openAll"
                    fontSize: 15.5
                    padding: 0
                    text: "→ " + message.openLabel
                    onClicked: message.rules.openCards(message.cards)
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: "·"
                    color: Theme.secondary
                    font.pointSize: Theme.points(15.5)
                }
                LinkButtonStyle {
                    objectName: "remindAll"
                    fontSize: 15.5
                    padding: 0
                    text: message.rules.remindText
                    onClicked: message.rules.remindCards(message.cards)
                }
            }
        }
    }
}

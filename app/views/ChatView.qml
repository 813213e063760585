import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Pellmora

// "Frag deine Tabs": the transcript held by the model and the question field.
Rectangle {
    id: root
    // Kept for the life of the window, like the window itself.
    property alias input: field.text

    color: Theme.background
    implicitWidth: 820
    implicitHeight: 680

    function send() {
        const question = field.text
        field.text = ""
        AppModel.ask(question)
    }

    function scrollToEnd() {
        const end = Math.max(0, transcript.contentHeight - transcript.height)
        if (transcript.contentY === end)
            return
        scrollAnimation.to = end
        scrollAnimation.restart()
    }

    ChatRules {
        id: chatRules
        model: AppModel
    }

    Flickable {
        id: transcript
        objectName: "transcript"
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: bar.top
        anchors.bottomMargin: 6
        clip: true
        contentWidth: width
        contentHeight: column.implicitHeight + 48
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {
            policy: transcript.contentHeight > transcript.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }

        NumberAnimation {
            id: scrollAnimation
            target: transcript
            property: "contentY"
            duration: 250
            easing.type: Easing.OutCubic
        }

        ColumnLayout {
            id: column
            x: 30
            y: 24
            width: transcript.width - 60
            spacing: 18

            ColumnLayout {
                objectName: "intro"
                visible: AppModel.chat.count === 0
                Layout.fillWidth: true
                spacing: 8

                Text {
                    objectName: "introTitle"
                    text: "Frag deine gespeicherten Tabs."
                    font.bold: true
                    font.pointSize: Theme.points(22)
                    color: Theme.ink
                }
                Text {
                    objectName: "introText"
                    Layout.fillWidth: true
                    text: AppModel.aiAvailable ? AppModel.words.chatIntroOn : AppModel.words.chatIntroOff
                    font.pointSize: Theme.points(15)
                    color: Theme.secondary
                    wrapMode: Text.Wrap
                }
            }

            Repeater {
                objectName: "messages"
                model: AppModel.chat
                delegate: ChatMessageView {
                    Layout.fillWidth: true
                    rules: chatRules
                }
            }

            RowLayout {
                objectName: "busyRow"
                visible: AppModel.chatBusy
                spacing: 8

                BusyIndicator {
                    running: AppModel.chatBusy
                    implicitWidth: 22
                    implicitHeight: 22
                    padding: 0
                }
                Text {
                    objectName: "busyText"
                    text: "Suche in deinen Tabs …"
                    font.pointSize: Theme.points(14)
                    color: Theme.secondary
                }
            }
        }

        // A new entry grows over a few frames as its cards are laid out.
        onContentHeightChanged: if (following.running) Qt.callLater(root.scrollToEnd)
        onHeightChanged: if (following.running) Qt.callLater(root.scrollToEnd)
    }

    Timer {
        id: following
        interval: 800
    }
    // Opened on an earlier conversation, the window shows its newest entry.
    function settle(item) {
        for (let i = 0; i < item.children.length; ++i)
            settle(item.children[i])
        item.ensurePolished()
    }
    Component.onCompleted: {
        settle(column)
        transcript.contentY = Math.max(0, transcript.contentHeight - transcript.height)
        following.restart()
    }
    Connections {
        target: AppModel.chat
        function onCountChanged() {
            following.restart()
            Qt.callLater(root.scrollToEnd)
        }
    }

    Rectangle {
        id: bar
        objectName: "inputBar"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.leftMargin: 30
        anchors.rightMargin: 30
        anchors.bottomMargin: 26
        radius: 12
        color: Theme.field
        height: barRow.implicitHeight + 28

        RowLayout {
            id: barRow
            x: 16
            y: 14
            width: bar.width - 32
            spacing: 10

            TextField {
                id: field
                objectName: "questionField"
                Layout.fillWidth: true
                placeholderText: "Frag nach Thema, Projekt oder «was habe ich zu X gespeichert?» …"
                placeholderTextColor: Theme.secondary
                color: Theme.ink
                font.pointSize: Theme.points(16)
                padding: 0
                background: null
                focus: true
                onAccepted: root.send()
            }
            PetrolButtonStyle {
                objectName: "askButton"
                visible: field.text.length > 0
                text: "Fragen"
                minimumHeight: 30
                onClicked: root.send()
            }
        }
    }
}

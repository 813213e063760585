import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// After a run: its counts on green, then the library or back to the button.
Column {
    id: result
    objectName: "resultPart"
    signal openLibrary()

    spacing: 12

    Rectangle {
        width: parent.width
        height: resultText.implicitHeight
        radius: 10
        color: Theme.green

        Text {
            id: resultText
            objectName: "resultText"
            width: parent.width
            padding: 16
            text: "✓ " + AppModel.sleepStageLabel
            color: "white"
            font.pointSize: Theme.points(19)
            wrapMode: Text.Wrap
        }
    }
    Row {
        spacing: 12

        PetrolButtonStyle {
            objectName: "resultLibraryButton"
            minimumHeight: 38
            fontSize: 15
            text: "Bibliothek öffnen"
            onClicked: result.openLibrary()
        }
        Button {
            id: ok
            objectName: "resultOkButton"
            height: 38
            leftPadding: 22
            rightPadding: 22
            text: "OK"
            onClicked: AppModel.confirmSleepResult()

            contentItem: Text {
                text: ok.text
                color: Theme.ink
                font.pointSize: Theme.points(15)
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: 10
                color: ok.down ? Theme.field : Theme.background
                border.color: Theme.line
                border.width: 1
            }
        }
    }
}

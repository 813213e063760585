import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A run under way: its stage, a bar and the way out.
Column {
    id: progress
    objectName: "progressPart"
    readonly property var fraction: AppModel.sleepStageFraction

    spacing: 10

    Text {
        objectName: "stageLabel"
        width: parent.width
        text: AppModel.sleepStageLabel
        color: Theme.ink
        font.pointSize: Theme.points(15)
        wrapMode: Text.Wrap
    }
    ProgressBar {
        id: bar
        objectName: "progressBar"
        width: parent.width
        from: 0
        to: 1
        indeterminate: progress.fraction === null || progress.fraction === undefined
        value: indeterminate ? 0 : progress.fraction

        background: Rectangle {
            implicitHeight: 6
            radius: 3
            color: Theme.line
        }
        contentItem: Item {
            implicitHeight: 6
            clip: true

            Rectangle {
                visible: !bar.indeterminate
                width: bar.visualPosition * parent.width
                height: parent.height
                radius: 3
                color: Theme.petrol
            }
            // Indeterminate: a petrol stretch sweeping across.
            Rectangle {
                id: sweep
                visible: bar.indeterminate
                width: parent.width * 0.3
                height: parent.height
                radius: 3
                color: Theme.petrol

                NumberAnimation on x {
                    running: bar.indeterminate && bar.visible
                    loops: Animation.Infinite
                    from: -sweep.width
                    to: bar.width
                    duration: 1400
                }
            }
        }
    }
    LinkButtonStyle {
        objectName: "cancelButton"
        leftPadding: 0
        text: "Abbrechen"
        fontSize: 13.5
        onClicked: AppModel.cancelSleep()
    }
}

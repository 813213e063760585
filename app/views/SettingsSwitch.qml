import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A labelled on/off switch in the theme's petrol.
Switch {
    id: control
    spacing: 10
    padding: 0

    indicator: Rectangle {
        implicitWidth: 38
        implicitHeight: 22
        x: control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        radius: height / 2
        color: control.checked ? Theme.petrol : Theme.line
        opacity: control.enabled ? 1.0 : 0.45

        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 2
            x: control.checked ? parent.width - width - 2 : 2
            color: "white"
            border.color: Qt.darker(Theme.line, 1.1)
            Behavior on x {
                NumberAnimation { duration: 120 }
            }
        }
    }
    contentItem: Text {
        objectName: "label"
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        color: Theme.ink
        font.pointSize: Theme.points(15)
        verticalAlignment: Text.AlignVCenter
    }
}

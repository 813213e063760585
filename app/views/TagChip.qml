import QtQuick
import Pellmora

// A tag in small type on a capsule.
Rectangle {
    id: chip
    property string text
    property color textColor: Theme.ink
    property color fill: Theme.field

    implicitWidth: label.implicitWidth + 16
    implicitHeight: label.implicitHeight + 6
    radius: height / 2
    color: fill
    border.color: Theme.line
    border.width: 1

    Text {
        id: label
        objectName: "label"
        anchors.centerIn: parent
        text: chip.text
        color: chip.textColor
        font.pointSize: Theme.points(12)
    }
}

import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A secondary action with a frame: ink label on white with a thin border.
Button {
    id: control
    property real fontSize: 14

    leftPadding: 12
    rightPadding: 12
    topPadding: 5
    bottomPadding: 5
    hoverEnabled: true

    contentItem: Text {
        objectName: "label"
        text: control.text
        font.pointSize: Theme.points(control.fontSize)
        color: Theme.ink
        opacity: control.enabled ? 1.0 : 0.45
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        implicitHeight: 28
        radius: 7
        color: control.down ? Theme.line : (control.hovered ? Theme.field : "white")
        border.color: Qt.darker(Theme.line, 1.12)
        border.width: 1
    }
}

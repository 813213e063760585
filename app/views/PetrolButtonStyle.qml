import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// The primary action: white bold label on a petrol rounded rectangle.
Button {
    id: control
    property real minimumHeight: 36
    property real fontSize: 15

    implicitWidth: contentItem.implicitWidth + leftPadding + rightPadding
    implicitHeight: Math.max(minimumHeight, contentItem.implicitHeight + topPadding + bottomPadding)
    leftPadding: 18
    rightPadding: 18
    topPadding: 6
    bottomPadding: 6

    contentItem: Text {
        objectName: "label"
        text: control.text
        font.bold: true
        font.pointSize: Theme.points(control.fontSize)
        color: "white"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: 10
        color: Theme.petrol
        opacity: control.down ? 0.8 : (control.enabled ? 1.0 : 0.45)
    }
}

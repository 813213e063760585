import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A plain text action in petrol, for secondary choices next to a primary one.
Button {
    id: control
    property real fontSize: 14

    padding: 4
    flat: true
    hoverEnabled: true

    contentItem: Text {
        objectName: "label"
        text: control.text
        font.pointSize: Theme.points(control.fontSize)
        font.underline: control.hovered
        color: Theme.petrol
        opacity: control.down ? 0.6 : (control.enabled ? 1.0 : 0.45)
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Item {}
}

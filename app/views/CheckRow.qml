import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A check box with its title; `isOn` is the bound value.
CheckBox {
    id: control
    property string title
    property alias isOn: control.checked

    text: title
    spacing: 8
    padding: 2

    indicator: Rectangle {
        implicitWidth: 18
        implicitHeight: 18
        x: control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        radius: 5
        color: control.checked ? Theme.petrol : "white"
        border.color: control.checked ? Theme.petrol : Theme.secondary
        border.width: 1.5

        Text {
            anchors.centerIn: parent
            visible: control.checked
            text: "✓"
            color: "white"
            font.bold: true
            font.pointSize: Theme.points(13)
        }
    }
    contentItem: Text {
        objectName: "label"
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        color: Theme.ink
        font.pointSize: Theme.points(14)
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
    }
}

import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A one-line text field on the theme's field colour.
TextField {
    color: Theme.ink
    placeholderTextColor: Theme.secondary
    font.pointSize: Theme.points(13.5)
    leftPadding: 8
    rightPadding: 8
    topPadding: 5
    bottomPadding: 5
    selectByMouse: true
    background: Rectangle {
        radius: 6
        color: Theme.field
        border.color: parent.activeFocus ? Theme.petrol : Theme.line
        border.width: 1
    }
}

import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A main-menu entry with its shortcut at the right, as menus usually show it.
MenuItem {
    id: control
    objectName: text
    readonly property string shortcutText: action && action.shortcut ? String(action.shortcut) : ""
    padding: 4
    leftPadding: 10
    rightPadding: 14

    contentItem: Item {
        readonly property real indicatorPadding: control.checkable && control.indicator
                                                ? Math.max(control.indicator.width, control.indicator.implicitWidth)
                                                  + control.spacing : 0
        implicitWidth: indicatorPadding + label.implicitWidth
                       + (shortcut.text ? 32 + shortcut.implicitWidth : 0)
        implicitHeight: label.implicitHeight

        Text {
            id: label
            x: parent.indicatorPadding
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font: control.font
            color: control.enabled ? Theme.ink : Theme.secondary
        }
        Text {
            id: shortcut
            objectName: "shortcut"
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: control.shortcutText
            font: control.font
            color: Theme.secondary
        }
    }

    background: Rectangle {
        implicitWidth: 220
        implicitHeight: 26
        color: control.highlighted ? Theme.petrolSoft : "transparent"
    }
}

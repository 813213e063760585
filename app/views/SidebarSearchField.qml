import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// The search field on a rounded field background: magnifier, text, and a
// clear button while there is text.
Rectangle {
    id: field
    property string text
    property string placeholder
    signal edited(string text)

    implicitHeight: 36
    radius: 9
    color: Theme.field
    border.color: Theme.line
    border.width: 1

    // The magnifier, drawn so it needs no symbol font.
    Item {
        id: glass
        x: 11
        width: 14
        height: 14
        anchors.verticalCenter: parent.verticalCenter
        Rectangle {
            width: 10
            height: 10
            radius: 5
            color: "transparent"
            border.color: Theme.secondary
            border.width: 1.6
        }
        Rectangle {
            x: 8.2
            y: 9.6
            width: 6
            height: 1.8
            radius: 0.9
            rotation: 45
            transformOrigin: Item.Left
            color: Theme.secondary
        }
    }

    TextField {
        id: input
        objectName: "searchInput"
        anchors.left: glass.right
        anchors.leftMargin: 6
        anchors.right: clear.visible ? clear.left : parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        text: field.text
        placeholderText: field.placeholder
        placeholderTextColor: Theme.secondary
        color: Theme.ink
        font.pointSize: Theme.points(15)
        background: Item {}
        leftPadding: 2
        rightPadding: 2
        onTextEdited: field.edited(text)
    }

    // Clear: a grey filled circle with a white cross.
    Rectangle {
        id: clear
        objectName: "searchClear"
        visible: field.text.length > 0
        width: 16
        height: 16
        radius: 8
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        color: clearArea.pressed ? Theme.ink : Theme.secondary
        Text {
            anchors.centerIn: parent
            anchors.verticalCenterOffset: -0.5
            text: "×"
            color: "white"
            font.bold: true
            font.pointSize: Theme.points(13)
        }
        MouseArea {
            id: clearArea
            anchors.fill: parent
            anchors.margins: -4
            onClicked: field.edited("")
        }
    }
}

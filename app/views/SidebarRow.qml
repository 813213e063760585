import QtQuick
import Pellmora

// One way to look at the library: icon, label and count; a selected row is
// highlighted in soft petrol.
Rectangle {
    id: row
    property bool selected: false
    // The count, already written the Swiss way.
    property string count
    // A topic colour key for a topic, else "macwindow", "tray.full" or an emoji.
    property string icon
    property string topicColor
    property bool isTopic: false
    property string label
    signal action()

    implicitHeight: 32
    radius: 7
    color: selected ? Theme.petrolSoft : (area.containsMouse ? Qt.rgba(0, 0, 0, 0.035) : "transparent")

    Item {
        id: iconBox
        x: 10
        width: 20
        height: 20
        anchors.verticalCenter: parent.verticalCenter

        Rectangle {
            visible: row.isTopic
            anchors.centerIn: parent
            width: 14
            height: 10
            radius: 3
            color: Theme.topicColor(row.topicColor)
        }
        // A window outline with its title bar, in the secondary colour.
        Rectangle {
            visible: !row.isTopic && row.icon === "macwindow"
            anchors.centerIn: parent
            width: 16
            height: 13
            radius: 3
            color: "transparent"
            border.color: Theme.secondary
            border.width: 1.4
            Rectangle {
                x: 1
                y: 3.5
                width: parent.width - 2
                height: 1.3
                color: Theme.secondary
            }
        }
        Text {
            visible: !row.isTopic && row.icon !== "macwindow"
            anchors.centerIn: parent
            text: row.icon === "tray.full" ? "🗂️" : row.icon
            font.pointSize: Theme.points(15)
        }
    }

    Text {
        objectName: "rowLabel"
        anchors.left: iconBox.right
        anchors.leftMargin: 8
        anchors.right: countText.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        text: row.label
        elide: Text.ElideRight
        color: Theme.ink
        font.pointSize: Theme.points(15)
        font.weight: row.selected ? Font.DemiBold : Font.Normal
    }
    Text {
        id: countText
        objectName: "rowCount"
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        text: row.count
        color: Theme.secondary
        font.pointSize: Theme.points(14)
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        onClicked: row.action()
    }
}

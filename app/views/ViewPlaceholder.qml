import QtQuick
import Pellmora

// Stands in for a window's view until the view itself is written.
Rectangle {
    id: root
    property string title
    color: Theme.background
    implicitWidth: 560
    implicitHeight: 420

    Text {
        objectName: "title"
        anchors.centerIn: parent
        text: root.title
        color: Theme.secondary
        font.pointSize: Theme.points(20)
    }
}

import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A menu of plain choices; index -1 shows none of them selected.
ComboBox {
    id: control
    font.pointSize: Theme.points(14)
    leftPadding: 10
    rightPadding: 24
    topPadding: 4
    bottomPadding: 4

    contentItem: Text {
        objectName: "shown"
        text: control.currentIndex >= 0 ? control.displayText : ""
        font: control.font
        color: Theme.ink
        verticalAlignment: Text.AlignVCenter
    }
    indicator: Text {
        x: control.width - width - 8
        anchors.verticalCenter: parent.verticalCenter
        text: "▾"
        color: Theme.secondary
        font.pointSize: Theme.points(12)
    }
    background: Rectangle {
        implicitHeight: 28
        radius: 7
        color: control.down ? Theme.line : "white"
        border.color: Qt.darker(Theme.line, 1.12)
        border.width: 1
    }
}

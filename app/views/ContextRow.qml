import QtQuick
import QtQuick.Layouts
import Pellmora

// One row of the context window: icon, title over subtitle, and at the right
// the row's control (the children) over a short state text.
Item {
    id: row
    property string icon
    property string title
    property string subtitle
    property string status
    default property alias trailing: slot.data

    implicitHeight: Math.max(texts.implicitHeight, right.implicitHeight) + 20

    Text {
        id: iconText
        width: 30
        y: 10
        text: row.icon
        // The colour emoji font also for symbols that default to plain text (✍️).
        font.family: "Noto Color Emoji"
        font.pointSize: Theme.points(20)
        horizontalAlignment: Text.AlignHCenter
    }
    ColumnLayout {
        id: texts
        x: 44
        y: 10
        width: row.width - x - right.width - 16
        spacing: 3

        Text {
            objectName: "rowTitle"
            Layout.fillWidth: true
            text: row.title
            font.pointSize: Theme.points(17)
            font.weight: Font.DemiBold
            color: Theme.ink
            elide: Text.ElideMiddle
        }
        Text {
            objectName: "rowSubtitle"
            Layout.fillWidth: true
            text: row.subtitle
            font.pointSize: Theme.points(14.5)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
    }
    ColumnLayout {
        id: right
        anchors.right: parent.right
        y: 10
        spacing: 4

        Item {
            id: slot
            Layout.alignment: Qt.AlignRight
            implicitWidth: childrenRect.width
            implicitHeight: childrenRect.height
        }
        Text {
            objectName: "rowStatus"
            Layout.alignment: Qt.AlignRight
            visible: row.status.length > 0
            text: row.status
            font.pointSize: Theme.points(15)
            color: Theme.secondary
        }
    }
}

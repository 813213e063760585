import QtQuick
import Pellmora

// The popover's top: what is open in the browser right now and what it costs, or
// why that is not known.
Column {
    id: header
    // {tabs, windows} or null when not known.
    property var counts: null
    property bool showsDemoBadge: false

    // The model's optional values arrive as undefined when absent.
    readonly property bool known: !!counts
    readonly property bool notConnected: !known && !AppModel.safariConnected
    readonly property bool counting: !known && AppModel.safariConnected
    readonly property string message: AppModel.safariMessage || ""

    spacing: 6

    Flow {
        width: parent.width
        spacing: 8

        Text {
            objectName: "headerTitle"
            height: badge.visible ? badge.height : implicitHeight
            verticalAlignment: Text.AlignVCenter
            text: AppModel.words.popoverTitle
            color: Theme.secondary
            font.pointSize: Theme.points(14)
        }
        Rectangle {
            id: badge
            visible: header.showsDemoBadge
            width: badgeText.implicitWidth + 16
            height: badgeText.implicitHeight + 6
            radius: height / 2
            color: Theme.petrolSoft

            Text {
                id: badgeText
                objectName: "demoBadge"
                anchors.centerIn: parent
                text: AppModel.words.demoBadge
                color: Theme.petrol
                font.pointSize: Theme.points(12)
                font.weight: Font.DemiBold
            }
        }
    }

    Text {
        objectName: "countLine"
        width: parent.width
        visible: header.known
        text: header.known ? PopoverText.countLine(header.counts.tabs, header.counts.windows) : ""
        color: Theme.ink
        font.pointSize: Theme.points(26)
        font.bold: true
        wrapMode: Text.Wrap
    }
    Text {
        objectName: "memoryLine"
        width: parent.width
        text: header.known ? PopoverText.memoryLine(header.counts.tabs) : ""
        visible: text.length > 0
        color: Theme.red
        font.pointSize: Theme.points(14)
        wrapMode: Text.Wrap
    }

    Text {
        objectName: "notConnectedTitle"
        width: parent.width
        visible: header.notConnected
        text: AppModel.words.notConnectedTitle
        color: Theme.ink
        font.pointSize: Theme.points(16)
        font.bold: true
        wrapMode: Text.Wrap
    }
    Text {
        objectName: "notConnectedText"
        width: parent.width
        visible: header.notConnected
        text: AppModel.words.notConnectedText
        color: Theme.secondary
        font.pointSize: Theme.points(13.5)
        lineHeight: 1.1
        wrapMode: Text.Wrap
    }
    Text {
        objectName: "countingText"
        width: parent.width
        visible: header.counting
        text: header.message.length > 0 ? header.message : "Zähle die Tabs …"
        color: Theme.ink
        font.pointSize: Theme.points(16)
        wrapMode: Text.Wrap
    }

    // A problem with the browser, unless it already stands in place of the count.
    Text {
        objectName: "safariMessage"
        width: parent.width
        visible: header.message.length > 0 && !header.counting
        text: header.message
        color: Theme.red
        font.pointSize: Theme.points(13.5)
        wrapMode: Text.Wrap
    }
}

import QtQuick
import Pellmora

// The small square that stands for a site: same site, same letter and colour.
Rectangle {
    id: chip
    // Any object with `domain` and `title` (a saved tab or a model row).
    property var tab: null
    property string domain: tab ? (tab.domain || "") : ""
    property string title: tab ? (tab.title || "") : ""
    property real size: 28

    readonly property string key: Theme.chipKey(domain)
    readonly property string letter: Theme.chipLetter(domain, title)

    implicitWidth: size
    implicitHeight: size
    radius: Math.round(size * 0.24)
    color: Theme.chipColor(key)

    Text {
        objectName: "letter"
        anchors.centerIn: parent
        text: chip.letter
        color: "white"
        font.bold: true
        font.pointSize: Theme.points(Math.max(8, chip.size * 0.5))
    }
}

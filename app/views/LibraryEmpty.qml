import QtQuick
import QtQuick.Layouts
import Pellmora

// What the content area shows while the library holds no tab at all.
Rectangle {
    id: empty
    property var model: AppModel
    color: Theme.background

    // The first start's welcome, say, comes before any tab does.
    NoticeBanner {
        model: empty.model
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 24
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 460)
        spacing: 14

        Text {
            text: "🌙"
            font.pointSize: Theme.points(44)
            Layout.alignment: Qt.AlignHCenter
        }
        Text {
            objectName: "emptyHeading"
            text: "Noch keine Tabs gespeichert."
            color: Theme.ink
            font.weight: Font.Bold
            font.pointSize: Theme.points(22)
            Layout.alignment: Qt.AlignHCenter
        }
        Text {
            objectName: "emptyText"
            text: empty.model.words.libraryEmptyText
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            color: Theme.secondary
            font.pointSize: Theme.points(15)
            lineHeight: 1.15
            Layout.fillWidth: true
        }
        PetrolButtonStyle {
            objectName: "loadDemoButton"
            text: "Beispiel-Daten laden"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            onClicked: empty.model.loadDemoData()
        }
    }
}

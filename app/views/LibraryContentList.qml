import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Pellmora

// The header with title, subtitle and the list-wide actions, the notice
// banner, and the listed tabs.
Rectangle {
    id: content
    property var model: AppModel
    required property LibraryPresenter presenter
    property var openChat: function(question) {}

    color: Theme.background

    ColumnLayout {
        id: header
        x: 28
        y: 22
        width: parent.width - 56
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 16

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 3
                Text {
                    objectName: "listTitle"
                    Layout.fillWidth: true
                    text: content.presenter.title
                    elide: Text.ElideRight
                    color: Theme.ink
                    font.weight: Font.Bold
                    font.pointSize: Theme.points(24)
                }
                Text {
                    objectName: "listSubtitle"
                    Layout.fillWidth: true
                    text: content.presenter.subtitle
                    elide: Text.ElideRight
                    color: Theme.secondary
                    font.pointSize: Theme.points(14.5)
                }
            }
            PetrolButtonStyle {
                objectName: "askButton"
                visible: content.model.query !== ""
                text: "Frag deine Tabs"
                fontSize: 14
                onClicked: content.openChat(content.model.query)
            }
            PetrolButtonStyle {
                objectName: "reopenAllButton"
                visible: list.count > 0
                text: content.presenter.reopenText
                fontSize: 14
                onClicked: content.model.openTabs(content.model.visibleTabs.ids())
            }
        }

        NoticeBanner {
            model: content.model
            Layout.fillWidth: true
        }
    }

    Rectangle {
        id: rule
        anchors.top: header.bottom
        anchors.topMargin: 14
        width: parent.width
        height: 1
        color: Theme.line
    }

    ListView {
        id: list
        objectName: "tabList"
        anchors.top: rule.bottom
        anchors.bottom: parent.bottom
        width: parent.width
        clip: true
        reuseItems: true
        boundsBehavior: Flickable.StopAtBounds
        model: content.model.visibleTabs
        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }

        delegate: TabRow {
            width: list.width
            presenter: content.presenter
        }
    }

    Text {
        objectName: "emptyListText"
        visible: list.count === 0
        anchors.top: rule.bottom
        anchors.topMargin: 40
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 28
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        text: content.presenter.emptyText
        color: Theme.secondary
        font.pointSize: Theme.points(15)
    }
}

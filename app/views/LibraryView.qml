import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// The library window: sidebar, divider and the list of the selection or
// search; the empty library instead of the list; the detail sheet on top.
Rectangle {
    id: library
    property var model: AppModel
    // "Frag deine Tabs": the question goes to the chat, whose window comes forward.
    property var openChat: function(question) {
        library.model.ask(question)
        MainMenu.openChat()
    }
    readonly property LibraryPresenter presenter: texts

    implicitWidth: 1180
    implicitHeight: 720
    color: Theme.background

    LibraryPresenter {
        id: texts
        model: library.model
    }

    Sidebar {
        id: sidebar
        objectName: "sidebar"
        width: 300
        height: parent.height
        presenter: texts
        model: library.model
    }
    Rectangle {
        id: divider
        anchors.left: sidebar.right
        width: 1
        height: parent.height
        color: Theme.line
    }

    LibraryContentList {
        id: contentList
        objectName: "contentList"
        visible: library.model.tabCount > 0
        anchors.left: divider.right
        anchors.right: parent.right
        height: parent.height
        presenter: texts
        model: library.model
        openChat: library.openChat
    }
    LibraryEmpty {
        objectName: "emptyLibrary"
        visible: library.model.tabCount === 0
        anchors.left: divider.right
        anchors.right: parent.right
        height: parent.height
        model: library.model
    }

    function syncSheet() {
        if (library.model.detailTab)
            sheet.open()
        else
            sheet.close()
    }
    Connections {
        target: library.model
        function onDetailTabChanged() { library.syncSheet() }
    }
    Component.onCompleted: syncSheet()

    Popup {
        id: sheet
        objectName: "detailSheet"
        modal: true
        focus: true
        closePolicy: Popup.CloseOnEscape
        x: Math.round((library.width - width) / 2)
        y: Math.max(16, Math.round((library.height - height) / 2))
        padding: 0
        width: 580
        height: Math.min(detailView.implicitHeight, library.height - 32)
        // Escape or a click elsewhere closes without saving.
        onClosed: if (library.model.detailTab) library.model.closeDetail()
        background: Rectangle {
            radius: 12
            color: Theme.background
            border.color: Theme.line
        }

        contentItem: Flickable {
            clip: true
            contentHeight: detailView.implicitHeight
            boundsBehavior: Flickable.StopAtBounds
            TabDetailView {
                id: detailView
                objectName: "tabDetail"
                width: parent.width
                model: library.model
            }
        }
    }
}

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import QtQuick.Window
import Pellmora

// "Mein Kontext": project folders, a free text, the hint schedule and the
// assistant connection. Every change goes to the library at once.
Rectangle {
    id: root
    property string freeText
    property bool editing: false
    property bool copied: false

    color: Theme.background
    implicitWidth: 720
    implicitHeight: column.implicitHeight + 56

    function toggleEditing() {
        if (editing) {
            presenter.saveFreeText(freeText)
            editing = false
        } else {
            freeText = presenter.freeText
            editor.text = freeText
            editor.cursorPosition = editor.length
            editing = true
            editor.forceActiveFocus()
        }
    }

    // Lays the rows out before the window reads this view's size; layouts
    // would otherwise settle only with the first frame.
    function settle(item) {
        for (let i = 0; i < item.children.length; ++i)
            settle(item.children[i])
        item.ensurePolished()
    }
    Component.onCompleted: settle(column)

    ContextPresenter {
        id: presenter
        model: AppModel
    }

    // The folders may have come or gone while the window was hidden.
    Connections {
        target: root.Window.window
        function onVisibleChanged() {
            if (root.Window.window.visible)
                presenter.refresh()
        }
    }

    FolderDialog {
        id: folderDialog
        objectName: "folderDialog"
        title: "Wähle einen Ordner mit deinen Projekten. Pellmora liest darin nur CLAUDE.md, TODO.yaml und README.md."
        acceptLabel: "Verbinden"
        // Confirming without picking a subfolder connects the folder shown.
        onAccepted: presenter.addFolder(selectedFolder.toString().length > 0 ? selectedFolder : currentFolder)
    }

    // The window keeps the size it opened with; a grown list scrolls.
    Flickable {
        id: page
        anchors.fill: parent
        contentWidth: width
        contentHeight: column.implicitHeight + 56
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        ScrollBar.vertical: ScrollBar {
            policy: page.contentHeight > page.height ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff
        }

        ColumnLayout {
            id: column
            x: 28
            y: 28
            width: page.width - 56
            spacing: 0

            Text {
                objectName: "intro"
                Layout.fillWidth: true
                Layout.bottomMargin: 12
                text: "Woran du gerade arbeitest. Daraus macht Pellmora Hinweise."
                font.pointSize: Theme.points(16)
                color: Theme.ink
                wrapMode: Text.Wrap
            }

            Repeater {
                model: presenter.folders
                delegate: ColumnLayout {
                    required property var modelData
                    required property int index
                    objectName: "folderRow" + index
                    Layout.fillWidth: true
                    spacing: 0

                    ContextRow {
                        Layout.fillWidth: true
                        icon: "📁"
                        title: modelData.title
                        subtitle: modelData.subtitle
                        status: modelData.status

                        LinkButtonStyle {
                            objectName: "removeFolder"
                            text: "Entfernen"
                            fontSize: 13
                            padding: 0
                            onClicked: presenter.removeFolder(modelData.path)
                        }
                    }
                    ContextDivider {}
                }
            }

            ContextRow {
                objectName: "connectRow"
                Layout.fillWidth: true
                icon: "📂"
                title: presenter.connectTitle
                subtitle: "Pellmora liest darin nur CLAUDE.md, TODO.yaml und README.md, bis zwei Ebenen tief."

                BorderedButtonStyle {
                    objectName: "chooseFolder"
                    text: "Ordner wählen …"
                    onClicked: folderDialog.open()
                }
            }
            ContextDivider {}

            ContextRow {
                objectName: "assistantRow"
                Layout.fillWidth: true
                icon: "🧠"
                title: "Claude (über die Verbindung zu deinem Abo)"
                subtitle: "Claude Desktop oder Claude Code kann deine Tab-Bibliothek durchsuchen (MCP)."

                BorderedButtonStyle {
                    objectName: "copyConfig"
                    text: root.copied ? "Kopiert ✓" : "Einstellung kopieren"
                    onClicked: {
                        presenter.copyConfig()
                        root.copied = true
                    }
                }
            }
            ContextDivider {}

            ContextRow {
                objectName: "freeTextRow"
                Layout.fillWidth: true
                icon: "✍️"
                title: "Eigener Text"
                subtitle: presenter.freeTextSubtitle

                LinkButtonStyle {
                    objectName: "editFreeText"
                    text: root.editing ? "Fertig" : "bearbeiten"
                    fontSize: 15
                    padding: 0
                    onClicked: root.toggleEditing()
                }
            }
            Rectangle {
                objectName: "freeTextBox"
                visible: root.editing
                Layout.fillWidth: true
                Layout.leftMargin: 44
                Layout.bottomMargin: 8
                implicitHeight: 80
                radius: 10
                color: "transparent"
                border.color: Qt.darker(Theme.line, 1.08)
                border.width: 1.5

                ScrollView {
                    anchors.fill: parent
                    anchors.margins: 1.5
                    TextArea {
                        id: editor
                        objectName: "freeTextEditor"
                        padding: 8
                        background: null
                        wrapMode: TextEdit.Wrap
                        selectByMouse: true
                        font.pointSize: Theme.points(15)
                        color: Theme.ink
                        onTextChanged: if (root.editing) root.freeText = text
                    }
                }
            }
            ContextDivider {}

            Text {
                Layout.topMargin: 14
                Layout.bottomMargin: 6
                text: "Wie oft Hinweise"
                font.pointSize: Theme.points(14.5)
                color: Theme.ink
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: hintRow.implicitHeight + 20
                radius: 10
                color: "transparent"
                border.color: Qt.darker(Theme.line, 1.08)
                border.width: 1.5

                RowLayout {
                    id: hintRow
                    x: 14
                    y: 10
                    width: parent.width - 28
                    spacing: 8

                    Text {
                        text: "höchstens"
                        font.pointSize: Theme.points(14)
                        color: Theme.ink
                    }
                    ContextPicker {
                        objectName: "hintsPerDay"
                        Layout.preferredWidth: 60
                        model: presenter.countChoices
                        currentIndex: presenter.hintsPerDayIndex
                        onActivated: index => presenter.chooseHintsPerDay(index)
                    }
                    Text {
                        text: "pro Tag, morgens um"
                        font.pointSize: Theme.points(14)
                        color: Theme.ink
                    }
                    ContextPicker {
                        objectName: "hintHour"
                        Layout.preferredWidth: 90
                        model: presenter.hourChoices
                        currentIndex: presenter.hintHourIndex
                        onActivated: index => presenter.chooseHintHour(index)
                    }
                    Item {
                        Layout.fillWidth: true
                    }
                    PetrolButtonStyle {
                        objectName: "searchHints"
                        text: "Jetzt Hinweise suchen"
                        minimumHeight: 32
                        fontSize: 14
                        onClicked: presenter.searchHints()
                    }
                }
            }
            Text {
                objectName: "notice"
                visible: AppModel.notice !== null && AppModel.notice !== undefined
                Layout.fillWidth: true
                Layout.topMargin: 8
                text: visible ? AppModel.notice : ""
                font.pointSize: Theme.points(13.5)
                color: Theme.secondary
                wrapMode: Text.Wrap
            }
        }
    }
}

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Window
import Pellmora

// "Pellmora · Einstellungen": where the library lives and the few settings.
Rectangle {
    id: root
    property string pinnedText
    property bool copied: false
    // Set while the editor is filled from the options, so that filling is no edit.
    property bool fillingPinned: false

    color: Theme.background
    implicitWidth: 620
    implicitHeight: column.implicitHeight + 56

    function fillPinned() {
        fillingPinned = true
        pinnedEditor.text = presenter.pinnedText()
        fillingPinned = false
    }

    FontMetrics {
        id: smallText
        font.pointSize: Theme.points(13)
    }

    SettingsPresenter {
        id: presenter
        model: AppModel
    }

    // Lays the groups out before the window reads this view's size; layouts
    // would otherwise settle only with the first frame.
    function settle(item) {
        for (let i = 0; i < item.children.length; ++i)
            settle(item.children[i])
        item.ensurePolished()
    }
    Component.onCompleted: {
        fillPinned()
        settle(column)
    }
    Connections {
        target: root.Window.window
        function onVisibleChanged() {
            if (root.Window.window.visible) {
                root.fillPinned()
                presenter.refresh()
            }
        }
    }

    ColumnLayout {
        id: column
        x: 28
        y: 28
        width: root.width - 56
        spacing: 6

        Text {
            objectName: "title"
            text: "Einstellungen"
            font.pointSize: Theme.points(22)
            color: Theme.ink
        }
        TextEdit {
            objectName: "libraryPath"
            Layout.fillWidth: true
            text: "Bibliothek: " + presenter.libraryPath
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.WrapAnywhere
            font.pointSize: Theme.points(12)
            color: Theme.secondary
        }

        SettingsDivider {}

        SettingsSwitch {
            id: launchSwitch
            objectName: "launchAtLogin"
            text: "Beim Anmelden starten"
            checked: AppModel.launchAtLogin
            onToggled: {
                AppModel.setLaunchAtLogin(checked)
                // Show what the system reports, not where the switch was moved.
                checked = Qt.binding(() => AppModel.launchAtLogin)
            }
        }
        Text {
            Layout.fillWidth: true
            text: AppModel.words.moonAfterRestart
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
        Text {
            objectName: "notice"
            visible: AppModel.notice !== null && AppModel.notice !== undefined
                     && String(AppModel.notice).startsWith("Beim Anmelden starten")
            Layout.fillWidth: true
            text: visible ? AppModel.notice : ""
            font.pointSize: Theme.points(13)
            color: Theme.red
            wrapMode: Text.Wrap
        }

        SettingsDivider {}

        SettingsSwitch {
            objectName: "keepPinned"
            text: "Angepinnte Tabs offen lassen"
            checked: AppModel.keepPinned
            onToggled: {
                AppModel.keepPinned = checked
                checked = Qt.binding(() => AppModel.keepPinned)
            }
        }
        Text {
            objectName: "pinnedExplanation"
            Layout.fillWidth: true
            text: AppModel.words.pinnedExplanation
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 4
            implicitHeight: 72
            radius: 8
            color: "white"
            border.color: pinnedEditor.activeFocus ? Theme.petrol : Theme.line
            border.width: 1

            ScrollView {
                anchors.fill: parent
                anchors.margins: 1
                TextArea {
                    id: pinnedEditor
                    objectName: "pinnedEditor"
                    font.pointSize: Theme.points(13.5)
                    color: Theme.ink
                    padding: 7
                    background: null
                    selectByMouse: true
                    onTextChanged: if (!root.fillingPinned) presenter.setPinnedText(text)
                }
            }
        }

        SettingsDivider {}

        Text {
            text: "Künstliche Intelligenz"
            font.pointSize: Theme.points(15)
            color: Theme.ink
        }
        Text {
            objectName: "aiStatus"
            Layout.fillWidth: true
            // The answer arrives after the window took its size: room for two lines.
            Layout.minimumHeight: Math.ceil(2 * smallText.height)
            text: presenter.aiDescription.length > 0 ? presenter.aiDescription : "…"
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
        Text {
            objectName: "searchLine"
            Layout.fillWidth: true
            text: presenter.searchLine
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
        SettingsModelServer {
            Layout.fillWidth: true
            Layout.topMargin: 6
            settings: presenter
        }

        SettingsDivider {}

        Text {
            text: "Browser"
            font.pointSize: Theme.points(15)
            color: Theme.ink
        }
        Text {
            objectName: "browsers"
            Layout.fillWidth: true
            text: presenter.browsersLine
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }

        SettingsDivider {}

        Text {
            text: "Claude Desktop verbinden (MCP)"
            font.pointSize: Theme.points(15)
            color: Theme.ink
        }
        Text {
            Layout.fillWidth: true
            text: "In Claude Desktop: Einstellungen → Entwickler → Konfiguration bearbeiten, diesen Block einfügen, Claude neu starten."
            font.pointSize: Theme.points(13)
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 4
            implicitHeight: snippet.implicitHeight + 20
            radius: 8
            color: Theme.field

            TextEdit {
                id: snippet
                objectName: "configBlock"
                x: 10
                y: 10
                width: parent.width - 20
                text: presenter.configSnippet
                readOnly: true
                selectByMouse: true
                wrapMode: TextEdit.WrapAnywhere
                font.family: "monospace"
                font.pointSize: Theme.points(12)
                color: Theme.ink
            }
        }
        BorderedButtonStyle {
            objectName: "copyButton"
            Layout.topMargin: 2
            text: root.copied ? "Kopiert ✓" : "Kopieren"
            onClicked: {
                presenter.copyConfig()
                root.copied = true
            }
        }
    }
}

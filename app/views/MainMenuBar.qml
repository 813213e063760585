import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// The main menu as each window's menu bar. Commands of the application go to
// MainMenu; closing, minimising and editing act on the window it sits in.
MenuBar {
    id: bar
    objectName: "mainMenuBar"

    // Edit commands go to whatever has the keyboard focus, as far as it can do them.
    function edit(name) {
        const item = Window.activeFocusItem
        if (item && typeof item[name] === "function")
            item[name]()
    }

    Menu {
        title: "Pellmora"
        delegate: MainMenuItem {}
        Action { text: "Über Pellmora"; onTriggered: MainMenu.about() }
        MenuSeparator {}
        Action { text: "Einstellungen …"; shortcut: "Ctrl+,"; onTriggered: MainMenu.openSettings() }
        MenuSeparator {}
        Action { text: "Pellmora ausblenden"; shortcut: "Ctrl+H"; onTriggered: MainMenu.hideApplication() }
        MenuSeparator {}
        Action { text: "Pellmora beenden"; shortcut: "Ctrl+Q"; onTriggered: MainMenu.quit() }
    }
    Menu {
        title: "Ablage"
        delegate: MainMenuItem {}
        Action { text: "Bibliothek"; shortcut: "Ctrl+1"; onTriggered: MainMenu.openLibrary() }
        Action { text: "Frag deine Tabs"; shortcut: "Ctrl+2"; onTriggered: MainMenu.openChat() }
        Action { text: "Mein Kontext"; shortcut: "Ctrl+3"; onTriggered: MainMenu.openContext() }
        MenuSeparator {}
        Action { text: "Themen neu bilden"; onTriggered: MainMenu.regroup() }
        Action { text: "Hinweise jetzt suchen"; onTriggered: MainMenu.findHints() }
        MenuSeparator {}
        Action { text: "Importieren …"; onTriggered: MainMenu.importLibrary() }
        Action { text: "Exportieren …"; onTriggered: MainMenu.exportLibrary() }
        MenuSeparator {}
        Action { text: "Fenster schliessen"; shortcut: "Ctrl+W"; onTriggered: bar.Window.window.close() }
    }
    Menu {
        title: "Bearbeiten"
        delegate: MainMenuItem {}
        Action { text: "Widerrufen"; shortcut: "Ctrl+Z"; onTriggered: bar.edit("undo") }
        Action { text: "Wiederholen"; shortcut: "Ctrl+Shift+Z"; onTriggered: bar.edit("redo") }
        MenuSeparator {}
        Action { text: "Ausschneiden"; shortcut: "Ctrl+X"; onTriggered: bar.edit("cut") }
        Action { text: "Kopieren"; shortcut: "Ctrl+C"; onTriggered: bar.edit("copy") }
        Action { text: "Einsetzen"; shortcut: "Ctrl+V"; onTriggered: bar.edit("paste") }
        Action { text: "Alles auswählen"; shortcut: "Ctrl+A"; onTriggered: bar.edit("selectAll") }
    }
    Menu {
        title: "Fenster"
        delegate: MainMenuItem {}
        Action { text: MainMenu.minimizeEntry; shortcut: "Ctrl+M"; onTriggered: bar.Window.window.showMinimized() }
    }
    Menu {
        id: help
        title: "Hilfe"
        delegate: MainMenuItem {}
        // As wide as its widest entry, the checkable one with its mark included.
        width: {
            let widest = implicitWidth
            for (let i = 0; i < count; ++i) {
                const item = itemAt(i)
                if (item)
                    widest = Math.max(widest, item.implicitWidth + leftPadding + rightPadding)
            }
            return widest
        }
        Action { text: "Beispiel-Daten laden"; onTriggered: MainMenu.loadDemo() }
        Action {
            text: MainMenu.demoModeEntry
            checkable: true
            checked: MainMenu.demoMode
            onTriggered: {
                MainMenu.toggleDemo()
                // The click flipped the mark by itself; the model's mode decides.
                checked = Qt.binding(() => MainMenu.demoMode)
            }
        }
        Action {
            text: "Eigene Bibliothek zurückholen"
            enabled: MainMenu.ownLibraryKept
            onTriggered: MainMenu.bringBackOwnLibrary()
        }
        MenuSeparator {}
        Action { text: "Bibliothek leeren …"; onTriggered: MainMenu.clearLibrary() }
    }
}

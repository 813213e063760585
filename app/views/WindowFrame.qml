import QtQuick
import Pellmora

// A window's root: the main menu's bar above the window's own view.
Rectangle {
    id: frame
    required property url view
    readonly property Item content: loader.item
    readonly property alias menuBar: menuBar
    color: "white"
    implicitWidth: Math.max(loader.implicitWidth, menuBar.implicitWidth)
    implicitHeight: menuBar.implicitHeight + loader.implicitHeight

    MainMenuBar {
        id: menuBar
        width: frame.width
    }
    Loader {
        id: loader
        y: menuBar.height
        width: frame.width
        height: frame.height - menuBar.height
        source: frame.view
    }
}

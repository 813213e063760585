import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// A window's root: the main menu's bar above the window's own view. A view
// larger than the window (a small screen) scrolls instead of being cut off.
Rectangle {
    id: frame
    required property url view
    // The smallest size the view is laid out at; below it the view scrolls.
    // Unset, the view's own implicit size counts.
    property size minimumContentSize: Qt.size(0, 0)
    readonly property Item content: loader.item
    readonly property alias menuBar: menuBar
    color: "white"
    implicitWidth: Math.max(loader.implicitWidth, menuBar.implicitWidth)
    implicitHeight: menuBar.implicitHeight + loader.implicitHeight

    MainMenuBar {
        id: menuBar
        width: frame.width
        z: 1
    }
    Flickable {
        id: scroller
        y: menuBar.height
        width: frame.width
        height: frame.height - menuBar.height
        clip: true
        contentWidth: loader.width
        contentHeight: loader.height
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height + 0.5 || contentWidth > width + 0.5
        ScrollBar.vertical: ScrollBar {
            policy: scroller.contentHeight > scroller.height + 0.5 ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }
        ScrollBar.horizontal: ScrollBar {
            policy: scroller.contentWidth > scroller.width + 0.5 ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }

        Loader {
            id: loader
            readonly property bool bySize: frame.minimumContentSize.width > 0
            width: Math.max(scroller.width, bySize ? frame.minimumContentSize.width : implicitWidth)
            height: Math.max(scroller.height, bySize ? frame.minimumContentSize.height : implicitHeight)
            source: frame.view
        }
    }
}

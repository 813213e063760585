import QtQuick

// Stands in for the popover view: its two links as signals.
Rectangle {
    signal openLibrary()
    signal openChat()
    implicitWidth: 420
    implicitHeight: 180
}

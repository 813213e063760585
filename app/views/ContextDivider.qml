import QtQuick
import QtQuick.Layouts
import Pellmora

// The line under each row of the context window.
Rectangle {
    Layout.fillWidth: true
    implicitHeight: 1
    color: Theme.line
}

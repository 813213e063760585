import QtQuick
import QtQuick.Layouts
import Pellmora

// The thin line between two groups of settings.
Rectangle {
    Layout.fillWidth: true
    Layout.topMargin: 10
    Layout.bottomMargin: 10
    implicitHeight: 1
    color: Theme.line
}

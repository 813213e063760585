import QtQuick
import Pellmora

// The caption above a field.
Text {
    padding: 6
    color: Theme.secondary
    font.pointSize: Theme.points(14.5)
}

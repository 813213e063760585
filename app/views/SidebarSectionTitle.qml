import QtQuick
import Pellmora

// A section's heading in the sidebar: capitals, semibold, spaced, secondary.
Text {
    leftPadding: 12
    topPadding: 12
    bottomPadding: 6
    font.capitalization: Font.AllUppercase
    font.weight: Font.DemiBold
    font.pointSize: Theme.points(12)
    font.letterSpacing: 0.8
    color: Theme.secondary
    elide: Text.ElideRight
}

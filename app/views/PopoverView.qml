import QtQuick
import Pellmora

ViewPlaceholder {
    implicitWidth: 420
    implicitHeight: 360
    title: "Pellmora"
}

import QtQuick
import Pellmora

ViewPlaceholder {
    title: "Pellmora · Einstellungen"
}

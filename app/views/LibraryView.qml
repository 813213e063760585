import QtQuick
import Pellmora

ViewPlaceholder {
    title: "Pellmora · Bibliothek"
}

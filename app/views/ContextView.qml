import QtQuick
import Pellmora

ViewPlaceholder {
    title: "Mein Kontext"
}

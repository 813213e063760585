import QtQuick
import Pellmora

ViewPlaceholder {
    title: "Pellmora · Frag deine Tabs"
}

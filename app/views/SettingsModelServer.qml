import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Pellmora

// Where the local language model runs and which models it offers.
ColumnLayout {
    id: server
    required property SettingsPresenter settings
    property string message

    spacing: 6

    function apply() {
        message = server.settings.saveServerSettings(address.text, chatModel.text, embeddingModel.text)
    }

    GridLayout {
        Layout.fillWidth: true
        columns: 2
        columnSpacing: 10
        rowSpacing: 6

        Text {
            text: "Modell-Server"
            font.pointSize: Theme.points(13)
            color: Theme.ink
        }
        SettingsField {
            id: address
            objectName: "serverUrl"
            Layout.fillWidth: true
            text: server.settings.serverUrl
            placeholderText: "http://127.0.0.1:11434"
            onAccepted: server.apply()
        }
        Text {
            text: "Sprachmodell"
            font.pointSize: Theme.points(13)
            color: Theme.ink
        }
        SettingsField {
            id: chatModel
            objectName: "modelName"
            Layout.fillWidth: true
            text: server.settings.modelName
            placeholderText: "leer: ohne Sprachmodell"
            onAccepted: server.apply()
        }
        Text {
            text: "Modell für die Suche"
            font.pointSize: Theme.points(13)
            color: Theme.ink
        }
        SettingsField {
            id: embeddingModel
            objectName: "embeddingModelName"
            Layout.fillWidth: true
            text: server.settings.embeddingModelName
            placeholderText: "leer: Suche nach Stichwörtern"
            onAccepted: server.apply()
        }
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: 10

        BorderedButtonStyle {
            objectName: "applyServer"
            text: "Übernehmen"
            onClicked: server.apply()
        }
        Text {
            objectName: "serverMessage"
            Layout.fillWidth: true
            text: server.message.length > 0
                  ? server.message
                  : "Das Modell für die Suche gilt ab dem nächsten Start."
            font.pointSize: Theme.points(12.5)
            color: server.message.length > 0 ? Theme.red : Theme.secondary
            wrapMode: Text.Wrap
        }
    }
}

import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Pellmora

// One tab's note, reminder and projects, edited on a copy that only
// "Speichern" hands to the library.
Rectangle {
    id: detail
    property var model: AppModel
    // Closes the sheet without saving.
    property var closeAction: function() { edit.close() }
    readonly property TabDraft draft: edit
    readonly property var tab: model ? model.detailTab : null

    implicitWidth: 560
    implicitHeight: layout.implicitHeight + 48
    radius: 12
    color: Theme.background

    TabDraft {
        id: edit
        model: detail.model
    }

    function save() { edit.save() }
    function cancel() { detail.closeAction() }

    Keys.onEscapePressed: cancel()

    ColumnLayout {
        id: layout
        x: 24
        y: 24
        width: parent.width - 48
        spacing: 8

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            LetterChip {
                size: 40
                domain: detail.tab ? detail.tab.domain : ""
                title: detail.tab ? detail.tab.title : ""
                Layout.alignment: Qt.AlignTop
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    objectName: "detailTitle"
                    Layout.fillWidth: true
                    text: detail.tab ? detail.tab.title : ""
                    elide: Text.ElideRight
                    maximumLineCount: 1
                    color: Theme.ink
                    font.weight: Font.DemiBold
                    font.pointSize: Theme.points(17)
                }
                Text {
                    objectName: "detailDomain"
                    Layout.fillWidth: true
                    text: detail.tab ? detail.tab.domain : ""
                    elide: Text.ElideRight
                    color: Theme.secondary
                    font.pointSize: Theme.points(14)
                }
            }
            Button {
                objectName: "detailClose"
                flat: true
                Layout.alignment: Qt.AlignTop
                implicitWidth: 28
                implicitHeight: 28
                contentItem: Text {
                    text: "×"
                    color: Theme.secondary
                    font.pointSize: Theme.points(22)
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    radius: 14
                    color: parent.hovered ? Theme.field : "transparent"
                }
                onClicked: detail.cancel()
            }
        }

        Text {
            objectName: "detailSummary"
            visible: !!detail.tab && detail.tab.summary !== ""
            Layout.fillWidth: true
            Layout.topMargin: 4
            text: detail.tab ? "Zusammenfassung: " + detail.tab.summary : ""
            wrapMode: Text.Wrap
            color: Theme.ink
            opacity: 0.9
            font.pointSize: Theme.points(14.5)
        }

        FieldLabel {
            text: "Deine Notiz"
            leftPadding: 0
            Layout.topMargin: 4
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 110
            radius: 9
            color: Theme.field
            border.color: Theme.line
            border.width: 1
            ScrollView {
                anchors.fill: parent
                anchors.margins: 2
                // The note wraps at the view's width instead of widening it.
                contentWidth: availableWidth
                TextArea {
                    id: noteEditor
                    objectName: "noteEditor"
                    text: edit.note
                    onTextChanged: edit.note = text
                    wrapMode: TextEdit.Wrap
                    color: Theme.ink
                    font.pointSize: Theme.points(15)
                    background: Item {}
                    padding: 8
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 8
            spacing: 12
            CheckRow {
                objectName: "reminderCheck"
                title: "Erinnere mich"
                isOn: edit.hasReminder
                onToggled: edit.hasReminder = checked
            }
            Item { Layout.fillWidth: true }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 10
            Text {
                text: "Erinnerung an"
                color: edit.hasReminder ? Theme.ink : Theme.secondary
                font.pointSize: Theme.points(14.5)
            }
            TabReminderPicker {
                objectName: "reminderPicker"
                draft: edit
                enabled: edit.hasReminder
            }
            Item { Layout.fillWidth: true }
        }
        Text {
            objectName: "reminderText"
            text: edit.reminderText
            color: Theme.secondary
            font.pointSize: Theme.points(14)
        }

        FieldLabel {
            text: "Für welche Projekte ist das wichtig?"
            leftPadding: 0
            Layout.topMargin: 6
        }
        Flow {
            objectName: "projectTags"
            Layout.fillWidth: true
            visible: edit.projectTags.length > 0
            spacing: 6
            Repeater {
                model: edit.projectTags
                Rectangle {
                    required property string modelData
                    objectName: "project:" + modelData
                    implicitWidth: projectName.implicitWidth + removeProject.width + 22
                    implicitHeight: 26
                    radius: 13
                    color: Theme.petrolSoft
                    border.color: Qt.rgba(Theme.petrol.r, Theme.petrol.g, Theme.petrol.b, 0.35)
                    Text {
                        id: projectName
                        x: 11
                        anchors.verticalCenter: parent.verticalCenter
                        text: parent.modelData
                        color: Theme.petrol
                        font.pointSize: Theme.points(13)
                    }
                    Button {
                        id: removeProject
                        objectName: "removeProject:" + parent.modelData
                        anchors.left: projectName.right
                        anchors.leftMargin: 3
                        anchors.verticalCenter: parent.verticalCenter
                        width: 18
                        height: 18
                        flat: true
                        padding: 0
                        contentItem: Text {
                            text: "×"
                            color: Theme.petrol
                            font.pointSize: Theme.points(14)
                            horizontalAlignment: Text.AlignHCenter
                            verticalAlignment: Text.AlignVCenter
                        }
                        background: Item {}
                        onClicked: edit.removeProject(parent.modelData)
                    }
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            TextField {
                id: projectField
                objectName: "newProjectField"
                Layout.fillWidth: true
                text: edit.newProject
                onTextEdited: edit.newProject = text
                onAccepted: edit.addProject()
                placeholderText: "Projektname"
                placeholderTextColor: Theme.secondary
                color: Theme.ink
                font.pointSize: Theme.points(14.5)
                background: Rectangle {
                    radius: 7
                    color: Theme.field
                    border.color: Theme.line
                }
            }
            LinkButtonStyle {
                objectName: "addProjectButton"
                text: "+ Projekt"
                onClicked: edit.addProject()
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 14
            spacing: 10
            LinkButtonStyle {
                objectName: "detailOpen"
                text: detail.model.words.openButton
                onClicked: if (detail.tab) detail.model.openTabs([detail.tab.tabId])
            }
            Item { Layout.fillWidth: true }
            LinkButtonStyle {
                objectName: "detailCancel"
                text: "Abbrechen"
                onClicked: detail.cancel()
            }
            PetrolButtonStyle {
                objectName: "detailSave"
                text: "Speichern"
                onClicked: detail.save()
            }
        }
    }

    Shortcut {
        sequences: [StandardKey.Cancel]
        onActivated: detail.cancel()
    }
    // "Speichern" is the default button: Return saves, except where it
    // breaks a line in the note or adds a typed project.
    Shortcut {
        sequences: ["Return", "Enter", "Ctrl+Return", "Ctrl+Enter"]
        enabled: detail.visible && !projectField.activeFocus
        onActivated: detail.save()
    }
}

import QtQuick
import Pellmora

// Every shared control once, for rendering to an image and looking at it.
Rectangle {
    width: 560
    height: column.implicitHeight + 40
    color: Theme.background

    Column {
        id: column
        x: 20
        y: 20
        spacing: 14

        Row {
            spacing: 12
            PetrolButtonStyle { objectName: "petrol"; text: "🌙  Alle Tabs schlafen legen"; minimumHeight: 44 }
            PetrolButtonStyle { objectName: "petrolSmall"; text: "Fragen"; minimumHeight: 30; fontSize: 13 }
        }
        Row {
            spacing: 12
            LinkButtonStyle { objectName: "link1"; text: "Abbrechen" }
            LinkButtonStyle { objectName: "link2"; text: "Bibliothek öffnen" }
            LinkButtonStyle { objectName: "link3"; text: "Frag deine Tabs →" }
        }
        Row {
            spacing: 8
            LetterChip { objectName: "chipGithub"; domain: "github.com" }
            LetterChip { objectName: "chipPython"; domain: "docs.python.org" }
            LetterChip { objectName: "chipReddit"; domain: "reddit.com" }
            LetterChip { objectName: "chipZuerich"; domain: "stadt-zürich.ch" }
            LetterChip { objectName: "chipNone"; domain: ""; title: "" }
            LetterChip { objectName: "chipBig"; domain: "srf.ch"; size: 40 }
        }
        Row {
            spacing: 6
            TagChip { objectName: "tag1"; text: "rust" }
            TagChip { objectName: "tag2"; text: "Gesundheit" }
            TagChip { objectName: "tag3"; text: "⏰ morgen 09:00" }
            TagChip { objectName: "tag4"; text: "📝 Notiz" }
            TagChip { objectName: "tag5"; text: "💡 Hinweis" }
        }
        CheckRow { objectName: "check1"; title: "Inhalte der Seiten speichern"; isOn: true }
        CheckRow { objectName: "check2"; title: "Angeheftete Domains offen lassen"; isOn: false }
        Column {
            FieldLabel { objectName: "field"; text: "Projektordner · Übersicht ✓" }
            Rectangle { width: 320; height: 30; radius: 6; color: Theme.field; border.color: Theme.line }
        }
        Row {
            spacing: 4
            Repeater {
                model: ["gelb", "blau", "rot", "gruen", "lila", "orange", "petrol", "rosa",
                        "braun", "tuerkis", "oliv", "indigo", "grau"]
                Rectangle { width: 30; height: 16; radius: 4; color: Theme.topicColor(modelData) }
            }
        }
    }
}

import QtQuick
import QtQuick.Controls.Basic
import Pellmora

// Date and time of a reminder the Swiss way: day.month.year hours:minutes.
// Each field steps on its own; the draft keeps the day inside its month.
Row {
    id: picker
    required property TabDraft draft
    spacing: 2

    readonly property date value: draft.reminderDate

    function change(year, month, day, hour, minute) {
        draft.setReminderParts(year, month, day, hour, minute)
    }

    component Field: SpinBox {
        id: box
        property int digits: 2
        // What the draft holds; the box shows it again after each step, so
        // a day the month lacks snaps back to its last day.
        property int shown
        signal picked(int number)
        value: shown
        onShownChanged: value = shown
        onValueModified: {
            picked(value)
            value = shown
        }
        editable: true
        width: digits === 4 ? 84 : 66
        height: 32
        font.pointSize: Theme.points(14.5)
        textFromValue: (value) => String(value).padStart(box.digits, "0")
        valueFromText: (text) => parseInt(text, 10)
        opacity: enabled ? 1 : 0.45
        background: Rectangle {
            radius: 7
            color: Theme.field
            border.color: Theme.line
        }
    }
    component Separator: Text {
        text: "."
        color: Theme.ink
        font.pointSize: Theme.points(15)
        height: 32
        verticalAlignment: Text.AlignVCenter
    }

    Field {
        objectName: "pickerDay"
        from: 1
        to: 31
        shown: picker.value.getDate()
        onPicked: (v) => picker.change(picker.value.getFullYear(), picker.value.getMonth() + 1, v,
                                       picker.value.getHours(), picker.value.getMinutes())
    }
    Separator {}
    Field {
        objectName: "pickerMonth"
        from: 1
        to: 12
        shown: picker.value.getMonth() + 1
        onPicked: (v) => picker.change(picker.value.getFullYear(), v, picker.value.getDate(),
                                       picker.value.getHours(), picker.value.getMinutes())
    }
    Separator {}
    Field {
        objectName: "pickerYear"
        digits: 4
        from: 2000
        to: 2100
        shown: picker.value.getFullYear()
        onPicked: (v) => picker.change(v, picker.value.getMonth() + 1, picker.value.getDate(),
                                       picker.value.getHours(), picker.value.getMinutes())
    }
    Item { width: 12; height: 1 }
    Field {
        objectName: "pickerHour"
        from: 0
        to: 23
        shown: picker.value.getHours()
        onPicked: (v) => picker.change(picker.value.getFullYear(), picker.value.getMonth() + 1,
                                       picker.value.getDate(), v, picker.value.getMinutes())
    }
    Separator { text: ":" }
    Field {
        objectName: "pickerMinute"
        from: 0
        to: 59
        shown: picker.value.getMinutes()
        onPicked: (v) => picker.change(picker.value.getFullYear(), picker.value.getMonth() + 1,
                                       picker.value.getDate(), picker.value.getHours(), v)
    }
}

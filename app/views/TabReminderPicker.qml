import QtQuick
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

    // A number with small step arrows; typing, the arrow keys and the wheel
    // step it too. Steps wrap around within the field's range.
    component Field: Rectangle {
        id: box
        property int digits: 2
        property int from: 0
        property int to: 59
        // What the draft holds; the field always shows it, so a day the
        // month lacks snaps back to the month's last day.
        property int shown
        readonly property int value: shown
        signal picked(int number)

        function step(by) {
            const span = to - from + 1
            picked(from + ((shown - from + by) % span + span) % span)
        }
        function increase() { step(1) }
        function decrease() { step(-1) }

        width: digits === 4 ? 70 : 52
        height: 32
        radius: 7
        color: Theme.field
        border.color: input.activeFocus ? Theme.petrol : Theme.line
        opacity: enabled ? 1 : 0.45

        TextInput {
            id: input
            objectName: "input"
            x: 8
            width: parent.width - arrows.width - 10
            anchors.verticalCenter: parent.verticalCenter
            horizontalAlignment: Text.AlignRight
            text: String(box.shown).padStart(box.digits, "0")
            color: Theme.ink
            font.pointSize: Theme.points(15)
            maximumLength: box.digits
            validator: IntValidator { bottom: 0; top: box.digits === 4 ? 9999 : 99 }
            selectByMouse: true
            onEditingFinished: {
                const typed = parseInt(text, 10)
                if (!isNaN(typed) && typed >= box.from && typed <= box.to)
                    box.picked(typed)
                text = Qt.binding(() => String(box.shown).padStart(box.digits, "0"))
            }
            Keys.onUpPressed: box.increase()
            Keys.onDownPressed: box.decrease()
        }
        Column {
            id: arrows
            anchors.right: parent.right
            anchors.rightMargin: 3
            anchors.verticalCenter: parent.verticalCenter
            Repeater {
                model: [1, -1]
                Text {
                    required property int modelData
                    width: 14
                    height: 13
                    text: modelData > 0 ? "▴" : "▾"
                    color: Theme.secondary
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    font.pointSize: Theme.points(13)
                    MouseArea {
                        anchors.fill: parent
                        onClicked: box.step(parent.modelData)
                    }
                }
            }
        }
        WheelHandler {
            onWheel: (event) => box.step(event.angleDelta.y > 0 ? 1 : -1)
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
        to: new Date(picker.value.getFullYear(), picker.value.getMonth() + 1, 0).getDate()
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

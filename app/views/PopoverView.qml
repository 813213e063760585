import QtQuick
import Pellmora

// What the moon opens: the browser's count and its cost, the one button that puts
// every tab to sleep (or connects the browser first), the run's options, progress
// and result, and today's reminders and hints. Keeps no state of its own.
Rectangle {
    id: popover
    objectName: "popover"

    // Fixed counts {tabs, windows} for the screenshot mode; null in normal use.
    property var previewCount: null
    // Each closes the popover and brings that window forward.
    signal openLibrary()
    signal openChat()

    readonly property var counts: PopoverText.countsFor(previewCount, AppModel.demoMode,
                                                        AppModel.safariConnected,
                                                        AppModel.liveTabs, AppModel.liveWindows)
    readonly property bool running: AppModel.sleepRunning
    readonly property bool finished: AppModel.sleepStageKind === PopoverText.StageDone
    readonly property bool failed: AppModel.sleepStageKind === PopoverText.StageFailed
    readonly property bool canSleep: AppModel.safariConnected || AppModel.demoMode
                                     || !!previewCount

    implicitWidth: 420
    implicitHeight: column.implicitHeight + 2 * column.y
    color: Theme.background

    Column {
        id: column
        x: 22
        y: 20
        width: popover.width - 2 * x
        spacing: 16

        PopoverHeader {
            width: parent.width
            counts: popover.counts
            showsDemoBadge: AppModel.demoMode && !popover.previewCount
        }

        PopoverProgress {
            width: parent.width
            visible: popover.running
        }

        PopoverResult {
            width: parent.width
            visible: popover.finished
            onOpenLibrary: popover.openLibrary()
        }

        Column {
            objectName: "idlePart"
            width: parent.width
            spacing: 14
            visible: !popover.running && !popover.finished

            PetrolButtonStyle {
                objectName: "sleepButton"
                width: parent.width
                minimumHeight: 54
                fontSize: 18
                text: popover.canSleep ? "🌙  Alle Tabs schlafen legen" : AppModel.words.connectButton
                onClicked: popover.canSleep ? AppModel.sleepAllTabs() : AppModel.connectSafari()
            }
            Text {
                objectName: "failureMessage"
                width: parent.width
                visible: popover.failed
                text: popover.failed ? AppModel.sleepStageLabel : ""
                leftPadding: 4
                rightPadding: 4
                color: Theme.red
                font.pointSize: Theme.points(13.5)
                wrapMode: Text.Wrap
            }
            PopoverOptions {
                width: parent.width
                windowCount: popover.counts ? popover.counts.windows : null
            }
        }

        Rectangle {
            width: parent.width
            height: 1
            color: Theme.line
        }

        PopoverFooter {
            width: parent.width
            onOpenLibrary: popover.openLibrary()
            onOpenChat: popover.openChat()
        }
    }
}

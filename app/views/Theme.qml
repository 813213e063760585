pragma Singleton
import QtQuick
import Pellmora

// The fixed light theme. Sizes in the views are device-independent pixels;
// font sizes go through points() so a size of 14.5 means 14.5 pixels.
QtObject {
    readonly property color petrol: ThemeRules.namedColor("petrol")
    readonly property color petrolSoft: ThemeRules.namedColor("petrolSoft")
    readonly property color ink: ThemeRules.namedColor("ink")
    readonly property color secondary: ThemeRules.namedColor("secondary")
    readonly property color sidebar: ThemeRules.namedColor("sidebar")
    readonly property color field: ThemeRules.namedColor("field")
    readonly property color line: ThemeRules.namedColor("line")
    readonly property color red: ThemeRules.namedColor("red")
    readonly property color green: ThemeRules.namedColor("green")
    readonly property color bubble: ThemeRules.namedColor("bubble")
    readonly property color background: "white"

    function points(size) { return size * 0.75 }

    function topicColor(name) { return ThemeRules.topicColor(name) }
    // Each takes a tab (anything with `domain` and `title`) or, as before,
    // the domain and the title themselves.
    function chipKey(tabOrDomain) {
        return ThemeRules.chipKey(typeof tabOrDomain === "string" ? tabOrDomain
                                                                  : (tabOrDomain.domain || ""))
    }
    function chipLetter(tabOrDomain, title) {
        if (typeof tabOrDomain === "string")
            return ThemeRules.chipLetter(tabOrDomain, title || "")
        return ThemeRules.chipLetter(tabOrDomain.domain || "", tabOrDomain.title || "")
    }
    function chipColor(key) { return ThemeRules.chipColor(key) }
}

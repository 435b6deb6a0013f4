pragma Singleton

import QtQuick

// Colours and measures. The palette decides between light and dark and gives the accent; every measure grows with the
// font.
QtObject {
    id: theme

    readonly property SystemPalette system: SystemPalette {}
    readonly property FontMetrics metrics: FontMetrics {}

    readonly property bool dark: system.window.hslLightness < 0.5
    readonly property color page: dark ? "#17191d" : "#f5f6f8"
    readonly property color card: dark ? "#1f2227" : "#ffffff"
    readonly property color cardHovered: dark ? "#272b32" : "#eef1f5"
    readonly property color line: dark ? "#343942" : "#dde1e7"
    readonly property color text: dark ? "#e7e9ed" : "#1b1f24"
    readonly property color muted: dark ? "#9ea6b2" : "#5c6570"
    readonly property color accent: system.highlight
    readonly property color running: dark ? "#4cc38a" : "#1a7f4b"
    readonly property color accentInk: luminance(accent) > 0.45 ? "#101418" : "#ffffff"

    readonly property real unit: Math.max(4, Math.round(metrics.height / 4))
    readonly property real radius: unit * 1.5
    readonly property real textSize: metrics.font.pixelSize
    readonly property real smallText: Math.round(textSize * 0.86)
    readonly property real largeText: Math.round(textSize * 1.3)

    function tinted(color: color, amount: real): color {
        return Qt.rgba(color.r, color.g, color.b, amount);
    }

    function luminance(color: color): real {
        return 0.2126 * color.r + 0.7152 * color.g + 0.0722 * color.b;
    }
}

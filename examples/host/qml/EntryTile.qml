import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One entry of a list.
Item {
    id: tile

    property var entry: null
    property bool iconsAvailable: false
    property bool selected: false
    property bool focused: false

    readonly property string origin: entry ? entry.publisher || entry.launcher || fileName(entry.executable) : ""
    readonly property string version: entry ? entry.version : ""

    signal pressed()
    signal activated()

    Accessible.role: Accessible.ListItem
    Accessible.name: entry ? [entry.name, origin, version, entry.kind].filter(text => text).join(", ") : ""
    Accessible.description: entry ? entry.description : ""
    Accessible.focusable: true
    Accessible.focused: focused
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.onPressAction: activated()

    function fileName(path: string): string {
        return path.substring(path.lastIndexOf("\\") + 1);
    }

    HoverHandler { id: hover }
    TapHandler {
        onPressedChanged: if (pressed) tile.pressed()
        onDoubleTapped: tile.activated()
    }

    Rectangle {
        anchors { fill: parent; margins: Theme.unit }
        radius: Theme.radius
        color: tile.selected ? Qt.tint(Theme.card, Theme.tinted(Theme.accent, Theme.dark ? 0.22 : 0.12))
                             : hover.hovered ? Theme.cardHovered : Theme.card
        border.width: tile.focused ? 2 : 1
        border.color: tile.focused || tile.selected ? Theme.accent : Theme.line

        RowLayout {
            anchors { fill: parent; leftMargin: Theme.unit * 3; rightMargin: Theme.unit * 3 }
            spacing: Theme.unit * 3

            IconTile {
                name: tile.entry ? tile.entry.name : ""
                source: tile.entry ? tile.entry.icon : ""
                available: tile.iconsAvailable
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Math.round(Theme.unit * 0.75)

                Label {
                    id: title

                    Layout.fillWidth: true
                    text: tile.entry ? tile.entry.name : ""
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    maximumLineCount: 1
                    color: Theme.text
                    font.weight: Font.DemiBold
                    Accessible.ignored: true
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.unit * 1.5

                    Label {
                        id: subtitle

                        Layout.fillWidth: true
                        text: [tile.origin, tile.version].filter(text => text).join("  \u00b7  ")
                        textFormat: Text.PlainText
                        elide: Text.ElideRight
                        maximumLineCount: 1
                        color: Theme.muted
                        font.pixelSize: Theme.smallText
                        Accessible.ignored: true
                    }
                    Tag {
                        text: tile.entry ? tile.entry.kind : ""
                        Accessible.ignored: true
                    }
                }
            }
        }
    }

    ToolTip.text: [title.text, subtitle.text].filter(text => text).join("\n")
    ToolTip.visible: hover.hovered && (title.truncated || subtitle.truncated)
    ToolTip.delay: 600
}

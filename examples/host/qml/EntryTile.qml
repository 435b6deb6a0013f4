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
    property bool running: false
    property string markedFor // The monitor model whose marks are shown.

    readonly property string origin: entry ? entry.publisher || fileName(entry.executable) : ""
    readonly property string mark: entry && entry.selected ? markedFor : ""
    readonly property string version: entry ? entry.version : ""
    readonly property var states: [mark && qsTr("set up for %1").arg(mark), running && qsTr("running")]

    signal pressed()
    signal activated()
    signal menuRequested()

    Accessible.role: Accessible.ListItem
    Accessible.name: entry ? [entry.name, origin, version, entry.kind, ...states].filter(text => text).join(", ") : ""
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
    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: {
            tile.pressed();
            tile.menuRequested();
        }
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
                objectName: "icon"
                name: tile.entry ? tile.entry.name : ""
                source: tile.entry ? tile.entry.icon : ""
                available: tile.iconsAvailable
                running: tile.running
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: Math.round(Theme.unit * 0.75)

                RowLayout {
                    Layout.fillWidth: true
                    spacing: Theme.unit * 1.5

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
                    Tag {
                        objectName: "mark"
                        Layout.maximumWidth: Theme.unit * 24
                        elide: Text.ElideRight
                        strong: true
                        text: tile.mark
                        Accessible.ignored: true
                    }
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

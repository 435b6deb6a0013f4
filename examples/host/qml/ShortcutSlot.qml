import QtQuick
import QtQuick.Controls

// A place for a pinned program. An empty one is only seen.
AbstractButton {
    id: slot

    property var entry: null
    property bool iconsAvailable: false
    property bool running: false
    property bool reachable: false // By the Tab key.

    signal activated()
    signal removalRequested()

    implicitWidth: Theme.unit * 12 // Three quarters of it for the picture.
    implicitHeight: implicitWidth
    padding: Theme.unit * 1.5
    // Not disabled without an entry, since that would take away the focus before the bar can pass it on.
    focusPolicy: reachable && entry || activeFocus ? Qt.StrongFocus : entry ? Qt.ClickFocus : Qt.NoFocus
    text: entry ? entry.name : ""
    Accessible.ignored: entry === null
    Accessible.name: running ? qsTr("%1, running").arg(text) : text
    Accessible.description: qsTr("Shortcut. Enter starts it, Delete unpins it.")
    ToolTip.text: text
    ToolTip.visible: entry !== null && (hovered || visualFocus)
    ToolTip.delay: visualFocus ? 0 : 400
    Keys.onReturnPressed: activated()
    Keys.onEnterPressed: activated()
    Keys.onDeletePressed: removalRequested()
    onClicked: if (entry) activated()

    contentItem: Item {
        Rectangle {
            anchors.fill: parent
            visible: slot.entry === null
            radius: width * 0.24
            color: "transparent"
            border.width: 1
            border.color: Theme.line
        }
        IconTile {
            anchors.fill: parent
            visible: slot.entry !== null
            name: slot.entry ? slot.entry.name : ""
            source: slot.entry ? slot.entry.icon : ""
            available: slot.iconsAvailable
            running: slot.running
        }
    }
    background: Rectangle {
        radius: Theme.radius
        color: Theme.tinted(Theme.text, !slot.entry ? 0 : slot.down ? 0.1 : slot.hovered ? 0.05 : 0)
        border.width: slot.visualFocus ? 2 : 0
        border.color: Theme.accent
    }

    TapHandler {
        acceptedButtons: Qt.MiddleButton
        onTapped: if (slot.entry) slot.removalRequested()
    }
}

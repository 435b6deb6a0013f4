import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The pinned programs. The bar is one stop of the Tab key; the arrows go from one program to the next.
Pane {
    id: bar

    property var shortcuts: []
    property int places: 0
    property bool iconsAvailable: false
    property var runningFiles: [] // Paths in lower case.
    property int current: 0 // The place that the Tab key leads to.

    signal activated(var entry)
    signal removed(int place)
    signal emptied() // While it had the focus.

    padding: Math.round(Theme.unit / 2)
    Accessible.role: Accessible.ToolBar
    Accessible.name: qsTr("Shortcuts")
    background: Rectangle {
        color: Theme.card

        Rectangle {
            width: parent.width
            height: 1
            color: Theme.line
        }
    }

    function goTo(place: int) {
        const last = Math.min(shortcuts.length, places) - 1;
        current = Math.max(0, Math.min(last, place));
        if (last < 0)
            emptied();
        else
            slots.itemAt(current).forceActiveFocus(Qt.TabFocusReason);
    }

    // A place that isn't filled any more can't keep the focus.
    onShortcutsChanged: {
        if (current < shortcuts.length)
            return;
        if (activeFocus)
            goTo(current);
        else
            current = Math.max(0, shortcuts.length - 1);
    }

    contentItem: Item {
        implicitHeight: row.implicitHeight

        Row {
            id: row

            anchors.centerIn: parent
            spacing: Math.round(Theme.unit / 2)

            Repeater {
                id: slots

                model: bar.places

                ShortcutSlot {
                    required property int index

                    objectName: "slot" + index
                    entry: bar.shortcuts[index] || null
                    iconsAvailable: bar.iconsAvailable
                    running: entry !== null && bar.runningFiles.includes(entry.file)
                    reachable: index === bar.current
                    onActiveFocusChanged: if (activeFocus) bar.current = index
                    onActivated: bar.activated(entry)
                    onRemovalRequested: bar.removed(index)
                    Keys.onLeftPressed: bar.goTo(index - 1)
                    Keys.onRightPressed: bar.goTo(index + 1)
                    Keys.onPressed: event => {
                        switch (event.key) {
                        case Qt.Key_Home: bar.goTo(0); break;
                        case Qt.Key_End: bar.goTo(bar.places); break;
                        default: return;
                        }
                        event.accepted = true;
                    }
                }
            }
        }
    }
}

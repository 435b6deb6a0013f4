import QtQuick
import QtQuick.Controls

// Entries in as many columns as fit, with one of them selected.
GridView {
    id: grid

    property var entries: []
    property bool iconsAvailable: false
    property string markedFor // The monitor model whose marks are shown.
    property var runningFiles: [] // Paths in lower case.
    readonly property var currentEntry: entries[currentIndex] || null
    readonly property int columns: Math.max(1, Math.floor(width / (Theme.unit * 68)))
    readonly property int rowsPerPage: Math.max(1, Math.floor(height / cellHeight))

    signal activated(var entry)
    signal pinToggled(var entry)
    signal menuRequested()

    // A number as the model keeps ten thousand entries from being converted for each letter that is typed.
    model: entries.length
    cellWidth: Math.floor(width / columns)
    cellHeight: Theme.unit * 19
    clip: true
    reuseItems: true
    focus: true
    activeFocusOnTab: true
    boundsBehavior: Flickable.StopAtBounds
    keyNavigationEnabled: true
    highlightMoveDuration: 0
    ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Programs")

    function select(index: int) {
        if (count > 0) {
            currentIndex = Math.max(0, Math.min(count - 1, index));
            positionViewAtIndex(currentIndex, GridView.Contain);
        }
    }

    // Shows other entries and keeps the selected one selected, if it is among them.
    function show(newEntries: var) {
        const key = currentEntry ? currentEntry.key : "";
        entries = newEntries;
        select(Math.max(0, newEntries.findIndex(entry => entry.key === key)));
    }

    function activateCurrent() {
        if (currentEntry)
            activated(currentEntry);
    }

    Keys.onReturnPressed: activateCurrent()
    Keys.onEnterPressed: activateCurrent()
    Keys.onPressed: event => {
        switch (event.key) {
        case Qt.Key_Home: select(0); break;
        case Qt.Key_End: select(count - 1); break;
        case Qt.Key_PageUp: select(Math.max(currentIndex % columns, currentIndex - rowsPerPage * columns)); break;
        case Qt.Key_PageDown: select(currentIndex + rowsPerPage * columns); break;
        case Qt.Key_P: if (event.modifiers === Qt.NoModifier && currentEntry) pinToggled(currentEntry); break;
        case Qt.Key_Menu: if (currentEntry) menuRequested(); break;
        default: return;
        }
        event.accepted = true;
    }

    delegate: EntryTile {
        required property int index

        width: grid.cellWidth
        height: grid.cellHeight
        entry: grid.entries[index] || null
        iconsAvailable: grid.iconsAvailable
        selected: GridView.isCurrentItem
        focused: selected && grid.activeFocus
        running: entry !== null && grid.runningFiles.includes(entry.file)
        markedFor: grid.markedFor
        onPressed: {
            grid.currentIndex = index;
            grid.forceActiveFocus(Qt.MouseFocusReason);
        }
        onMenuRequested: grid.menuRequested()
        onActivated: {
            grid.currentIndex = index;
            grid.activateCurrent();
        }
    }
}

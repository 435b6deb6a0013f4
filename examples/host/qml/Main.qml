import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Entries.js" as Entries

ApplicationWindow {
    id: window

    property bool iconsAvailable: false
    property QtObject marks: null     // Without it, nothing is marked,
    property QtObject launchers: null // only games that tell their launcher themselves have one,
    property QtObject running: null   // and nobody knows what runs.
    property int firstCategory: 0
    property string firstSearch

    readonly property bool wide: width >= Theme.unit * 210
    readonly property var categories: [
        { title: qsTr("All"), entries: catalogue.programs },
        { title: qsTr("Meetings"), entries: catalogue.meetings },
        { title: qsTr("Games"), entries: catalogue.games },
        { title: qsTr("Tools"), entries: catalogue.tools }
    ]
    readonly property string model: marks ? marks.model : ""
    readonly property var runningFiles: running ? running.files : []
    readonly property var listed: categories[bar.currentIndex].entries

    width: 1120
    height: 720
    visible: true
    title: "KvProgram"
    color: Theme.page
    palette {
        window: Theme.page
        windowText: Theme.text
        base: Theme.card
        light: Theme.cardHovered
        midlight: Theme.cardHovered
        text: Theme.text
        button: Theme.card
        buttonText: Theme.text
        highlight: Theme.accent
        highlightedText: Theme.accentInk
        mid: Theme.muted
        dark: Theme.muted
        placeholderText: Theme.muted
        toolTipBase: Theme.card
        toolTipText: Theme.text
    }

    function rescan() {
        catalogue.rescan();
    }

    function refresh() {
        delay.stop();
        grid.show(Entries.matching(listed, header.searchField.text));
    }

    function launch(entry: var) {
        if (!entry)
            return; // The list has changed while its menu was open.
        if (!catalogue.launch(entry))
            toast.show(qsTr("%1 could not be started.").arg(entry.name));
        else if (running && entry.file)
            running.watch(entry.file);
    }

    function togglePin(entry: var) {
        if (!entry)
            return;
        const place = catalogue.placeOf(entry);
        const problem = catalogue.pinProblem(entry);
        if (problem)
            toast.show(problem);
        else if (place >= 0 ? !catalogue.unpin(place) : !catalogue.pin(entry))
            toast.show(qsTr("%1 could not be pinned.").arg(entry.name));
    }

    // Several lists change in one go.
    onListedChanged: Qt.callLater(refresh)
    Component.onCompleted: {
        bar.currentIndex = firstCategory;
        header.searchField.text = firstSearch;
        refresh();
        grid.forceActiveFocus();
    }

    Catalogue {
        id: catalogue

        launchers: window.launchers
        marks: window.marks
        onChanged: what => note.text = what
    }

    Timer {
        id: delay

        interval: 120
        onTriggered: window.refresh()
    }

    Shortcut {
        sequences: [StandardKey.Find]
        onActivated: {
            header.searchField.forceActiveFocus(Qt.ShortcutFocusReason);
            header.searchField.selectAll();
        }
    }
    Shortcut {
        sequence: "F5"
        enabled: !catalogue.scanning
        onActivated: window.rescan()
    }
    Shortcut {
        sequence: "Escape"
        enabled: header.searchField.text !== ""
        onActivated: header.searchField.clear()
    }
    Shortcut {
        sequence: "Escape"
        enabled: header.searchField.text === "" && note.visible
        onActivated: note.text = ""
    }

    header: HeaderBar {
        id: header

        scanning: catalogue.scanning
        marks: window.marks
        onRescanRequested: window.rescan()
        onSearchLeft: {
            window.refresh();
            grid.forceActiveFocus(Qt.TabFocusReason);
        }
        searchField.onTextChanged: searchField.text === "" ? window.refresh() : delay.restart()
    }

    GridLayout {
        anchors.fill: parent
        columns: window.wide ? 2 : 1
        columnSpacing: 0
        rowSpacing: 0

        ColumnLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: 0

            // The note finds room beside the lists' names, unless the window is narrow.
            GridLayout {
                Layout.leftMargin: Theme.unit * 3
                Layout.rightMargin: Theme.unit * 4
                Layout.topMargin: Theme.unit * 2
                columns: window.wide ? 2 : 1
                columnSpacing: Theme.unit * 3

                CategoryBar {
                    id: bar

                    objectName: "categories"
                    categories: window.categories.map(({ title, entries }) => ({ title: title, count: entries.length }))
                }
                Item {
                    Layout.fillWidth: true
                    implicitHeight: note.visible ? note.implicitHeight : 0

                    ChangeNote {
                        id: note

                        objectName: "note"
                        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                        width: Math.min(implicitWidth, parent.width)
                        onDismissed: {
                            text = "";
                            grid.forceActiveFocus();
                        }
                    }
                }
            }
            Item {
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.margins: Theme.unit * 3
                Layout.topMargin: Theme.unit * 2

                EntryGrid {
                    id: grid

                    objectName: "grid"
                    anchors.fill: parent
                    iconsAvailable: window.iconsAvailable
                    markedFor: window.model
                    runningFiles: window.runningFiles
                    onActivated: entry => window.launch(entry)
                    onPinToggled: entry => window.togglePin(entry)
                    onMenuRequested: menu.open()
                }
                EmptyState {
                    objectName: "empty"
                    anchors.centerIn: parent
                    width: Math.min(parent.width, Theme.unit * 120)
                    visible: grid.entries.length === 0
                    scanning: catalogue.scanning && window.listed.length === 0
                    search: window.listed.length > 0 ? header.searchField.text : ""
                    onSearchCleared: {
                        header.searchField.clear();
                        grid.forceActiveFocus();
                    }
                }
            }
        }
        DetailsPane {
            id: details

            objectName: "details"
            Layout.fillWidth: !window.wide
            Layout.fillHeight: window.wide
            Layout.preferredWidth: Theme.unit * 75
            Layout.preferredHeight: Math.min(Theme.unit * 58, window.height * 0.4)
            visible: grid.currentEntry !== null
            entry: grid.currentEntry
            iconsAvailable: window.iconsAvailable
            beside: window.wide
            pinned: entry !== null && catalogue.placeOf(entry) >= 0
            pinProblem: entry ? catalogue.pinProblem(entry) : ""
            running: entry !== null && window.runningFiles.includes(entry.file)
            markedFor: window.model
            onLaunchRequested: window.launch(entry)
            onPinToggled: window.togglePin(entry)
        }
    }

    footer: ShortcutBar {
        id: shortcutBar

        objectName: "shortcuts"
        visible: catalogue.scanned
        shortcuts: catalogue.shortcuts
        places: catalogue.places
        iconsAvailable: window.iconsAvailable
        runningFiles: window.runningFiles
        onActivated: entry => window.launch(entry)
        onRemoved: place => catalogue.unpin(place)
        onEmptied: grid.forceActiveFocus(Qt.TabFocusReason)
    }

    EntryMenu {
        id: menu

        objectName: "menu"
        parent: grid.currentItem || grid
        x: Theme.unit * 15
        y: Theme.unit * 10
        pinned: details.pinned
        pinnable: details.pinProblem === ""
        onLaunchRequested: window.launch(grid.currentEntry)
        onPinToggled: window.togglePin(grid.currentEntry)
    }

    Toast {
        id: toast

        objectName: "toast"
        anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: Theme.unit * 5 }
        width: Math.min(implicitWidth, parent.width - Theme.unit * 10)
    }
}

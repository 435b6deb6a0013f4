import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import "Entries.js" as Entries

ApplicationWindow {
    id: window

    property bool iconsAvailable: false
    property int firstCategory: 0
    property string firstSearch

    readonly property bool wide: width >= Theme.unit * 210
    readonly property var categories: [
        { title: qsTr("All"), entries: catalogue.programs },
        { title: qsTr("Meetings"), entries: catalogue.meetings },
        { title: qsTr("Games"), entries: catalogue.games },
        { title: qsTr("Tools"), entries: catalogue.tools }
    ]
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
        if (!catalogue.launch(entry))
            toast.show(qsTr("%1 could not be started.").arg(entry.name));
    }

    // Several lists change in one go.
    onListedChanged: Qt.callLater(refresh)
    Component.onCompleted: {
        bar.currentIndex = firstCategory;
        header.searchField.text = firstSearch;
        refresh();
        grid.forceActiveFocus();
    }

    Catalogue { id: catalogue }

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

    header: HeaderBar {
        id: header

        scanning: catalogue.scanning
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

            CategoryBar {
                id: bar

                objectName: "categories"
                Layout.leftMargin: Theme.unit * 3
                Layout.topMargin: Theme.unit * 2
                categories: window.categories.map(({ title, entries }) => ({ title: title, count: entries.length }))
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
                    onActivated: entry => window.launch(entry)
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
            objectName: "details"
            Layout.fillWidth: !window.wide
            Layout.fillHeight: window.wide
            Layout.preferredWidth: Theme.unit * 75
            Layout.preferredHeight: Math.min(Theme.unit * 50, window.height * 0.36)
            visible: grid.currentEntry !== null
            entry: grid.currentEntry
            iconsAvailable: window.iconsAvailable
            beside: window.wide
            onLaunchRequested: window.launch(entry)
        }
    }

    Toast {
        id: toast

        objectName: "toast"
        anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: Theme.unit * 5 }
        width: Math.min(implicitWidth, parent.width - Theme.unit * 10)
    }
}

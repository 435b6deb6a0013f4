import QtQml
import KvProgram 1.0
import "Entries.js" as Entries

// The catalogue as the window shows it: snapshots of the lists, taken when they are published and at no other time.
QtObject {
    id: catalogue

    readonly property int places: 7 // For shortcuts.

    property QtObject launchers: null // Knows whose game it is.
    property QtObject marks: null
    property bool scanning: false
    property bool scanned: false
    property var programs: []
    property var meetings: []
    property var games: []
    property var tools: []
    property var shortcuts: []
    property var shownLast: null // The lists after the last scan that was completed.

    signal changed(string what) // By a scan, but for the first one.

    readonly property Connections publishing: Connections {
        target: KvProgramContext

        // The signals of games and tools come first, and QML hears of them before those who mark them do.
        function onAllAppsChanged() {
            catalogue.tools = Entries.fromTools(KvProgramContext.toolApps, catalogue.launchers);
            catalogue.games = Entries.fromGames(KvProgramContext.gameApps, catalogue.launchers);
            catalogue.programs = Entries.fromPrograms(KvProgramContext.allApps);
        }
        function onMeetingAppsChanged() {
            catalogue.meetings = Entries.fromPrograms(KvProgramContext.meetingApps);
        }
        function onShortcutsChanged() {
            catalogue.shortcuts = Entries.fromPrograms(KvProgramContext.shortcuts);
        }
        function onIsEmptyChanged() {
            catalogue.scanned = true;
            catalogue.scanning = false;
            catalogue.tellChanges();
        }
    }

    readonly property Connections marking: Connections {
        target: catalogue.marks

        function onModelChanged() {
            catalogue.games = Entries.withMarks(catalogue.games, KvProgramContext.gameApps);
            catalogue.tools = Entries.withMarks(catalogue.tools, KvProgramContext.toolApps);
        }
    }

    function rescan() {
        scanning = true;
        KvProgramContext.startScan();
    }

    function tellChanges() {
        const shown = { programs: programs, games: games };
        const what = shownLast ? Entries.changes(shownLast, shown) : "";
        shownLast = shown;
        if (what)
            changed(what);
    }

    function launch(entry: var): bool {
        const program = Entries.programOf(entry, programs);
        return program !== null && program.launch();
    }

    // Where an entry is pinned, or -1.
    function placeOf(entry: var): int {
        const pinned = Entries.programEntryOf(entry, programs);
        return pinned ? shortcuts.findIndex(shortcut => shortcut.key === pinned.key) : -1;
    }

    // Why an entry can't be pinned; empty if it can be or is.
    function pinProblem(entry: var): string {
        if (placeOf(entry) >= 0)
            return "";
        if (!Entries.programEntryOf(entry, programs))
            return qsTr("Only what is in the list of all programs can be pinned.");
        return shortcuts.length >= places ? qsTr("All %1 shortcuts are taken.").arg(places) : "";
    }

    function pin(entry: var): bool {
        return KvProgramContext.addShortcut(Entries.programOf(entry, programs));
    }

    function unpin(place: int): bool {
        return KvProgramContext.removeShortcutAt(place);
    }
}

import QtQml
import KvProgram 1.0
import "Entries.js" as Entries

// The catalogue as the window shows it: snapshots of the lists, taken when they are published and at no other time.
QtObject {
    id: catalogue

    property bool scanning: false
    property bool scanned: false
    property var programs: []
    property var meetings: []
    property var games: []
    property var tools: []

    readonly property Connections publishing: Connections {
        target: KvProgramContext

        function onToolAppsChanged() {
            catalogue.tools = Entries.fromTools(KvProgramContext.toolApps);
        }
        function onGameAppsChanged() {
            catalogue.games = Entries.fromGames(KvProgramContext.gameApps);
        }
        function onAllAppsChanged() {
            catalogue.programs = Entries.fromPrograms(KvProgramContext.allApps);
        }
        function onMeetingAppsChanged() {
            catalogue.meetings = Entries.fromPrograms(KvProgramContext.meetingApps);
        }
        function onIsEmptyChanged() {
            catalogue.scanned = true;
            catalogue.scanning = false;
        }
    }

    function rescan() {
        scanning = true;
        KvProgramContext.startScan();
    }

    function launch(entry: var): bool {
        const program = Entries.programOf(entry, programs);
        return program !== null && program.launch();
    }
}

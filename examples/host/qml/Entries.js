.pragma library
.import KvProgram 1.0 as Kv

// Entries are plain snapshots of the catalogue's records, because the records of games and tools vanish without notice
// when a scan starts by itself. Only "program" is a record, of a list that lasts until the next scan has been published.

function fromPrograms(records) {
    return Array.from(records, fromProgram);
}

// "launchers" knows the launcher of a record; without it, what the record itself says has to do.
function fromGames(records, launchers) {
    return Array.from(records, record => {
        const launcher = launcherOf(record, launchers);
        return fromSetting(record, launcher || qsTr("Game"), launcher);
    });
}

function fromTools(records, launchers) {
    return Array.from(records, record => fromSetting(record, qsTr("Tool"), launcherOf(record, launchers)));
}

// The same entries with the marks that their records have now. A scan empties the records' list before it ends.
function withMarks(entries, records) {
    if (entries.length !== records.length)
        return entries;
    return entries.map((entry, index) => Object.assign({}, entry, { selected: records[index].hasSelected }));
}

function fromProgram(record) {
    const entry = {
        key: String(record.target),
        name: record.displayName,
        publisher: record.publisherName,
        version: record.version,
        description: record.description,
        icon: record.icon,
        kind: programKind(record.type),
        program: record,
        executable: record.type === Kv.ProgramInfo.TypeDesktop ? localPath(record.target) : "",
        selected: false
    };
    complete(entry);
    return entry;
}

function fromSetting(record, kind, launcher) {
    const entry = {
        key: record.executable || record.displayName,
        name: record.displayName,
        publisher: "",
        version: "",
        description: "",
        icon: record.icon,
        kind: kind,
        program: null,
        executable: nativePath(record.executable),
        executables: Array.from(record.executableList, nativePath),
        launcher: launcher,
        selected: record.hasSelected
    };
    complete(entry);
    return entry;
}

function complete(entry) {
    entry.searchText = (entry.name + "\n" + entry.publisher + "\n" + entry.description).toLowerCase();
    entry.file = entry.executable.toLowerCase();
}

// The entries in which every word of the text occurs.
function matching(entries, text) {
    const words = text.toLowerCase().split(/\s+/).filter(word => word.length > 0);
    if (words.length === 0)
        return entries;
    return entries.filter(entry => words.every(word => entry.searchText.includes(word)));
}

// The program that an entry starts; a game or tool is started as the program with the same file.
function programOf(entry, programs) {
    if (entry.program)
        return entry.program;
    const found = programEntryOf(entry, programs);
    return found ? found.program : null;
}

function programEntryOf(entry, programs) {
    if (entry.program)
        return entry;
    return (entry.file && programs.find(candidate => candidate.file === entry.file)) || null;
}

// What is different in the newer lists, as a text; empty if nothing is.
function changes(older, newer) {
    return [
        changesOf(older.programs, newer.programs, qsTr("program"), qsTr("programs")),
        changesOf(older.games, newer.games, qsTr("game"), qsTr("games"))
    ].filter(text => text).join("; ");
}

// "3 programs added, 1 removed"
function changesOf(older, newer, one, many) {
    const before = new Map(older.map(entry => [entry.key, entry]));
    const after = new Set(newer.map(entry => entry.key));
    const common = newer.filter(entry => before.has(entry.key));
    const parts = [
        [newer.length - common.length, qsTr("added")],
        [older.filter(entry => !after.has(entry.key)).length, qsTr("removed")],
        [common.filter(entry => isUpdated(before.get(entry.key), entry)).length, qsTr("updated")]
    ].filter(part => part[0] > 0);
    return parts.map(([count, what], index) => {
        return index > 0 ? count + " " + what : [count, count === 1 ? one : many, what].join(" ");
    }).join(", ");
}

function isUpdated(older, newer) {
    return older.name !== newer.name || older.version !== newer.version;
}

// What the details pane tells, as pairs of label and text. Only for entries of the lists published last.
function details(entry) {
    const program = entry.program;
    const executables = entry.executables || [];
    const pairs = program ? [
        [qsTr("Description"), program.description],
        [qsTr("Target"), entry.executable || entry.key],
        [qsTr("Arguments"), program.arguments],
        [qsTr("Working folder"), localPath(program.workingFolder)],
        [qsTr("Opened by"), nativePath(program.shell)],
        [qsTr("Publisher"), program.publisherName],
        [qsTr("Product"), program.productName],
        [qsTr("Version"), program.version]
    ] : [
        [entry.kind === entry.launcher ? qsTr("Launcher") : qsTr("Recognised as"), entry.launcher],
        [executables.length > 1 ? qsTr("Executables") : qsTr("Executable"), executables.join("\n")]
    ];
    return pairs.filter(pair => pair[1] !== "").map(pair => ({ label: pair[0], text: pair[1] }));
}

function programKind(type) {
    switch (type) {
    case Kv.ProgramInfo.TypeManaged: return qsTr("Package");
    case Kv.ProgramInfo.TypeDesktop: return qsTr("Desktop");
    case Kv.ProgramInfo.TypeWeb: return qsTr("Web");
    }
    return "";
}

function launcherOf(record, launchers) {
    return launchers ? launchers.launcherOf(record) : launcherName(record.platform);
}

function launcherName(platform) {
    switch (platform) {
    case Kv.KvAppSetting.Steam: return "Steam";
    case Kv.KvAppSetting.Epic: return "Epic";
    case Kv.KvAppSetting.Ubisoft: return "Ubisoft";
    case Kv.KvAppSetting.Origin: return "Origin";
    case Kv.KvAppSetting.Riot: return "Riot";
    case Kv.KvAppSetting.WeGame: return "WeGame";
    }
    return "";
}

function localPath(url) {
    const path = String(url).replace(/^file:\/\/\/?/, "");
    try {
        return nativePath(decodeURIComponent(path));
    } catch (error) {
        return nativePath(path);
    }
}

function nativePath(path) {
    return path.replace(/\//g, "\\");
}

// The letter on an icon's place, a whole character even beyond the first plane.
function initial(name) {
    const letters = Array.from(name.trim());
    return letters.length > 0 ? letters[0].toUpperCase() : "?";
}

// A hue from 0 to 1 that stays the same for a name.
function hue(name) {
    let hash = 0;
    for (let i = 0; i < name.length; ++i)
        hash = (hash * 31 + name.charCodeAt(i)) % 65521;
    return (hash * 0.61803398875) % 1;
}

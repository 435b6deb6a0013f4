.pragma library
.import KvProgram 1.0 as Kv

// Entries are plain snapshots of the catalogue's records, because the records of games and tools vanish without notice
// when a scan starts by itself. Only "program" is a record, of a list that lasts until the next scan has been published.

function fromPrograms(records) {
    return Array.from(records, fromProgram);
}

function fromGames(records) {
    return Array.from(records, record => fromSetting(record, launcherName(record.platform) || qsTr("Game")));
}

function fromTools(records) {
    return Array.from(records, record => fromSetting(record, qsTr("Tool")));
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
        executable: record.type === Kv.ProgramInfo.TypeDesktop ? localPath(record.target) : ""
    };
    entry.searchText = searchText(entry);
    return entry;
}

function fromSetting(record, kind) {
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
        launcher: launcherName(record.platform)
    };
    entry.searchText = searchText(entry);
    return entry;
}

function searchText(entry) {
    return (entry.name + "\n" + entry.publisher + "\n" + entry.description).toLowerCase();
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
    const file = entry.executable.toLowerCase();
    const found = file ? programs.find(candidate => candidate.executable.toLowerCase() === file) : undefined;
    return found ? found.program : null;
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
        [qsTr("Launcher"), entry.launcher || ""],
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

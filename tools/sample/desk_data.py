"""What stands on the sample computer: its programs, its Start Menu and the tool that makes each link.

The other scripts of this folder turn these tables into files; nothing else decides what the machine holds.
"""

from dataclasses import dataclass, field

SID = "S-1-5-21-1111111111-2222222222-3333333333-1001"
USER_HOME = r"C:\Users\kim"
LOCAL = USER_HOME + r"\AppData\Local"
PF = r"C:\Program Files"
PF86 = r"C:\Program Files (x86)"
SYS = r"C:\Windows\System32"

COMMON_MENU = r"C:\ProgramData\Microsoft\Windows\Start Menu\Programs"
USER_MENU = USER_HOME + r"\AppData\Roaming\Microsoft\Windows\Start Menu\Programs"
MENUS = {"A": COMMON_MENU, "U": USER_MENU}


@dataclass
class Program:
    """A program file. `strings` holds (language, product, company, description) in the order of the translations."""

    path: str
    version: str
    strings: list
    icon: str = "small"  # a key of icons.KINDS, or "none"
    look: tuple = ("A", "#4477aa")  # glyph and colour


def english(product, company, description=None):
    return [(0x0409, product, company, description or product)]


def program(path, version, product, company, icon, look, more=(), description=None):
    return Program(path, version, english(product, company, description) + list(more), icon, look)


SYSTEM = "Microsoft Corporation"
WINDOWS = "Microsoft® Windows® Operating System"


def system_program(name, description, icon, look, folder=SYS):
    japanese = [(0x0411, WINDOWS, SYSTEM, description + " (日本語)")]
    return program(folder + "\\" + name, "10.0.22631.1", WINDOWS, SYSTEM, icon, look, japanese, description)


PROGRAMS = [
    # What every Windows computer has.
    system_program("explorer.exe", "Windows Explorer", "small", ("folder", "#e0a526"), r"C:\Windows"),
    system_program("regedit.exe", "Registry Editor", "old", ("R", "#3a6ea5"), r"C:\Windows"),
    system_program("notepad.exe", "Notepad", "full", ("lines", "#2f8fd0")),
    system_program("mspaint.exe", "Paint", "full", ("drop", "#7d4fc4")),
    system_program("cmd.exe", "Windows Command Processor", "small", ("prompt", "#202428")),
    system_program("charmap.exe", "Character Map", "mono", ("A", "#8a5a2b")),
    system_program("control.exe", "Windows Control Panel", "small", ("gear", "#3c78b4")),
    system_program("mmc.exe", "Microsoft Management Console", "small", ("M", "#707c88")),
    system_program("narrator.exe", "Screen Reader", "pair", ("N", "#19647e")),
    system_program("msinfo32.exe", "System Information", "old", ("I", "#2e6da4")),
    system_program("taskmgr.exe", "Task Manager", "pair", ("pulse", "#198754")),
    system_program(
        "powershell.exe", "Windows PowerShell", "pair", ("prompt", "#1f3a68"), SYS + r"\WindowsPowerShell\v1.0"
    ),
    # Programs that the shipped lists name.
    program(
        PF + r"\Google\Chrome\Application\chrome.exe",
        "131.0.6778.86",
        "Google Chrome",
        "Google LLC",
        "full",
        ("ring", "#d94f3d"),
    ),
    program(
        PF + r"\Google\Chrome\Application\chrome_proxy.exe",
        "131.0.6778.86",
        "Google Chrome",
        "Google LLC",
        "pair",
        ("ring", "#d98f3d"),
        description="Google Chrome Proxy",
    ),
    # The lists know it in small letters only.
    program(
        PF + r"\Google\Chrome Beta\Application\CHROME.EXE",
        "132.0.6834.32",
        "Google Chrome Beta",
        "Google LLC",
        "pair",
        ("ring", "#8d6e63"),
    ),
    program(
        PF86 + r"\Microsoft\Edge\Application\msedge.exe",
        "131.0.2903.51",
        "Microsoft Edge",
        SYSTEM,
        "full",
        ("wave", "#1687a7"),
    ),
    program(
        PF86 + r"\Microsoft\Edge\Application\msedge_proxy.exe",
        "131.0.2903.51",
        "Microsoft Edge",
        SYSTEM,
        "pair",
        ("wave", "#16a78c"),
        description="Microsoft Edge Proxy",
    ),
    program(
        PF + r"\Mozilla Firefox\firefox.exe", "132.0.2", "Firefox", "Mozilla Corporation", "full", ("flame", "#e66000")
    ),
    program(
        PF + r"\Microsoft Office\root\Office16\WINWORD.EXE",
        "16.0.18129.20158",
        "Microsoft Office",
        SYSTEM,
        "small",
        ("W", "#2b579a"),
        [(0x0411, "Microsoft Office", "マイクロソフト", "Word")],
        "Word",
    ),
    program(
        PF + r"\Microsoft Office\root\Office16\EXCEL.EXE",
        "16.0.18129.20158",
        "Microsoft Office",
        SYSTEM,
        "small",
        ("X", "#217346"),
        [(0x0411, "Microsoft Office", "マイクロソフト", "Excel")],
        "Excel",
    ),
    program(
        PF + r"\Microsoft Office\root\Office16\POWERPNT.EXE",
        "16.0.18129.20158",
        "Microsoft Office",
        SYSTEM,
        "small",
        ("P", "#b7472a"),
        [(0x0411, "Microsoft Office", "マイクロソフト", "PowerPoint")],
        "PowerPoint",
    ),
    program(
        PF86 + r"\Microsoft\Skype for Desktop\Skype.exe",
        "8.131.0.202",
        "Skype",
        "Skype Technologies S.A.",
        "small",
        ("S", "#00aff0"),
    ),
    program(
        PF + r"\DAUM\PotPlayer\PotPlayerMini64.exe",
        "24.10.29.0",
        "PotPlayer",
        "Kakao Corp.",
        "small",
        ("play", "#f0b400"),
    ),
    program(
        LOCAL + r"\LINE\bin\LineLauncher.exe",
        "9.4.2.3477",
        "LINE",
        "LINE Corporation",
        "pair",
        ("bubble", "#06a850"),
        [(0x0411, "ライン", "LINE株式会社", "ランチャー")],
    ),
    program(
        LOCAL + r"\LINE\bin\current\LINE.exe", "9.4.2.3477", "LINE", "LINE Corporation", "small", ("bubble", "#06c755")
    ),
    program(LOCAL + r"\Discord\Update.exe", "1.1.1.0", "Update", "Discord Inc.", "none", ("D", "#5865f2")),
    program(
        LOCAL + r"\Discord\app-1.0.9172\Discord.exe",
        "1.0.9172",
        "Discord",
        "Discord Inc.",
        "small",
        ("bubble", "#5865f2"),
    ),
    program(PF86 + r"\Steam\steam.exe", "9.27.56.88", "Steam", "Valve Corporation", "small", ("gear", "#1b2838")),
    program(
        PF86 + r"\Ubisoft\Ubisoft Game Launcher\UbisoftConnect.exe",
        "159.0.11504.0",
        "Ubisoft Connect",
        "Ubisoft",
        "pair",
        ("ring", "#3044c8"),
    ),
    # Invented ones.
    program(
        PF + r"\Lumenfield\Paintbox\paintbox.exe",
        "4.2.1",
        "Paintbox",
        "Lumenfield Software",
        "full",
        ("drop", "#c2357a"),
        [(0x0411, "ペイントボックス", "ルーメンフィールド", "お絵かき")],
        "Paintbox for drawings",
    ),
    program(
        PF + r"\Lumenfield\Paintbox\batch\converter.exe",
        "4.2.1",
        "Paintbox Converter",
        "Lumenfield Software",
        "pair",
        ("C", "#c2357a"),
    ),
    program(PF + r"\Lumenfield\Viewer\viewer.exe", "4.2.1", "Viewer", "Lumenfield Software", "pair", ("I", "#c2357a")),
    program(PF + r"\Tern Notes\TernNotes.exe", "7.0.3", "Tern Notes", "Tern Labs", "bigpng", ("lines", "#e8833a")),
    program(PF + r"\Tern Notes\remove.exe", "7.0.3", "Tern Notes Setup", "Tern Labs", "old", ("cross", "#a33c3c")),
    program(PF + r"\Quillmark\bin\quill.exe", "2.18", "Quillmark", "Quillmark Press", "small", ("Q", "#37474f")),
    program(
        PF + r"\Quillmark\bin\QuillmarkCrashReporter.exe",
        "2.18",
        "Quillmark Crash Reporter",
        "Quillmark Press",
        "none",
        ("Q", "#37474f"),
    ),
    Program(
        PF + r"\Blauwal\Büroplan\Bueroplan.exe",
        "11.3.0",
        [(0x0407, "Büroplan", "Blauwal GmbH", "Büroplan – Termine & Räume")],
        "small",
        ("B", "#0a4f8f"),
    ),
    Program(
        PF + r"\Blauwal\Büroplan\Bueroplan-uninst.exe",
        "11.3.0",
        [(0x0407, "Büroplan", "Blauwal GmbH", "Büroplan entfernen")],
        "none",
        ("B", "#0a4f8f"),
    ),
    program(
        PF + r"\Söderberg\Ljudstudio\ljudstudio.exe",
        "3.1.4",
        "Ljudstudio",
        "Söderberg Ljud AB",
        "full",
        ("pulse", "#0b7a75"),
    ),
    program(
        PF + r"\Söderberg\Ljudstudio\unins000.exe",
        "51.1052.0.0",
        "Ljudstudio",
        "Söderberg Ljud AB",
        "old",
        ("cross", "#666666"),
    ),
    Program(
        PF + r"\写真工房\shashin.exe",
        "5.0.12",
        [(0x0411, "写真工房", "光画システム株式会社", "写真の整理"), (0x0409, "Shashin Kobo", "Koga Systems", "Photo organiser")],
        "full",
        ("mountain", "#2b7a4b"),
    ),
    Program(
        PF + r"\Фонарь\Фонарь.exe",
        "1.9",
        [(0x0419, "Фонарь", "ООО «Маяк»", "Просмотр карт")],
        "small",
        ("bolt", "#c79a00"),
    ),
    program(
        PF + r"\Atelier Éclair\éclair.exe",
        "6.6.0",
        "Éclair",
        "Atelier Éclair SARL",
        "small",
        ("bolt", "#8f3fa0"),
        [(0x040C, "Éclair", "Atelier Éclair SARL", "Retouche d’images")],
    ),
    program(PF + r"\Rocket Timer 🚀\timer.exe", "1.0.0", "Rocket Timer 🚀", "Tern Labs", "bigpng", ("clock", "#d1495b")),
    program(PF + r"\Harbor Suite\mail.exe", "2024.4", "Harbor Mail", "Harbor & Pine", "small", ("envelope", "#33658a")),
    program(
        PF + r"\Harbor Suite\calendar.exe", "2024.4", "Harbor Calendar", "Harbor & Pine", "small", ("grid", "#55828b")
    ),
    program(PF + r"\Harbor Suite\contacts.exe", "2024.4", "Harbor Contacts", "Harbor & Pine", "old", ("H", "#55a08b")),
    program(
        PF + r"\Confero\Meet\ConferoMeet.exe",
        "5.16.6",
        "Confero Meet",
        "Confero Systems",
        "small",
        ("camera", "#2d8cff"),
    ),
    program(
        PF + r"\Confero\Rooms\ConferoRooms.exe",
        "5.16.6",
        "Confero Rooms",
        "Confero Systems",
        "pair",
        ("camera", "#274b8f"),
    ),
    program(
        PF + r"\Cobalt Studio\Common\cobalt.exe",
        "17.12.1",
        "Cobalt Studio",
        "Cobalt Tools",
        "full",
        ("infinity", "#5c2d91"),
    ),
    program(
        PF + r"\Cobalt Studio\Tools\Remote\dbgsrv.exe",
        "17.12.1",
        "Cobalt Remote Debugger",
        "Cobalt Tools",
        "broken",
        ("D", "#5c2d91"),
    ),
    program(
        PF + r"\Cobalt Studio\Tools\profile.com", "17.12.1", "Cobalt Profiler", "Cobalt Tools", "none", ("P", "#5c2d91")
    ),
    program(
        PF + r"\Kestrel Archiver\kestrel.exe",
        "23.01",
        "Kestrel Archiver",
        "Kestrel Open Tools",
        "deep",
        ("K", "#556b2f"),
    ),
    program(PF86 + r"\Otter FTP\otter.exe", "3.67.1", "Otter FTP", "Otter Project", "small", ("O", "#8b4513")),
    program(PF86 + r"\Otter FTP\uninstall.exe", "3.67.1", "Otter FTP", "Otter Project", "old", ("cross", "#8b4513")),
    program(PF + r"\Pebble Backup\pebble.exe", "8.8", "Pebble Backup", "Harbor & Pine", "pair", ("ring", "#607d8b")),
    Program(PF + r"\Wavelet\wavelet.exe", "0.9", [], "small", ("note", "#b5179e")),
    program(r"C:\Windows\System32\Tidepool.scr", "1.1", "Tidepool", "Lumenfield Software", "pair", ("wave", "#0077b6")),
    # Games, one of them on a second drive.
    program(
        r"C:\Games\Ostrich Run\OstrichRun.exe", "1.4.2", "Ostrich Run", "Ostrich Games", "full", ("star", "#c1440e")
    ),
    program(
        r"C:\Games\Star Courier\bin\courier.exe",
        "0.38.5",
        "Star Courier",
        "Ostrich Games",
        "bigpng",
        ("star", "#16213e"),
    ),
    program(r"C:\Games\Unicorn Dash\unicorn.exe", "2.0", "Unicorn Dash", "Ostrich Games", "small", ("U", "#e85d9e")),
    program(
        r"D:\Games\Lanternfall\Lanternfall.exe", "1.12", "Lanternfall", "Moth & Lamp", "small", ("flame", "#f4a300")
    ),
    program(
        USER_HOME + r"\AppData\Local\Programs\Blockyard\Blockyard.exe",
        "3.3.3",
        "Blockyard",
        "Moth & Lamp",
        "pair",
        ("grid", "#3d5a80"),
    ),
]

TEXT_FILES = {
    PF + r"\Quillmark\readme.txt": "Quillmark 2.18\r\n\r\nA text of the sample machine.\r\n",
    PF + r"\Quillmark\help\index.html": "<!DOCTYPE html>\r\n<title>Quillmark help</title>\r\n<p>Start here.</p>\r\n",
    PF + r"\Quillmark\help\quillmark.chm": "ITSF stand-in for a help file\r\n",
    PF + r"\Tern Notes\Uninstall guide.txt": "Open Settings, Apps, Tern Notes, Remove.\r\n",
    PF86 + r"\Ledger 9\start-ledger.bat": '@echo off\r\nstart "" "%~dp0ledger.jar"\r\n',
    PF + r"\Cobalt Studio\Tools\CobaltPrompt.cmd": "@echo off\r\ntitle Cobalt\r\ncmd /k\r\n",
    PF + r"\Hollow\hollow.exe": "This file has the name of a program and is none.\r\n",
    SYS + r"\eventvwr.msc": '<?xml version="1.0"?>\r\n<MMC_ConsoleFile ConsoleVersion="3.0"/>\r\n',
    SYS + r"\drivers\etc\hosts": "127.0.0.1 localhost\r\n",
    r"C:\Windows\win.ini": "; for 16-bit app support\r\n[fonts]\r\n[extensions]\r\n",
    USER_HOME + r"\Documents\Plan für März.txt": "Umzug, Steuer, Garten.\r\n",
    USER_HOME + r"\Pictures\list.txt": "No pictures here yet.\r\n",
}

INTERNET_SHORTCUTS = {
    ("A", r"Ostrich Games\Ostrich Run on the web.url"): "https://ostrich.example/run",
    ("U", r"Steam\Copper Canyon.url"): "steam://rungameid/1234567",
    ("U", r"Quillmark website.url"): "https://quillmark.example/",
}


@dataclass
class Link:
    """A shortcut. `maker` names the tool: "nsis:<installer>", "com" or a function of lnk_writer."""

    maker: str
    menu: str
    name: str
    target: str = ""
    arguments: str = ""
    folder: str = None  # None: the target's own folder
    description: str = ""
    icon: str = ""
    options: dict = field(default_factory=dict)

    @property
    def working_dir(self):
        return self.target.rpartition("\\")[0] if self.folder is None else self.folder

    @property
    def path(self):
        return MENUS[self.menu] + "\\" + self.name


CHROME = PF + r"\Google\Chrome\Application\chrome.exe"
CHROME_PROXY = PF + r"\Google\Chrome\Application\chrome_proxy.exe"
EDGE_PROXY = PF86 + r"\Microsoft\Edge\Application\msedge_proxy.exe"
OFFICE = PF + r"\Microsoft Office\root\Office16"
HARBOR = PF + r"\Harbor Suite"
COBALT = PF + r"\Cobalt Studio"
QUILL = PF + r"\Quillmark"
OTTER = PF86 + r"\Otter FTP"

LONG_NAME = (
    "Lumenfield Paintbox Converter for very large collections of scanned maps, plans, drawings, postcards, stamps "
    "and letters that somebody promised to sort before the end of the year (64-bit).lnk"
)

NSIS_LINKS = [
    Link("nsis:harbor", "A", r"Harbor Suite\Harbor Mail.lnk", HARBOR + r"\mail.exe", "", None, "Read and write mail"),
    Link("nsis:harbor", "A", r"Harbor Suite\Harbor Calendar.lnk", HARBOR + r"\calendar.exe", "", None, "Plan the week"),
    Link("nsis:harbor", "A", r"Harbor Suite\Address book.lnk", HARBOR + r"\contacts.exe"),
    # One target, once plain and twice with arguments; by name the plain one stands in the middle.
    Link("nsis:harbor", "A", r"Harbor Suite\Compose a mail.lnk", HARBOR + r"\mail.exe", "/compose"),
    Link(
        "nsis:harbor",
        "A",
        r"Harbor Suite\Tools\Repair mail folders.lnk",
        HARBOR + r"\mail.exe",
        '/repair "%APPDATA%\\Harbor"',
    ),
    Link("nsis:harbor", "A", r"Pebble Backup.lnk", PF + r"\Pebble Backup\pebble.exe", "", None, "Backs up, quietly"),
    Link("nsis:otter", "A", r"Otter FTP\Otter FTP.lnk", OTTER + r"\otter.exe", "", None, "File transfer"),
    Link("nsis:otter", "A", r"Otter FTP\Uninstall Otter FTP.lnk", OTTER + r"\uninstall.exe"),
    Link("nsis:otter", "A", r"Kestrel Archiver\Kestrel Archiver.lnk", PF + r"\Kestrel Archiver\kestrel.exe"),
    Link("nsis:otter", "A", r"Kestrel Archiver\Kestrel manual.lnk", PF + r"\Kestrel Archiver\manual.pdf"),
    Link(
        "nsis:ostrich",
        "A",
        r"Ostrich Games\Ostrich Run.lnk",
        r"C:\Games\Ostrich Run\OstrichRun.exe",
        "",
        None,
        "Run, bird",
    ),
    Link("nsis:ostrich", "A", r"Ostrich Games\Star Courier\Star Courier.lnk", r"C:\Games\Star Courier\bin\courier.exe"),
    Link(
        "nsis:ostrich",
        "A",
        r"Ostrich Games\Star Courier\Star Courier (safe mode).lnk",
        r"C:\Games\Star Courier\bin\courier.exe",
        "--safe-mode --window",
    ),
    Link("nsis:ostrich", "A", r"Ostrich Games\Unicorn Dash.lnk", r"C:\Games\Unicorn Dash\unicorn.exe"),
    Link(
        "nsis:paintbox",
        "A",
        r"Lumenfield\Paintbox\Paintbox.lnk",
        PF + r"\Lumenfield\Paintbox\paintbox.exe",
        "",
        None,
        "Drawings and paintings",
    ),
    Link(
        "nsis:paintbox", "A", r"Lumenfield\Paintbox\ペイントボックス.lnk", PF + r"\Lumenfield\Paintbox\paintbox.exe", "/lang:ja"
    ),
    Link(
        "nsis:paintbox",
        "A",
        r"Lumenfield\Paintbox\Extras\Batch\Converter.lnk",
        PF + r"\Lumenfield\Paintbox\batch\converter.exe",
        "--ui",
        None,
        "Many pictures at once",
    ),
    Link("nsis:paintbox", "U", r"Blockyard\Blockyard 🧱.lnk", LOCAL + r"\Programs\Blockyard\Blockyard.exe"),
    Link("nsis:paintbox", "U", r"Blockyard\Saved games.lnk", LOCAL + r"\Programs\Blockyard"),
]

COM_LINKS = [
    Link("com", "A", r"Google Chrome.lnk", CHROME, "", None, "Access the Internet"),
    Link(
        "com", "A", r"Microsoft Edge.lnk", PF86 + r"\Microsoft\Edge\Application\msedge.exe", "", None, "Browse the web"
    ),
    Link("com", "A", r"Firefox.lnk", PF + r"\Mozilla Firefox\firefox.exe"),
    Link("com", "A", r"Firefox Private Browsing.lnk", PF + r"\Mozilla Firefox\firefox.exe", "-private-window"),
    Link("com", "A", r"Word.lnk", OFFICE + r"\WINWORD.EXE", "", "", "Write documents"),
    Link("com", "A", r"Excel.lnk", OFFICE + r"\EXCEL.EXE", "", "", "Calculate and chart"),
    Link("com", "A", r"PowerPoint.lnk", OFFICE + r"\POWERPNT.EXE", "", "", "Give talks"),
    Link("com", "A", r"Microsoft Office Tools\Excel (safe).lnk", OFFICE + r"\EXCEL.EXE", "/safe"),
    Link("com", "A", r"Skype\Skype.lnk", PF86 + r"\Microsoft\Skype for Desktop\Skype.exe"),
    Link("com", "A", r"PotPlayer\PotPlayer 64 bit.lnk", PF + r"\DAUM\PotPlayer\PotPlayerMini64.exe"),
    Link("com", "A", r"Steam\Steam.lnk", PF86 + r"\Steam\steam.exe"),
    Link(
        "com",
        "A",
        r"Ubisoft\Ubisoft Connect\Ubisoft Connect.lnk",
        PF86 + r"\Ubisoft\Ubisoft Game Launcher\UbisoftConnect.exe",
    ),
    Link("com", "A", r"Confero\Confero Meet.lnk", PF + r"\Confero\Meet\ConferoMeet.exe", "", None, "Meet"),
    Link("com", "A", r"Confero\Confero Rooms.lnk", PF + r"\Confero\Rooms\ConferoRooms.exe", "--kiosk"),
    Link("com", "A", r"Tern Notes\Tern Notes.lnk", PF + r"\Tern Notes\TernNotes.exe", "", None, "Notes that stay"),
    Link("com", "A", r"Tern Notes\Uninstall Tern Notes.lnk", PF + r"\Tern Notes\remove.exe"),
    Link("com", "A", r"Tern Notes\Uninstall guide.lnk", PF + r"\Tern Notes\Uninstall guide.txt"),
    Link("com", "A", r"Quillmark\Quillmark.lnk", QUILL + r"\bin\quill.exe", "", QUILL),
    Link("com", "A", r"Quillmark\Report a problem.lnk", QUILL + r"\bin\QuillmarkCrashReporter.exe"),
    Link("com", "A", r"Quillmark\Help\Read me.lnk", QUILL + r"\readme.txt"),
    Link("com", "A", r"Quillmark\Help\First steps.lnk", QUILL + r"\help\index.html"),
    Link("com", "A", r"Quillmark\Help\Quillmark help.lnk", QUILL + r"\help\quillmark.chm"),
    Link("com", "A", r"Blauwal\Büroplan.lnk", PF + r"\Blauwal\Büroplan\Bueroplan.exe", "", None, "Termine & Räume"),
    Link("com", "A", r"Blauwal\Büroplan entfernen.lnk", PF + r"\Blauwal\Büroplan\Bueroplan-uninst.exe"),
    Link(
        "com",
        "A",
        r"Söderberg\Ljudstudio.lnk",
        PF + r"\Söderberg\Ljudstudio\ljudstudio.exe",
        "",
        None,
        "Ljud och musik",
    ),
    Link("com", "A", r"Söderberg\Ta bort Ljudstudio.lnk", PF + r"\Söderberg\Ljudstudio\unins000.exe", "/SILENT"),
    Link("com", "A", r"Cobalt Studio\Cobalt Studio.lnk", COBALT + r"\Common\cobalt.exe"),
    Link("com", "A", r"Cobalt Studio\Tools\Cobalt Prompt.lnk", COBALT + r"\Tools\CobaltPrompt.cmd"),
    Link("com", "A", r"Cobalt Studio\Tools\Profiler.lnk", COBALT + r"\Tools\profile.com"),
    Link(
        "com",
        "A",
        r"Cobalt Studio\Tools\Remote\x64\Remote Debugger.lnk",
        COBALT + r"\Tools\Remote\dbgsrv.exe",
        "/timeout 60",
    ),
    Link(
        "com",
        "A",
        r"Cobalt Studio\Tools\x64 Native Tools.lnk",
        SYS + r"\cmd.exe",
        r'/k "C:\Program Files\Cobalt Studio\Tools\CobaltPrompt.cmd" x64',
    ),
    Link("com", "A", LONG_NAME, PF + r"\Lumenfield\Paintbox\batch\converter.exe", "--archive"),
    Link("com", "A", r"Windows Tools\Screen Reader.lnk", SYS + r"\narrator.exe"),
    Link("com", "A", r"Windows Tools\Tidepool.lnk", r"C:\Windows\System32\Tidepool.scr", "/c"),
    Link(
        "com",
        "U",
        r"Discord Inc\Discord.lnk",
        LOCAL + r"\Discord\Update.exe",
        "--processStart Discord.exe",
        LOCAL + r"\Discord\app-1.0.9172",
        "Talk, play, hang out",
    ),
    Link("com", "U", r"LINE.lnk", LOCAL + r"\LINE\bin\LineLauncher.exe"),
    Link(
        "com",
        "U",
        r"Chrome Apps\Harbor Boards.lnk",
        CHROME_PROXY,
        "--profile-directory=Default --app-id=mjhbkgdcnfkaopelmjhbkgdcnfkaopel",
    ),
    Link(
        "com",
        "U",
        r"Chrome Apps\Zephyr Call.lnk",
        CHROME_PROXY,
        "--profile-directory=Default --app-id=kpodlbfgnhejmcaikpodlbfgnhejmcai",
    ),
    Link(
        "com",
        "U",
        r"Edge Apps\Circle Rooms.lnk",
        EDGE_PROXY,
        "--profile-directory=Default --app-id=abcdonmlkjihgfepabcdonmlkjihgfep",
    ),
    Link("com", "U", r"Lanternfall.lnk", r"D:\Games\Lanternfall\Lanternfall.exe"),
    Link("com", "U", r"Atelier Éclair\Éclair.lnk", PF + r"\Atelier Éclair\éclair.exe"),
    Link("com", "U", r"Wavelet.LNK", PF + r"\Wavelet\wavelet.exe"),
    Link("com", "U", r"Missing\Gone editor.lnk", PF + r"\Gone\editor.exe"),
    Link("com", "U", r"Missing\Old drive.lnk", r"E:\Setup\install.exe"),
    # One target, here the link with arguments stands first by name.
    Link("com", "U", r"Paint\1 Poster.lnk", SYS + r"\mspaint.exe", "/poster"),
    Link("com", "U", r"Paint\2 Paint.lnk", SYS + r"\mspaint.exe"),
    Link("com", "U", r"Documents\Plan für März.lnk", USER_HOME + r"\Documents\Plan für März.txt"),
    Link("com", "U", r"Hollow program.lnk", PF + r"\Hollow\hollow.exe"),
    Link("com", "U", r"Ledger 9.lnk", PF86 + r"\Ledger 9\start-ledger.bat", "", None, "Bookkeeping"),
]

WRITTEN_LINKS = [
    # Environment-variable targets: alone, beside an ID list, and with a variable that nobody has set.
    Link(
        "environment",
        "U",
        r"Accessories\Notepad.lnk",
        r"%SystemRoot%\system32\notepad.exe",
        "",
        "%HOMEDRIVE%%HOMEPATH%",
        "Creates and edits text files",
    ),
    Link("environment", "U", r"Accessories\Character Map.lnk", r"%windir%\system32\charmap.exe", "", ""),
    Link("environment", "U", r"Accessories\Lost variable.lnk", r"%NOBODY_SET_THIS%\lost.exe", "", ""),
    Link(
        "environment_and_list",
        "U",
        r"System Tools\Command Prompt.lnk",
        r"%SystemRoot%\system32\cmd.exe",
        "",
        "%HOMEDRIVE%%HOMEPATH%",
        "Performs text-based functions",
        options={"listed": SYS + r"\cmd.exe"},
    ),
    Link(
        "environment_and_list",
        "A",
        r"Windows Tools\Event Viewer.lnk",
        r"%windir%\system32\eventvwr.msc",
        "/s",
        "",
        options={"listed": SYS + r"\eventvwr.msc"},
    ),
    Link(
        "environment_and_list",
        "A",
        r"Windows Tools\System Information.lnk",
        r"%windir%\system32\msinfo32.exe",
        "",
        "",
        options={"listed": SYS + r"\msinfo32.exe"},
    ),
    # As older installers wrote them: no Unicode anywhere.
    Link("ansi", "A", r"Windows Tools\Registry Editor.lnk", r"C:\Windows\regedit.exe", "", None, "Éditeur – ANSI"),
    Link("ansi", "A", r"Otter FTP\Otter console.lnk", OTTER + r"\otter.exe", "--console", None, "Otter’s console"),
    # ID lists with long names in extension blocks, one for each age of the block.
    # Wine leaves the signature of that block out, so paths outside of its code page are made here.
    Link(
        "id_list",
        "U",
        r"Rocket Timer 🚀.lnk",
        PF + r"\Rocket Timer 🚀\timer.exe",
        "",
        None,
        "3, 2, 1 🚀",
        options={"block": 9},
    ),
    Link("id_list", "A", r"写真工房\写真工房.lnk", PF + r"\写真工房\shashin.exe", "", None, "写真の整理", options={"block": 3}),
    Link(
        "id_list",
        "A",
        r"Фонарь\Фонарь.lnk",
        PF + r"\Фонарь\Фонарь.exe",
        "",
        None,
        "Просмотр карт",
        options={"block": 9},
    ),
    Link("id_list", "A", r"写真工房\写真工房 ビューア.lnk", PF + r"\写真工房\shashin.exe", "/view", None, "ビューア", options={"block": 9}),
    Link("id_list", "A", r"Windows Tools\Task Manager.lnk", SYS + r"\taskmgr.exe", "/7", "", options={"block": 8}),
    Link("id_list", "U", r"Фонарь (карты).lnk", PF + r"\Фонарь\Фонарь.exe", "--карты", None, options={"block": 7}),
    Link("id_list", "U", r"Accessories\Explorer.lnk", r"C:\Windows\explorer.exe", "", "", options={"block": 3}),
    Link(
        "id_list",
        "U",
        r"Accessories\Windows PowerShell.lnk",
        SYS + r"\WindowsPowerShell\v1.0\powershell.exe",
        "",
        "",
        options={"block": 9, "console": True, "app_id": "{1AC14E77-02E7-4E5D-B744-2EB1AE5198B7}"},
    ),
    Link(
        "id_list",
        "A",
        r"Google Chrome Beta.lnk",
        PF + r"\Google\Chrome Beta\Application\CHROME.EXE",
        options={"block": 3},
    ),
    Link("id_list", "U", r"Pictures folder.lnk", USER_HOME + r"\Pictures", "", "", options={"block": 9}),
    Link("link_info", "A", r"Accessories\Paint.lnk", SYS + r"\mspaint.exe", "", ""),
    Link("link_info", "U", r"Éclair – Büro.lnk", PF + r"\Atelier Éclair\éclair.exe", "--büro", None),
    Link("network", "U", r"Missing\Server setup.lnk", r"\\fileserver\tools\setup.exe", "", ""),
    # Virtual objects of the shell: an ID list and no path.
    Link("virtual", "A", r"Control Panel.lnk", options={"clsids": ["26EE0668-A00A-44D7-9371-BEB064C98683"]}),
    Link(
        "virtual",
        "A",
        r"System.lnk",
        options={"clsids": ["26EE0668-A00A-44D7-9371-BEB064C98683", "BB06C0E4-D293-4F75-8A90-CB05B6477EEE"]},
    ),
    Link("virtual", "U", r"This PC.lnk", options={"clsids": ["20D04FE0-3AEA-1069-A2D8-08002B30309D"]}),
    Link("virtual", "U", r"Recycle Bin.lnk", options={"clsids": ["645FF040-5081-101B-9F08-00AA002F954E"]}),
    # Not links, whatever the name says.
    Link("header_only", "U", r"Damaged\Header only.lnk"),
    Link("random_bytes", "U", r"Damaged\Random bytes.lnk"),
    Link("empty", "U", r"Damaged\Empty.lnk"),
    Link("cut", "U", r"Damaged\Cut in the header.lnk", options={"bytes": 40}),
    Link("cut", "U", r"Damaged\Cut in the ID list.lnk", options={"bytes": 140}),
    Link("cut", "A", r"Damaged\Cut in the texts.lnk", options={"bytes": -30}),
    Link("huge_size", "A", r"Damaged\Absurd size.lnk"),
    # A folder may have the suffix too; what lies in it counts.
    Link(
        "id_list",
        "U",
        r"Shelf.lnk\Kestrel from the shelf.lnk",
        PF + r"\Kestrel Archiver\kestrel.exe",
        "--shelf",
        options={"block": 9},
    ),
]

LINKS = NSIS_LINKS + COM_LINKS + WRITTEN_LINKS

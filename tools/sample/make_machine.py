#!/usr/bin/env python3
"""Writes the sample machine's facts: machine.json, the metadata file, the registry exports and the logos.

make_machine.py MACHINE
"""

import json
import pathlib
import struct
import sys

import desk_data
import icons
import launcher_data
from desk_data import LOCAL, PF, PF86, SID, USER_HOME
from make_programs import host_path

NOT_FOUND = {"error": {"code": -2147023728, "message": "Element not found."}}
APPS = PF + r"\WindowsApps"
METADATA_FOLDER = r"C:\ProgramData\KvProgram"


def slashes(path):
    return path.replace("\\", "/")


def entry(name, description, app_id, logo):
    return {
        "displayName": name,
        "description": description,
        "appUserModelId": app_id,
        "logo": slashes(APPS + "\\" + logo),
    }


def package(name, publisher_id, version, display_name, publisher, entries):
    numbers = dict(zip(("major", "minor", "build", "revision"), version))
    full_name = "%s_%d.%d.%d.%d_x64__%s" % (name, *version, publisher_id)
    made = [e if "error" in e else entry(e[0], e[1], "%s_%s!%s" % (name, publisher_id, e[2]), e[3]) for e in entries]
    return {
        "fullName": full_name,
        "displayName": display_name,
        "publisherDisplayName": publisher,
        "version": numbers,
        "entries": made,
    }


def packages():
    tern, harbor, koga, blau = "4w1tzt8ran6m2", "8wekq0p3n7hbc", "c5e2kobo9fz1y", "b7auwa15g3mhn"
    huddle_version = (3, 1, 4, 0)
    damaged = package("TernLabs.Ferry", tern, (0, 9, 0, 0), "Ferry", "Tern Labs", [])
    del damaged["entries"]
    damaged.update(NOT_FOUND)
    return [
        package(
            "HarborPine.Weather",
            harbor,
            (4, 53, 51922, 0),
            "Harbor Weather",
            "Harbor & Pine",
            [("Weather", "Sun and rain", "App", "HarborPine.Weather/logo.png")],
        ),
        package("HarborPine.Codecs", harbor, (1, 0, 7, 0), "Harbor Codecs", "Harbor & Pine", []),
        package(
            "HarborPine.Communications",
            harbor,
            (16005, 14326, 20544, 0),
            "Harbor Communications",
            "Harbor & Pine",
            [
                ("Mail", "Letters", "mail", "HarborPine.Communications/mail.png"),
                ("Calendar", "Dates", "calendar", "HarborPine.Communications/calendar.png"),
                ("People", "Addresses", "people", "HarborPine.Communications/people.png"),
                ("Tasks", "Things to do", "tasks", "HarborPine.Communications/tasks.png"),
            ],
        ),
        # The older of two versions comes first, and once more the other way round.
        package(
            "TernLabs.Sketch",
            tern,
            (2, 9, 0, 0),
            "Sketch",
            "Tern Labs",
            [("Sketch (old)", "Quick drawings", "App", "TernLabs.Sketch/logo.png")],
        ),
        package(
            "TernLabs.Sketch",
            tern,
            (2, 10, 0, 0),
            "Sketch",
            "Tern Labs",
            [("Sketch", "Quick drawings", "App", "TernLabs.Sketch/logo.png")],
        ),
        package(
            "TernLabs.Huddle",
            tern,
            huddle_version,
            "Huddle",
            "Tern Labs",
            [
                ("Huddle", "Small meetings", "App", "TernLabs.Huddle/logo.png"),
                ("Huddle Setup", "Sets up the camera", "Setup", "TernLabs.Huddle/logo.png"),
            ],
        ),
        damaged,
        {"error": {"code": -2147009256, "message": "The package could not be opened."}},
        package(
            "KogaSystems.Hanafuda",
            koga,
            (1, 4, 0, 2),
            "花札",
            "光画システム株式会社",
            [("花札", "カードゲーム", "App", "KogaSystems.Hanafuda/logo.png")],
        ),
        package(
            "KogaSystems.Ongaku",
            koga,
            (7, 0, 1, 0),
            "音楽プレーヤー",
            "光画システム株式会社",
            [
                ("音楽プレーヤー", "音楽を聴く", "App", "KogaSystems.Ongaku/logo.png"),
                NOT_FOUND,
                ("プレイリスト", "曲の一覧", "Lists", "KogaSystems.Ongaku/logo.png"),
            ],
        ),
        package(
            "Blauwal.Buerotueren",
            blau,
            (1, 2, 3, 4),
            "Bürotüren",
            "Blauwal Süd GmbH",
            [("Bürotüren öffnen", "Schlüssel für Gäste", "App", "Blauwal.Buerotueren/logo.png")],
        ),
        package(
            "OstrichGames.Checkers",
            "x0strchg4me5z",
            (5, 0, 0, 0),
            "Checkers",
            "Ostrich Games",
            [
                ("Checkers", "A game for two", "App", "OstrichGames.Checkers/logo.png"),
                ("Uninstall Wizard, the game", "A puzzle, not a tool", "Wizard", "OstrichGames.Checkers/logo.png"),
            ],
        ),
        package(
            "MothLamp.Eclats",
            "m0thl4mp7q2wd",
            (1, 0, 0, 9),
            "Éclats 🎆",
            "Moth & Lamp",
            [("Éclats 🎆", "Fireworks for the desk", "App", "MothLamp.Eclats/missing.png")],
        ),
        package(
            "Confero.Whiteboard",
            "cnf3r0r00m5ab",
            (12, 0, 1, 0),
            "Whiteboard",
            "Confero Systems",
            [("Whiteboard", "Draw together", "App", "Confero.Whiteboard/logo.png")],
        ),
    ]


LOGOS = {
    "HarborPine.Weather/logo.png": lambda: icons.plate(("wave", "#2f8fd0"), 310, 150, 56),
    "HarborPine.Communications/mail.png": lambda: icons.logo(("envelope", "#33658a"), 225),
    "HarborPine.Communications/calendar.png": lambda: icons.logo(("grid", "#55828b"), 150),
    "HarborPine.Communications/people.png": lambda: icons.plate(("H", "#55a08b"), 225, 225, 88),
    "HarborPine.Communications/tasks.png": lambda: icons.logo(("lines", "#7a5195"), 88),
    "TernLabs.Sketch/logo.png": lambda: icons.logo(("drop", "#e8833a"), 150),
    "TernLabs.Huddle/logo.png": lambda: icons.logo(("camera", "#bc5090"), 150),
    "KogaSystems.Hanafuda/logo.png": lambda: icons.logo(("mountain", "#c1121f"), 150),
    "KogaSystems.Ongaku/logo.png": lambda: icons.logo(("note", "#003f88"), 150),
    "Blauwal.Buerotueren/logo.png": lambda: icons.logo(("B", "#0a4f8f"), 88),
    "OstrichGames.Checkers/logo.png": lambda: icons.logo(("grid", "#9a031e"), 225),
    "Confero.Whiteboard/logo.png": lambda: icons.logo(("pulse", "#2d8cff"), 88),
}

ENVIRONMENT = {
    "ALLUSERSPROFILE": r"C:\ProgramData",
    "APPDATA": USER_HOME + r"\AppData\Roaming",
    "CommonProgramFiles": PF + r"\Common Files",
    "COMPUTERNAME": "DESK",
    "ComSpec": r"C:\Windows\system32\cmd.exe",
    "HOMEDRIVE": "C:",
    "HOMEPATH": r"\Users\kim",
    "LOCALAPPDATA": LOCAL,
    "NUMBER_OF_PROCESSORS": "8",
    "OS": "Windows_NT",
    "Path": r"C:\Windows\system32;C:\Windows",
    "PATHEXT": ".COM;.EXE;.BAT;.CMD",
    "PROCESSOR_ARCHITECTURE": "AMD64",
    "ProgramData": r"C:\ProgramData",
    "ProgramFiles": PF,
    "ProgramFiles(x86)": PF86,
    "ProgramW6432": PF,
    "PUBLIC": r"C:\Users\Public",
    "SystemDrive": "C:",
    "SystemRoot": r"C:\Windows",
    "TEMP": LOCAL + r"\Temp",
    "USERDOMAIN": "DESK",
    "USERNAME": "kim",
    "USERPROFILE": USER_HOME,
    "windir": r"C:\Windows",
}


def machine_facts():
    return {
        "consoleUser": {"name": "kim", "domain": "DESK", "sid": SID},
        "processUser": {"name": "kim", "sid": SID},
        "elevated": False,
        "uiLanguage": 1033,
        "environment": ENVIRONMENT,
        "folders": {
            "CommonPrograms": slashes(desk_data.COMMON_MENU),
            "Programs": slashes(desk_data.USER_MENU),
            "ProgramFiles": slashes(PF),
            "ProgramFilesX86": slashes(PF86),
        },
        "users": [
            {"type": 1, "authenticationStatus": 2, "nonRoamableId": "remote-7f3a"},
            {"type": 0, "authenticationStatus": 1, "nonRoamableId": "kim-2c9e51d0"},
        ],
        "packages": packages(),
        "metadata": slashes(METADATA_FOLDER) + "/metadata.json",
    }


def metadata_rules():
    weather = next(p for p in packages() if p.get("displayName") == "Harbor Communications")
    picture = "image://app/" + slashes(METADATA_FOLDER) + "/icons/"
    return [
        {"tags": ["ignore"], "desktopTarget": "NARRATOR.EXE"},
        {"tags": ["ignore"], "desktopTarget": "QuillmarkCrashReporter.exe"},
        {"tags": ["ignore"], "desktopTarget": "--safe-mode"},
        {"tags": ["ignore"], "managedTarget": "TernLabs.Huddle_4w1tzt8ran6m2!Setup"},
        {"tags": ["ignore"], "target": "https://offers.harbor.example/", "displayName": "Today's offers"},
        {"tags": ["meeting"], "desktopTarget": "ConferoMeet.exe"},
        {"tags": ["meeting", "video"], "desktopTarget": "skype.exe"},
        {"tags": ["meeting"], "desktopTarget": "--app-id=abcdonmlkjihgfepabcdonmlkjihgfep"},
        {"tags": ["meeting"], "managedTarget": "TernLabs.Huddle_4w1tzt8ran6m2!App"},
        {
            "tags": ["meeting"],
            "target": "https://meet.harbor.example/new",
            "displayName": "Harbor Meeting",
            "icon": picture + "meeting.ico",
            "description": "A new meeting in the browser",
            "publisherName": "Harbor & Pine",
            "shell": "chrome.exe",
            "arguments": '--profile="%USERPROFILE%\\meet"',
        },
        {
            "tags": ["meeting"],
            "target": "https://orbit.example/room/42",
            "displayName": "Orbit Room",
            "icon": picture + "orbit.png",
            "shell": "orbit.exe",
            "workingFolder": "file:///C:/Users/kim/Documents",
        },
        {
            "tags": ["web"],
            "target": "https://mail.harbor.example/",
            "displayName": "Harbor Webmail",
            "icon": picture + "webmail.ico",
            "description": "Mail anywhere",
            "version": "2.0",
        },
        {"target": "https://ostrich.example/shop/catalogue%20of%20games.html", "icon": picture + "webmail.ico"},
        # No link leads to this one; the registry knows where it is.
        {
            "target": "https://viewer.lumenfield.example/",
            "desktopTarget": "viewer.exe",
            "arguments": '--browse "%USERPROFILE%\\Pictures"',
            "displayName": "Picture Viewer",
            "productName": "Viewer",
            "publisherName": "Lumenfield Software",
            "version": "4.2.1",
        },
        {
            "target": "https://tasks.harbor.example/",
            "managedTarget": weather["fullName"],
            "managedTargetAppIndex": 3,
            "displayName": "Tasks for today",
            "productName": "HarborPine.Communications.Today",
            "version": "1.0.0.0",
        },
        {"tags": ["later"], "desktopTarget": "nobody-reads-this.exe"},
        {"target": "https://büro.blauwal.example/räume", "displayName": "Räume im Büro", "workingDir": "%USERPROFILE%"},
    ]


def registry_text(value):
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


def registry_bytes(kind, data):
    """hex(...) as the registry editor breaks it: 80 columns, a backslash and two blanks."""
    text = ",".join("%02x" % byte for byte in data)
    lines, room = [], 55
    while len(text) > room:
        cut = text.rfind(",", 0, room) + 1
        lines.append(text[:cut] + "\\")
        text, room = text[cut:], 77
    return "hex%s:" % kind + "\r\n  ".join(lines + [text])


def expandable(value):
    return registry_bytes("(2)", (value + "\0").encode("utf-16-le"))


def multiple(values):
    return registry_bytes("(7)", ("".join(value + "\0" for value in values) + "\0").encode("utf-16-le"))


def value_line(name, value):
    left = "@" if name == "" else registry_text(name)
    if isinstance(value, int):
        return "%s=dword:%08x" % (left, value)
    return left + "=" + (value[1:] if value.startswith("\0") else registry_text(value))


RAW = "\0"  # marks a value that is in the file's own form already


def export(keys):
    blocks = ["\r\n".join(["[%s]" % key] + [value_line(*pair) for pair in values.items()]) for key, values in keys]
    return "Windows Registry Editor Version 5.00\r\n\r\n" + "\r\n\r\n".join(blocks) + "\r\n\r\n"


def uninstall(name, publisher, version, folder, icon, command, kilobytes, date="20241105"):
    return {
        "DisplayName": name,
        "Publisher": publisher,
        "DisplayVersion": version,
        "InstallLocation": folder,
        "DisplayIcon": icon,
        "UninstallString": command,
        "InstallDate": date,
        "EstimatedSize": kilobytes,
        "NoModify": 1,
        "NoRepair": 1,
        "Language": 1033,
    }


def machine_keys():
    software = r"HKEY_LOCAL_MACHINE\SOFTWARE"
    current = software + r"\Microsoft\Windows\CurrentVersion"
    base, base32 = current + "\\Uninstall", software + r"\WOW6432Node\Microsoft\Windows\CurrentVersion\Uninstall"
    quill = uninstall(
        "Quillmark 2.18",
        "Quillmark Press",
        "2.18",
        PF + r"\Quillmark",
        PF + r"\Quillmark\bin\quill.exe,0",
        "MsiExec.exe /X{6F2E9B1C-3F0A-4C55-9E77-41B0C8D2A911}",
        48211,
    )
    quill["ModifyPath"] = RAW + expandable(
        r"%SystemRoot%\system32\MsiExec.exe /I{6F2E9B1C-3F0A-4C55-9E77-41B0C8D2A911}"
    )
    quill["Languages"] = RAW + multiple(["en-GB", "de-DE", "ja-JP"])
    quill["Digest"] = RAW + registry_bytes("", bytes(range(16)))
    return [
        (base, {}),
        (
            base + r"\Google Chrome",
            uninstall(
                "Google Chrome",
                "Google LLC",
                "131.0.6778.86",
                PF + r"\Google\Chrome\Application",
                PF + r"\Google\Chrome\Application\chrome.exe,0",
                '"' + PF + r'\Google\Chrome\Application\setup.exe" --uninstall',
                0,
            ),
        ),
        (
            base + r"\Mozilla Firefox 132.0.2 (x64 en-US)",
            uninstall(
                "Mozilla Firefox (x64 en-US)",
                "Mozilla",
                "132.0.2",
                PF + r"\Mozilla Firefox",
                PF + r"\Mozilla Firefox\firefox.exe,0",
                '"' + PF + r'\Mozilla Firefox\uninstall\helper.exe"',
                262144,
            ),
        ),
        (base + r"\{6F2E9B1C-3F0A-4C55-9E77-41B0C8D2A911}", quill),
        (
            base + r"\Lumenfield Paintbox",
            uninstall(
                "Paintbox",
                "Lumenfield Software",
                "4.2.1",
                PF + r"\Lumenfield\Paintbox",
                '"' + PF + r'\Lumenfield\Paintbox\paintbox.exe"',
                '"' + PF + r'\Lumenfield\Paintbox\paintbox.exe" /remove',
                91022,
            ),
        ),
        (
            base + r"\TernNotes",
            uninstall(
                "Tern Notes",
                "Tern Labs",
                "7.0.3",
                PF + r"\Tern Notes",
                PF + r"\Tern Notes\TernNotes.exe",
                '"' + PF + r'\Tern Notes\remove.exe"',
                15360,
            ),
        ),
        (
            base + r"\Büroplan",
            uninstall(
                "Büroplan",
                "Blauwal GmbH",
                "11.3.0",
                PF + r"\Blauwal\Büroplan",
                PF + r"\Blauwal\Büroplan\Bueroplan.exe",
                PF + r"\Blauwal\Büroplan\Bueroplan-uninst.exe",
                20480,
            ),
        ),
        (
            base + r"\Ljudstudio_is1",
            uninstall(
                "Ljudstudio 3.1.4",
                "Söderberg Ljud AB",
                "3.1.4",
                PF + r"\Söderberg\Ljudstudio" + "\\",
                PF + r"\Söderberg\Ljudstudio\ljudstudio.exe",
                '"' + PF + r'\Söderberg\Ljudstudio\unins000.exe"',
                67012,
            ),
        ),
        (
            base + r"\写真工房",
            uninstall(
                "写真工房",
                "光画システム株式会社",
                "5.0.12",
                PF + r"\写真工房",
                PF + r"\写真工房\shashin.exe",
                '"' + PF + r'\写真工房\shashin.exe" /remove',
                133000,
            ),
        ),
        (
            base + r"\HarborSuite",
            uninstall(
                "Harbor Suite 2024",
                "Harbor & Pine",
                "2024.4",
                PF + r"\Harbor Suite",
                PF + r"\Harbor Suite\mail.exe,0",
                '"' + PF + r'\Harbor Suite\mail.exe" /remove',
                55555,
            ),
        ),
        (
            base + r"\OstrichRun",
            uninstall(
                "Ostrich Run",
                "Ostrich Games",
                "1.4.2",
                r"C:\Games\Ostrich Run",
                r"C:\Games\Ostrich Run\OstrichRun.exe",
                r"C:\Games\Ostrich Run\OstrichRun.exe /remove",
                812345,
            ),
        ),
        (base32, {}),
        *[
            (base32 + "\\" + key, uninstall(*entry, entry[3] + r"\remove.exe", 1048576))
            for key, *entry in launcher_data.MACHINE_ENTRIES
        ],
        (
            base32 + r"\Steam",
            uninstall(
                "Steam",
                "Valve Corporation",
                "2.10.91.91",
                PF86 + r"\Steam",
                PF86 + r"\Steam\steam.exe",
                PF86 + r"\Steam\uninstall.exe",
                409600,
            ),
        ),
        (
            base32 + r"\Uplay",
            uninstall(
                "Ubisoft Connect",
                "Ubisoft",
                "159.0",
                PF86 + r"\Ubisoft\Ubisoft Game Launcher" + "\\",
                PF86 + r"\Ubisoft\Ubisoft Game Launcher\UbisoftConnect.exe",
                PF86 + r"\Ubisoft\Ubisoft Game Launcher\Uninstall.exe",
                700000,
            ),
        ),
        (
            base32 + r"\Otter FTP",
            uninstall(
                "Otter FTP 3.67.1",
                "Otter Project",
                "3.67.1",
                PF86 + r"\Otter FTP",
                PF86 + r"\Otter FTP\otter.exe",
                PF86 + r"\Otter FTP\uninstall.exe",
                11800,
            ),
        ),
        (
            software + r"\RegisteredApplications",
            {
                "Google Chrome": r"Software\Clients\StartMenuInternet\Google Chrome\Capabilities",
                "Microsoft Edge": r"Software\Clients\StartMenuInternet\Microsoft Edge\Capabilities",
                "Harbor Mail": r"Software\Clients\Mail\Harbor Mail\Capabilities",
                "Paint": r"SOFTWARE\Microsoft\Windows\CurrentVersion\Applets\Paint\Capabilities",
            },
        ),
        (
            current + r"\App Paths",
            {
                "paintbox.exe": PF + r"\Lumenfield\Paintbox\paintbox.exe",
                "viewer.exe": PF + r"\Lumenfield\Viewer\viewer.exe",
                "quill.exe": PF + r"\Quillmark\bin\quill.exe",
                "gone.exe": PF + r"\Gone\gone.exe",
                "notepad.exe": RAW + expandable(r"%SystemRoot%\system32\notepad.exe"),
            },
        ),
        (
            current + r"\App Paths\chrome.exe",
            {"": PF + r"\Google\Chrome\Application\chrome.exe", "Path": PF + r"\Google\Chrome\Application"},
        ),
        (
            current + r"\App Paths\firefox.exe",
            {"": PF + r"\Mozilla Firefox\firefox.exe", "Path": PF + r"\Mozilla Firefox"},
        ),
    ]


def user_keys():
    root = "HKEY_USERS\\" + SID + r"\Software"
    current = root + r"\Microsoft\Windows\CurrentVersion"
    discord = uninstall(
        "Discord",
        "Discord Inc.",
        "1.0.9172",
        LOCAL + r"\Discord",
        LOCAL + r"\Discord\app.ico",
        LOCAL + r"\Discord\Update.exe --uninstall",
        110000,
    )
    discord["QuietUninstallString"] = RAW + expandable(r"%LOCALAPPDATA%\Discord\Update.exe --uninstall -s")
    store = "HKEY_USERS\\" + SID + r"\System\GameConfigStore\Children"
    name_cache = root + r"\Classes\Local Settings\Software\Microsoft\Windows\Shell\MuiCache"
    return [
        *[
            (current + r"\Uninstall" + "\\" + key, uninstall(*entry, entry[3] + "/remove.exe", 2097152))
            for key, *entry in launcher_data.USER_ENTRIES
        ],
        *[(store + "\\" + child, {"Type": 1, "MatchedExeFullPath": path}) for child, path in launcher_data.GAME_STORE],
        (name_cache, dict(launcher_data.NAME_CACHE)),
        (current + r"\Uninstall\Discord", discord),
        (
            current + r"\Uninstall\LINE",
            uninstall(
                "LINE",
                "LINE Corporation",
                "9.4.2.3477",
                LOCAL + r"\LINE",
                LOCAL + r"\LINE\bin\LineLauncher.exe",
                LOCAL + r"\LINE\bin\LineLauncher.exe --uninstall",
                160000,
            ),
        ),
        (
            current + r"\Uninstall\Blockyard",
            uninstall(
                "Blockyard",
                "Moth & Lamp",
                "3.3.3",
                LOCAL + r"\Programs\Blockyard",
                LOCAL + r"\Programs\Blockyard\Blockyard.exe",
                LOCAL + r"\Programs\Blockyard\Blockyard.exe /remove",
                73000,
            ),
        ),
        (current + r"\App Paths", {"timer.exe": PF + r"\Rocket Timer 🚀\timer.exe"}),
        (
            root + r"\RegisteredApplications",
            {"Firefox-308046B0AF4A39CB": r"Software\Clients\StartMenuInternet\Firefox\Capabilities"},
        ),
        # Pins of an earlier session: a desktop program, a package entry, an address, and a program that is gone.
        (
            root + r"\Kelvo\Kelvo Launcher\ExtraInfo",
            {
                "shortcut000": PF + r"\Tern Notes\TernNotes.exe",
                "shortcut001": "HarborPine.Weather_8wekq0p3n7hbc!App",
                "shortcut002": "https://mail.harbor.example/",
                "shortcut003": PF + r"\Gone\editor.exe",
                "shortcut004": "",
                "shortcut005": "",
                "shortcut006": "",
            },
        ),
        (root + r"\Lumenfield\Paintbox", {"": "default", 'Recent "files"': r"C:\a.pbx", "Zoom": 150}),
    ]


def write(machine, path, data):
    target = host_path(machine, path)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_bytes(data)


def json_bytes(value):
    return (json.dumps(value, ensure_ascii=False, indent=2) + "\n").encode("utf-8")


def metadata_icon(look):
    pictures = [(32, icons.logo(look, 32)), (64, icons.logo(look, 64))]
    offset = 6 + 16 * len(pictures)
    directory = struct.pack("<HHH", 0, 1, len(pictures))
    for size, data in pictures:
        directory += struct.pack("<BBBBHHII", size, size, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    return directory + b"".join(data for _, data in pictures)


def main():
    machine = pathlib.Path(sys.argv[1])
    (machine / "machine.json").write_bytes(json_bytes(machine_facts()))
    write(machine, METADATA_FOLDER + r"\metadata.json", json_bytes(metadata_rules()))
    write(machine, METADATA_FOLDER + r"\icons\meeting.ico", metadata_icon(("camera", "#1b998b")))
    write(machine, METADATA_FOLDER + r"\icons\webmail.ico", metadata_icon(("envelope", "#ed217c")))
    write(machine, METADATA_FOLDER + r"\icons\orbit.png", icons.logo(("ring", "#2d3047"), 96))
    for name, draw in LOGOS.items():
        write(machine, APPS + "\\" + name.replace("/", "\\"), draw())
    (machine / "registry").mkdir(exist_ok=True)
    (machine / "registry/10-machine.reg").write_bytes(b"\xff\xfe" + export(machine_keys()).encode("utf-16-le"))
    (machine / "registry/20-kim.reg").write_bytes(export(user_keys()).encode("utf-8"))


if __name__ == "__main__":
    main()

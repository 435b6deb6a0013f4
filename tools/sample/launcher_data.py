"""What the game launchers have on the sample computer. Tables only; make_launchers.py and make_machine.py write them.

The listed games are those that the library's own lists name; the others are invented.
"""

from dataclasses import dataclass

from desk_data import PF, PF86

STEAM = PF86 + r"\Steam"
LIBRARY = r"D:\SteamLibrary"
UBISOFT = PF86 + r"\Ubisoft\Ubisoft Game Launcher"
APEX = r"D:\Games\Apex Legends"
RIOT = r"C:\Riot Games"
EPIC = PF + r"\Epic Games"


@dataclass
class SteamGame:
    """A game that Steam knows. Without a library it is not installed."""

    number: int
    name: str
    folder: str
    programs: list  # below the folder, as the launch options name them
    library: str = ""
    icon: str = ""  # glyph and colour; empty for a game whose icon file is missing
    arguments: str = ""


STEAM_GAMES = [
    SteamGame(
        730, "Counter-Strike 2", "Counter-Strike Global Offensive", [r"game\bin\win64\cs2.exe"], STEAM, ("C", "#de9b35")
    ),
    # This one Ubisoft has too, and the next but two Electronic Arts.
    SteamGame(
        359550,
        "Tom Clancy's Rainbow Six Siege",
        "Tom Clancy's Rainbow Six Siege",
        ["RainbowSix.exe"],
        STEAM,
        arguments="/belaunch",
    ),
    SteamGame(1234567, "Copper Canyon", "Copper Canyon", ["canyon.exe", "editor.exe"], STEAM, ("mountain", "#b5651d")),
    SteamGame(
        578080, "PUBG: BATTLEGROUNDS", "PUBG", [r"TslGame\Binaries\Win64\ExecPubg.exe"], LIBRARY, ("P", "#8d6e3f")
    ),
    SteamGame(1172470, "Apex Legends", "Apex Legends", ["r5apex.exe"], LIBRARY),
    SteamGame(1240440, "Halo Infinite", "Halo Infinite", ["HaloInfinite.exe"], LIBRARY, ("ring", "#2e6f40")),
    SteamGame(1938090, "Call of Duty", "Call of Duty HQ", ["cod.exe"], LIBRARY),
    # In the cache but not on the disk; the file's last entry counts for nothing, so the client itself stands there.
    SteamGame(4242420, "Würfelturm", "Wuerfelturm", ["turm.exe"]),
    SteamGame(7, "Steam Client", "Steam", ["steam.exe"]),
]

# Programs of the games: path, product, company, glyph and colour.
PROGRAMS = [
    (PF86 + r"\Overwatch\_retail_\Overwatch.exe", "2.13", "Overwatch", "Blizzard Entertainment", ("star", "#f99e1a")),
    (PF86 + r"\Emberfall\Emberfall.exe", "1.0.4", "Emberfall", "Moth & Lamp", ("flame", "#8c2f39")),
    (APEX + r"\r5apex.exe", "3.0.9", "Apex Legends", "Electronic Arts", ("A", "#cd3333")),
    (r"C:\Games\Paper Regatta\regatta.exe", "1.1", "Paper Regatta", "Moth & Lamp", ("wave", "#4d7ea8")),
    (
        RIOT + r"\VALORANT\live\ShooterGame\Binaries\Win64\VALORANT-Win64-Shipping.exe",
        "9.8",
        "VALORANT",
        "Riot Games",
        ("bolt", "#fa4454"),
    ),
    (
        RIOT + r"\League of Legends\Game\League of Legends.exe",
        "14.22",
        "League of Legends",
        "Riot Games",
        ("gear", "#c89b3c"),
    ),
    (
        EPIC + r"\Fortnite\FortniteGame\Binaries\Win64\FortniteClient-Win64-Shipping.exe",
        "32.0",
        "Fortnite",
        "Epic Games",
        ("play", "#6a4c93"),
    ),
    (EPIC + r"\Snowglobe\Snowglobe.exe", "0.4", "Snowglobe", "Ostrich Games", ("ring", "#9bc1bc")),
    (
        UBISOFT + r"\games\Tom Clancy's Rainbow Six Siege\RainbowSix.exe",
        "9.3",
        "Rainbow Six Siege",
        "Ubisoft",
        ("X", "#2b2d42"),
    ),
    (UBISOFT + r"\games\Harbor Trials\htrials.exe", "2.2", "Harbor Trials", "Harbor & Pine", ("H", "#3d5a80")),
    (
        STEAM + r"\steamapps\common\Counter-Strike Global Offensive\game\bin\win64\cs2.exe",
        "1.0",
        "Counter-Strike 2",
        "Valve Corporation",
        ("C", "#de9b35"),
    ),
    (
        STEAM + r"\steamapps\common\Tom Clancy's Rainbow Six Siege\RainbowSix.exe",
        "9.3",
        "Rainbow Six Siege",
        "Ubisoft",
        ("X", "#2b2d42"),
    ),
    (
        STEAM + r"\steamapps\common\Copper Canyon\canyon.exe",
        "1.3",
        "Copper Canyon",
        "Moth & Lamp",
        ("mountain", "#b5651d"),
    ),
    (
        LIBRARY + r"\steamapps\common\PUBG\TslGame\Binaries\Win64\TslGame.exe",
        "33.1",
        "PUBG",
        "KRAFTON",
        ("P", "#8d6e3f"),
    ),
    (
        LIBRARY + r"\steamapps\common\Apex Legends\r5apex.exe",
        "3.0.9",
        "Apex Legends",
        "Electronic Arts",
        ("A", "#cd3333"),
    ),
    (
        LIBRARY + r"\steamapps\common\Halo Infinite\HaloInfinite.exe",
        "6.10025",
        "Halo Infinite",
        "Xbox Game Studios",
        ("ring", "#2e6f40"),
    ),
    (LIBRARY + r"\steamapps\common\Call of Duty HQ\cod.exe", "11.1", "Call of Duty", "Activision", ("D", "#3a3a3a")),
    (
        LIBRARY + r"\steamapps\common\Call of Duty HQ\sp23-cod.exe",
        "11.1",
        "Call of Duty",
        "Activision",
        ("D", "#5a5a5a"),
    ),
]

# Uninstall entries: key, name, publisher, version, folder, icon. The keys of Riot's are the user's own.
MACHINE_ENTRIES = [
    (
        "Battle.net",
        "Battle.net",
        "Blizzard Entertainment",
        "2.40",
        PF86 + r"\Battle.net",
        PF86 + r"\Battle.net\Battle.net.exe",
    ),
    (
        "Overwatch",
        "Overwatch",
        "Blizzard Entertainment",
        "2.13",
        PF86 + r"\Overwatch",
        PF86 + r"\Overwatch\_retail_\Overwatch.exe",
    ),
    (
        "Emberfall",
        "Emberfall",
        "Blizzard Entertainment",
        "1.0.4",
        PF86 + r"\Emberfall",
        PF86 + r"\Emberfall\Emberfall.exe",
    ),
    ("Origin", "Origin", "Electronic Arts, Inc.", "10.5.129", PF86 + r"\Origin", PF86 + r"\Origin\OriginUninstall.exe"),
    (
        "{1C5E7A30-5C1F-4B7E-9B57-1B6E0C4D2F10}",
        "Paper Regatta",
        "Electronic Arts",
        "1.1",
        r"C:\Games\Paper Regatta",
        r"C:\Games\Paper Regatta\regatta.exe",
    ),
    (
        "{9D9A6B9C-0F9D-4D5E-8A11-5A3B1F6C7E20}",
        "Apex Legends",
        "Electronic Arts, Inc.",
        "3.0.9",
        APEX + "\\",
        '"' + APEX + r'\r5apex.exe"',
    ),
    (
        "Uplay Install 635",
        "Tom Clancy's Rainbow Six Siege",
        "Ubisoft",
        "9.3",
        UBISOFT.replace("\\", "/") + "/games/Tom Clancy's Rainbow Six Siege/",
        UBISOFT + r"\data\siege.ico",
    ),
    (
        "Uplay Install 5012",
        "Harbor Trials",
        "Ubisoft Reflections",
        "2.2",
        UBISOFT.replace("\\", "/") + "/games/Harbor Trials/",
        UBISOFT + r"\games\Harbor Trials\htrials.exe,0",
    ),
]
USER_ENTRIES = [
    (
        "Riot Game Riot_Client.",
        "Riot Client",
        "Riot Games, Inc",
        "96.0",
        RIOT + r"\Riot Client",
        RIOT + r"\Riot Client\RiotClientServices.exe",
    ),
    (
        "Riot Game league_of_legends.live",
        "League of Legends",
        "Riot Games, Inc",
        "14.22",
        RIOT.replace("\\", "/") + "/League of Legends",
        RIOT + r"\League of Legends\league.ico",
    ),
    (
        "Riot Game valorant.live",
        "VALORANT",
        "Riot Games, Inc",
        "9.8",
        RIOT.replace("\\", "/") + "/VALORANT/live",
        RIOT + r"\VALORANT\valorant.ico",
    ),
]

# What Windows has recorded of programs that ran.
GAME_STORE = [
    ("2f0c7a51-8f0e-4c02-b1c7-6a1a29f0d0a1", r"C:\Games\Ostrich Run\OstrichRun.exe"),
    (
        "7be0a7d4-4a2a-4f0a-9a4b-54b8a1b5e6c2",
        RIOT + r"\VALORANT\live\ShooterGame\Binaries\Win64\VALORANT-Win64-Shipping.exe",
    ),
]
NAME_CACHE = [
    (r"C:\Games\Ostrich Run\OstrichRun.exe.FriendlyAppName", "Ostrich Run"),
    (RIOT + r"\League of Legends\Game\D3DCOMPILER_47.dll,-1", "Compiler"),
    (RIOT + r"\League of Legends\Game\League of Legends.exe.ApplicationCompany", "Riot Games, Inc."),
    (RIOT + r"\League of Legends\Game\League of Legends.exe.FriendlyAppName", "League of Legends (TM) Client"),
]

EPIC_INSTALLATIONS = [
    (EPIC + r"\Snowglobe", "b2a6cf1b0d7e4c5a9e57c1a4d0f3e8b1", "0.4"),
    (EPIC + r"\Fortnite", "Fortnite", "32.0"),
]

UBISOFT_CONFIGURATION = [
    ("Anvil Days", "bin/anvil.exe"),
    ("Tom Clancy's Rainbow Six Siege", "RainbowSix.exe"),
    ("Harbor Trials", "htrials.exe"),
]

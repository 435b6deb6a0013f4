#!/usr/bin/env python3
"""The example host on a Windows that has the game launchers of the sample machine.

games.py TOOLS HOST DESK: the folder of the tool chain's scripts, the host's program file, and the sample machine, whose
registry texts are imported and whose files are unpacked as the launchers' own installers lay theirs down.
"""
import json
import os
import shutil
import sys
import unittest
from pathlib import Path

from windows import Windows, windows_path

HERE = Path(__file__).resolve().parent
TOOLS, HOST, DESK = (Path(argument).resolve() for argument in sys.argv[1:4])
sys.path.insert(0, str(HERE.parents[1] / "tools"))
from desk_lists import GAMES, TOOLS as DESK_TOOLS  # noqa: E402

KIM = "HKEY_USERS\\S-1-5-21-1111111111-2222222222-3333333333-1001"
MENU = "AppData/Roaming/Microsoft/Windows/Start Menu"
EPIC = "C:/ProgramData/Epic/UnrealEngineLauncher/LauncherInstalled.dat"
UBISOFT = "C:/Program Files (x86)/Ubisoft/Ubisoft Game Launcher/cache/configuration/configurations"
STEAM = "C:/Program Files (x86)/Steam"
UNINSTALL = "HKLM\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall"
# Links that say where their target is by a variable only: Wine finds none.
WITHOUT_ENVIRONMENT = {"Notepad"}


class Games(unittest.TestCase):
    """The tests build on each other: later ones take away what earlier ones found."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.windows = Windows(TOOLS)
        cls.addClassCleanup(cls.windows.close)
        cls.drive_d = cls.windows.prefix / "drive_d"
        cls.unpack()
        cls.import_registry()
        cls.lists = cls.scan()

    @classmethod
    def unpack(cls):
        for part in (DESK / "C").iterdir():
            # Not over Windows' own programs.
            if part.name != "Windows":
                shutil.copytree(part, cls.windows.path(f"C:/{cls.existing(part.name)}"), dirs_exist_ok=True)
        user = os.environ.get("USER") or "root"
        shutil.copytree(DESK / "C/Users/kim" / MENU, cls.windows.path(f"C:/users/{user}") / MENU, dirs_exist_ok=True)
        shutil.copytree(DESK / "D", cls.drive_d)
        (cls.windows.prefix / "dosdevices/d:").symlink_to("../drive_d")

    @classmethod
    def existing(cls, name):
        """A folder of the drive's root in the letter case in which it is there already."""
        names = {entry.name.lower(): entry.name for entry in (cls.windows.prefix / "drive_c").iterdir()}
        return names.get(name.lower(), name)

    @classmethod
    def import_registry(cls):
        for name, encoding in (("10-machine.reg", "utf-16"), ("20-kim.reg", "utf-8")):
            text = (DESK / "registry" / name).read_bytes().decode(encoding)
            cls.import_text(text.replace(KIM, "HKEY_CURRENT_USER"))

    @classmethod
    def import_text(cls, text):
        file = cls.windows.prefix / "import.reg"
        file.write_bytes(text.encode("utf-16"))
        done = cls.windows.run("regedit", "/S", windows_path(file))
        if done.returncode != 0:
            raise RuntimeError(f"the registry text was refused: {done}")

    @classmethod
    def scan(cls, *options):
        done = cls.windows.run(HOST, "--json", *options, timeout=120)
        if done.returncode != 0:
            raise RuntimeError(f"the host failed: {done}")
        return json.loads(done.stdout)

    def games(self, lists=None):
        apps = (lists or self.lists)["gameApps"]
        return [(app["displayName"], app["launcher"], app["executableList"]) for app in apps]

    def test_1_all_launchers_games(self):
        self.assertEqual(self.games(), GAMES)

    def test_1_icons(self):
        icons = {app["displayName"]: app["icon"] for app in self.lists["gameApps"]}
        self.assertTrue(icons["Halo Infinite"].startswith("image://app/C:/Program Files (x86)/Steam/steam/games/"))
        self.assertTrue(icons["Call of Duty"].endswith("/Call of Duty HQ/cod.exe"))

    def test_1_tools(self):
        tools = {app["displayName"]: (app["launcher"], app["executable"]) for app in self.lists["toolApps"]}
        for name, expected in DESK_TOOLS.items():
            if name not in WITHOUT_ENVIRONMENT:
                self.assertEqual(tools.get(name), expected, name)
        self.assertIn("Google Chrome Beta", [app["displayName"] for app in self.lists["allApps"]])
        self.assertNotIn("Google Chrome Beta", tools)

    def test_1_marks_of_a_model(self):
        lists = self.scan("--model", "KV-27")
        marked = [app["displayName"] for app in lists["gameApps"] + lists["toolApps"] if app["hasSelected"]]
        self.assertEqual(sorted(marked), ["Apex Legends", "Discord", "Google Chrome", "Overwatch"])

    def test_2_damaged_launcher_files(self):
        self.windows.path(EPIC).write_bytes(b"[" * 1_000_000)
        self.windows.path(UBISOFT).write_bytes(b"shortcut_name" + b"x" * 10_000_000)
        (self.drive_d / "Games/Apex Legends/EasyAntiCheat/Launcher/Settings.json").write_bytes(b'{"executable": ')
        expected = [game for game in GAMES if game[1] != "Epic"]
        self.assertEqual(self.games(self.scan()), expected)

    def test_3_values_of_other_types(self):
        key = f"[{UNINSTALL.replace('HKLM', 'HKEY_LOCAL_MACHINE')}\\%s]\r\n"
        self.import_text(
            "Windows Registry Editor Version 5.00\r\n\r\n"
            + key % "A1" + '"Publisher"=dword:00000001\r\n\r\n'
            + key % "A2" + '"Publisher"=hex(7):42,00,00,00,43,00,00,00,00,00\r\n\r\n'
            + key % "A3" + '"Publisher"="Blizzard Entertainment"\r\n"DisplayIcon"=hex:00,ff,41\r\n'
            + '"DisplayName"=dword:00000007\r\n\r\n'
        )
        self.assertEqual(self.games(self.scan()), [game for game in GAMES if game[1] != "Epic"])

    def test_4_missing_drive(self):
        (self.windows.prefix / "dosdevices/d:").unlink()
        # Nobody asks whether the programs of uninstall entries are still there.
        self.assertEqual(
            [game[0] for game in self.games(self.scan())],
            ["Overwatch", "Apex Legends", "League of Legends", "VALORANT", "Tom Clancy's Rainbow Six Siege",
             "Counter-Strike 2"],
        )

    def test_5_uninstalled_games_are_gone(self):
        self.windows.run("reg", "delete", f"{UNINSTALL}\\Overwatch", "/f")
        shutil.rmtree(self.windows.path(f"{STEAM}/steamapps"))
        # Ubisoft's file is damaged by now, so that its Siege has no executable and no place in the list.
        self.assertEqual(
            [game[:2] for game in self.games(self.scan())],
            [("Apex Legends", "Origin"), ("League of Legends", "Riot"), ("VALORANT", "Riot")],
        )

    def test_6_repaired_file_brings_its_game_back(self):
        shutil.copyfile(DESK / UBISOFT.replace("C:", "C"), self.windows.path(UBISOFT))
        self.assertIn(("Tom Clancy's Rainbow Six Siege", "Ubisoft"), [game[:2] for game in self.games(self.scan())])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)

#!/usr/bin/env python3
"""The example host on a Windows onto which installers have put programs, and on which a test server has packages.

e2e.py TOOLS HOST INSTALLERS OUTPUT SERVER: the folder of the tool chain's scripts, the host's program file, the folder with
the installers, the folder that gets the picture of the window, and the server's DLL.
"""
import json
import os
import sys
import unittest
from pathlib import Path
from urllib.parse import unquote

from picture import Picture
from windows import Windows, ensure_display, windows_path

HERE = Path(__file__).resolve().parent
TOOLS, HOST, INSTALLERS, OUTPUT, SERVER = (Path(argument).resolve() for argument in sys.argv[1:6])

MANAGED, DESKTOP, WEB = 1, 2, 3
GARDEN = "uwp:Green.Garden_1.2.0.7_x64__kvtests"
LANTERN = "C:/Program Files/Lantern Works/Lantern"
KONTOR = "C:/Program Files/Kontor"
OVERVIEW = f"C:/users/{os.environ.get('USER') or 'root'}/AppData/Local/Programs/Übersicht"
UNINSTALL = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall"


def texts(record):
    """What is compared of a record, with the target as a path where it is one."""
    target = unquote(record["target"])
    names = ("description", "productName", "publisherName", "version", "arguments", "shell")
    folder = unquote(record["workingFolder"]).removeprefix("file:///")
    return {"target": target.removeprefix("file:///"), "folder": folder, **{name: record[name] for name in names}}


def expected(target, **others):
    names = ("folder", "description", "productName", "publisherName", "version", "arguments", "shell")
    return {"target": target, **dict.fromkeys(names, ""), **others}


class EndToEnd(unittest.TestCase):
    """The tests build on each other: the last one takes a program away again."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.windows = Windows(TOOLS)
        cls.addClassCleanup(cls.windows.close)
        cls.windows.register_packages(SERVER)
        cls.empty = cls.scan()
        cls.windows.serve_packages(HERE / "packages.json")
        for name in ("lantern", "overview", "kontor"):
            done = cls.windows.run(INSTALLERS / f"{name}-setup.exe", "/S")
            if done.returncode != 0:
                raise RuntimeError(f"{name}-setup.exe: {done}")
        cls.plain = cls.scan()
        cls.lists = cls.scan("--metadata", windows_path(HERE / "metadata.json"))

    @classmethod
    def scan(cls, *options):
        done = cls.windows.run(HOST, "--json", *options)
        # A fresh Windows lacks some of the keys that the library watches, which it says.
        told = [line for line in done.stderr.splitlines() if not line.startswith(b"[FAIL] can't open registry key: ")]
        if done.returncode != 0 or told:
            raise RuntimeError(f"the host failed: {done}")
        return json.loads(done.stdout)

    def by_name(self, name, lists=None):
        return {record["displayName"]: texts(record) for record in (lists or self.lists)[name]}

    def test_1_fresh_windows_is_empty(self):
        self.assertEqual(self.empty["allApps"], [])
        self.assertEqual(self.empty["meetingApps"], [])
        self.assertEqual(self.empty["shortcuts"], [])

    def test_2_installers_did_their_part(self):
        menu = self.windows.path("C:/ProgramData/Microsoft/Windows/Start Menu/Programs")
        for link in ("Lantern", "Lantern (dim)", "Read me", "Uninstall Lantern"):
            self.assertTrue((menu / "Lantern Works" / f"{link}.lnk").exists(), link)
        user = OVERVIEW.split("/AppData")[0]
        menu = self.windows.path(f"{user}/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Ночь")
        for link in ("夜/Übersicht/概要 Übersicht.lnk", "обзор 2.LNK", "Gone.lnk", "Away with it.lnk"):
            self.assertTrue((menu / link).exists(), link)
        self.assertTrue(self.windows.has_key(f"HKLM\\{UNINSTALL}\\Lantern"))
        self.assertTrue(self.windows.has_key(f"HKCU\\{UNINSTALL}\\Übersicht"))

    def test_3_all_programs(self):
        lantern = {"productName": "Lantern", "publisherName": "Lantern Works Ltd", "version": "2.5.1"}
        kontor = {"publisherName": "Kontor GmbH & Söhne"}
        garden = {"publisherName": "Green & Söhne", "version": "1.2.7.0"}
        self.assertEqual(
            self.by_name("allApps"),
            {
                # The link without arguments holds the place.
                "Lantern": expected(f"{LANTERN}/lantern.exe", folder=LANTERN, description="Light in the dark", **lantern),
                "概要 Übersicht": expected(
                    f"{OVERVIEW}/overview.exe",
                    folder=f"{OVERVIEW}/データ",
                    description="Обзор 📋",
                    arguments='--open "two words" ж',
                    productName="Overview",
                    publisherName="Night Light",
                    version="3.0 beta",
                ),
                "обзор 2": expected(f"{OVERVIEW}/обзор.exe", folder=OVERVIEW),
                "Kontor Hall": expected(
                    f"{KONTOR}/hall.exe", folder=f"{KONTOR}/work", productName="Kontor Hall", version="10.0", **kontor
                ),
                "Kontor Meeting": expected(
                    f"{KONTOR}/kontor.exe",
                    folder=f"{KONTOR}/work",
                    publisherName="Kontor",
                    version="1.2",
                    arguments="--meet now",
                    shell=f"{KONTOR}/hall.exe",
                ),
                "Kontor Room": expected("https://kontor.example/room", version="7"),
                "Garden": expected(
                    GARDEN, description="Plans beds 苗床", productName="Green.Garden_kvtests!App", **garden
                ),
                "Garden House": expected(f"{GARDEN}?1", productName="Green.Garden_kvtests!House", **garden),
            },
        )

    def test_3_kinds_icons_and_order(self):
        records = self.lists["allApps"]
        for record in records:
            is_web = record["displayName"] == "Kontor Room"
            is_managed = record["target"].startswith("uwp:")
            self.assertEqual(record["type"], WEB if is_web else MANAGED if is_managed else DESKTOP, record)
            self.assertEqual(record["icon"].startswith("image://app/"), not is_web, record)
            self.assertEqual(record["icon"].startswith(f"image://app/{GARDEN}?"), is_managed, record)
        latin = [record["displayName"] for record in records if record["displayName"].isascii()]
        self.assertEqual(latin, ["Garden", "Garden House", "Kontor Hall", "Kontor Meeting", "Kontor Room", "Lantern"])

    def test_3_meeting_programs(self):
        everything = self.by_name("allApps")
        self.assertEqual(
            self.by_name("meetingApps"), {name: everything[name] for name in ("Kontor Meeting", "Kontor Room")}
        )

    def test_3_without_rules(self):
        found = self.by_name("allApps", self.plain)
        self.assertEqual(
            set(found),
            {
                "Lantern",
                "概要 Übersicht",
                "обзор 2",
                "Kontor Hall",
                "Kontor Helper",
                "Kontor Starter",
                "Garden",
                "Garden House",
            },
        )
        self.assertEqual(found["Kontor Starter"]["arguments"], "--background --quiet")

    def test_3_refuses_bad_options(self):
        refused = (
            ("--nonsense",),
            ("--timeout", "soon"),
            ("--metadata", "C:\\absent\\rules.json"),
            ("--machine", "C:\\absent"),
            ("--screenshot", "C:\\absent\\window.png"),
        )
        for options in refused:
            with self.subTest(options=options):
                done = self.windows.run(HOST, "--json", *options)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertRegex(done.stderr, rb"\A[^\n]+\n\Z")

    def test_3_gives_up_in_time(self):
        done = self.windows.run(HOST, "--json", "--timeout", "0")
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn(b"0 s", done.stderr)

    def test_4_window(self):
        file = OUTPUT / "window.png"
        file.unlink(missing_ok=True)
        rules = windows_path(HERE / "metadata.json")
        done = self.windows.run(
            HOST, "--screenshot", windows_path(file), "--metadata", rules, "--size", "900x600", "--theme", "light"
        )
        self.assertEqual(done.returncode, 0, done)
        picture = Picture(file.read_bytes())
        self.assertEqual((picture.width, picture.height), (900, 600))
        # Text and tiles bring many shades; the header and the list hold some of them each.
        self.assertGreater(len(picture.colours()), 50)
        self.assertGreater(len(picture.colours(bottom=100)), 10)
        self.assertGreater(len(picture.colours(top=150, bottom=400)), 10)

    def test_5_uninstalled_program_is_gone(self):
        before = self.by_name("allApps", self.plain)
        done = self.windows.run(f"{LANTERN}/remove.exe", "/S")
        self.assertEqual(done.returncode, 0, done)
        self.assertTrue(self.windows.wait_until_gone("C:/Program Files/Lantern Works"))
        after = self.by_name("allApps", self.scan())
        del before["Lantern"]
        self.assertEqual(after, before)
        self.assertFalse(self.windows.has_key(f"HKLM\\{UNINSTALL}\\Lantern"))


def main():
    ensure_display()
    OUTPUT.mkdir(parents=True, exist_ok=True)
    unittest.main(argv=sys.argv[:1] + sys.argv[6:], verbosity=2)


if __name__ == "__main__":
    main()

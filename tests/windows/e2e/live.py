#!/usr/bin/env python3
"""A host that runs while programs come and go beside it, and others write its pins.

live.py TOOLS HOST INSTALLERS: the folder of the tool chain's scripts, the test host's program file, the folder with the
installers. Prints what happens, with the seconds since the host's start.
"""
import json
import os
import queue
import subprocess
import sys
import threading
import time
import unittest
from pathlib import Path

from windows import Windows, ensure_display, windows_path

HERE = Path(__file__).resolve().parent
TOOLS, HOST, INSTALLERS = (Path(argument).resolve() for argument in sys.argv[1:4])

# The fifteen seconds between an installation and the scan become half a second.
CLOCK_SPEED = 30
LANTERN = "C:\\Program Files\\Lantern Works\\Lantern"
KEY = "HKCU\\Software\\Kelvo\\Kelvo Launcher\\ExtraInfo"
ROOM = "https://kontor.example/room?a=b%20c"
NOTES = "Kontor.Notes_x1y2z3!App"


class Host:
    """A running host: its commands, the lines that it prints, and what it logs."""

    def __init__(self, windows, *options):
        environment = dict(windows.environment, KVHOST_CLOCK_SPEED=str(CLOCK_SPEED))
        command = [TOOLS / "run-under-wine", HOST, "--serve", "--verbose", *options]
        self.start = time.monotonic()
        self.process = subprocess.Popen(
            command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE
        )
        self.lines, self.log = queue.Queue(), queue.Queue()
        for stream, lines in ((self.process.stdout, self.lines), (self.process.stderr, self.log)):
            threading.Thread(target=self.read, args=(stream, lines), daemon=True).start()

    @staticmethod
    def read(stream, lines):
        for line in stream:
            lines.put(line.decode("utf-8", "replace").strip())
        lines.put(None)

    def tell(self, text):
        print(f"{time.monotonic() - self.start:7.2f} s  {text}", flush=True)

    def wait_for(self, lines, wanted, seconds=20):
        """The first line from now on that is wanted."""
        end = time.monotonic() + seconds
        while True:
            line = lines.get(timeout=max(0.01, end - time.monotonic()))
            if line is None:
                raise RuntimeError("the host has ended")
            if wanted(line):
                self.tell(line if len(line) < 200 else line[:200] + "...")
                return line

    def wait_for_log(self, text):
        return self.wait_for(self.log, lambda line: text in line)

    def wait_for_event(self, event, wanted=lambda line: True):
        def is_wanted(text):
            line = json.loads(text)
            return line.get("event") == event and wanted(line)

        return json.loads(self.wait_for(self.lines, is_wanted))

    def command(self, text):
        self.tell(f"> {text}")
        self.process.stdin.write(text.encode() + b"\n")
        self.process.stdin.flush()
        return json.loads(self.wait_for(self.lines, lambda line: json.loads(line).get("command") == text))


class Live(unittest.TestCase):
    """One story: the steps build on each other."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.windows = Windows(TOOLS)
        cls.addClassCleanup(cls.windows.close)
        cls.host = Host(cls.windows, "--metadata", windows_path(HERE / "live.json"))

    def slots(self):
        values = {}
        for line in self.windows.run("reg", "query", KEY).stdout.decode("utf-8", "replace").splitlines():
            name, kind, value = (line.strip().split("    ") + ["", ""])[:3]
            if kind == "REG_SZ":
                values[name] = value
        self.assertEqual(sorted(values), [f"shortcut00{number}" for number in range(7)])
        return [values[name] for name in sorted(values)]

    def write_slots(self, *texts):
        """As another program does it: all at once."""
        file = self.windows.path("C:/slots.reg")
        key = KEY.replace("HKCU", "HKEY_CURRENT_USER")
        escaped = [text.replace("\\", "\\\\").replace('"', '\\"') for text in texts]
        lines = [f'"shortcut00{number}"="{text}"' for number, text in enumerate(escaped)]
        content = "\r\n".join(["Windows Registry Editor Version 5.00", "", f"[{key}]", *lines, ""])
        file.write_bytes(b"\xff\xfe" + content.encode("utf-16-le"))
        self.host.tell(f"another program writes {list(texts)}")
        self.assertEqual(self.windows.run("reg", "import", "C:\\slots.reg").returncode, 0)

    def wait_for_shortcuts(self, *names):
        return self.host.wait_for_event("shortcuts", lambda line: line["shortcuts"] == list(names))

    def test_1_starts_with_what_is_there(self):
        first = self.host.wait_for_event("scan")
        self.assertEqual(first["apps"], ["Notes", "Room"])
        self.assertEqual(first["shortcuts"], [])
        # The first save has made the key of the slots, which is found soon after.
        self.host.wait_for_log("Kelvo Launcher\\ExtraInfo")
        self.host.wait_for_log("[REGISTRY] bind HKEY_USERS\\S-1-5-21-0-0-0-1000\\Software\\Kelvo")
        self.assertEqual(self.slots(), [""] * 7)

    def test_2_installed_program_appears(self):
        self.host.tell("lantern-setup.exe /S")
        self.assertEqual(self.windows.run(INSTALLERS / "lantern-setup.exe", "/S").returncode, 0)
        self.host.wait_for_event("scan", lambda line: line["apps"] == ["Lantern", "Notes", "Room"])
        self.host.wait_for_log("[APPS] reload apps on installation")

    def test_3_pins_are_stored(self):
        for name in ("Lantern", "Room", "Notes"):
            self.assertTrue(self.host.command(f"pin {name}")["done"], name)
        self.assertFalse(self.host.command("pin Room")["done"])
        self.assertEqual(self.slots(), [f"{LANTERN}\\lantern.exe", "https://kontor.example/room?a=b c", NOTES] + [""] * 4)

    def test_4_follows_others(self):
        forward = f"{LANTERN}/lantern.exe".replace("\\", "/")
        self.write_slots(NOTES, "garbage %%% \\\\?", forward, "", ROOM, "C:\\absent.exe", "Kontor.Notes_x1y2z3!Other")
        self.wait_for_shortcuts("Notes", "Lantern", "Room")
        self.write_slots("C:\\\\Program Files\\.\\Lantern Works\\..\\Lantern Works\\Lantern\\\\lantern.exe", *[""] * 6)
        self.wait_for_shortcuts("Lantern")
        self.write_slots("", f"{LANTERN}\\lantern.exe", "nonsense", ROOM, NOTES, NOTES, "")
        self.wait_for_shortcuts("Lantern", "Room", "Notes", "Notes")

    def test_5_uninstalled_program_loses_its_slot(self):
        self.host.tell("remove.exe /S")
        self.assertEqual(self.windows.run(f"{LANTERN}\\remove.exe", "/S").returncode, 0)
        last = self.host.wait_for_event("scan", lambda line: line["apps"] == ["Notes", "Room"])
        self.assertEqual(last["shortcuts"], ["Room", "Notes", "Notes"])
        self.assertEqual(self.slots(), ["https://kontor.example/room?a=b c", NOTES, NOTES] + [""] * 4)

    def test_6_deleted_key_is_made_again(self):
        self.assertEqual(self.windows.run("reg", "delete", KEY, "/f").returncode, 0)
        # The next scan finds nothing pinned, and its save makes the key.
        self.host.command("scan")
        self.host.wait_for_event("scan", lambda line: line["shortcuts"] == [])
        self.assertEqual(self.slots(), [""] * 7)
        self.assertTrue(self.host.command("pin Notes")["done"])
        self.assertEqual(self.slots(), [NOTES] + [""] * 6)

    def test_7_ends_with_its_input(self):
        self.host.process.stdin.close()
        self.assertEqual(self.host.process.wait(timeout=20), 0)


if __name__ == "__main__":
    ensure_display()
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2, failfast=True)

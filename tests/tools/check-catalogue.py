#!/usr/bin/env python3
"""Checks the lists that the example host printed for the sample machine."""
import json
import sys

from desk_lists import GAMES, TOOLS

APP_KEYS = {"type", "displayName", "productName", "publisherName", "description", "target", "version", "icon",
            "arguments", "shell", "workingFolder"}
SETTING_KEYS = {"monitorModel", "colorMode", "displayName", "icon", "executable", "executableList", "appType",
                "hasSelected", "appExist", "ignoreExeFullPath", "fileName", "platform", "launcher"}


def check(condition, text):
    if not condition:
        sys.exit(f"{sys.argv[1]}: {text}")


with open(sys.argv[1], encoding="utf-8") as file:
    lists = json.load(file)
for name, keys in {"allApps": APP_KEYS, "meetingApps": APP_KEYS, "shortcuts": APP_KEYS, "gameApps": SETTING_KEYS,
                   "toolApps": SETTING_KEYS}.items():
    check(isinstance(lists.get(name), list), f"{name} is no list")
    for entry in lists[name]:
        check(keys <= entry.keys(), f"{name}: {entry.get('displayName')!r} lacks {keys - entry.keys()}")

apps = lists["allApps"]
check(len(apps) >= 40, f"only {len(apps)} programs")
check({1, 2, 3} <= {app["type"] for app in apps}, "not every kind of program is there")
check(len(lists["meetingApps"]) >= 2, "meeting programs are missing")
names = [app["displayName"] for app in apps]
check(any(ord(letter) > 0xFFFF for name in names for letter in name), "no name from beyond the BMP")
check(not any("uninstall" in app["displayName"].lower() for app in apps if app["type"] == 2), "an uninstaller is listed")
targets = [app["target"] for app in apps if app["type"] != 1]
check(len(targets) == len(set(targets)), "a target is listed twice")

games = [(game["displayName"], game["launcher"], game["executableList"]) for game in lists["gameApps"]]
check(games == GAMES, f"other games than expected: {games}")
icons = {game["displayName"]: game["icon"] for game in lists["gameApps"]}
check(icons["Halo Infinite"].endswith(".ico"), "Steam's icon of a game is not used")
check(icons["Tom Clancy's Rainbow Six Siege"].endswith("/RainbowSix.exe"), "a missing icon is not made up for")
tools = {tool["displayName"]: (tool["launcher"], tool["executable"]) for tool in lists["toolApps"]}
for name, expected in TOOLS.items():
    check(tools.get(name) == expected, f"{name}: {tools.get(name)}")
check("Google Chrome Beta" in names and "Google Chrome Beta" not in tools, "CHROME.EXE is no tool, but a program")
check(not any(entry["hasSelected"] for entry in lists["gameApps"] + lists["toolApps"]), "a mark that nobody asked for")
print("catalogue: " + ", ".join(f"{name} {len(value)}" for name, value in lists.items()))

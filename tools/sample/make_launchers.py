#!/usr/bin/env python3
"""Writes what the game launchers keep in files on the sample machine: make_launchers.py MACHINE"""

import hashlib
import json
import pathlib
import struct
import sys

import icons
import launcher_data
from launcher_data import LIBRARY, STEAM, STEAM_GAMES, UBISOFT
from make_programs import host_path

UPDATED = 1730800000


def write(machine, path, data):
    target = host_path(machine, path)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_bytes(data)


def escaped(path):
    return path.replace("\\", "\\\\")


# Valve's text form: quoted keys and values, two tabs between them, a brace on a line of its own.
def vdf(value, depth=0):
    lines, tabs = [], "\t" * depth
    for key, item in value.items():
        if isinstance(item, dict):
            lines += ['%s"%s"' % (tabs, key), tabs + "{", *vdf(item, depth + 1), tabs + "}"]
        else:
            lines.append('%s"%s"\t\t"%s"' % (tabs, key, item))
    return lines


def vdf_bytes(value):
    return ("\n".join(vdf(value)) + "\n").encode("utf-8")


def library_list():
    libraries = {}
    for index, folder in enumerate((STEAM, LIBRARY)):
        games = [game for game in STEAM_GAMES if game.library == folder]
        libraries[str(index)] = {
            "path": escaped(folder),
            "label": "",
            "contentid": str(7000000000000000000 + index),
            "totalsize": "0" if index == 0 else "1000068771840",
            "update_clean_bytes_tally": "0",
            "time_last_update_corruption": "0",
            "apps": {str(game.number): "1048576" for game in games},
        }
    return vdf_bytes({"libraryfolders": libraries})


def manifest(game):
    return vdf_bytes(
        {
            "AppState": {
                "appid": game.number,
                "Universe": 1,
                "LauncherPath": escaped(STEAM + r"\steam.exe"),
                "name": game.name,
                "StateFlags": 4,
                "installdir": game.folder,
                "LastUpdated": UPDATED,
                "SizeOnDisk": 1048576,
                "buildid": 16000000 + game.number % 1000,
                "LastOwner": "76561190000000000",
                "UserConfig": {"language": "english", "name": game.name},
                "MountedConfig": {"language": "english"},
            }
        }
    )


def icon_name(game):
    return hashlib.sha1(b"icon %d" % game.number).hexdigest()


# The cache's binary form: a type byte, the key, and the value; 8 ends a level.
def tree(value):
    data = b""
    for key, item in value.items():
        name = key.encode("utf-8") + b"\0"
        if isinstance(item, dict):
            data += b"\0" + name + tree(item)
        elif isinstance(item, int):
            data += b"\2" + name + struct.pack("<i", item)
        else:
            data += b"\1" + name + item.encode("utf-8") + b"\0"
    return data + b"\x08"


def launch_options(game):
    options = {}
    for index, program in enumerate(game.programs):
        option = {"executable": program, "type": "default", "config": {"oslist": "windows", "osarch": "64"}}
        if game.arguments:
            option["arguments"] = game.arguments
        options[str(index)] = option
    options[str(len(options))] = {"executable": "start.sh", "config": {"oslist": "linux"}}
    return options


def cached_app(game):
    app = {
        "appinfo": {
            "appid": game.number,
            "common": {
                "name": game.name,
                "type": "Game",
                "oslist": "windows",
                "clienticon": icon_name(game),
                "gameid": game.number,
            },
            "config": {"installdir": game.folder, "launch": launch_options(game)},
        }
    }
    body = tree(app)
    # State, time of the last change, access token, digest of the text form, change number, digest of this form.
    head = struct.pack("<IIQ", 2, UPDATED, 0) + bytes(20) + struct.pack("<I", 20000000 + game.number) + bytes(20)
    return struct.pack("<II", game.number, len(head) + len(body)) + head + body


def app_cache():
    return struct.pack("<II", 0x07564428, 1) + b"".join(map(cached_app, STEAM_GAMES)) + struct.pack("<I", 0)


def write_steam(machine):
    write(machine, STEAM + r"\config\libraryfolders.vdf", library_list())
    write(machine, STEAM + r"\appcache\appinfo.vdf", app_cache())
    for game in STEAM_GAMES:
        if game.library:
            write(machine, game.library + r"\steamapps\appmanifest_%d.acf" % game.number, manifest(game))
        if game.icon:
            write(machine, STEAM + r"\steam\games\%s.ico" % icon_name(game), icons.ico("small", game.icon))
    # Beside the manifests lies more.
    write(machine, LIBRARY + r"\libraryfolder.vdf", vdf_bytes({"libraryfolder": {"contentid": "7000000000000000001"}}))
    write(machine, LIBRARY + r"\steamapps\readme.txt", b"Games go into the folder common.\r\n")


def write_ubisoft(machine):
    lines = ["\x0a\x12version: 2.0", "root:"]
    for name, path in launcher_data.UBISOFT_CONFIGURATION:
        lines += [
            "  start_game:",
            "    executables:",
            "      - shortcut_name: " + name,
            "        path:",
            "          relative: " + path,
            "        working_directory:",
            "          append: bin",
        ]
    write(machine, UBISOFT + r"\cache\configuration\configurations", ("\r\n".join(lines) + "\r\n").encode("utf-8"))


def write_epic(machine):
    installations = [
        {
            "InstallLocation": folder,
            "NamespaceId": "fn",
            "ItemId": hashlib.md5(name.encode("utf-8")).hexdigest(),
            "ArtifactId": name,
            "AppVersion": version,
            "AppName": name,
        }
        for folder, name, version in launcher_data.EPIC_INSTALLATIONS
    ]
    text = json.dumps({"InstallationList": installations}, indent="\t")
    path = r"C:\ProgramData\Epic\UnrealEngineLauncher\LauncherInstalled.dat"
    write(machine, path, text.replace("\n", "\r\n").encode("utf-8"))


def write_anti_cheat(machine):
    settings = {
        "title": "Apex Legends",
        "executable": "r5apex.exe",
        "productid": "apex",
        "wait_for_game_process_exit": "true",
    }
    path = launcher_data.APEX + r"\EasyAntiCheat\Launcher\Settings.json"
    write(machine, path, (json.dumps(settings, indent=4) + "\n").encode("utf-8"))


def main():
    machine = pathlib.Path(sys.argv[1])
    write_steam(machine)
    write_ubisoft(machine)
    write_epic(machine)
    write_anti_cheat(machine)


if __name__ == "__main__":
    main()

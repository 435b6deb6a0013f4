#!/usr/bin/env python3
"""Checks what the sample machine promises: check-desk.py [MACHINE]

Prints a count of the links by kind and exits with 1 if a promise is broken.
"""

import json
import pathlib
import re
import struct
import sys
from collections import Counter

import desk_data
import launcher_data
from lnk_writer import LINK_CLSID
from make_programs import game_programs, host_path

PROGRAM_LIMIT = 25 * 1024
TOTAL_LIMIT = 3 * 1024 * 1024
RESERVED = re.compile(r"^(con|prn|aux|nul|com\d|lpt\d)(\..*)?$", re.IGNORECASE)
SUFFIXES = (".exe", ".com", ".bat", ".cmd", ".pif", ".scr")

faults = []


def promise(holds, text):
    if not holds:
        faults.append(text)


def id_list_items(data):
    """The items after the header, or None if the list leaves the file."""
    end = 78 + struct.unpack_from("<H", data, 76)[0]
    position, items = 78, []
    while position + 2 <= min(end, len(data)):
        size = struct.unpack_from("<H", data, position)[0]
        if size == 0:
            return items
        if size < 3 or position + size > min(end, len(data)):
            return None
        items.append(data[position + 2 : position + size])
        position += size
    return None


def link_shape(data):
    """A word for what the file is, from its own bytes."""
    if not data:
        return "empty"
    if len(data) < 76 or data[:4] != b"\x4c\0\0\0" or data[4:20] != LINK_CLSID:
        return "no link"
    flags = struct.unpack_from("<I", data, 20)[0]
    if flags & 1:
        items = id_list_items(data)
        if items is None:
            return "damaged"
        if not any(item[0] & 0x70 == 0x30 for item in items):
            return "virtual object"
        return "ID list and environment" if flags & 0x200 else ("ID list" if flags & 0x80 else "ID list, ANSI")
    if flags & 0x200:
        return "environment"
    return "LinkInfo" if flags & 2 else "header"


def target_kind(machine, link):
    if not link.target:
        return "none"
    if "%" in link.target:
        return "environment path"
    if link.target.startswith("\\\\"):
        return "missing"
    path = host_path(machine, link.target)
    if not path.exists():
        return "missing"
    if path.is_dir():
        return "folder"
    return "program" if path.suffix.lower() in SUFFIXES else "document"


def check_links(machine):
    roots = [host_path(machine, folder) for folder in (desk_data.COMMON_MENU, desk_data.USER_MENU)]
    found = [[p for p in root.rglob("*") if p.is_file() and p.suffix.lower() == ".lnk"] for root in roots]
    for root, files in zip(roots, found):
        promise(len(files) >= 20, "%s holds %d links" % (root, len(files)))
    files = found[0] + found[1]
    expected = {host_path(machine, link.path) for link in desk_data.LINKS}
    promise(set(files) == expected, "other links than the table's: %s" % sorted(map(str, set(files) ^ expected)))
    shapes = {path: link_shape(path.read_bytes()) for path in files}
    readable = [p for p, shape in shapes.items() if shape not in ("empty", "no link", "damaged", "header")]
    promise(len(readable) >= 60, "only %d readable links" % len(readable))
    promise(len({len(p.parts) for p in files}) >= 5, "links at too few depths")
    promise(any(p.suffix == ".LNK" for p in files), "no link with the suffix in capitals")
    promise(any(len(p.name) >= 175 for p in files), "no long name")
    makers = Counter(
        link.maker.partition(":")[0] if link.maker.partition(":")[0] in ("nsis", "com") else "written"
        for link in desk_data.LINKS
    )
    kinds = Counter(target_kind(machine, link) for link in desk_data.LINKS)
    for kind in ("program", "document", "folder", "missing", "environment path", "none"):
        promise(kinds[kind] > 0, "no link to: " + kind)
    for maker in ("nsis", "com"):
        wrong = [
            l.name
            for l in desk_data.LINKS
            if l.maker.startswith(maker) and shapes.get(host_path(machine, l.path)) not in ("ID list",)
        ]
        promise(not wrong, "%s links without an ID list: %s" % (maker, wrong))
    for title, counter in (("shape", Counter(shapes.values())), ("target", kinds), ("maker", makers)):
        print("links by %s: %s" % (title, ", ".join("%s %d" % pair for pair in sorted(counter.items()))))


def is_program(data):
    if data[:2] != b"MZ" or len(data) < 64:
        return False
    start = struct.unpack_from("<I", data, 0x3C)[0]
    if data[start : start + 4] != b"PE\0\0" or struct.unpack_from("<H", data, start + 4)[0] != 0x8664:
        return False
    sections, optional_size = (
        struct.unpack_from("<H", data, start + 6)[0],
        struct.unpack_from("<H", data, start + 20)[0],
    )
    table = start + 24 + optional_size
    rows = [struct.unpack_from("<IIII", data, table + 40 * n + 8) for n in range(sections)]
    return struct.unpack_from("<H", data, start + 24)[0] == 0x20B and all(r[3] + r[2] <= len(data) for r in rows)


def check_programs(machine):
    programs = desk_data.PROGRAMS + game_programs()
    for program in programs:
        data = host_path(machine, program.path).read_bytes()
        promise(is_program(data), program.path + " is no 64-bit program")
        promise(len(data) <= PROGRAM_LIMIT, "%s has %d bytes" % (program.path, len(data)))
        for _, product, company, _ in program.strings:
            for text in (product, company):
                promise(text.encode("utf-16-le") in data, "%s lacks the text %s" % (program.path, text))
    print("programs: %d" % len(programs))


def check_packages(machine):
    facts = json.loads((machine / "machine.json").read_text(encoding="utf-8"))
    packages = facts["packages"]
    promise(len(packages) >= 12, "only %d packages" % len(packages))
    good = [p for p in packages if "error" not in p]
    counts = {len(p["entries"]) for p in good}
    promise({0, 1, 2, 3, 4} <= counts, "entries per package: %s" % counts)
    versions = Counter(p["fullName"].split("_")[0] for p in good)
    promise(max(versions.values()) == 2, "no package in two versions")
    promise(any("error" in p for p in packages), "no failing package")
    entries = [e for p in good for e in p["entries"]]
    promise(any("error" in e for e in entries), "no failing entry")
    logos = {e["logo"] for e in entries if "error" not in e}
    missing = [logo for logo in logos if not host_path(machine, logo.replace("/", "\\")).exists()]
    promise(missing == [l for l in missing if l.endswith("missing.png")], "logos that are missing: %s" % missing)
    rules = json.loads(host_path(machine, facts["metadata"].replace("/", "\\")).read_text(encoding="utf-8"))
    tags = Counter(tag for rule in rules for tag in rule.get("tags", []))
    promise(tags["ignore"] >= 3 and tags["meeting"] >= 4, "too few rules: %s" % tags)
    for key in ("desktopTarget", "managedTarget", "displayName"):
        promise(any("target" in rule and key in rule for rule in rules), "no extra entry with " + key)
    print("packages: %d, entries: %d, rules: %d" % (len(packages), len(entries), len(rules)))


def check_registry(machine):
    text = (machine / "registry/10-machine.reg").read_bytes()
    promise(text[:2] == b"\xff\xfe", "10-machine.reg has no byte order mark")
    machine_text = text[2:].decode("utf-16-le")
    user_text = (machine / "registry/20-kim.reg").read_bytes().decode("utf-8")
    for name, content in (("10-machine.reg", machine_text), ("20-kim.reg", user_text)):
        promise(content.startswith("Windows Registry Editor Version 5.00\r\n"), name + " has another first line")
        promise("\n" not in content.replace("\r\n", ""), name + " has a bare line feed")
        promise("Uninstall" in content and "RegisteredApplications" in content, name + " lacks keys")


def check_steam(machine):
    games = launcher_data.STEAM_GAMES
    libraries = host_path(machine, launcher_data.STEAM + r"\config\libraryfolders.vdf").read_text(encoding="utf-8")
    for library in (launcher_data.STEAM, launcher_data.LIBRARY):
        promise('"path"\t\t"%s"' % library.replace("\\", "\\\\") in libraries, "no Steam library " + library)
        manifests = {path.name for path in host_path(machine, library + r"\steamapps").glob("*.acf")}
        promise(
            manifests == {"appmanifest_%d.acf" % game.number for game in games if game.library == library},
            "other manifests in %s: %s" % (library, manifests),
        )
    cache = host_path(machine, launcher_data.STEAM + r"\appcache\appinfo.vdf").read_bytes()
    promise(cache.count(b"\0appinfo\0") == len(games), "Steam's cache lacks games")
    for game in games:
        promise(b"\1name\0" + game.name.encode("utf-8") + b"\0" in cache, "Steam's cache lacks " + game.name)
        if game.library:
            folder = host_path(machine, game.library + r"\steamapps\common" + "\\" + game.folder)
            promise(any(folder.rglob("*.exe")), "no program in %s" % folder)


def check_launchers(machine):
    check_steam(machine)
    names = [game.name for game in launcher_data.STEAM_GAMES if game.library]
    others = [entry[1] for entry in launcher_data.MACHINE_ENTRIES + launcher_data.USER_ENTRIES]
    promise(len(set(names) & set(others)) >= 2, "too few games that two launchers have")
    text = (machine / "registry/10-machine.reg").read_bytes()[2:].decode("utf-16-le")
    text += (machine / "registry/20-kim.reg").read_bytes().decode("utf-8")
    for entry in launcher_data.MACHINE_ENTRIES + launcher_data.USER_ENTRIES:
        promise('"DisplayName"="%s"' % entry[1] in text, "no uninstall entry of " + entry[1])
    promise("GameConfigStore" in text and "MuiCache" in text, "Windows has recorded no programs")
    lines = host_path(machine, launcher_data.UBISOFT + r"\cache\configuration\configurations").read_bytes()
    promise(all(lines.removesuffix(b"\r\n").split(b"\r\n")), "a blank line in Ubisoft's configuration")
    epic = host_path(machine, r"C:\ProgramData\Epic\UnrealEngineLauncher\LauncherInstalled.dat").read_bytes()
    promise(len(json.loads(epic)["InstallationList"]) == 2, "not two games of Epic's")
    promise(host_path(machine, launcher_data.APEX + r"\EasyAntiCheat\Launcher\Settings.json").exists(), "no anti-cheat")
    print("games: Steam %d, others %d" % (len(names), len(others) + len(launcher_data.EPIC_INSTALLATIONS)))


def check_files(machine):
    total = 0
    for path in sorted(machine.rglob("*")):
        name = path.name
        promise(not re.search(r'[<>:"|?*\\\x00-\x1f]', name) and not name.endswith((" ", ".")), "bad name: %s" % path)
        promise(not RESERVED.match(name), "reserved name: %s" % path)
        promise(len(name.encode("utf-8")) <= 255, "name too long for Linux: %s" % path)
        promise(not path.is_symlink(), "symbolic link: %s" % path)
        length = len(str(path.relative_to(machine)).encode("utf-16-le")) // 2 + 1
        promise(length < 260, "path of %d characters: %s" % (length, path))
        total += path.stat().st_size if path.is_file() else 0
    for folder in [p for p in machine.rglob("*") if p.is_dir()]:
        names = [p.name.lower() for p in folder.iterdir()]
        promise(len(names) == len(set(names)), "names that differ in case only in %s" % folder)
        promise(names, "empty folder, which git forgets: %s" % folder)
    promise(total < TOTAL_LIMIT, "%d bytes in all" % total)
    print("total: %d KiB" % (total // 1024))


def main():
    here = pathlib.Path(__file__).resolve().parent
    machine = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else here.parents[1] / "samples/desk"
    for check in (check_links, check_programs, check_packages, check_registry, check_launchers, check_files):
        check(machine)
    for fault in faults:
        print("check-desk.py: " + fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

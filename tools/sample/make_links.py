#!/usr/bin/env python3
"""Makes the sample machine's links.

make_links.py prepare MACHINE WORK    writes the installers' scripts (WORK/*.nsi) and link_maker's table (WORK/links.tsv)
make_links.py write MACHINE           writes the links of lnk_writer and the Internet shortcuts
make_links.py collect MACHINE DRIVE   copies what the Windows tools made out of drive C of their prefix
"""

import pathlib
import shutil
import sys

import desk_data
import lnk_writer
from make_programs import host_path


def installer_text(value):
    for char, escaped in (("$", "$$"), ('"', '$\\"')):
        value = value.replace(char, escaped)
    return '"' + value + '"'


def shortcut_lines(link):
    path = "$SMPROGRAMS\\" + link.name
    lines = ["  SetShellVarContext %s" % ("all" if link.menu == "A" else "current")]
    lines += ["  CreateDirectory " + '"' + path.rpartition("\\")[0] + '"']
    lines += ["  SetOutPath " + installer_text(link.working_dir)] if link.working_dir else []
    arguments = [installer_text(text) for text in (link.target, link.arguments, link.icon)]
    lines += ['  CreateShortCut "%s" %s "" "" "" %s' % (path, " ".join(arguments), installer_text(link.description))]
    return lines


def write_installers(work):
    installers = sorted({link.maker for link in desk_data.NSIS_LINKS})
    for maker in installers:
        name = maker.partition(":")[2]
        lines = [
            "Target amd64-unicode",
            "SetCompressor zlib",
            'Name "%s"' % name,
            'OutFile "%s.exe"' % name,
            "RequestExecutionLevel user",
            "SilentInstall silent",
            "Section",
        ]
        for link in desk_data.NSIS_LINKS:
            if link.maker == maker:
                lines += shortcut_lines(link)
        lines += ["  IfErrors 0 +2", "  SetErrorLevel 3", "SectionEnd"]
        (work / (name + ".nsi")).write_text("\n".join(lines) + "\n", encoding="utf-8")


def write_table(work):
    rows = [
        (link.path, link.target, link.arguments, link.working_dir, link.description, link.icon)
        for link in desk_data.COM_LINKS
    ]
    (work / "links.tsv").write_text("".join("\t".join(row) + "\n" for row in rows), encoding="utf-8", newline="")


def make_menu_folders(machine):
    for link in desk_data.LINKS:
        host_path(machine, link.path).parent.mkdir(parents=True, exist_ok=True)


def write_links(machine):
    make_menu_folders(machine)
    for link in desk_data.WRITTEN_LINKS:
        host_path(machine, link.path).write_bytes(getattr(lnk_writer, link.maker)(link))
    for (menu, name), url in desk_data.INTERNET_SHORTCUTS.items():
        content = "[InternetShortcut]\r\nURL=%s\r\n" % url
        path = host_path(machine, desk_data.MENUS[menu] + "\\" + name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content.encode("ascii"))


def collect(machine, drive):
    for link in desk_data.NSIS_LINKS + desk_data.COM_LINKS:
        made = drive / link.path[3:].replace("\\", "/")
        shutil.copyfile(made, host_path(machine, link.path))


def main():
    action, machine = sys.argv[1], pathlib.Path(sys.argv[2])
    if action == "prepare":
        make_menu_folders(machine)
        write_installers(pathlib.Path(sys.argv[3]))
        write_table(pathlib.Path(sys.argv[3]))
    elif action == "write":
        write_links(machine)
    elif action == "collect":
        collect(machine, pathlib.Path(sys.argv[3]))


if __name__ == "__main__":
    main()

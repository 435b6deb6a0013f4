#!/usr/bin/env python3
"""Builds the sample machine's program files and plain files: make_programs.py MACHINE WORK

Each program is the same few instructions with version resources and an icon of its own, so that it stays small.
"""

import pathlib
import subprocess
import sys

import desk_data
import icons
import launcher_data

CROSS = "x86_64-w64-mingw32-"
LINK_OPTIONS = ["-nostdlib", "-s", "-Wl,-e,start", "-Wl,--no-insert-timestamp", "-Wl,--subsystem,windows"]


def host_path(machine, windows_path):
    drive, rest = windows_path.split(":\\")
    return machine / drive / rest.replace("\\", "/")


def version_numbers(version):
    numbers = [int(part) for part in version.split(".")]
    return ",".join(str(number) for number in (numbers + [0, 0, 0])[:4])


def quoted(value):
    return '"' + value.replace('"', '""') + '\\0"'


def string_table(program, language, product, company, description):
    file_name = program.path.rpartition("\\")[2]
    values = {
        "Comments": "Stand-in for the sample machine",
        "CompanyName": company,
        "FileDescription": description,
        "FileVersion": program.version,
        "InternalName": file_name.rpartition(".")[0],
        "OriginalFilename": file_name,
        "ProductName": product,
        "ProductVersion": program.version,
    }
    lines = "".join("      VALUE %s, %s\n" % ('"%s"' % key, quoted(value)) for key, value in values.items())
    return '    BLOCK "%04x04b0"\n    BEGIN\n%s    END\n' % (language, lines)


def version_resource(program):
    tables = "".join(string_table(program, *strings) for strings in program.strings)
    translations = ", ".join("0x%04x, 1200" % strings[0] for strings in program.strings)
    numbers = version_numbers(program.version)
    return (
        "1 VERSIONINFO\nFILEVERSION %s\nPRODUCTVERSION %s\nFILEOS 0x40004\nFILETYPE 1\nBEGIN\n"
        '  BLOCK "StringFileInfo"\n  BEGIN\n%s  END\n  BLOCK "VarFileInfo"\n  BEGIN\n'
        '    VALUE "Translation", %s\n  END\nEND\n' % (numbers, numbers, tables, translations)
    )


def compile_resources(program, work):
    text = "#pragma code_page(65001)\n"
    if program.icon != "none":
        (work / "program.ico").write_bytes(icons.ico(program.icon, program.look))
        text += '1 ICON "program.ico"\n'
    if program.strings:
        text += version_resource(program)
    (work / "program.rc").write_text(text, encoding="utf-8")
    subprocess.run(
        [CROSS + "windres", "--codepage=65001", "program.rc", "-O", "coff", "program.res.o"], cwd=work, check=True
    )


def game_programs():
    """One small icon is enough for these: nobody looks closely."""
    return [desk_data.program(*what, "old", look) for *what, look in launcher_data.PROGRAMS]


def build_programs(machine, work):
    (work / "start.c").write_text("int start(void)\n{\n    return 0;\n}\n")
    subprocess.run([CROSS + "gcc", "-Os", "-c", "start.c", "-fno-asynchronous-unwind-tables"], cwd=work, check=True)
    for program in desk_data.PROGRAMS + game_programs():
        compile_resources(program, work)
        subprocess.run(
            [CROSS + "gcc", "start.o", "program.res.o", *LINK_OPTIONS, "-o", "program.exe"], cwd=work, check=True
        )
        target = host_path(machine, program.path)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes((work / "program.exe").read_bytes())


def write_plain_files(machine):
    for path, content in desk_data.TEXT_FILES.items():
        target = host_path(machine, path)
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(content.encode("utf-8"))


def main():
    machine, work = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    build_programs(machine, work)
    write_plain_files(machine)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Prints the DLLs that Windows programs need, directly or through others: dlls.py --search FOLDER... -- FILE...

One path a line. DLLs that are in none of the search folders belong to Windows and are left out.
"""
import re
import subprocess
import sys
from pathlib import Path

OBJDUMP = "x86_64-w64-mingw32-objdump"


def imports(file):
    text = subprocess.run([OBJDUMP, "-p", str(file)], check=True, capture_output=True, text=True).stdout
    return re.findall(r"DLL Name: (\S+)", text)


def needed(files, folders):
    found, waiting = {}, list(files)
    while waiting:
        for name in imports(waiting.pop()):
            if name.lower() in found:
                continue
            path = next((folder / name for folder in folders if (folder / name).exists()), None)
            found[name.lower()] = path
            if path:
                waiting.append(path)
    return sorted(path for path in found.values() if path)


if __name__ == "__main__":
    border = sys.argv.index("--")
    for dll in needed(sys.argv[border + 1 :], [Path(folder) for folder in sys.argv[2:border]]):
        print(dll)

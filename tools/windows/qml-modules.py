#!/usr/bin/env python3
"""Prints the folders of Qt's QML modules that a host's QML needs: qml-modules.py QML-FOLDER QT-FOLDER STYLE.

One folder a line, relative to Qt's folder "qml". Of the styles of Qt Quick Controls only STYLE counts: the module
names all of them, since it leaves the choice to the run.
"""
import json
import subprocess
import sys
from pathlib import Path

SCANNER = "/usr/lib/qt6/libexec/qmlimportscanner"
STYLES = {"Basic", "Fusion", "FluentWinUI3", "Imagine", "Material", "Universal", "Windows", "macOS", "iOS"}


def imports(folder, qml):
    command = [SCANNER, "-rootPath", str(folder), "-importPath", str(qml)]
    return json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)


def module_folders(folder, qml, style):
    for module in imports(folder, qml):
        path = module.get("path")
        if not path or not Path(path).is_relative_to(qml):
            continue
        relative = Path(path).relative_to(qml)
        if not (STYLES - {style}) & set(relative.parts):
            yield relative


if __name__ == "__main__":
    for found in sorted(module_folders(Path(sys.argv[1]), Path(sys.argv[2]) / "qml", sys.argv[3])):
        print(found)

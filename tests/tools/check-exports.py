#!/usr/bin/env python3
"""Checks that the library exports its public classes and nothing else of ours.

Usage: check-exports.py <nm> <library> <folder of the headers>
"""
import pathlib
import re
import subprocess
import sys

PREFIX = r"(?:typeinfo name for |typeinfo for |vtable for |guard variable for |VTT for |(?:non-)?virtual thunk to )?"
# Instances of templates, which every library on ELF systems exports along with the namespaces that they come from.
FOREIGN = re.compile(PREFIX + r"(?:(?:auto|void|bool|int|unsigned|char) )*(?:std::|__gnu_cxx::|Q[A-Z]\w*|qHash|operator)")
# What the linker and AddressSanitizer add, in some builds.
MARKS = re.compile(r"__bss_start$|_edata$|_end$|__odr_asan\.")


def exported_classes(folder):
    classes = set()
    for header in pathlib.Path(folder).glob("*.h"):
        classes.update(re.findall(r"^class KVPROGRAM_EXPORT (\w+)", header.read_text(encoding="utf-8"), re.MULTILINE))
    return classes


def symbols(nm, library):
    text = subprocess.run([nm, "-D", "--defined-only", "-C", library], check=True, stdout=subprocess.PIPE,
                          encoding="utf-8").stdout
    for line in text.splitlines():
        _, kind, name = line.split(" ", 2)
        yield kind, name


def main():
    nm, library, folder = sys.argv[1:]
    classes = exported_classes(folder)
    ours = re.compile(PREFIX + r"(?:" + "|".join(sorted(classes)) + r")(?:::|$)")
    found = list(symbols(nm, library))
    names = {name for _, name in found}
    faults = [f"no class is marked as exported in {folder}"] if not classes else []
    for name in sorted(classes):
        for part in (f"typeinfo for {name}", f"vtable for {name}", f"{name}::staticMetaObject"):
            if part not in names:
                faults.append(f"missing: {part}")
    for kind, name in found:
        is_weak = kind in "WVuvw"
        if not ours.match(name) and not MARKS.match(name) and not (is_weak and FOREIGN.match(name)):
            faults.append(f"not to be exported: {kind} {name}")
    if faults:
        sys.exit("\n".join(faults))
    print(f"{len(classes)} classes, {len(found)} symbols")


main()

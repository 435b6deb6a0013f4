#!/usr/bin/env python3
"""Writes an icon with a 32 x 32 and a 256 x 256 picture, a disc each: make-icon.py FILE.

Format: ICONDIR, ICONDIRENTRY and BITMAPINFOHEADER, https://learn.microsoft.com/windows/win32/menurc/resource-file-formats
"""
import struct
import sys


def picture(side):
    radius = side / 2
    pixels = bytearray()
    for y in range(side):
        for x in range(side):
            inside = (x + 0.5 - radius) ** 2 + (y + 0.5 - radius) ** 2 < radius**2
            pixels += b"\x30\x90\xf0\xff" if inside else bytes(4)
    mask = bytes((side + 31) // 32 * 4 * side)
    return struct.pack("<IiiHHIIiiII", 40, side, side * 2, 1, 32, 0, len(pixels), 0, 0, 0, 0) + pixels + mask


pictures = [(side, picture(side)) for side in (32, 256)]
entries, data = b"", b""
for side, content in pictures:
    offset = 6 + 16 * len(pictures) + len(data)
    entries += struct.pack("<BBBBHHII", side % 256, side % 256, 0, 0, 1, 32, len(content), offset)
    data += content
with open(sys.argv[1], "wb") as file:
    file.write(struct.pack("<HHH", 0, 1, len(pictures)) + entries + data)

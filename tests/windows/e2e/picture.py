"""Reads PNG files of 8-bit RGB or RGBA pixels. Format: https://www.w3.org/TR/png-3/"""
import struct
import zlib


class Picture:
    """Width, height, and the bytes of each row."""

    def __init__(self, data):
        if data[:8] != b"\x89PNG\r\n\x1a\n":
            raise ValueError("no PNG file")
        compressed = b""
        for kind, content in chunks(data):
            if kind == b"IHDR":
                self.width, self.height, depth, colour, _, _, interlaced = struct.unpack(">IIBBBBB", content)
            elif kind == b"IDAT":
                compressed += content
        if depth != 8 or colour not in (2, 6) or interlaced:
            raise ValueError("a PNG file of another kind")
        self.pixel_size = 3 if colour == 2 else 4
        self.rows = list(unfiltered(zlib.decompress(compressed), self.width * self.pixel_size, self.pixel_size))

    def colours(self, left=0, top=0, right=None, bottom=None):
        """The different colours in a part of the picture."""
        right, bottom = right or self.width, bottom or self.height
        size = self.pixel_size
        return {bytes(row[x * size : x * size + 3]) for row in self.rows[top:bottom] for x in range(left, right)}


def chunks(data):
    position = 8
    while position < len(data):
        length, kind = struct.unpack_from(">I4s", data, position)
        yield kind, data[position + 8 : position + 8 + length]
        position += 12 + length


def unfiltered(data, length, size):
    above = bytearray(length)
    for start in range(0, len(data), length + 1):
        kind, row = data[start], bytearray(data[start + 1 : start + 1 + length])
        for i in range(length):
            left = row[i - size] if i >= size else 0
            corner = above[i - size] if i >= size else 0
            row[i] = (row[i] + prediction(kind, left, above[i], corner)) & 0xFF
        yield row
        above = row


def prediction(kind, left, above, corner):
    if kind < 4:
        return (0, left, above, (left + above) // 2)[kind]
    distances = abs(above - corner), abs(left - corner), abs(left + above - 2 * corner)
    return (left, above, corner)[distances.index(min(distances))]

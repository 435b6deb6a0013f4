"""Draws the sample machine's icons: a rounded square in one colour with a letter or a simple figure on it.

Everything is described in the unit square and drawn by distance, so that each size is sharp. Only the standard library.
Formats: PNG (W3C), ICO (an ICONDIR with BMP or PNG images, as documented by Microsoft under "Icons").
"""

import struct
import zlib

# Strokes on a grid of 4 by 6; "|" starts a new stroke.
LETTERS = {
    "A": "0,6 2,0 4,6|1,4 3,4",
    "B": "0,0 0,6 3,6 4,5 4,4 3,3 0,3|0,0 3,0 4,1 4,2 3,3",
    "C": "4,1 3,0 1,0 0,1 0,5 1,6 3,6 4,5",
    "D": "0,0 0,6 2,6 4,4 4,2 2,0 0,0",
    "H": "0,0 0,6|4,0 4,6|0,3 4,3",
    "I": "2,0 2,6|1,0 3,0|1,6 3,6",
    "K": "0,0 0,6|4,0 0,3 4,6",
    "M": "0,6 0,0 2,3 4,0 4,6",
    "N": "0,6 0,0 4,6 4,0",
    "O": "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0",
    "P": "0,6 0,0 3,0 4,1 4,2 3,3 0,3",
    "Q": "1,0 3,0 4,1 4,5 3,6 1,6 0,5 0,1 1,0|2.5,4.5 4.4,6.4",
    "R": "0,6 0,0 3,0 4,1 4,2 3,3 0,3|2,3 4,6",
    "S": "4,1 3,0 1,0 0,1 0,2 1,3 3,3 4,4 4,5 3,6 1,6 0,5",
    "U": "0,0 0,5 1,6 3,6 4,5 4,0",
    "W": "0,0 1,6 2,2 3,6 4,0",
    "X": "0,0 4,6|4,0 0,6",
}

# Strokes in the unit square; a figure may also have discs (x, y, radius) and filled polygons.
STROKES = {
    "bubble": "0.28,0.3 0.72,0.3 0.72,0.62 0.5,0.62 0.36,0.76 0.36,0.62 0.28,0.62 0.28,0.3",
    "camera": "0.24,0.36 0.58,0.36 0.58,0.64 0.24,0.64 0.24,0.36",
    "clock": "0.5,0.34 0.5,0.52 0.62,0.6",
    "cross": "0.32,0.32 0.68,0.68|0.68,0.32 0.32,0.68",
    "envelope": "0.24,0.34 0.76,0.34 0.76,0.68 0.24,0.68 0.24,0.34 0.5,0.54 0.76,0.34",
    "folder": "0.24,0.34 0.44,0.34 0.5,0.41 0.76,0.41 0.76,0.7 0.24,0.7 0.24,0.34",
    "gear": "0.5,0.22 0.5,0.78|0.26,0.36 0.74,0.64|0.74,0.36 0.26,0.64",
    "grid": "0.28,0.28 0.72,0.28 0.72,0.72 0.28,0.72 0.28,0.28|0.5,0.28 0.5,0.72|0.28,0.5 0.72,0.5",
    "infinity": "0.5,0.5 0.36,0.38 0.24,0.5 0.36,0.62 0.64,0.38 0.76,0.5 0.64,0.62 0.5,0.5",
    "lines": "0.3,0.32 0.7,0.32|0.3,0.5 0.7,0.5|0.3,0.68 0.54,0.68",
    "note": "0.44,0.68 0.44,0.28 0.66,0.34",
    "prompt": "0.28,0.34 0.46,0.5 0.28,0.66|0.52,0.68 0.74,0.68",
    "pulse": "0.22,0.5 0.38,0.5 0.46,0.3 0.56,0.7 0.63,0.5 0.78,0.5",
    "wave": "0.22,0.44 0.36,0.36 0.5,0.44 0.64,0.52 0.78,0.44|0.22,0.62 0.36,0.54 0.5,0.62 0.64,0.7 0.78,0.62",
}
DISCS = {
    "note": [(0.38, 0.68, 0.09)],
    "drop": [(0.5, 0.58, 0.17)],
    "gear": [(0.5, 0.5, 0.17)],
    "flame": [(0.5, 0.6, 0.17)],
}
RINGS = {"ring": (0.5, 0.5, 0.22), "clock": (0.5, 0.5, 0.27)}
POLYGONS = {
    "play": [(0.38, 0.28), (0.74, 0.5), (0.38, 0.72)],
    "drop": [(0.5, 0.22), (0.65, 0.5), (0.35, 0.5)],
    "bolt": [(0.56, 0.2), (0.32, 0.55), (0.48, 0.55), (0.42, 0.8), (0.68, 0.43), (0.52, 0.43)],
    "mountain": [(0.2, 0.72), (0.4, 0.36), (0.52, 0.54), (0.6, 0.44), (0.8, 0.72)],
    "flame": [(0.52, 0.18), (0.67, 0.6), (0.33, 0.6), (0.44, 0.44)],
    "camera": [(0.62, 0.48), (0.8, 0.36), (0.8, 0.64), (0.62, 0.52)],
    "star": [
        (0.5, 0.22),
        (0.57, 0.42),
        (0.78, 0.42),
        (0.61, 0.55),
        (0.67, 0.76),
        (0.5, 0.63),
        (0.33, 0.76),
        (0.39, 0.55),
        (0.22, 0.42),
        (0.43, 0.42),
    ],
}


def segments_of(text, scale=lambda x, y: (x, y)):
    result = []
    for stroke in text.split("|"):
        points = [scale(*map(float, point.split(","))) for point in stroke.split()]
        result += list(zip(points, points[1:]))
    return result


def segment_distance(x, y, segment):
    (ax, ay), (bx, by) = segment
    dx, dy = bx - ax, by - ay
    t = max(0.0, min(1.0, ((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy)))
    return ((x - ax - t * dx) ** 2 + (y - ay - t * dy) ** 2) ** 0.5


def polygon_distance(x, y, points):
    inside = False
    nearest = 9.0
    for a, b in zip(points, points[1:] + points[:1]):
        nearest = min(nearest, segment_distance(x, y, (a, b)))
        if (a[1] > y) != (b[1] > y) and x < (b[0] - a[0]) * (y - a[1]) / (b[1] - a[1]) + a[0]:
            inside = not inside
    return -nearest if inside else nearest


class Figure:
    """A letter or a named figure; distance() is negative inside of it."""

    def __init__(self, name, width=0.045):
        letter = LETTERS.get(name)
        strokes = letter or STROKES.get(name, "")
        scale = (lambda x, y: (0.33 + x * 0.085, 0.26 + y * 0.08)) if letter else (lambda x, y: (x, y))
        self.segments = segments_of(strokes, scale) if strokes else []
        self.width = width
        self.discs = DISCS.get(name, [])
        self.ring = RINGS.get(name)
        self.polygon = POLYGONS.get(name)
        assert self.segments or self.discs or self.ring or self.polygon, name

    def distance(self, x, y):
        result = 9.0
        for segment in self.segments:
            result = min(result, segment_distance(x, y, segment) - self.width)
        for cx, cy, radius in self.discs:
            result = min(result, ((x - cx) ** 2 + (y - cy) ** 2) ** 0.5 - radius)
        if self.ring:
            cx, cy, radius = self.ring
            result = min(result, abs(((x - cx) ** 2 + (y - cy) ** 2) ** 0.5 - radius) - self.width)
        if self.polygon:
            result = min(result, polygon_distance(x, y, self.polygon))
        return result


def rounded_square_distance(x, y, radius=0.2, margin=0.02):
    half = 0.5 - margin - radius
    dx, dy = abs(x - 0.5) - half, abs(y - 0.5) - half
    return (max(dx, 0.0) ** 2 + max(dy, 0.0) ** 2) ** 0.5 + min(max(dx, dy), 0.0) - radius


def colour(text):
    return tuple(int(text[i : i + 2], 16) for i in (1, 3, 5))


def blend(a, b, t):
    return tuple(round(p + (q - p) * t) for p, q in zip(a, b))


def cover(distance, size):
    return max(0.0, min(1.0, 0.5 - distance * size))


def shades(look, size):
    """Rows of (alpha, share of the figure's white), both 0 to 1."""
    figure = Figure(look[0])
    rows = []
    for j in range(size):
        y = (j + 0.5) / size
        row = []
        for i in range(size):
            x = (i + 0.5) / size
            alpha = cover(rounded_square_distance(x, y), size)
            row.append((alpha, cover(figure.distance(x, y), size) if alpha > 0 else 0.0))
        rows.append(row)
    return rows


def rgba(look, size):
    """Rows of (r, g, b, a); a little lighter at the top."""
    base = colour(look[1])
    result = []
    for j, row in enumerate(shades(look, size)):
        ground = blend(blend(base, (255, 255, 255), 0.22), base, min(1.0, 1.4 * (j + 0.5) / size))
        result.append([blend(ground, (255, 255, 255), share) + (round(alpha * 255),) for alpha, share in row])
    return result


def png(rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    width, height = len(rows[0]), len(rows)
    above = bytes(width * 4)
    raw = bytearray()
    for row in rows:
        line = b"".join(bytes(pixel) if pixel[3] else b"\0\0\0\0" for pixel in row)
        raw += b"\2" + bytes((p - q) & 255 for p, q in zip(line, above))
        above = line
    header = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + chunk(b"IDAT", zlib.compress(bytes(raw), 9))
        + chunk(b"IEND", b"")
    )


def pack_bits(values, depth):
    """One row of `depth` bits per pixel, padded to four bytes."""
    row = bytearray()
    per_byte = 8 // depth
    for start in range(0, len(values), per_byte):
        byte = 0
        for k in range(per_byte):
            byte = byte << depth | (values[start + k] if start + k < len(values) else 0)
        row.append(byte)
    return bytes(row) + bytes(-len(row) % 4)


def bitmap_header(size, depth, used=0):
    return struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, depth, 0, 0, 0, 0, used, 0)


def bitmap32(look, size):
    rows = rgba(look, size)
    pixels = b"".join(struct.pack("4B", b, g, r, a) for row in reversed(rows) for r, g, b, a in row)
    mask = b"".join(pack_bits([int(p[3] == 0) for p in row], 1) for row in reversed(rows))
    return bitmap_header(size, 32) + pixels + mask


def bitmap24(look, size):
    """No alpha of its own: what is less than half covered is left to the mask."""
    rows = rgba(look, size)
    pixels = b""
    for row in reversed(rows):
        line = b"".join(bytes((b, g, r)) if a >= 128 else b"\0\0\0" for r, g, b, a in row)
        pixels += line + bytes(-len(line) % 4)
    mask = b"".join(pack_bits([int(p[3] < 128) for p in row], 1) for row in reversed(rows))
    return bitmap_header(size, 24) + pixels + mask


def bitmap1(look, size):
    """The figure in black on the ground colour."""
    palette = [(0, 0, 0), colour(look[1])]
    drawn = shades(look, size)
    colours = b"".join(struct.pack("4B", b, g, r, 0) for r, g, b in palette)
    pixels = b"".join(pack_bits([int(a >= 0.5 and s < 0.5) for a, s in row], 1) for row in reversed(drawn))
    mask = b"".join(pack_bits([int(a < 0.5) for a, _ in row], 1) for row in reversed(drawn))
    return bitmap_header(size, 1, len(palette)) + colours + pixels + mask


def bitmap_indexed(look, size, depth):
    """Entry 0 is black for the transparent part; the others go from the ground colour to white."""
    base, steps = colour(look[1]), (1 << depth) - 2
    palette = [(0, 0, 0)] + [blend(base, (255, 255, 255), n / steps) for n in range(steps + 1)]
    rows = [[0 if alpha < 0.5 else 1 + round(share * steps) for alpha, share in row] for row in shades(look, size)]
    colours = b"".join(struct.pack("4B", b, g, r, 0) for r, g, b in palette)
    pixels = b"".join(pack_bits(row, depth) for row in reversed(rows))
    mask = b"".join(pack_bits([int(p == 0) for p in row], 1) for row in reversed(rows))
    return bitmap_header(size, depth, len(palette)) + colours + pixels + mask


# Kind: images as (size, bits per pixel), 0 bits standing for PNG and -1 for one that is cut off.
KINDS = {
    "full": [(16, 32), (32, 32), (48, 8), (256, 0)],
    "small": [(16, 8), (32, 32), (48, 8)],
    "pair": [(16, 32), (32, 32)],
    "old": [(16, 4), (32, 4)],
    "mono": [(16, 1), (32, 1)],
    "deep": [(16, 24), (32, 24), (48, 24)],
    "bigpng": [(256, 0)],
    "broken": [(256, -1)],
}


def image(look, size, depth):
    if depth <= 0:
        drawn = png(rgba(look, size))
        return drawn if depth == 0 else drawn[:100]
    makers = {1: bitmap1, 24: bitmap24, 32: bitmap32}
    return makers[depth](look, size) if depth in makers else bitmap_indexed(look, size, depth)


def ico(kind, look):
    images = [(size, depth, image(look, size, depth)) for size, depth in KINDS[kind]]
    offset = 6 + 16 * len(images)
    directory = struct.pack("<HHH", 0, 1, len(images))
    for size, depth, data in images:
        colours = 1 << depth if 0 < depth < 8 else 0
        bits = depth if depth > 0 else 32
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, colours, 0, 1, bits, len(data), offset)
        offset += len(data)
    return directory + b"".join(data for _, _, data in images)


def plate(look, width, height, glyph):
    """A logo: the figure alone in `glyph` pixels, centred on a transparent plate."""
    figure, ink = Figure(look[0], 0.06), colour(look[1])
    left, top = (width - glyph) / 2, (height - glyph) / 2
    rows = []
    for j in range(height):
        row = []
        for i in range(width):
            x, y = (i + 0.5 - left) / glyph, (j + 0.5 - top) / glyph
            inside = 0 <= x <= 1 and 0 <= y <= 1
            row.append(ink + (round(255 * cover(figure.distance(x, y), glyph)) if inside else 0,))
        rows.append(row)
    return png(rows)


def logo(look, size):
    return png(rgba(look, size))

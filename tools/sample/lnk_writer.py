"""Writes shell links of the shapes that no installer at hand makes.

Formats: Shell Link (.LNK) Binary File Format [MS-SHLLINK]; items of ID lists and their extension block 0xBEEF0004 as
documented by libfwsi, "Windows Shell Item format"; serialised properties as in [MS-PROPSTORE].
"""

import random
import struct
import uuid

LINK_CLSID = uuid.UUID("00021401-0000-0000-C000-000000000046").bytes_le
THIS_PC = "20D04FE0-3AEA-1069-A2D8-08002B30309D"

HAS_ID_LIST, HAS_LINK_INFO, HAS_NAME = 0x1, 0x2, 0x4
HAS_WORKING_DIR, HAS_ARGUMENTS, HAS_ICON, IS_UNICODE = 0x10, 0x20, 0x40, 0x80
HAS_EXP_STRING = 0x200

WRITTEN = 0x01DB1F6A5C3E8000  # the FILETIME of every file here, so that each run gives the same bytes
DOS_TIME = 0x6A40596F


def header(flags, attributes=0x20, show=1):
    return struct.pack(
        "<I16sIIQQQIiIHHII", 0x4C, LINK_CLSID, flags, attributes, WRITTEN, WRITTEN, WRITTEN, 4096, 0, show, 0, 0, 0, 0
    )


def short_name(name, taken=1):
    """A name of 8 and 3 plain characters, as the system derives it for names that don't fit."""
    stem, dot, suffix = name.rpartition(".") if "." in name else (name, "", "")
    plain = "".join(c for c in stem.upper() if c.isascii() and c.isalnum())
    fits = name.isascii() and len(stem) <= 8 and len(suffix) <= 3 and " " not in name
    if fits:
        return name
    return (plain[:6] or "FILE") + "~%d" % taken + (dot + suffix.upper()[:3] if dot else "")


def long_name_block(name, version, offset):
    """Extension block 0xBEEF0004; its fields grew with the version. `offset` is where it stands in the item."""
    body = struct.pack("<HIII", version, 0xBEEF0004, DOS_TIME, DOS_TIME)
    body += struct.pack("<H", {3: 0x14, 7: 0x26, 8: 0x2A, 9: 0x2E}[version])
    if version >= 7:
        body += struct.pack("<HQQ", 0, 0x0002000000012345, 0)
    body += struct.pack("<H", 0)
    if version >= 9:
        body += struct.pack("<I", 0)
    if version >= 8:
        body += struct.pack("<I", 0)
    body += name.encode("utf-16-le") + b"\0\0" + struct.pack("<H", offset)
    return struct.pack("<H", len(body) + 2) + body


def item(body):
    return struct.pack("<H", len(body) + 2) + body


def file_item(name, is_folder, block):
    primary = (name if block is None else short_name(name)).encode("cp1252") + b"\0"
    primary += bytes(len(primary) % 2)
    kind, attributes, size = (0x31, 0x10, 0) if is_folder else (0x32, 0x20, 4096)
    body = struct.pack("<BBIIH", kind, 0, size, DOS_TIME, attributes) + primary
    return item(body if block is None else body + long_name_block(name, block, len(body) + 2))


def class_item(clsid, first):
    kind = struct.pack("<BB", 0x1F, 0x50) if first else struct.pack("<BB10x", 0x71, 0x80)
    return item(kind + uuid.UUID(clsid).bytes_le)


def id_list_of(items):
    data = b"".join(items) + b"\0\0"
    return struct.pack("<H", len(data)) + data


def path_id_list(path, is_folder, block=9):
    drive, *names = path.split("\\")
    items = [class_item(THIS_PC, True), item(b"\x2f" + (drive + "\\").encode("ascii").ljust(22, b"\0"))]
    items += [file_item(name, True, block) for name in names[:-1]]
    return id_list_of(items + [file_item(names[-1], is_folder, block)])


def volume_link_info(path, with_unicode):
    """LinkInfo of a file on a fixed disk; the Unicode fields came with Windows 2000's larger header."""
    volume = struct.pack("<IIII", 0x18, 3, 0x1234ABCD, 0x10) + b"DESK".ljust(8, b"\0")
    ansi = path.encode("cp1252", "replace") + b"\0"
    size = 0x24 if with_unicode else 0x1C
    base = size + len(volume)
    suffix = base + len(ansi)
    fields = [size, 1, size, base, 0, suffix]
    data = volume + ansi + b"\0"
    if with_unicode:
        data += bytes(-(size + len(data)) % 2)
        wide = size + len(data)
        data += path.encode("utf-16-le") + b"\0\0"
        fields += [wide, size + len(data)]
        data += b"\0\0"
    return link_info_of(fields, data)


def link_info_of(fields, data):
    head = struct.pack("<%dI" % len(fields), *fields)
    return struct.pack("<I", 4 + len(head) + len(data)) + head + data


def network_link_info(share, rest):
    name = share.encode("cp1252") + b"\0"
    network = struct.pack("<IIIII", 0x14 + len(name), 2, 0x14, 0, 0x00020000) + name
    return link_info_of([0x1C, 2, 0, 0, 0x1C, 0x1C + len(network)], network + rest.encode("cp1252") + b"\0")


def text(value, wide):
    data = value.encode("utf-16-le" if wide else "cp1252")
    return struct.pack("<H", len(data) // (2 if wide else 1)) + data


def environment_block(path):
    return (
        struct.pack("<II", 0x314, 0xA0000001)
        + path.encode("cp1252").ljust(260, b"\0")
        + path.encode("utf-16-le").ljust(520, b"\0")
    )


def tracker_block():
    droid = uuid.UUID("5b1f8a52-3c3e-4f6e-9b0a-0d1c6f9a7e11").bytes_le + uuid.UUID(int=0x1234).bytes_le
    return struct.pack("<IIII16s", 0x60, 0xA0000003, 0x58, 0, b"desk") + droid + droid


def console_block():
    font = "Consolas".encode("utf-16-le").ljust(64, b"\0")
    numbers = struct.pack("<HHhhhhhhIIIII", 7, 0xF5, 120, 3000, 120, 30, 0, 0, 0, 0, 0x100000, 0x36, 400)
    rest = struct.pack("<IIIIIIIII", 25, 0, 1, 1, 0, 50, 4, 0, 0) + bytes(60)
    body = (numbers + font + rest)[: 0xCC - 8]
    return struct.pack("<II", 0xCC, 0xA0000002) + body.ljust(0xCC - 8, b"\0")


def app_id_block(app_id):
    value = app_id.encode("utf-16-le") + b"\0\0"
    typed = struct.pack("<HHI", 0x1F, 0, len(value) // 2) + value + bytes(-len(value) % 4)
    entry = struct.pack("<IIB", 9 + len(typed), 5, 0) + typed
    storage = b"1SPS" + uuid.UUID("9F4C2855-9F79-4B39-A8D0-E1D42DE1D5F3").bytes_le + entry + struct.pack("<I", 0)
    store = struct.pack("<I", len(storage) + 4) + storage + struct.pack("<I", 0)
    return struct.pack("<II", len(store) + 8, 0xA0000009) + store


def assemble(link, flags, parts, wide=True, blocks=(), attributes=0x20):
    """Header, the parts before the texts, the texts in their fixed order, the extra blocks and their end."""
    texts = [
        (HAS_NAME, link.description),
        (HAS_WORKING_DIR, link.working_dir),
        (HAS_ARGUMENTS, link.arguments),
        (HAS_ICON, link.icon),
    ]
    flags |= IS_UNICODE if wide else 0
    data = b""
    for flag, value in texts:
        if value:
            flags |= flag
            data += text(value, wide)
    return header(flags, attributes) + b"".join(parts) + data + b"".join(blocks) + bytes(4)


def is_folder(path):
    return "." not in path.rpartition("\\")[2]


def environment(link):
    return assemble(link, HAS_EXP_STRING, [], blocks=[environment_block(link.target)])


def environment_and_list(link):
    listed = link.options["listed"]
    parts = [path_id_list(listed, False), volume_link_info(listed, False)]
    return assemble(
        link,
        HAS_ID_LIST | HAS_LINK_INFO | HAS_EXP_STRING,
        parts,
        blocks=[environment_block(link.target), tracker_block()],
    )


def ansi(link):
    parts = [path_id_list(link.target, False, None), volume_link_info(link.target, False)]
    return assemble(link, HAS_ID_LIST | HAS_LINK_INFO, parts, wide=False)


def id_list(link):
    blocks = [console_block()] if link.options.get("console") else []
    blocks += [app_id_block(link.options["app_id"])] if "app_id" in link.options else []
    folder = is_folder(link.target)
    return assemble(
        link,
        HAS_ID_LIST,
        [path_id_list(link.target, folder, link.options["block"])],
        blocks=blocks,
        attributes=0x10 if folder else 0x20,
    )


def link_info(link):
    return assemble(link, HAS_LINK_INFO, [volume_link_info(link.target, True)])


def network(link):
    _, _, server, share, rest = link.target.split("\\", 4)
    return assemble(link, HAS_LINK_INFO, [network_link_info("\\\\" + server + "\\" + share, rest)])


def virtual(link):
    items = [class_item(clsid, number == 0) for number, clsid in enumerate(link.options["clsids"])]
    return assemble(link, HAS_ID_LIST, [id_list_of(items)], attributes=0)


def header_only(link):
    return header(IS_UNICODE) + bytes(4)


def empty(link):
    return b""


def random_bytes(link):
    return random.Random(19).randbytes(512)


def whole_example(link):
    link.target, link.description = r"C:\Windows\System32\notepad.exe", "Was a link once"
    return assemble(link, HAS_ID_LIST, [path_id_list(link.target, False)])


def cut(link):
    return whole_example(link)[: link.options["bytes"]]


def huge_size(link):
    """A LinkInfo that claims four gigabytes."""
    return (
        header(HAS_LINK_INFO | IS_UNICODE)
        + struct.pack("<IIIIIII", 0xFFFFFFF0, 0x1C, 1, 0x1C, 0x2C, 0, 0x40)
        + bytes(64)
    )

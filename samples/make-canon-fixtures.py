#!/usr/bin/env python3
"""Makes the Canon raws in fixtures/. Other files there stay as they are.

No free program writes such files. These have the structure of real ones, with
small JPEGs where a camera has its previews, and noise where it has the raw
picture.

    cut.cr2     the first part of a file of CR2_SIZE bytes, as found where the
                rest has been overwritten: smaller ones are no camera's
    still.cr3   a whole file

Debian packages needed:
    imagemagick              the previews
    libimage-exiftool-perl   reads the files again

The same versions of these packages give the same bytes.
"""

import os
import random
import struct
import subprocess
import sys

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fixtures")
CR2_SIZE = 1234567
CR2_KEPT = 5000

ASCII, SHORT, LONG, RATIONAL, UNDEFINED = 2, 3, 4, 5, 7
CODES = {SHORT: "H", LONG: "I", RATIONAL: "I"}

dice = random.Random(7)


def run(*command, **more):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **more).stdout


def jpeg(size):
    return run("convert", "-seed", "7", "-size", size, "plasma:navy-orange", "-strip", "-quality", "20", "jpg:-")


def values(kind, data):
    """A field's values as (count, bytes)."""
    if isinstance(data, bytes):
        return len(data), data
    return len(data) // (2 if kind == RATIONAL else 1), struct.pack("<%d%s" % (len(data), CODES[kind]), *data)


def directory(start, fields, following=0):
    """A directory at an offset, with the values that do not fit into it behind
    it; the next one of the chain stands at the offset `following`."""
    table, behind = b"", b""
    data_start = start + 2 + 12 * len(fields) + 4
    for tag, kind, data in sorted(fields):
        count, packed = values(kind, data)
        table += struct.pack("<HHI", tag, kind, count)
        if len(packed) <= 4:
            table += packed.ljust(4, b"\0")
        else:
            table += struct.pack("<I", data_start + len(behind))
            behind += packed + bytes(len(packed) % 2)
    return struct.pack("<H", len(fields)) + table + struct.pack("<I", following) + behind


CAMERA = [(271, ASCII, b"Canon\0"), (272, ASCII, b"Canon EOS 30D\0"), (274, SHORT, [1]),
          (282, RATIONAL, [72, 1]), (283, RATIONAL, [72, 1]), (296, SHORT, [2]),
          (306, ASCII, b"2006:05:04 03:02:01\0")]
EXIF = [(33434, RATIONAL, [1, 125]), (36864, UNDEFINED, b"0221"), (36867, ASCII, b"2006:05:04 03:02:01\0")]
MAKER_NOTE = (37500, UNDEFINED, directory(0, [(8, LONG, [1234])]))


def cr2():
    thumbnail, preview = jpeg("40x30"), jpeg("120x80")
    small = bytes(dice.randrange(256) for _ in range(24 * 16 * 6))
    header = 16
    at = [0] * 9
    # Once for the places, once more with them.
    for _ in range(2):
        parts = [
            directory(at[0], CAMERA + [(256, SHORT, [120]), (257, SHORT, [80]), (258, SHORT, [8, 8, 8]),
                                       (259, SHORT, [6]), (273, LONG, [at[6]]), (279, LONG, [len(preview)]),
                                       (34665, LONG, [at[1]])], following=at[2]),
            directory(at[1], EXIF + [MAKER_NOTE]),
            directory(at[2], [(513, LONG, [at[5]]), (514, LONG, [len(thumbnail)])], following=at[3]),
            directory(at[3], [(256, SHORT, [24]), (257, SHORT, [16]), (258, SHORT, [16, 16, 16]), (259, SHORT, [1]),
                              (262, SHORT, [2]), (273, LONG, [at[7]]), (277, SHORT, [3]), (278, SHORT, [16]),
                              (279, LONG, [len(small)])], following=at[4]),
            directory(at[4], [(259, SHORT, [6]), (273, LONG, [at[8]]), (279, LONG, [CR2_SIZE - at[8]]),
                              (50752, SHORT, [1, 1728, 1888])]),
            thumbnail, preview, small]
        at = [header + sum(map(len, parts[:i])) for i in range(len(parts) + 1)]
    parts.append(b"\xff\xd8\xff\xc4".ljust(CR2_SIZE - at[8] - 2, b"\x5a") + b"\xff\xd9")
    return b"II*\0" + struct.pack("<I", at[0]) + b"CR\2\0" + struct.pack("<I", at[4]) + b"".join(parts)


def box(name, *parts):
    data = b"".join(parts)
    return struct.pack(">I", 8 + len(data)) + name + data


def uuid(number, *parts):
    return box(b"uuid", bytes.fromhex(number), *parts)


def tiff(fields):
    return b"II*\0" + struct.pack("<I", 8) + directory(8, fields)


def cr3():
    thumbnail, preview, picture = jpeg("40x30"), jpeg("80x60"), jpeg("160x120")
    raw = bytes(dice.randrange(256) for _ in range(2501))
    camera = uuid("85c0b687820f11e08111f4ce462b6a48",
                  box(b"CNCV", b"CanonCR3_001/00.09.00/00.00.00"),
                  box(b"CMT1", tiff(CAMERA)), box(b"CMT2", tiff(EXIF)),
                  box(b"THMB", struct.pack(">IHHIHH", 0, 40, 30, len(thumbnail), 1, 0), thumbnail))
    movie = box(b"mvhd", struct.pack(">IIIII", 0, 0, 0, 1, 1), bytes(80))
    photo = struct.pack(">IHHHHI", 0, 1, 80, 60, 1, len(preview))
    # The media's size is a long one.
    media = picture + raw
    return (box(b"ftyp", b"crx ", struct.pack(">I", 1), b"crx isom") + box(b"moov", camera, movie) +
            uuid("be7acfcb97a942e89c71999491e3afac", b"<x:xmpmeta xmlns:x='adobe:ns:meta/'/>", bytes(300)) +
            uuid("eaf42b5e1c984b88b9fbb7dc406e4d16", struct.pack(">II", 0, 1), box(b"PRVW", photo, preview)) +
            struct.pack(">I4sQ", 1, b"mdat", 16 + len(media)) + media)


def write(name, data, kept=None):
    path = os.path.join(OUT, name)
    with open(path, "wb") as file:
        file.write(data)
    kind = run("exiftool", "-s3", "-FileType", "-Model", "-ExposureTime", "-Warning", "-Error", path)
    if kind.decode().split("\n") != [name[-3:].upper(), "Canon EOS 30D", "1/125", ""]:
        sys.exit("%s: %r" % (name, kind))
    if kept is not None:
        os.truncate(path, kept)


os.makedirs(OUT, exist_ok=True)
write("cut.cr2", cr2(), CR2_KEPT)
write("still.cr3", cr3())

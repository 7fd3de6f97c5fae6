#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets.

    make-seeds.py DIRECTORY

makes DIRECTORY/factory, DIRECTORY/reader, DIRECTORY/validate,
DIRECTORY/disk, DIRECTORY/journals and DIRECTORY/details. The seeds of
fuzz_factory are the fixtures of ../samples and small made-up files of the
types that have no fixture; those of fuzz_reader are noise; those of
fuzz_validate are the fixtures; those of fuzz_disk are a small image, a rescue
map and a name; those of fuzz_journals are small files of a job; those of
fuzz_details are the fixtures that say something of themselves.
"""

import json
import os
import random
import re
import struct
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
FIXTURES = os.path.join(HERE, "..", "samples", "fixtures")

# Longer fixtures are cut to their beginning and their end, both in bytes and
# whole sectors: mutations of long inputs are slow and seldom hit anything.
# Compound files stay whole, since they find their parts by their places.
HEAD = 8 * 512
TAIL = 4 * 512

# Values of the header's first byte in fuzz_factory.cpp.
SECTOR_512 = 0
SECTOR_4096 = 6
SECTOR_1 = 11
# Values of its byte 5.
FIRST_1 = 0
FIRST_0 = 5

# Files that begin and end with fixed bytes: name, first bytes, last bytes,
# the shortest length that is reported.
HEADS_AND_TAILS = (
    ("bookmarks.html", b"<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<!-- This is an automatic file -->\n",
     b"</DL><p>\0", 16384),
    ("brush.abr", b"\0\6\0\2\x38\x42IM", b"Rpt bool\0", 512),
    ("drawing.exb", b"\x10\x43\x61xaEbForWindows", b"\x20\x3b\1\0\0\0\0\xff\xff" + bytes(12), 512),
    ("graph.pzf", b"PCFFGRA", b"\xff" * 14 + b"\1\x40", 512),
)


def header(sector=SECTOR_512, block=0, first=FIRST_1, types=0, choice=0, cap=None, source=0,
           outside=b"\xff\xd9"):
    """The layout is described at the top of fuzz_factory.cpp."""
    return struct.pack("<BHHBBBBIB2s", sector, 0, block, first, types, choice,
                       cap is not None, cap or 0, source, outside)


def shortened(data):
    if len(data) <= HEAD + TAIL + 512 or data.startswith(b"\xd0\xcf\x11\xe0"):
        return data
    return data[:HEAD] + data[-(len(data) % 512 + TAIL):]


def factory_seeds():
    """Yields (name, bytes)."""
    files = []
    for directory, _, names in sorted(os.walk(FIXTURES)):
        for name in sorted(names):
            with open(os.path.join(directory, name), "rb") as file:
                files.append((name, shortened(file.read())))
    for name, head, tail, size in HEADS_AND_TAILS:
        files.append((name, head + b"." * size + tail + b"."))

    jpeg = struct.pack("<HHIIHHII", 513, 4, 1, 700, 514, 4, 1, 900)
    files.append(("olympus.orf", b"IIRO\x08\0\0\0\2\0" + jpeg + bytes(4) + b"OLYMPUS" + bytes(600)))
    minolta = struct.pack(">4sI4sI8xHHHHB", b"\0MRM", 100, b"\0PRD", 24, 40, 60, 40, 60, 12)
    files.append(("minolta.mrw", minolta + bytes(600)))

    for name, data in files:
        yield name, header() + data
        # A file that stays open until the next one begins, in small blocks.
        yield name + ".twice", header(block=2, first=FIRST_0) + data[:1536] + data
        yield name + ".4096", header(sector=SECTOR_4096, block=1, cap=1000) + data
    yield "all", header(block=7) + b"".join(data + bytes(-len(data) % 512) for _, data in files)[:60000]
    yield "bytes", header(sector=SECTOR_1) + b"\x89PNG\r\n\x1a\n\xff\xd8\xff"
    yield "no-end", header(outside=b"\0\0") + files[0][1][:2048]
    yield "no-source", header(source=1) + files[0][1]
    yield "failing-source", header(source=2) + files[0][1]


def reader_seeds():
    noise = random.Random(1)
    for number in range(16):
        yield "noise%d" % number, bytes(noise.randrange(256) for _ in range(32 << number % 4))


def validate_seeds():
    for name in sorted(os.listdir(FIXTURES)):
        with open(os.path.join(FIXTURES, name), "rb") as file:
            data = file.read(60000)
        yield name, b"\0" + data
        # Validated once more together with its surroundings, with small sectors.
        yield name + ".all", b"\x80" + data


def disk_seeds():
    cluster = 512
    for below in (0, 104):
        top = struct.pack(">QQ", 2 * cluster, 0)
        # A cluster, one marked as zeros, a missing one, a packed one.
        table = struct.pack(">QQQQ", 3 * cluster, 3 * cluster | 1, 0, 1 << 62 | 4 * cluster)
        head = struct.pack(">4sIQIIQIIQQIIQQQQII", b"QFI\xfb", 3, below, 8 if below else 0, 9, 40000, 0, 2, cluster,
                           0, 0, 0, 0, 0, 0, 0, 4, 104) + b"disk.raw"
        packer = zlib.compressobj(9, zlib.DEFLATED, -12)
        packed = packer.compress(b"salvor" * 100) + packer.flush()
        image = b"".join(part.ljust(cluster, b"\0") for part in (head, top, table, b"data" * 128, packed))
        yield "image%d" % below, bytes([below > 0]) + image
    yield "map", b"\2# rescue\n0x0 ? 1\n0x0 0x200 +\n0x200 1000 -\n0x800 0x9000 +\n"
    yield "name", b"\3card.yz"


def program_version():
    with open(os.path.join(HERE, "..", "CMakeLists.txt")) as file:
        return re.search(r"project\(\w+ VERSION ([0-9.]+)", file.read())[1]


def journals_seeds():
    def lines(kind, *records):
        text = "".join(json.dumps(record, separators=(",", ":")) + "\n" for record in records)
        return bytes([kind]) + text.encode()

    range_of = {"start": 100, "length": 1000}
    sightings = ({"record": "starts", "sectors": [121, 180]},
                 {"record": "text_starts", "sectors": [{"first": 130, "count": 3}]},
                 {"record": "unreadable", "sectors": [{"first": 140, "count": 20}]})
    yield "segment", lines(
        0, {"record": "header", "format": "salvor-segment", "version": 1, "program": "p", "medium": "m",
            "options": "o", "with_starts": True, "rows": [[0, 100]]},
        {"record": "scan", "type": 46, "rows": [[0, 100]]}, {"record": "restless", "rows": [[3, 5], [9, 10]]},
        {"record": "guessed", "rows": [[2], [8]]}, {"record": "finds", "rows": [[120, 125, 0], [209, -7, 1 << 60]]},
        {"record": "set_aside", "type": -1, "why": "hung", "rows": [[5, 6]]}, *sightings)
    header = {"record": "header", "format": "salvor-finds", "version": 2, "program": "salvor",
              "image": {"path": "/i", "size": 600000}, "sector_size": 512, "block_size": 5120, "range": range_of,
              "types": [46], "options": {"caps": {"46": 1000}}}
    yield "finds", lines(
        1, header, {"record": "find", "type": 46, "extension": "png", "start_sector": 125, "size": 9}, *sightings,
        {"record": "set_aside", "type": 46, "extension": "png", "sectors": [{"first": 110, "count": 10}], "why": "hung"},
        {"record": "summary", "ended": "complete"})
    job = dict(header, format="salvor-scan", version=1, program="salvor " + program_version(), segment_blocks=3)
    job["image"] = {"path": "/i", "size": 600000, "digest": "d", "modified": 7, "model": "Disk", "serial": "S"}
    yield "job", lines(2, job)


def details_seeds():
    # By the reader that fuzz_details.cpp chooses.
    readers = {0: "jpg png gif bmp webp tif psd nef cr2 cr3 crw raf orf arw dng mrw", 1: "doc xls ppt docx xlsx odt odg epub",
               2: "pdf", 3: "mp4 mov m4a 3gp wmv wma mp3 avi vob swf ogg flv ts m2ts mkv webm rm"}
    for name in sorted(os.listdir(FIXTURES)):
        for reader, extensions in readers.items():
            if name.rpartition(".")[2] in extensions.split():
                with open(os.path.join(FIXTURES, name), "rb") as file:
                    yield name, bytes([reader]) + file.read(60000)
    yield "answer", b'\4{"file":1,"taken":"2011-06-18T14:05:27","width":4,"title":"a","preview":"/9j/4A=="}'


def main():
    if len(sys.argv) != 2:
        print("usage: make-seeds.py DIRECTORY", file=sys.stderr)
        return 2
    for target, seeds in (("factory", factory_seeds()), ("reader", reader_seeds()),
                          ("validate", validate_seeds()), ("disk", disk_seeds()),
                          ("journals", journals_seeds()), ("details", details_seeds())):
        directory = os.path.join(sys.argv[1], target)
        os.makedirs(directory, exist_ok=True)
        for name, data in seeds:
            with open(os.path.join(directory, name), "wb") as file:
                file.write(data)
    return 0


if __name__ == "__main__":
    sys.exit(main())

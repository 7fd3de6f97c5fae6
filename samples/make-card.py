#!/usr/bin/env python3
"""Builds card.img, a memory card whose file system is gone, and
card.list.json, which says where on it the files of fixtures/ lie: all JPEG and
PNG photos, and some of each other family.

The same fixtures always give the same image. Nothing is written unless the
image passes its checks; then the exit status is 0, otherwise 1.
"""

import hashlib
import json
import os
import sys

# Loading the checks must not leave a __pycache__ beside them.
sys.dont_write_bytecode = True

from checks import Bad, FIXTURES, check                         # noqa: E402
from checks.archives import COMPOUND_SIGNATURE                  # noqa: E402
from checks.common import SECTOR                                # noqa: E402
from checks.photos import PNG_SIGNATURE, jpeg_end, search_start # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))

CLUSTER = 8 * SECTOR                # bytes
EMPTY_START = 64 * SECTOR           # bytes, where the file system was
IMAGE_SIZE = 2 * 1024 * 1024        # bytes
MIN_EMPTY_END = 64 * 1024           # bytes of zeros at the end, at least
MIN_LONGEST_GAP = 100 * 1024        # bytes

# The carver reads this many bytes at a time after the SOF0 or SOS segment.
# It looks at no pair of bytes over the border of two reads, and not at the
# last pair of a read either.
READ = 32256                        # bytes

# Headers at a sector start. Each file on the card begins with one of them; no
# other sector does. A JPEG is taken by its first two bytes only, which is
# stricter than a carver would be.
HEADERS = (b"\xff\xd8", PNG_SIGNATURE, COMPOUND_SIGNATURE, b"PK\x03\x04",
           b"7z\xbc\xaf\x27\x1c", b"MSCF", b"GIF8", b"BM", b"RIFF", b"II*\0", b"MM\0*",
           b"%PDF", b"ID3", b"\0\0\0 ftyp", b".snd", b"\x1aE\xdf\xa3", b"gimp xcf",
           b"8BPS", b"\0\0\1\0", b"ITSF")
# Headers of other common kinds of file; no sector may begin with one.
OTHER_HEADERS = (b"\x1f\x8b", b"Rar!", b"OggS", b"FLV\1", b"\x30\x26\xb2\x75")
# Files that are text, or begin like it, have no header of their own.
TEXTS = (".txt", ".eml", ".mht", ".dxf", ".htm", ".xml")
PHOTOS = (".jpg", ".png")

# What follows the empty start, in order. Every piece begins at a cluster.
#   file NAME SLACK   a fixture; SLACK says what fills its last cluster:
#                       zeros  nothing else was ever there
#                       old    the sector is filled up with zeros, the
#                              sectors after it keep older data
#                       raw    older data follows the last byte at once
#   tail NAME         clusters of a deleted copy of a fixture from its middle
#                     to its end; its beginning has been written over
#   text N, random N, zeros N
#                     N clusters
PLAN = (
    ("text", 1),
    ("file", "exif-thumbnail.jpg", "old"),      # in an odd cluster
    ("file", "exif.jpg", "zeros"),              # no gap in front of it
    ("tail", "jfif-baseline.jpg"),
    ("text", 6),
    ("file", "letter.doc", "old"),
    ("text", 2),
    ("file", "jfif-grey.jpg", "raw"),
    ("random", 9),
    ("file", "rgb8.png", "old"),
    ("zeros", 4),
    ("file", "packed.docx", "old"),
    ("file", "packed.xlsx", "raw"),
    ("file", "letter.odt", "zeros"),
    ("file", "jfif-progressive.jpg", "raw"),
    ("tail", "jfif-restart.jpg"),
    ("file", "photoshop-iptc.jpg", "zeros"),
    ("text", 3),
    ("file", "palette.png", "raw"),
    # The longest gap: over 100 KiB without the start of any file.
    ("random", 20),
    ("tail", "exif-thumbnail.jpg"),
    ("zeros", 5),
    ("text", 14),
    ("file", "jfif-baseline.jpg", "old"),
    ("file", "grey16.png", "zeros"),
    ("file", "exif-progressive.jpg", "raw"),
    ("zeros", 1),
    ("file", "jfif-icc.jpg", "old"),
    ("file", "table.xls", "zeros"),
    ("random", 7),
    ("file", "table.ods", "old"),
    ("file", "packed.pptx", "zeros"),
    ("zeros", 12),
    ("file", "rgba-adam7.png", "old"),
    ("text", 2),
    ("file", "jfif-optimised-comment.jpg", "old"),
    ("random", 1),
    ("file", "exif-big-endian.jpg", "zeros"),
    ("tail", "jfif-progressive.jpg"),
    ("zeros", 10),
    ("file", "plain.zip", "zeros"),
    ("file", "program.jar", "old"),
    ("zeros", 20),
    ("file", "copy.7z", "zeros"),
    ("file", "stored.cab", "raw"),
    ("file", "text.png", "raw"),
    ("file", "jfif-restart.jpg", "raw"),
    ("random", 5),
    ("file", "optimised.png", "old"),
    ("text", 8),
    ("random", 12),
    ("file", "film.avi", "old"),
    ("file", "tagged.mp3", "zeros"),
    ("random", 2),
    ("file", "plain.mp4", "old"),
    ("file", "sound.au", "zeros"),
    ("file", "video.mkv", "zeros"),
    ("file", "lzw.tif", "old"),
    ("file", "version.dng", "zeros"),
    ("random", 3),
    ("file", "archive.mht", "zeros"),
    ("file", "attachment.eml", "zeros"),
    ("file", "log.txt", "zeros"),
    ("zeros", 2),
    ("file", "animated.gif", "old"),
    ("file", "rgb24.bmp", "old"),
    ("file", "sizes.ico", "zeros"),
    ("file", "layers.xcf", "raw"),
    ("file", "palette.psd", "old"),
    ("file", "release12.dxf", "zeros"),
    ("file", "linearized-updated.pdf", "old"),
    ("file", "drawing.ai", "zeros"),
    ("file", "page4.htm", "zeros"),
    ("file", "catalogue.xml", "zeros"),
    ("file", "manual.chm", "old"),
    ("zeros", 1),
    ("random", 4),
)


class Wrong(Exception):
    """The image is not what it should be."""


def want(condition, text):
    if not condition:
        raise Wrong(text)


class Stream:
    """Bytes that look random but are the same on every machine and with
    every version of Python: hashes of a seed and a running number."""

    def __init__(self, seed):
        self.seed = seed
        self.number = 0

    def block(self):
        self.number += 1
        return hashlib.sha256(b"%s %d" % (self.seed, self.number)).digest()

    def take(self, size):
        return b"".join(self.block() for _ in range(-(-size // 32)))[:size]

    def below(self, limit):
        return int.from_bytes(self.block()[:8], "big") % limit


def random_bytes(stream, size):
    data = bytearray(stream.take(size))
    # A to B in the upper half of a sector's first byte: none of the headers
    # above begins with such a byte.
    for pos in range(0, size, SECTOR):
        data[pos] = 0xA0 | data[pos] & 0x1F
    return bytes(data)


def text_bytes(stream, size):
    """Lines of a measuring log and of a web page, cut off at both ends."""
    places = ("harbour", "roof", "cellar", "gate", "orchard", "well")
    states = ("ok", "ok", "ok", "dry", "wind", "battery low")
    cut = 5 + stream.below(40)
    lines = []
    length = 0
    while length < size + cut:
        if len(lines) // 25 % 3 == 2:
            line = '<tr><td class="n">%d</td><td>%s</td></tr>\r\n' % (
                len(lines), places[stream.below(len(places))])
        else:
            line = "2009-%02d-%02d %02d:%02d  %-8s %3d.%d C  %4d hPa  %s\n" % (
                1 + stream.below(12), 1 + stream.below(28), stream.below(24), stream.below(60),
                places[stream.below(len(places))], stream.below(35), stream.below(10),
                970 + stream.below(60), states[stream.below(len(states))])
        lines.append(line)
        length += len(line)
    return "".join(lines).encode("ascii")[cut:cut + size]


def to_cluster(size):
    """Bytes missing from size to a whole number of clusters."""
    return -size % CLUSTER


def slack(kind, size, stream):
    """What lies in a file's last cluster behind a file of size bytes."""
    room = to_cluster(size)
    fill = room if kind == "zeros" else -size % SECTOR if kind == "old" else 0
    # Older data was laid out in clusters too, so what is left of it is the
    # end of a cluster.
    older = (text_bytes, random_bytes)[stream.below(2)](stream, CLUSTER)
    return bytes(fill) + older[CLUSTER - room + fill:]


def build(fixtures):
    """Returns (image, [(name, offset)] in the order of the offsets)."""
    stream = Stream(b"card 1")
    image = bytearray(EMPTY_START)
    files = []
    for kind, what, *more in PLAN:
        if kind == "file":
            data = fixtures[what]
            files.append((what, len(image)))
            image += data + slack(more[0], len(data), stream)
        elif kind == "tail":
            data = fixtures[what]
            data = data[len(data) // 2 // CLUSTER * CLUSTER:]
            image += data + bytes(to_cluster(len(data)))
        elif kind == "text":
            image += text_bytes(stream, what * CLUSTER)
        elif kind == "random":
            image += random_bytes(stream, what * CLUSTER)
        else:
            image += bytes(what * CLUSTER)
    want(len(image) + MIN_EMPTY_END <= IMAGE_SIZE, "the plan needs %d bytes" % len(image))
    return bytes(image) + bytes(IMAGE_SIZE - len(image)), files


def read_end(image, start):
    """Offset behind the end of image as the carver's reads find it."""
    pos = search_start(image, start)
    while pos < len(image):
        # Both bytes must lie before the last byte of the read.
        found = image.find(b"\xff\xd9", pos, min(pos + READ - 1, len(image)))
        if found >= 0:
            return found + 2
        pos += READ
    raise Wrong("no end of image behind offset %d" % start)


def verify(image, files, fixtures):
    names = [name for name, _ in files]
    want(len(set(names)) == len(names), "the plan holds a fixture twice")
    want(all(name in names for name in fixtures if name.endswith(PHOTOS)), "the plan does not hold every photo")
    want(not any(image[:EMPTY_START]), "the start is not empty")
    want(not any(image[-MIN_EMPTY_END:]), "the end is not empty")

    slack_zero = slack_old = False
    gaps = []
    behind = EMPTY_START
    for name, start in files:
        data = fixtures[name]
        end = start + len(data)
        want(start % CLUSTER == 0, "%s: not at a cluster start" % name)
        want(start >= behind, "%s: overlaps the file before" % name)
        want(image[start:end] == data, "%s: not in the image" % name)
        if name.endswith(".jpg"):
            for found in (jpeg_end(image, start), read_end(image, start)):
                want(found == end, "%s: ends at %d, found %d" % (name, end, found))
        rest = image[end:end + to_cluster(len(data))]
        slack_old |= any(rest)
        slack_zero |= bool(rest) and not any(rest)
        gaps.append(start - behind)
        behind = end + len(rest)
    want(slack_zero and slack_old, "only one kind of slack")
    want(any(start // CLUSTER % 2 for _, start in files), "no file in an odd cluster")
    want(0 in gaps[1:], "no file directly behind another")
    want(max(gaps[1:]) > MIN_LONGEST_GAP, "the longest gap has %d bytes" % max(gaps[1:]))

    starts = {start for name, start in files if not name.endswith(TEXTS)}
    # A member of an archive may happen to begin at a sector.
    inside = {pos for name, start in files if not name.endswith(PHOTOS)
              for pos in range(start + SECTOR, start + len(fixtures[name]), SECTOR)}
    for pos in sorted(set(range(0, len(image), SECTOR)) - inside):
        want(image.startswith(HEADERS, pos) == (pos in starts),
             "sector %d: header where there is no file, or none where there is" % (pos // SECTOR))
        want(not image.startswith(OTHER_HEADERS, pos), "sector %d: foreign header" % (pos // SECTOR))


def main():
    fixtures = {}
    for name in sorted(os.listdir(FIXTURES)):
        with open(os.path.join(FIXTURES, name), "rb") as file:
            fixtures[name] = file.read()

    try:
        for name, data in fixtures.items():
            try:
                check(name, data)
            except Bad as error:
                raise Wrong("%s: %s" % (name, error))
        # A mail ends with its closing boundary; what was saved after it is left out.
        for name in fixtures:
            if name.endswith(".eml"):
                fixtures[name] = fixtures[name].rstrip(b"\r\n")
        image, files = build(fixtures)
        verify(image, files, fixtures)
    except KeyError as error:
        print("make-card.py: no fixture %s" % error, file=sys.stderr)
        return 1
    except (Wrong, Bad) as error:
        print("make-card.py: %s" % error, file=sys.stderr)
        return 1

    listing = {
        "image": "card.img",
        "size": len(image),
        "sha256": hashlib.sha256(image).hexdigest(),
        "sector_size": SECTOR,
        "files": [{
            "name": name,
            "extension": name.rsplit(".", 1)[1],
            "start_sector": start // SECTOR,
            "size": len(fixtures[name]),
            "sha256": hashlib.sha256(fixtures[name]).hexdigest(),
            # The size of a compound file can only be estimated, as a larger one.
            "size_is_estimated": fixtures[name].startswith(COMPOUND_SIGNATURE),
        } for name, start in files],
    }
    with open(os.path.join(HERE, listing["image"]), "wb") as file:
        file.write(image)
    with open(os.path.join(HERE, "card.list.json"), "w", encoding="ascii", newline="\n") as file:
        json.dump(listing, file, indent=2)
        file.write("\n")

    for entry in listing["files"]:
        sectors = -(-entry["size"] // SECTOR)
        print("sectors %5d to %5d  %7d bytes  %s" % (
            entry["start_sector"], entry["start_sector"] + sectors - 1, entry["size"], entry["name"]))
    print("card.img: %d bytes, %d files" % (len(image), len(files)))
    return 0


if __name__ == "__main__":
    sys.exit(main())

"""JPEG and PNG."""

import struct
import zlib

from .common import Bad, SECTOR, want

# Payload bytes of the four ready-made Huffman tables of a colour JPEG: each
# has a class byte, 16 counts and 12 (DC) or 162 (AC) symbols.
READY_MADE_TABLES = 2 * (1 + 16 + 12) + 2 * (1 + 16 + 162)

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"
# A PNG ends with an empty chunk: length 0, its name, the CRC of the name.
PNG_END = struct.pack(">I", 0) + b"IEND" + struct.pack(">I", zlib.crc32(b"IEND"))

SOF0, SOF2, SOS, DRI = 0xC0, 0xC2, 0xDA, 0xDD
APP1, APP2, APP13, COM = 0xE1, 0xE2, 0xED, 0xFE


def segments(data, start=0):
    """Yields (marker, payload start, offset behind the segment) from the
    first segment behind the start of image up to and with the first SOS."""
    if data[start:start + 2] != b"\xff\xd8":
        raise Bad("no start of image")
    pos = start + 2
    while True:
        if pos + 4 > len(data):
            raise Bad("segments run past the end of the data")
        marker = data[pos + 1]
        # 01 and D0 to D9 have no length field and do not belong here.
        if data[pos] != 0xFF or marker in (0x00, 0x01, 0xFF) or 0xD0 <= marker <= 0xD9:
            raise Bad("no marker segment at offset %d" % (pos - start))
        # The length counts its own two bytes but not the marker.
        length = struct.unpack_from(">H", data, pos + 2)[0]
        if length < 2:
            raise Bad("segment length %d at offset %d" % (length, pos - start))
        behind = pos + 2 + length
        yield marker, pos + 4, behind
        if marker == SOS:
            return
        pos = behind


def search_start(data, start=0):
    """Offset behind the first SOF0 or SOS segment, where the search for the
    end of image begins. An embedded thumbnail lies in front of it."""
    for marker, _, behind in segments(data, start):
        if marker in (SOF0, SOS):
            return behind
    raise Bad("neither SOF0 nor SOS")


def jpeg_end(data, start=0):
    """Offset behind the first FF D9 that follows the first SOF0 or SOS."""
    found = data.find(b"\xff\xd9", search_start(data, start))
    if found < 0:
        raise Bad("no end of image")
    return found + 2


def png_chunks(data):
    """Yields (name, payload) of every chunk; the CRCs must be right and the
    last chunk must end with the data."""
    if not data.startswith(PNG_SIGNATURE):
        raise Bad("no PNG signature")
    pos = len(PNG_SIGNATURE)
    name = None
    while pos < len(data):
        if pos + 12 > len(data):
            raise Bad("%d bytes behind the last whole chunk" % (len(data) - pos))
        length, name = struct.unpack_from(">I4s", data, pos)
        if pos + 12 + length > len(data):
            raise Bad("chunk %r runs past the end of the file" % name)
        payload = data[pos + 8:pos + 8 + length]
        crc = struct.unpack_from(">I", data, pos + 8 + length)[0]
        # The CRC covers the name and the payload, not the length.
        if crc != zlib.crc32(name + payload):
            raise Bad("wrong CRC in chunk %r" % name)
        yield name, payload
        pos += 12 + length
    if name != b"IEND":
        raise Bad("the last chunk is %r" % name)


def payloads(data, wanted):
    return [data[begin:behind] for marker, begin, behind in segments(data) if marker == wanted]


def frame(data):
    """(marker, number of components) of the frame header."""
    for marker, begin, _ in segments(data):
        # C4, C8 and CC lie in the range of the frame headers but are not.
        if 0xC0 <= marker <= 0xCF and marker not in (0xC4, 0xC8, 0xCC):
            return marker, data[begin + 5]
    raise Bad("no frame header")


def jpeg(data, text, sof=SOF0, components=3):
    """Checks the name of the first segment, behind FF D8, a marker and a
    length, the kind of the frame, and that the file ends at its first end."""
    want(data[6:6 + len(text)] == text, "%r is not at offset 6" % text)
    want(frame(data) == (sof, components), "frame header is %r" % (frame(data),))
    end = jpeg_end(data)
    want(end == len(data), "first end of image ends at %d, the file at %d" % (end, len(data)))


def jfif(data, sof=SOF0, components=3):
    jpeg(data, b"JFIF\0", sof, components)


def jfif_baseline(data):
    jfif(data)


def jfif_progressive(data):
    jfif(data, sof=SOF2)
    want(data.count(b"\xff\xda") > 1, "only one scan")


def jfif_grey(data):
    jfif(data, components=1)


def jfif_restart(data):
    jfif(data)
    want(len(payloads(data, DRI)) == 1, "no restart interval")
    body = data[search_start(data):]
    for number in range(8):
        want(bytes((0xFF, 0xD0 + number)) in body, "restart marker %d is missing" % number)


def jfif_optimised_comment(data):
    jfif(data)
    want(len(payloads(data, COM)) == 1, "not exactly one comment")
    # Optimised tables leave out the symbols that do not occur.
    tables = sum(len(payload) for payload in payloads(data, 0xC4))
    want(tables < READY_MADE_TABLES, "%d bytes of Huffman tables" % tables)


def jfif_icc(data):
    jfif(data)
    profiles = [p for p in payloads(data, APP2) if p.startswith(b"ICC_PROFILE\0")]
    want(len(profiles) == 1, "%d colour profile segments" % len(profiles))
    # Long enough that the walk over the segments leaves the first sectors.
    want(len(profiles[0]) > 8 * SECTOR, "the colour profile is short")


def exif_jpeg(data, order, sof=SOF0):
    jpeg(data, b"Exif\0\0", sof)
    want(data[3] == APP1, "first segment is not APP1")
    want(data[12:14] == order, "byte order is %r" % data[12:14])
    want(not payloads(data, 0xE0), "there is an APP0 segment")


def exif(data):
    exif_jpeg(data, b"II")


def exif_thumbnail(data):
    exif_jpeg(data, b"II")
    block = payloads(data, APP1)[0]
    inner = block.find(b"\xff\xd8\xff")
    want(inner > 0, "no thumbnail")
    # The thumbnail is a whole JPEG with an end of image of its own.
    want(jpeg_end(block, inner) <= len(block), "the thumbnail has no end")


def exif_progressive(data):
    exif_jpeg(data, b"II", sof=SOF2)


def exif_big_endian(data):
    exif_jpeg(data, b"MM")


def photoshop_iptc(data):
    jpeg(data, b"Photoshop 3.0\0")
    want(data[3] == APP13, "first segment is not APP13")


def png(data, depth, colour, interlace=0):
    """Checks the header and the end and returns the names of the chunks."""
    want(data.endswith(PNG_END), "does not end with IEND and its CRC")
    # A PNG here must not fill its last sector.
    want(len(data) % SECTOR != 0, "the size is a whole number of sectors")
    chunks = list(png_chunks(data))
    want(chunks[0][0] == b"IHDR", "first chunk is %r" % chunks[0][0])
    got = struct.unpack(">IIBBBBB", chunks[0][1])
    want((got[2], got[3], got[6]) == (depth, colour, interlace), "header is %r" % (got,))
    # The picture data is one zlib stream over all IDAT chunks.
    zlib.decompress(b"".join(payload for name, payload in chunks if name == b"IDAT"))
    return [name for name, _ in chunks]


# Colour types: 0 grey, 2 RGB, 3 palette, 6 RGBA.
def rgb8(data):
    png(data, 8, 2)


def palette(data):
    want(b"PLTE" in png(data, 8, 3), "no palette")


def grey16(data):
    png(data, 16, 0)


def rgba_adam7(data):
    png(data, 8, 6, interlace=1)


def text(data):
    names = png(data, 8, 2)
    want(b"tEXt" in names and b"iTXt" in names, "text chunks are missing")


def optimised(data):
    png(data, 8, 2)



KINDS = {
    "jfif-baseline.jpg": jfif_baseline,
    "jfif-progressive.jpg": jfif_progressive,
    "jfif-grey.jpg": jfif_grey,
    "jfif-restart.jpg": jfif_restart,
    "jfif-optimised-comment.jpg": jfif_optimised_comment,
    "jfif-icc.jpg": jfif_icc,
    "exif.jpg": exif,
    "exif-thumbnail.jpg": exif_thumbnail,
    "exif-progressive.jpg": exif_progressive,
    "exif-big-endian.jpg": exif_big_endian,
    "photoshop-iptc.jpg": photoshop_iptc,
    "rgb8.png": rgb8,
    "palette.png": palette,
    "grey16.png": grey16,
    "rgba-adam7.png": rgba_adam7,
    "text.png": text,
    "optimised.png": optimised,
}

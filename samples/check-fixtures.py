#!/usr/bin/env python3
"""Checks the files in fixtures/: sizes, structure and the place of their end.

Exit status 0 if every file is as it should be, 1 if any is not.
"""

import html.parser
import io
import os
import struct
import sys
import uuid
import xml.etree.ElementTree
import zipfile
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
FIXTURES = os.path.join(HERE, "fixtures")

SECTOR = 512                    # bytes
# Payload bytes of the four ready-made Huffman tables of a colour JPEG: each
# has a class byte, 16 counts and 12 (DC) or 162 (AC) symbols.
READY_MADE_TABLES = 2 * (1 + 16 + 12) + 2 * (1 + 16 + 162)
MIN_SIZE = 512                  # bytes, each file
MAX_SIZE = 120 * 1024           # bytes, each file
MAX_TOTAL = 700 * 1024          # bytes, all files together

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"
# A PNG ends with an empty chunk: length 0, its name, the CRC of the name.
PNG_END = struct.pack(">I", 0) + b"IEND" + struct.pack(">I", zlib.crc32(b"IEND"))

SOF0, SOF2, SOI, EOI, SOS, DRI = 0xC0, 0xC2, 0xD8, 0xD9, 0xDA, 0xDD
APP1, APP2, APP13, COM = 0xE1, 0xE2, 0xED, 0xFE


class Bad(Exception):
    """A file is not what it should be."""


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


def want(condition, text):
    if not condition:
        raise Bad(text)


def first_text(data, text):
    """The name of the first segment, behind FF D8, a marker and a length."""
    want(data[6:6 + len(text)] == text, "%r is not at offset 6" % text)


def payloads(data, wanted):
    return [data[begin:behind] for marker, begin, behind in segments(data) if marker == wanted]


def frame(data):
    """(marker, number of components) of the frame header."""
    for marker, begin, _ in segments(data):
        # C4, C8 and CC share the range of the frame headers but are none.
        if 0xC0 <= marker <= 0xCF and marker not in (0xC4, 0xC8, 0xCC):
            return marker, data[begin + 5]
    raise Bad("no frame header")


def jfif(data, sof=SOF0, components=3):
    first_text(data, b"JFIF\0")
    want(frame(data) == (sof, components), "frame header is %r" % (frame(data),))


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
    first_text(data, b"Exif\0\0")
    want(data[3] == APP1, "first segment is not APP1")
    want(data[12:14] == order, "byte order is %r" % data[12:14])
    want(not payloads(data, 0xE0), "there is an APP0 segment")
    want(frame(data) == (sof, 3), "frame header is %r" % (frame(data),))


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
    first_text(data, b"Photoshop 3.0\0")
    want(data[3] == APP13, "first segment is not APP13")
    want(frame(data) == (SOF0, 3), "frame header is %r" % (frame(data),))


def png(data, depth, colour, interlace=0):
    """Checks the header and returns the names of the chunks."""
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


COMPOUND_SIGNATURE = b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1"
SUMMARIES = ("\5SummaryInformation", "\5DocumentSummaryInformation")
FREE = 0xFFFFFFFF


def compound(data, *wanted):
    """A compound file that has both summaries and these streams; its FAT must
    say the same of its size as the file itself."""
    want(data.startswith(COMPOUND_SIGNATURE), "no compound file signature")
    size = 1 << struct.unpack_from("<H", data, 30)[0]
    fat_sectors, directory = struct.unpack_from("<II", data, 44)

    def sector(number):
        return data[(number + 1) * size:(number + 2) * size]

    fat = []
    for number in struct.unpack_from("<%dI" % fat_sectors, data, 76):
        fat.extend(struct.unpack("<%dI" % (size // 4), sector(number)))
    used = max(number for number, link in enumerate(fat) if link != FREE) + 1
    want((used + 1) * size == len(data), "the FAT is one of %d sectors" % used)

    names = []
    while directory < len(fat):
        for at in range(0, size, 128):
            entry = sector(directory)[at:at + 128]
            length = struct.unpack_from("<H", entry, 64)[0]
            names.append(entry[:max(length, 2) - 2].decode("utf-16-le"))
        directory = fat[directory]
    want(names[0] == "Root Entry", "the first entry is %r" % names[0])
    for name in SUMMARIES + wanted:
        want(name in names, "no stream %r" % name)


def letter_doc(data):
    compound(data, "WordDocument")


def table_xls(data):
    compound(data, "Workbook")


def slides_ppt(data):
    compound(data, "PowerPoint Document")


def zipped(data, *wanted, comment=b""):
    """A whole ZIP archive that begins with its first member and has these."""
    with zipfile.ZipFile(io.BytesIO(data)) as archive:
        want(archive.testzip() is None, "a member is damaged")
        want(archive.infolist()[0].header_offset == 0, "something stands in front of the first member")
        want(archive.comment == comment, "the comment is %r" % archive.comment)
        for name in wanted:
            want(name in archive.namelist(), "no member %r" % name)
    want(data.endswith(comment) and data[-len(comment) - 22:].startswith(b"PK\5\6"),
         "something stands behind the archive")


def zip_members(*wanted, comment=b""):
    return lambda data: zipped(data, *wanted, comment=comment)


def open_document(media_type):
    def check_package(data):
        zipped(data, "mimetype", "content.xml")
        want(data[30:].startswith(b"mimetypeapplication/vnd.oasis.opendocument." + media_type),
             "the media type is not the first member's content")
    return check_package


def seven_zip(data):
    want(data.startswith(b"7z\xbc\xaf\x27\x1c"), "no 7z signature")
    offset, size = struct.unpack_from("<QQ", data, 12)
    want(32 + offset + size == len(data), "the next header ends at %d" % (32 + offset + size))


def cabinet(data):
    want(data.startswith(b"MSCF"), "no cabinet signature")
    want(struct.unpack_from("<I", data, 8)[0] == len(data), "the header has another size")


ASF_HEADER, ASF_FILE, ASF_STREAM, ASF_AUDIO, ASF_VIDEO = (uuid.UUID(text).bytes_le for text in (
    "75b22630-668e-11cf-a6d9-00aa0062ce6c", "8cabdca1-a947-11cf-8ee4-00c00c205365",
    "b7dc0791-a9b7-11cf-8ee6-00c00c205365", "f8699e40-5b4d-11cf-a8fd-00805f5c442b",
    "bc19efc0-5b4d-11cf-a8fd-00805f5c442b"))


def asf(*streams):
    """An ASF file whose top-level objects fill it, with these stream types."""
    def check(data):
        ends, pos = [], 0
        while pos < len(data):
            pos += struct.unpack_from("<Q", data, pos + 16)[0]
            ends.append(pos)
        want(data.startswith(ASF_HEADER) and pos == len(data), "objects end at %r" % ends)
        header = data[:ends[0]]
        size = struct.unpack_from("<Q", header, header.index(ASF_FILE) + 40)[0]
        want(size == len(data), "the header says %d bytes" % size)
        types = {part[8:24] for part in header.split(ASF_STREAM)[1:]}
        want(types == set(streams), "%d kinds of streams" % len(types))
    return check


# kbit/s of MPEG-1 Layer III.
LAYER3_RATES = (0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320)


def mp3(tagged):
    """MPEG-1 Layer III at 44100 Hz, frame by frame from the end of an ID3v2
    tag to that of the file, or to an ID3v1 tag there."""
    def check(data):
        want(data.startswith(b"ID3") == tagged and (data[-128:-125] == b"TAG") == tagged, "tags are missing or there")
        start, end = 0, len(data) - (128 if tagged else 0)
        if tagged:
            for byte in data[6:10]:
                start = start << 7 | byte
            start += 10
            want(start > 128, "the first frame is at %d" % start)
        pos = start
        while pos < end:
            want(data[pos] == 0xFF and data[pos + 1] & 0xFE == 0xFA, "no frame at %d" % pos)
            pos += LAYER3_RATES[data[pos + 2] >> 4] * 144000 // 44100 + (data[pos + 2] >> 1 & 1)
        want(pos == end, "the frames end at %d" % pos)
    return check


def transport_stream(prefix):
    """Whole packets of 188 bytes with a prefix each; one has the PID 0."""
    def check(data):
        size = prefix + 188
        want(len(data) % size == 0 and len(data) > 100 * 188, "%d bytes" % len(data))
        packets = [data[at + prefix:at + size] for at in range(0, len(data), size)]
        want(all(packet[0] == 0x47 for packet in packets), "a sync byte is missing")
        want(any(packet[1] & 0x1F == packet[2] == 0 for packet in packets), "no program association table")
    return check


def program_stream(data):
    pos = packets = 0
    while pos < len(data):
        want(data[pos:pos + 3] == b"\0\0\1", "no start code at %d" % pos)
        if data[pos + 3] == 0xBA:
            pos += 14 + (data[pos + 13] & 7)
        else:
            pos += 6 + struct.unpack_from(">H", data, pos + 4)[0]
            packets += 1
    want(pos == len(data) and packets >= 10, "%d packets end at %d" % (packets, pos))


# Every file of fixtures/, whichever script makes it.
def page(encoding, tail):
    def check_page(data):
        text = data.decode(encoding)
        parser = html.parser.HTMLParser()
        tags = []
        parser.handle_endtag = tags.append
        parser.feed(text)
        parser.close()
        want(tags.count("html") == 1, "the end tags of the root: %d" % tags.count("html"))
        want(text.endswith(tail), "does not end with %r" % tail)
    return check_page


def document(root):
    def check_document(data):
        try:
            tree = xml.etree.ElementTree.fromstring(data)
        except xml.etree.ElementTree.ParseError as error:
            raise Bad(str(error))
        want(tree.tag == root, "the root is %s" % tree.tag)
    return check_document


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
    "letter.doc": letter_doc,
    "table.xls": table_xls,
    "slides.ppt": slides_ppt,
    "plain.zip": zip_members("readme.txt", "notes/first.txt"),
    "comment.zip": zip_members("readme.txt", comment=b"Kept for the record, with a comment behind the directory."),
    "descriptors.zip": zip_members("readme.txt"),
    "nested.zip": zip_members("readme.txt", "inner.zip"),
    "program.jar": zip_members("META-INF/MANIFEST.MF"),
    "letter.docx": zip_members("word/document.xml"),
    "table.xlsx": zip_members("xl/workbook.xml"),
    "slides.pptx": zip_members("ppt/presentation.xml"),
    "packed.docx": zip_members("word/document.xml"),
    "packed.xlsx": zip_members("xl/workbook.xml"),
    "packed.pptx": zip_members("ppt/presentation.xml"),
    "letter.odt": open_document(b"text"),
    "table.ods": open_document(b"spreadsheet"),
    "slides.odp": open_document(b"presentation"),
    "drawing.odg": open_document(b"graphics"),
    "formula.odf": open_document(b"formula"),
    "tables.odb": open_document(b"base"),
    "lzma.7z": seven_zip,
    "copy.7z": seven_zip,
    "mszip.cab": cabinet,
    "stored.cab": cabinet,
    "tone.wma": asf(ASF_AUDIO),
    "film.wmv": asf(ASF_AUDIO, ASF_VIDEO),
    "plain.mp3": mp3(tagged=False),
    "variable.mp3": mp3(tagged=False),
    "tagged.mp3": mp3(tagged=True),
    "stream.ts": transport_stream(0),
    "stream.m2ts": transport_stream(4),
    "stream.vob": program_stream,
    "page4.htm": page("utf-8", "</html>\n"),
    "page5.html": page("utf-8", "</html>\n"),
    "page.xhtml": page("utf-8", "</html>\n"),
    "page-utf16.html": page("utf-16", "</html>\n"),
    "page-saved.html": page("utf-8-sig", "</html>\n<!-- page served in 12 ms -->\n<script>count(\"</body>\");</script>\n\n"),
    "catalogue.xml": document("plants"),
    "catalogue-utf16.xml": document("plants"),
    "sections.xml": document("notes"),
    "circles.svg": document("{http://www.w3.org/2000/svg}svg"),
}


def check(name, data):
    want(MIN_SIZE <= len(data) <= MAX_SIZE, "size %d" % len(data))
    if name.endswith(".jpg"):
        end = jpeg_end(data)
        want(end == len(data), "first end of image ends at %d, the file at %d" % (end, len(data)))
    elif name.endswith(".png"):
        want(data.endswith(PNG_END), "does not end with IEND and its CRC")
        # A PNG here must not fill its last sector.
        want(len(data) % SECTOR != 0, "the size is a whole number of sectors")
    if name not in KINDS:
        raise Bad("not a known fixture")
    KINDS[name](data)


def main():
    bad = 0
    total = 0
    present = sorted(os.listdir(FIXTURES)) if os.path.isdir(FIXTURES) else []
    for name in sorted(set(KINDS) - set(present)):
        print("%-28s missing" % name)
        bad += 1
    for name in present:
        with open(os.path.join(FIXTURES, name), "rb") as file:
            data = file.read()
        total += len(data)
        try:
            check(name, data)
            print("%-28s %7d bytes  ok" % (name, len(data)))
        except (Bad, IndexError, struct.error, zlib.error) as error:
            print("%-28s %7d bytes  BAD: %s" % (name, len(data), error))
            bad += 1
    print("%-28s %7d bytes" % ("together", total))
    if total > MAX_TOTAL:
        print("BAD: more than %d bytes together" % MAX_TOTAL)
        bad += 1
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())

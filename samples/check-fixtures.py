#!/usr/bin/env python3
"""Checks the files in fixtures/: sizes, structure and the place of their end.

Exit status 0 if every file is as it should be, 1 if any is not.
"""

import email
import html.parser
import io
import os
import re
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
MAX_TOTAL = 2048 * 1024         # bytes, all files together

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
        # C4, C8 and CC lie in the range of the frame headers but are not.
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
def boxes(*wanted, brand):
    """A row of boxes up to the end of the file, the first of this brand, with
    these among them."""
    def check_boxes(data):
        pos, names = 0, []
        while pos < len(data):
            size, name = struct.unpack_from(">I4s", data, pos)
            want(size >= 8, "a box of %d bytes at %d" % (size, pos))
            names.append(name)
            pos += size
        want(pos == len(data), "the last box ends at %d" % pos)
        want(names[0] == b"ftyp" and data[8:12] == brand, "begins with %r, %r" % (names[0], data[8:12]))
        want([name for name in names if name in wanted] == list(wanted), "the boxes are %r" % names)
    return check_boxes


def chunks(form, *wanted, order="<", signature=b"RIFF"):
    """One form up to the end of the file, made of chunks with these among
    them, the first of which is the first."""
    def check_chunks(data):
        want(data[:4] == signature and data[8:12] == form, "the form is %r" % data[8:12])
        size = struct.unpack_from(order + "I", data, 4)[0]
        want(size + 8 == len(data), "the header's size is %d" % size)
        pos, names = 12, []
        while pos < len(data):
            name, size = struct.unpack_from(order + "4sI", data, pos)
            names.append(name)
            # A chunk of odd size is padded.
            pos += 8 + size + size % 2
        want(pos == len(data), "the last chunk ends at %d" % pos)
        want(names[0] == wanted[0], "the first chunk is %r" % names[0])
        for name in wanted:
            want(name in names, "no chunk %r" % name)
    return check_chunks
def matroska(doc_type, sized=True):
    """An EBML header and one Segment, which must reach to the end."""
    def check_segment(data):
        want(data.startswith(b"\x1a\x45\xdf\xa3"), "no EBML header")
        want(b"\x42\x82" + bytes((0x80 | len(doc_type),)) + doc_type in data[:64], "not of this document type")
        # The header's size is written in one byte.
        begin = 5 + (data[4] & 0x7F)
        want(data[begin:begin + 5] == b"\x18\x53\x80\x67\x01", "no Segment with a size of 8 bytes")
        size = int.from_bytes(data[begin + 5:begin + 12], "big")
        want(size == (len(data) - begin - 12 if sized else (1 << 56) - 1), "the Segment has %d bytes" % size)
    return check_segment


def flash_video(data):
    want(data.startswith(b"FLV\1") and data[13] == 0x12, "does not begin with script data")
    pos = 9
    while pos + 4 < len(data):
        length = int.from_bytes(data[pos + 5:pos + 8], "big")
        pos += 15 + length
        want(struct.unpack_from(">I", data, pos)[0] == 11 + length, "wrong back pointer at %d" % pos)
    want(pos + 4 == len(data), "the last tag ends at %d" % pos)
    at = data.index(b"\0\x08filesize\0")
    want(struct.unpack_from(">d", data, at + 11)[0] == len(data), "wrong file size")


def real_media(data):
    want(data.startswith(b".RMF\0\0\0\x12"), "no file header")
    pos, names = 0, []
    for _ in range(struct.unpack_from(">I", data, 14)[0]):
        name, size = struct.unpack_from(">4sI", data, pos)
        names.append(name)
        pos += size
    want(names[-1] == b"DATA" and b"MDPR" in names, "chunks are %r" % names)
    # The writer counts the 10 bytes after the header of the data twice.
    want(pos - 10 == len(data), "the last chunk ends at %d" % pos)


def ogg(codec):
    def check_pages(data):
        want(codec in data[:200], "not of this codec")
        pos, ended = 0, 0
        while pos < len(data):
            want(data[pos:pos + 4] == b"OggS", "no page at %d" % pos)
            ended += data[pos + 5] >> 2 & 1
            pos += 27 + data[pos + 26] + sum(data[pos + 27:pos + 27 + data[pos + 26]])
        want(pos == len(data) and ended > 0, "the last page ends at %d" % pos)
    return check_pages


def ringtone(data):
    want(data.startswith(b"MMMD") and data[8:12] == b"CNTI", "no signature")
    want(struct.unpack_from(">I", data, 4)[0] + 8 == len(data), "the outermost chunk has another size")


def sun_sound(data):
    want(data.startswith(b".snd"), "no signature")
    want(sum(struct.unpack_from(">II", data, 4)) == len(data), "the header has another size")


def flash_movie(data):
    want(data[:3] == b"FWS", "no signature")
    want(struct.unpack_from("<I", data, 4)[0] == len(data), "the header has another size")


def midi(data):
    pos, tracks = 14, struct.unpack_from(">H", data, 10)[0]
    for _ in range(tracks):
        name, size = struct.unpack_from(">4sI", data, pos)
        want(name == b"MTrk", "no track at %d" % pos)
        pos += 8 + size
        want(data[pos - 3:pos] == b"\xff\x2f\0", "no end of track in front of %d" % pos)
    want(pos == len(data), "the last track ends at %d" % pos)
def tiff_end(data):
    """Offset behind the chained directories, their values, their strips and
    the JPEGs that they name; the number of directories; the last one's fields."""
    order = {b"II*\0": "<", b"MM\0*": ">"}[data[:4]]
    width = (0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8)
    code = {1: "B", 3: "H", 4: "I"}
    behind = 8
    pages = 0
    directory = struct.unpack_from(order + "I", data, 4)[0]
    while directory:
        pages += 1
        numbers = {}
        count = struct.unpack_from(order + "H", data, directory)[0]
        for at in range(directory + 2, directory + 2 + 12 * count, 12):
            tag, kind, values = struct.unpack_from(order + "HHI", data, at)
            size = width[kind] * values
            where = at + 8 if size <= 4 else struct.unpack_from(order + "I", data, at + 8)[0]
            behind = max(behind, where + size)
            if kind in code:
                numbers[tag] = struct.unpack_from("%s%d%s" % (order, values, code[kind]), data, where)
        for offsets, lengths in (273, 279), (513, 514):
            ends = [sum(pair) for pair in zip(numbers.get(offsets, ()), numbers.get(lengths, ()))]
            behind = max(behind, directory + 6 + 12 * count, *ends)
        directory = struct.unpack_from(order + "I", data, directory + 2 + 12 * count)[0]
    return behind, pages, numbers


def tiff(data, mark=b""):
    """A chain of directories whose values and strips lie in the file, the
    last of them at its end; the mark stands near the start."""
    behind, pages, numbers = tiff_end(data)
    # A byte of padding may follow.
    want(behind <= len(data) <= behind + 1, "the last part ends at %d" % behind)
    want(mark in data[:4095], "%r is not in front" % mark)
    return pages, numbers


def pages_tif(data):
    want(tiff(data)[0] == 3, "not three pages")


def version_dng(data):
    want(tiff(data, b"NIKON")[1].get(50706) == (1, 4, 0, 0), "no version in the directory")


def cut_cr2(data):
    """The first part of a file of four directories that ends with the raw
    picture, a lossless JPEG."""
    want(data[8:11] == b"CR\2", "no mark of a raw")
    behind, pages, numbers = tiff_end(data)
    raw = numbers[273][0]
    want((behind, pages) == (1234567, 4), "%d directories, the end is %d" % (pages, behind))
    want(raw + numbers[279][0] == behind and data[raw:raw + 4] == b"\xff\xd8\xff\xc4", "the raw picture is not last")


def still_cr3(data):
    """Like any file of boxes, but for the last one's long size."""
    media = data.index(b"mdat") - 4
    want(struct.unpack_from(">IxxxxQ", data, media) == (1, len(data) - media), "the media do not end with the file")
    boxes(b"ftyp", b"moov", b"uuid", b"uuid", brand=b"crx ")(data[:media])
    want(data.index(b"CNCVCanonCR3") < data.index(b"mvhd"), "the movie does not begin with the maker's box")
def message(kind, *wanted):
    """A message that begins with the line of a server and whose parts are whole."""
    def check_message(data):
        want(data.startswith(b"Received: "), "the first line is %r" % data[:20])
        mail = email.message_from_bytes(data)
        want(mail.get_content_type() == kind, "the kind is %r" % mail.get_content_type())
        parts = [part.get_content_type() for part in mail.walk()][1:]
        want(parts == list(wanted), "the parts are %r" % parts)
        want(not any(part.defects for part in mail.walk()), "the message is damaged")
        end = b"--%s--\r\n" % mail.get_boundary().encode() if wanted else b"</html>\r\n"
        want(data.endswith(end) and data.count(end) == 1, "the end is no end")
    return check_message


def web_archive(data):
    mail = email.message_from_bytes(data)
    closing = b"</xml>\r\n--%s--" % mail.get_boundary().encode()
    want(data.endswith(closing) and data.count(closing) == 1, "the end is no end")
    want(data.find(b'boundary="') + 10 <= 64, "the boundary begins behind the first 64 bytes")


def ascii_text(data):
    want(all(line.isprintable() for line in data.decode("ascii").splitlines()), "bytes that are no text")
def little(data, form, at):
    return struct.unpack_from("<" + form, data, at)


def gif(version, images):
    """Blocks to the trailer; the picture data are passed over unread."""
    def check_gif(data):
        want(data.startswith(version), "no %r" % version)

        def table(flags):
            return 3 << (flags & 7) + 1 if flags & 0x80 else 0

        found, pos = 0, 13 + table(data[10])
        while data[pos:pos + 1] != b";":
            want(data[pos:pos + 1] in (b"!", b","), "no block at %d" % pos)
            if data[pos] == 0x21:
                pos += 2
            else:
                found += 1
                pos += 11 + table(data[pos + 9])
            while data[pos]:
                pos += 1 + data[pos]
            pos += 1
        want((found, pos + 1) == (images, len(data)), "%d images end at %d" % (found, pos + 1))
    return check_gif


def bmp(header, bits, compression=0):
    def check_bmp(data):
        size, _, pixels, length = little(data, "IIII", 2)
        want(data[:2] == b"BM" and size == len(data), "the header has size %d" % size)
        if header == 12:
            got = (length,) + little(data, "H", 24) + (0,)
            width, height = little(data, "HH", 18)
        else:
            got = (length,) + little(data, "HI", 28)
            width, height = little(data, "ii", 18)
        want(got == (header, bits, compression), "header is %r" % (got,))
        if compression in (0, 3):
            want(pixels + (width * bits + 31) // 32 * 4 * height == size, "the rows do not fill the file")
    return check_bmp


def pcx(bits, planes):
    def check_pcx(data):
        want(data[:3] == b"\x0a\x05\x01" and (data[3], data[65]) == (bits, planes), "another kind of PCX file")
        low, high = little(data, "HH", 4)[1], little(data, "HH", 8)[1]
        missing = (high - low + 1) * planes * little(data, "H", 66)[0]
        pos = 128
        while missing > 0:
            run = data[pos] >= 0xC0
            missing -= data[pos] & 0x3F if run else 1
            pos += 2 if run else 1
        if data[pos:pos + 1] == b"\x0c":
            pos += 769
        want(pos == len(data), "the picture ends at %d" % pos)
    return check_pcx


def icons(kind, *sizes):
    def check_icons(data):
        want(little(data, "HHH", 0) == (0, kind, len(sizes)), "another kind of directory")
        entries = [little(data, "BBBBHHII", 6 + 16 * i) for i in range(len(sizes))]
        want(tuple(entry[0] for entry in entries) == sizes, "other images: %r" % entries)
        want(entries[-1][6] + entries[-1][7] == len(data), "the last image does not end the file")
    return check_icons


def wmf(start):
    def check_wmf(data):
        want(little(data, "HHH", start) == (1, 9, 0x300), "no metafile header")
        pos, function = start + 18, None
        while function != 0:
            words, function = little(data, "IH", pos)
            pos += 2 * words
        want(pos == len(data), "the end record ends at %d" % pos)
    return check_wmf


def emf(data):
    want(data[40:44] == b" EMF" and little(data, "I", 48)[0] == len(data), "the header has another size")
    want(little(data, "II", len(data) - 20) == (14, 20), "does not end with the end record")


def icc(kind, version):
    def check_icc(data):
        want(struct.unpack_from(">I", data)[0] == len(data), "the header has another size")
        want((data[12:16], data[8], data[36:40]) == (kind, version, b"acsp"), "another kind of profile")
    return check_icc
def xcf_tile_end(data, width, height):
    """The end of the last picture's only tile: a plane for each byte of a
    pixel, packed as runs and literals."""
    # The sides stand in the hierarchy, with the bytes of a pixel, and in its
    # first level, with the tile's place.
    level = data.rfind(struct.pack(">II", width, height))
    depth = struct.unpack_from(">I", data, data.rfind(struct.pack(">II", width, height), 0, level) + 8)[0]
    pos = struct.unpack_from(">I", data, level + 8)[0]
    for _ in range(depth):
        left = width * height
        while left > 0:
            code = data[pos]
            long = code in (127, 128)
            count = struct.unpack_from(">H", data, pos + 1)[0] if long else code + 1 if code < 127 else 256 - code
            pos += (3 if long else 1) + (1 if code < 128 else count)
            left -= count
    return pos


def xcf(version):
    def check_picture(data):
        want(data.startswith(b"gimp xcf " + version + b"\0"), "the version is %r" % data[9:14])
        width, height = struct.unpack_from(">II", data, 14)
        if max(width, height) > 64:
            # After the tiles there are levels without any.
            end = struct.pack(">III", width // 2, height // 2, 0)
            want(end in data[-16:], "the last level is not at the end")
        else:
            end = xcf_tile_end(data, width, height)
            want(end == len(data), "the tile ends at %d" % end)
    return check_picture


def photoshop(data, version=1, packed=True):
    """The merged picture's rows end with the file."""
    got, channels, height, width, depth = struct.unpack_from(">H6xHIIH", data, 4)
    want(data.startswith(b"8BPS") and got == version, "version %d" % got)
    pos = 26
    for form in (">I", ">I", ">Q" if version == 2 else ">I"):
        pos += struct.calcsize(form) + struct.unpack_from(form, data, pos)[0]
    rows = height * channels
    want(struct.unpack_from(">H", data, pos)[0] == packed, "the rows are packed otherwise")
    if packed:
        counts = struct.unpack_from(">%d%s" % (rows, "I" if version == 2 else "H"), data, pos + 2)
        size = rows * (4 if version == 2 else 2) + sum(counts)
    else:
        size = rows * ((width * depth + 7) // 8)
    want(pos + 2 + size == len(data), "the rows end at %d" % (pos + 2 + size))


def photoshop_kind(**kind):
    return lambda data: photoshop(data, **kind)


def drawing_text(data):
    lines = [line.strip() for line in data.rstrip(b"\x1a").split(b"\n")]
    pairs = list(zip(lines[0::2], lines[1::2]))
    want(pairs.count((b"0", b"EOF")) == 1 and pairs[-1] == (b"0", b"EOF") and lines[-1] == b"", "the end is not EOF")
    want(pairs.count((b"0", b"SECTION")) == pairs.count((b"0", b"ENDSEC")) > 0, "the sections are not whole")


def drawing_binary(code):
    def check_drawing(data):
        start = b"AutoCAD Binary DXF\r\n\x1a\0" + code
        want(data.startswith(start + b"SECTION\0"), "no section behind the signature")
        want(data.endswith(b"ENDSEC\0" + code + b"EOF\0"), "the end is not EOF")
    return check_drawing
def pdf(sections, *wanted):
    """A PDF of so many cross-reference sections that lead from one to the
    next, the newest of them at the end, and that has these texts."""
    def check_document(data):
        want(re.match(rb"%PDF-1\.\d", data), "no PDF header")
        last = re.search(rb"startxref\s+(\d+)\s+%%EOF\s*\Z", data)
        want(last, "no end mark at the end")
        offset, count = int(last.group(1)), 0
        while offset is not None:
            want(re.match(rb"xref|\d+ \d+ obj", data[offset:]), "no section at %d" % offset)
            # After a table stands its trailer; a stream's dictionary is its own.
            previous = re.match(rb"(?s).*?<<(.*?)>>\s*(?:startxref|stream)", data[offset:]).group(1)
            previous = re.search(rb"/Prev\s+(\d+)", previous)
            offset = previous and int(previous.group(1))
            count += 1
        want(count == sections, "%d sections" % count)
        for text in wanted:
            want(text in data, "no %r" % text)
    return check_document


def old_drawing(data):
    want(data.startswith(b"%!PS-Adobe-3.0 \r%%Creator: Adobe Illustrator"), "no drawing")
    want(data.endswith(b"\r%%Trailer\r%%EOF\r") and data.count(b"%%EOF\r") == 3, "not the last of three ends")


def compiled_help(data):
    """The directory names the places of all members; the last of them ends
    with the file."""
    def number():
        # Seven bits a byte, the high ones first; the top bit goes on.
        nonlocal pos
        value = 0
        while data[pos] & 0x80:
            value = value << 7 | data[pos] & 0x7F
            pos += 1
        pos += 1
        return value << 7 | data[pos - 1]

    directory, length, content = struct.unpack_from("<QQQ", data, 0x48)
    head, chunk = struct.unpack_from("<I4xI", data, directory + 8)
    end, members = 0, 0
    for start in range(directory + head, directory + length, chunk):
        if data[start:start + 4] != b"PMGL":
            continue
        pos, behind = start + 20, start + chunk - struct.unpack_from("<I", data, start + 4)[0]
        while pos < behind:
            name = number()
            pos += name
            section, offset, size = number(), number(), number()
            if section == 0:
                end, members = max(end, offset + size), members + 1
    want(members > 0 and content + end == len(data), "%d members end at %d" % (members, content + end))


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


# Every file of fixtures/, whichever script makes it.
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
    "manual.chm": compiled_help,
    "page4.htm": page("utf-8", "</html>\n"),
    "page5.html": page("utf-8", "</html>\n"),
    "page.xhtml": page("utf-8", "</html>\n"),
    "page-utf16.html": page("utf-16", "</html>\n"),
    "page-saved.html": page("utf-8-sig", "</html>\n<!-- page served in 12 ms -->\n<script>count(\"</body>\");</script>\n\n"),
    "catalogue.xml": document("plants"),
    "catalogue-utf16.xml": document("plants"),
    "sections.xml": document("notes"),
    "circles.svg": document("{http://www.w3.org/2000/svg}svg"),
    "plain.mp4": boxes(b"mdat", b"moov", brand=b"isom"),
    "faststart.mp4": boxes(b"moov", b"mdat", brand=b"isom"),
    "fragmented.mp4": boxes(b"moov", *(b"moof", b"mdat") * 4, b"mfra", brand=b"isom"),
    "indexed.mp4": boxes(b"moov", *(b"sidx", b"moof", b"mdat") * 4, b"mfra", brand=b"iso5"),
    "film.mov": boxes(b"wide", b"mdat", b"moov", brand=b"qt  "),
    "film.m4v": boxes(b"mdat", b"moov", brand=b"M4V "),
    "phone.3gp": boxes(b"mdat", b"moov", brand=b"3gp4"),
    "tone.m4a": boxes(b"free", b"mdat", b"moov", brand=b"M4A "),
    "film.avi": chunks(b"AVI ", b"LIST", b"idx1"),
    "tone.wav": chunks(b"WAVE", b"fmt ", b"data"),
    "packed.wav": chunks(b"WAVE", b"fmt ", b"fact", b"data"),
    "tone.aif": chunks(b"AIFF", b"COMM", b"SSND", order=">", signature=b"FORM"),
    "lossy.webp": chunks(b"WEBP", b"VP8 "),
    "lossless.webp": chunks(b"WEBP", b"VP8L"),
    "animated.webp": chunks(b"WEBP", b"VP8X", b"ANIM", b"ANMF"),
    "turning.ani": chunks(b"ACON", b"anih", b"LIST"),
    "video.mkv": matroska(b"matroska"),
    "video.webm": matroska(b"webm"),
    "live.webm": matroska(b"webm", sized=False),
    "video.flv": flash_video,
    "video.rm": real_media,
    "sound.rm": real_media,
    "video.swf": flash_movie,
    "vorbis.ogg": ogg(b"\x01vorbis"),
    "opus.ogg": ogg(b"OpusHead"),
    "flac.ogg": ogg(b"\x7fFLAC"),
    "theora.ogg": ogg(b"\x80theora"),
    "sound.au": sun_sound,
    "ringtone.mmf": ringtone,
    "scale.mid": midi,
    "strip.tif": tiff,
    "strip-last.tif": tiff,
    "lzw.tif": tiff,
    "deflate.tif": tiff,
    "packbits.tif": tiff,
    "fax.tif": tiff,
    "pages.tif": pages_tif,
    "maker.nef": lambda data: tiff(data, b"NIKON"),
    "maker.pef": lambda data: tiff(data, b"PENTAX"),
    "maker.arw": lambda data: tiff(data, b"SONY\0"),
    "name.dcr": lambda data: tiff(data, b".DCR\0"),
    "version.dng": version_dng,
    "cut.cr2": cut_cr2,
    "still.cr3": still_cr3,
    "page.eml": message("text/html"),
    "alternative.eml": message("multipart/alternative", "text/plain", "text/html"),
    "attachment.eml": message("multipart/mixed", "text/plain", "application/octet-stream"),
    "archive.mht": web_archive,
    "log.txt": ascii_text,
    "still87.gif": gif(b"GIF87a", 1),
    "interlaced.gif": gif(b"GIF89a", 1),
    "animated.gif": gif(b"GIF89a", 2),
    "mono.bmp": bmp(40, 1),
    "palette4.bmp": bmp(40, 4),
    "rle8.bmp": bmp(40, 8, compression=1),
    "rgb24.bmp": bmp(40, 24),
    "os2.bmp": bmp(12, 4),
    "rgb24-v4.bmp": bmp(108, 24),
    "alpha32.bmp": bmp(124, 32, compression=3),
    "mono.pcx": pcx(1, 1),
    "planes4.pcx": pcx(1, 4),
    "palette8.pcx": pcx(8, 1),
    "rgb24.pcx": pcx(8, 3),
    "sizes.ico": icons(1, 32, 16),
    "with-png.ico": icons(1, 16, 32),
    "arrow.cur": icons(2, 32, 16),
    "placeable.wmf": wmf(22),
    "plain.wmf": wmf(0),
    "drawing.emf": emf,
    "display.icc": icc(b"mntr", 4),
    "link.icc": icc(b"link", 2),
    "small.xcf": xcf(b"file"),
    "palette.xcf": xcf(b"v001"),
    "layers.xcf": xcf(b"file"),
    "deep.xcf": xcf(b"v012"),
    "layers.psd": photoshop,
    "packed.psd": photoshop,
    "raw.psd": photoshop_kind(packed=False),
    "cmyk16.psd": photoshop,
    "palette.psd": photoshop,
    "large.psb": photoshop_kind(version=2),
    "traced.dxf": drawing_text,
    "release12.dxf": drawing_text,
    "release14.dxf": drawing_text,
    "release10.binary.dxf": drawing_binary(b"\0"),
    "release14.binary.dxf": drawing_binary(b"\0\0"),
    "plain.pdf": pdf(1),
    "linearized.pdf": pdf(2, b"/Linearized"),
    "linearized-updated.pdf": pdf(3, b"/Linearized"),
    "updated.pdf": pdf(3),
    "packed.pdf": pdf(1, b"/ObjStm"),
    "attached.pdf": pdf(1, b"%%EOFendstream"),
    "drawing.ai": pdf(2, b"/AIPrivateData1"),
    "old-drawing.ai": old_drawing,
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
        except (Bad, IndexError, KeyError, struct.error, zlib.error) as error:
            print("%-28s %7d bytes  BAD: %s" % (name, len(data), error))
            bad += 1
    print("%-28s %7d bytes" % ("together", total))
    if total > MAX_TOTAL:
        print("BAD: more than %d bytes together" % MAX_TOTAL)
        bad += 1
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())

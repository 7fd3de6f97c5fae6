"""Pictures other than JPEG and PNG, camera raws and drawings."""

import struct

from .common import little, want
from .media import boxes


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


KINDS = {
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
}

"""Camera raws, large TIFF files, brushes, drawings and other formats that no program of the system writes.

Each file is laid out as the makers' programs lay theirs out; the pictures in them are noise or come from ImageMagick.
"""

import struct

from .sounds import EXACT, FFMPEG
from .workshop import noise

BYTE, ASCII, SHORT, LONG, RATIONAL, UNDEFINED, IFD = 1, 2, 3, 4, 5, 7, 13
WIDTHS = {BYTE: 1, ASCII: 1, SHORT: 2, LONG: 4, RATIONAL: 8, UNDEFINED: 1, IFD: 4}


class At:
    """Stands for the offset of a block in a directory's value."""

    def __init__(self, *names):
        self.names = names


class InBytes(At):
    """The same in a value of four bytes."""


class Tiff:
    """Blocks of bytes and directories, laid out in the order in which they are added."""

    def __init__(self, order="<", mark=None):
        self.order = order
        self.mark = mark or (b"II*\0" if order == "<" else b"MM\0*")
        self.extra = b""
        self.blocks = []

    def add(self, name, content, link=None):
        self.blocks.append((name, content, link))
        return self

    def _value(self, kind, value, places):
        if isinstance(value, InBytes):
            return struct.pack(self.order + "I", places.get(value.names[0], 0))
        if isinstance(value, At):
            value = [places.get(name, 0) for name in value.names]
        if isinstance(value, (bytes, str)):
            return value if isinstance(value, bytes) else value.encode() + b"\0"
        values = value if isinstance(value, (list, tuple)) else [value]
        if kind == RATIONAL:
            return b"".join(struct.pack(self.order + "II", v, 1) for v in values)
        letter = {BYTE: "B", UNDEFINED: "B", SHORT: "H", LONG: "I", IFD: "I"}[kind]
        return b"".join(struct.pack(self.order + letter, v) for v in values)

    def _directory(self, entries, link, at, places):
        """Its values follow it at even offsets."""
        table = struct.pack(self.order + "H", len(entries))
        values_at = at + 2 + 12 * len(entries) + 4
        values = b""
        for tag, kind, value in sorted(entries, key=lambda entry: entry[0]):
            raw = self._value(kind, value, places)
            table += struct.pack(self.order + "HHI", tag, kind, len(raw) // WIDTHS[kind])
            if len(raw) <= 4:
                table += raw.ljust(4, b"\0")
            else:
                values += bytes((values_at + len(values)) % 2)
                table += struct.pack(self.order + "I", values_at + len(values))
                values += raw
        return table + struct.pack(self.order + "I", places.get(link, 0)) + values

    def data(self, first="main"):
        places, out = {}, b""
        for _ in range(3):              # offsets are known once everything was laid out
            out = self.mark + struct.pack(self.order + "I", places.get(first, 8)) + self.extra
            for name, content, link in self.blocks:
                out += bytes(len(out) % 2)
                places[name] = len(out)
                out += content if isinstance(content, bytes) else self._directory(content, link, len(out), places)
        return out


def sensor(width, height, bits=16):
    """Smooth samples with a little noise, packed big-endian if they have 12 or 10 bits."""
    grain = noise(width * height, bits)
    top = (1 << min(bits, 12)) - 1
    samples = [min(top, top // 4 + (x * 7 + y * 5) % (top // 3) // 2 + (grain[y * width + x] & 31))
               for y in range(height) for x in range(width)]
    if bits == 16:
        return struct.pack(f">{len(samples)}H", *samples)
    packed = bytearray()
    for at in range(0, len(samples), 8):
        word = 0
        for sample in samples[at:at + 8]:
            word = word << bits | sample
        packed += word.to_bytes(bits, "big")
    return bytes(packed)


def strip(name, content, width, height, compression=1, photometric=2, samples=3, bits=8):
    return [(256, LONG, width), (257, LONG, height), (258, SHORT, [bits] * samples), (259, SHORT, compression),
            (262, SHORT, photometric), (273, LONG, At(name)), (277, SHORT, samples), (278, LONG, height),
            (279, LONG, len(content))]


def camera(make, model):
    return [(271, ASCII, make), (272, ASCII, model), (274, SHORT, 1), (282, RATIONAL, 300), (283, RATIONAL, 300),
            (296, SHORT, 2), (305, ASCII, "Ver.1.00"), (306, ASCII, "2020:01:06 10:00:00")]


def exif(maker_note):
    return [(0x829A, RATIONAL, 60), (0x829D, RATIONAL, 4), (0x9000, UNDEFINED, b"0221"), (0x9003, ASCII, "2020:01:06 10:00:00"),
            (0x927C, UNDEFINED, maker_note), (0x9286, UNDEFINED, b"ASCII\0\0\0" + b" " * 36)]


class Parts:
    """What the raws of all makers consist of."""

    def __init__(self, shop):
        self.preview = shop.source("raw-preview.jpg", "convert", shop.picture(320, 240), "-quality", "80", "OUT").read_bytes()
        self.thumb = shop.source("raw-thumb.jpg", "convert", shop.picture(160, 120), "-strip", "-quality", "70",
                                 "OUT").read_bytes()
        self.small = noise(160 * 120 * 3)
        self.packed = noise(210001, 5)          # compressed data of an odd length
        self.lossless = self.preview[:2] + b"\xff\xc4" + self.preview[2:]
        self.note = b"Maker\0\2\0" + noise(900)

    def main(self, make, model, *more):
        return camera(make, model) + strip("thumb", self.small, 160, 120) + [(0x8769, LONG, At("exif"))] + list(more)


def nikon_raws(shop):
    """Preview and sensor data in directories of their own; the data last."""
    parts = Parts(shop)
    note = b"Nikon\0\2\x10\0\0" + Tiff(">").add("main", [(1, UNDEFINED, b"0210"), (0x11, LONG, At("preview"))]).add(
        "preview", [(259, SHORT, 6), (513, LONG, At("jpeg")), (514, LONG, len(parts.thumb))]).add("jpeg", parts.thumb).data()
    for name, order in (("big-endian", ">"), ("little-endian", "<")):
        for form, compression, content in (("packed", 34713, parts.packed), ("plain", 1, sensor(600, 400))):
            shop.write("nef", f"{name}-{form}", Tiff(order).add(
                "main", parts.main("NIKON CORPORATION", "NIKON D70", (330, LONG, At("jpeg-ifd", "raw")),
                                   (0x8825, LONG, At("gps")))).add(
                "jpeg-ifd", [(259, SHORT, 6), (513, LONG, At("jpeg")), (514, LONG, len(parts.preview))]).add(
                "raw", strip("sensor", content, 600, 400, compression, 32803, 1, 12)).add("exif", exif(note)).add(
                "gps", [(0, BYTE, b"\2\2\0\0")]).add("thumb", parts.small).add("jpeg", parts.preview).add(
                "sensor", content).data())


def pentax_raws(shop):
    """The sensor's data in the first directory; the previews in the chain after it."""
    parts = Parts(shop)
    for name, compression, content in (("packed", 65535, parts.packed), ("plain", 1, sensor(600, 400))):
        shop.write("pef", name, Tiff(">").add(
            "main", camera("PENTAX Corporation", "PENTAX K10D") + strip("sensor", content, 600, 400, compression, 32803, 1, 12)
            + [(0x8769, LONG, At("exif"))], "second").add("exif", exif(b"AOC\0MM" + noise(2000))).add("sensor", content).add(
            "second", [(259, SHORT, 6), (513, LONG, At("small")), (514, LONG, len(parts.thumb))], "third").add(
            "small", parts.thumb).add(
            "third", [(259, SHORT, 6), (513, LONG, At("large")), (514, LONG, len(parts.preview))]).add(
            "large", parts.preview).data())


def sony_raws(shop):
    """A private directory, most of it encrypted."""
    parts = Parts(shop)
    for name, model, compression in (("packed", "DSLR-A700", 32767), ("plain", "ILCE-7", 1)):
        content = parts.packed if compression != 1 else sensor(600, 400)
        private = noise(3000)
        shop.write("arw", name, Tiff().add(
            "main", camera("SONY", model) + [(259, SHORT, 6), (513, LONG, At("jpeg")), (514, LONG, len(parts.preview)),
                                             (330, LONG, At("raw")), (0x8769, LONG, At("exif")),
                                             (50740, BYTE, InBytes("private"))], "small-ifd").add(
            "exif", exif(b"SONY DSC \0\0\0" + noise(4000))).add(
            "private", [(0x7200, LONG, At("encrypted")), (0x7201, LONG, len(private)), (0x7221, LONG, 12345)]).add(
            "encrypted", private).add("small-ifd", [(259, SHORT, 6), (513, LONG, At("small")), (514, LONG, len(parts.thumb))]).add(
            "small", parts.thumb).add("jpeg", parts.preview).add(
            "raw", strip("sensor", content, 600, 400, compression, 32803, 1, 14)).add("sensor", content).data())


def dng(shop):
    """Tiles of JPEG, previews, and the maker's data after everything else; odd ends are filled up."""
    parts = Parts(shop)
    version = (50706, BYTE, b"\1\4\0\0")
    tiles = [parts.lossless + noise(n) + b"\xff\xd9" for n in (9001, 8000, 7003, 9500)]
    for name, order, content in (("tiles", "<", tiles), ("big-endian", ">", tiles[:2]), ("odd", "<", [tiles[0] + b"\0"])):
        made = Tiff(order).add("main", parts.main("A maker", "A model", (330, LONG, At("raw", "jpeg-ifd")), version,
                                                  (50708, ASCII, "A model"), (50740, BYTE, noise(5000)))).add(
            "exif", exif(parts.note)).add(
            "raw", [(256, LONG, 512), (257, LONG, 512), (258, SHORT, 16), (259, SHORT, 7), (262, SHORT, 32803), (277, SHORT, 1),
                    (322, LONG, 256), (323, LONG, 256), (324, LONG, At(*(f"tile-{n}" for n in range(len(content))))),
                    (325, LONG, [len(tile) for tile in content])]).add(
            "jpeg-ifd", strip("jpeg", parts.preview, 320, 240, 7, 6)).add("thumb", parts.small).add("jpeg", parts.preview)
        for n, tile in enumerate(content):
            made.add(f"tile-{n}", tile)
        data = made.data()
        shop.write("dng", name, data + bytes(len(data) % 2))
    content = sensor(600, 400)
    shop.write("dng", "plain", Tiff().add(
        "main", parts.main("A maker", "A model", (330, LONG, At("raw")), (50706, BYTE, b"\1\1\0\0"))).add(
        "exif", exif(parts.note)).add("raw", strip("sensor", content, 600, 400, 1, 32803, 1, 16)).add(
        "thumb", parts.small).add("sensor", content).data())


def plain_tiff_raws(shop):
    """Makers whose raws differ in their names and compression only."""
    parts = Parts(shop)
    for ext, name, order, make, model, compression in (
            ("dcr", "pro", ">", "Kodak", "DCS Pro SLR/n", 65000), ("dcr", "early", "<", "KODAK", "DCS760C", 65000),
            ("kdc", "zoom", ">", "EASTMAN KODAK COMPANY", "KODAK P880 ZOOM DIGITAL CAMERA", 65000),
            ("erf", "plain", ">", "SEIKO EPSON CORP.", "R-D1", 32769), ("3fr", "plain", "<", "Hasselblad", "Hasselblad H3D", 7),
            ("srw", "packed", "<", "SAMSUNG", "NX100", 32770), ("mef", "plain", ">", "Mamiya-OP Co.,Ltd.", "Mamiya ZD", 1)):
        content = (parts.lossless + noise(200000) + b"\xff\xd9" if compression == 7
                   else parts.packed if compression > 1 else sensor(600, 400))
        shop.write(ext, name, Tiff(order).add("main", parts.main(make, model, (330, LONG, At("raw")))).add(
            "exif", exif(parts.note)).add("thumb", parts.small).add(
            "raw", strip("sensor", content, 600, 400, compression, 32803, 1, 12)).add("sensor", content).data())


def marked_tiff_raws(shop):
    """Letters or other numbers in place of 42."""
    parts = Parts(shop)
    for name, mark, order in (("little-endian", b"IIRO", "<"), ("early", b"IIRS", "<"), ("big-endian", b"MMOR", ">")):
        content = sensor(600, 400)
        shop.write("orf", name, Tiff(order, mark).add(
            "main", camera("OLYMPUS IMAGING CORP.", "E-420") + strip("sensor", content, 600, 400, 1, 32803, 1, 16)
            + [(0x8769, LONG, At("exif"))]).add("exif", exif(b"OLYMPUS\0II\3\0" + noise(3000))).add(
            "jpeg", parts.preview).add("sensor", content).data())
    panasonic = Tiff("<", b"IIU\0")
    panasonic.extra = noise(16)
    shop.write("rw2", "plain", panasonic.add(
        "main", [(1, UNDEFINED, b"0300"), (2, SHORT, 600), (46, UNDEFINED, parts.preview), (271, ASCII, "Panasonic"),
                 (272, ASCII, "DMC-LX3"), (273, LONG, 0xFFFFFFFF), (279, LONG, len(parts.packed)), (280, LONG, At("sensor")),
                 (0x8769, LONG, At("exif"))]).add("exif", exif(parts.note)).add("sensor", parts.packed).data())


# ---- Raws of other structure --------------------------------------------

def heap(*values):
    """A heap of Canon's: the values, their directory, and its offset. The value of a tag 4xxxh stands in the directory."""
    data, entries = b"", b""
    for tag, value in values:
        if tag & 0x4000:
            entries += struct.pack("<H", tag) + value.ljust(8, b"\0")
            continue
        entries += struct.pack("<HII", tag, len(value), len(data))
        data += value + bytes(len(value) % 2)
    return data + struct.pack("<H", len(values)) + entries + struct.pack("<I", len(data))


def canon_trailer(recipe):
    mark = b"CANON OPTIONAL DATA\0"
    return (mark + b"\0\1\0\0" + struct.pack(">I", len(recipe)) + recipe
            + mark + struct.pack(">I", len(recipe)) + bytes(36) + b"\0\0\0\0")


def canon_heaps(shop):
    parts = Parts(shop)
    settings = heap((0x0805, b"a note".ljust(256, b"\0")), (0x2804, heap((0x080A, b"Canon\0Canon PowerShot S40\0"))),
                    (0x2807, heap((0x080B, b"Firmware 1.00\0"), (0x5010, b"\x0A\0\0\0"))),
                    (0x300B, heap((0x102A, noise(80)), (0x102D, noise(92)))), (0x580B, b"\1\2\3\4"))
    header = b"II\x1a\0\0\0HEAPCCDR\2\0\1\0" + bytes(8)
    for name, values in (("raw", ((0x2005, noise(300001)), (0x2008, parts.thumb), (0x300A, settings))),
                         ("with-jpeg", ((0x2005, noise(90000)), (0x2007, parts.preview), (0x2008, parts.thumb), (0x300A, settings))),
                         ("small", ((0x2005, noise(2000)), (0x300A, settings)))):
        shop.write("crw", name, header + heap(*values))
    shop.write("crw", "trailer", header + heap((0x2005, noise(9000)), (0x300A, settings)) + canon_trailer(noise(400)))


def minolta_raws(shop):
    note = Tiff(">").add("main", camera("Minolta Co., Ltd.", "DiMAGE A1")).data()

    def minolta(width, height, bits, used, data):
        blocks = (b"\0PRD" + struct.pack(">I8sHHHHBBBBHH", 24, b"27200001", height, width, height, width, bits, used, 0x52, 0, 0, 1)
                  + b"\0TTW" + struct.pack(">I", len(note)) + note + b"\0WBG" + struct.pack(">I", 12) + noise(12))
        return b"\0MRM" + struct.pack(">I", len(blocks)) + blocks + data

    shop.write("mrw", "packed", minolta(640, 400, 12, 12, sensor(640, 400, 12)))
    shop.write("mrw", "plain", minolta(640, 400, 16, 12, sensor(640, 400)))


def fuji_raws(shop):
    parts = Parts(shop)
    for name, size in (("early", 0x94), ("late", 0xA0)):
        meta, data = noise(700), sensor(600, 400)
        at = [size, size + len(parts.preview) + 3 & ~3]
        at.append(at[1] + len(meta) + 3 & ~3)
        head = (b"FUJIFILMCCD-RAW 0201FF389502" + b"FinePix S5200".ljust(32, b"\0") + b"0100".ljust(24, b"\0")
                + struct.pack(">6I", at[0], len(parts.preview), at[1], len(meta), at[2], len(data)))
        body = head.ljust(size, b"\0") + parts.preview
        for place, content in ((at[1], meta), (at[2], data)):
            body = body.ljust(place, b"\0") + content
        shop.write("raf", name, body)


def sigma_raws(shop):
    parts = Parts(shop)
    for name, version, size in (("2.0", 0x20000, 40), ("2.3", 0x20003, 264)):
        out = b"FOVb" + struct.pack("<I16sIIII", version, noise(16), 0, 600, 400, 0)
        out, entries = out.ljust(size, b"\0"), b""
        for kind, section in ((b"PROP", b"SECp" + bytes(12) + noise(600)), (b"IMAG", b"SECi" + bytes(20) + parts.preview),
                              (b"IMAG", b"SECi" + bytes(20) + noise(150000))):
            entries += struct.pack("<II", len(out), len(section)) + kind
            out += section + bytes(-len(section) % 4)
        shop.write("x3f", name, out + b"SECd" + struct.pack("<II", version, 3) + entries + struct.pack("<I", len(out)))


def casio_raws(shop):
    """Areas in the order of their descriptors."""
    parts = Parts(shop)
    stripped = struct.pack(">4H", 3, 900, 300, 301) + noise(128) + noise(1501)
    for name, picture in (("early", (3, stripped)), ("later", (4, parts.preview)), ("last", (12, parts.preview))):
        areas = ((2, noise(52 * 36 * 3)), picture, (1, b"words".ljust(80, b"\0")))
        shop.write("cam", name, b"\x07\x20MM" + struct.pack(">H", 3)
                   + b"".join(struct.pack(">HI10x", kind, len(area)) for kind, area in areas)
                   + b"".join(area for _, area in areas))


def rollei_raws(shop):
    """Lines of text, a thumbnail and the sensor's data."""
    lines = "DSC-Image\r\nDAT=06.01.2020\r\nTIM=10:00:00\r\nHDR=512\r\nX  =640\r\nY  =400\r\nTX =80\r\nTY =60\r\nEOHD\r\n"
    shop.write("rdc", "raw", lines.encode().ljust(512, b" ") + noise(80 * 60 * 2) + sensor(640, 400, 10))


# ---- Large TIFF, brushes, mail folders, drawings, streams ---------------

def large_tiff(shop):
    plain = shop.source("plain.tif", "convert", shop.picture(), "-compress", "None", "OUT")
    for name, options in (("plain", ()), ("zip", ("-c", "zip")), ("tiles", ("-t", "-w", "128", "-l", "128")), ("planes", ("-p",
                          "separate")), ("big-endian", ("-B",)), ("lzw-rows", ("-c", "lzw", "-r", "1"))):
        shop.program("tif", f"large-{name}", "tiffcp", "-8", *options, plain, "OUT")
    pages = shop.source("pages.tif", "convert", shop.picture(), shop.picture(64, 64), "-compress", "Zip", "OUT")
    shop.program("tif", "large-pages", "tiffcp", "-8", pages, "OUT")


def brushes(shop):
    def sample(version, width, height, data, compression, name="A brush"):
        title = struct.pack(">I", len(name) + 1) + (name + "\0").encode("utf-16-be") if version == 2 else b""
        body = (struct.pack(">IH", 0, 25) + title + b"\1" + struct.pack(">4H", 0, 0, height, width)
                + struct.pack(">4I", 0, 0, height, width) + struct.pack(">HB", 8, compression) + data)
        return struct.pack(">HI", 2, len(body)) + body
    computed = struct.pack(">HIIHHHHH", 1, 14, 0, 25, 13, 100, 0, 80)
    rows = noise(40 * 30)
    packed = b"".join(struct.pack(">H", 41) for _ in range(30)) + b"".join(b"\x27" + rows[n * 40:n * 40 + 40] for n in range(30))
    for version in (1, 2):
        made = (computed, sample(version, 40, 30, rows, 0), computed, sample(version, 40, 30, packed, 1))
        shop.write("abr", f"version-{version}", struct.pack(">HH", version, len(made)) + b"".join(made))
        shop.write("abr", f"version-{version}-one", struct.pack(">HH", version, 1) + made[3])

    def block(kind, data):
        return b"8BIM" + kind + struct.pack(">I", len(data)) + data
    samples = b""
    for n in (1201, 900, 4003):
        samples += struct.pack(">I", n) + noise(n) + bytes(-n % 4)
    description = struct.pack(">I", 16) + b"\0\0\0\1\0\0\0\0\0\0null\0\0\0\1" + noise(400)
    for version, minor, blocks in ((6, 1, ((b"samp", samples),)), (6, 2, ((b"samp", samples), (b"desc", description))),
                                   (7, 2, ((b"samp", samples), (b"patt", noise(800)), (b"desc", description))),
                                   (9, 2, ((b"samp", samples), (b"patt", b""), (b"desc", description), (b"phry", noise(60)))),
                                   (10, 2, ((b"samp", samples), (b"patt", b""), (b"desc", description), (b"phry", noise(60))))):
        shop.write("abr", f"version-{version}-{minor}", struct.pack(">HH", version, minor)
                   + b"".join(block(*parts) for parts in blocks))


def mail_folder(shop):
    """Objects that begin with their own offset, in a tree of one node; segments of 64 KiB."""
    for name, letters, kind in (("letters", 20, 0xC5), ("folders", 5, 0xC6)):
        variable = 0x1000
        base = 0x24BC + variable
        objects, at = b"", base
        places = []
        for n in range(letters):
            size = 0x200
            places.append(at)
            objects += struct.pack("<III", at, size - 8, 0) + noise(size - 12, n)
            at += size
        node = struct.pack("<IIIII", at, 0, 0, 0, letters << 8) + struct.pack("<I", letters)
        node += b"".join(struct.pack("<III", place, 0, 0) for place in places)
        objects += node.ljust(0x27C, b"\0")
        used = len(objects)
        header = bytearray(b"\xcf\xad\x12\xfe" + bytes((kind,)) + b"\xfd\x74\x6f\x66\xe3\xd1\x11\x9a\x4e\0\xc0\x4f\xa3\x09\xd4"
                           + bytes(0x24BC - 20))
        struct.pack_into("<I", header, 0x1C, variable)
        struct.pack_into("<I", header, 0x7C, base + used)
        struct.pack_into("<I", header, 0xE4, at)
        shop.write("dbx", name, bytes(header) + bytes(variable) + objects.ljust((used + 0xFFFF) // 0x10000 * 0x10000, b"\0"))


def drawings(shop):
    lines = ["  0", "SECTION", "  2", "HEADER", "  9", "$ACADVER", "  1", "AC1009", "  0", "ENDSEC", "  0", "SECTION", "  2", "ENTITIES"]
    for n in range(200):
        lines += ["  0", "LINE", "  8", "0", " 10", f"{n}.5", " 20", "1.0", " 11", f"{n}.0", " 21", f"{n * 7 % 50}.25"]
    lines += ["  0", "ENDSEC", "  0", "EOF"]
    plain = "\r\n".join(lines).encode()
    for name, content in (("no-line-end", plain), ("dos-end", plain + b"\r\n\x1a"), ("comments", b"999\r\nA comment\r\n" * 3 + plain + b"\r\n"),
                          ("padded-comment", b"  999\r\nA comment\r\n" + plain + b"\r\n"), ("byte-order-mark", b"\xef\xbb\xbf" + plain + b"\r\n"),
                          ("unix", plain.replace(b"\r\n", b"\n") + b"\n")):
        shop.write("dxf", name, content)
    for wide in (False, True):
        code = (lambda n: struct.pack("<H", n)) if wide else (lambda n: bytes((n,)))
        out = b"AutoCAD Binary DXF\r\n\x1a\0" + code(0) + b"SECTION\0" + code(2) + b"ENTITIES\0"
        for n in range(200):
            out += code(0) + b"LINE\0" + code(8) + b"0\0" + code(62) + struct.pack("<H", 3)
            out += b"".join(code(c) + struct.pack("<d", n + c) for c in (10, 20, 11, 21))
        shop.write("dxf", "binary-wide" if wide else "binary", out + code(0) + b"ENDSEC\0" + code(0) + b"EOF\0")


def short_streams(shop):
    source = ("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=10:duration=1", "-c:v", "mpeg2video", *EXACT, "-f", "mpegts")
    shop.program("ts", "short", *FFMPEG, *source, "OUT")
    shop.program("mts", "short", *FFMPEG, *source, "-mpegts_m2ts_mode", "1", "OUT")


MAKERS = (nikon_raws, pentax_raws, sony_raws, dng, plain_tiff_raws, marked_tiff_raws, canon_heaps,
          minolta_raws, fuji_raws, sigma_raws, casio_raws, rollei_raws, large_tiff, brushes, mail_folder, drawings, short_streams)

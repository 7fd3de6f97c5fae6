"""Archives: ZIP and its kin, 7z, RAR, CAB."""

import io
import struct
import zipfile
import zlib

from .documents import Pipe
from .workshop import noise, text

DATE = (2020, 1, 1, 12, 0, 0)


def members(count=4, size=9000):
    out = {}
    for n in range(count):
        out[f"folder/text-{n}.txt"] = text("en", size, n).encode()
        out[f"folder/noise-{n}.bin"] = noise(size, n)
    return out


def pack(content, method=zipfile.ZIP_DEFLATED, comment=b"", piped=False, zip64=False, extra=b"", member_comment=b""):
    target = Pipe() if piped else io.BytesIO()
    with zipfile.ZipFile(target, "w") as archive:
        for name, data in content.items():
            info = zipfile.ZipInfo(name, DATE)
            info.compress_type, info.extra, info.comment = method, extra, member_comment
            with archive.open(info, "w", force_zip64=zip64) as stream:
                stream.write(data)
        archive.comment = comment
    return bytes(target.data) if piped else target.getvalue()


def without_descriptor_marks(archive):
    """The archive with descriptors that lack their optional PK 07 08: what some older packers write."""
    with zipfile.ZipFile(io.BytesIO(archive)) as old:
        places = [info.header_offset for info in old.infolist()]
        directory = old.start_dir
    out, moved = b"", {}
    for at, end in zip(places, places[1:] + [directory]):
        member = archive[at:end]
        mark = member.rindex(b"PK\7\10")
        moved[at] = len(out)
        out += member[:mark] + member[mark + 4:]
    tail = bytearray(archive[directory:])
    at = 0
    while tail[at:at + 4] == b"PK\1\2":
        lengths = struct.unpack_from("<HHH", tail, at + 28)
        struct.pack_into("<I", tail, at + 42, moved[struct.unpack_from("<I", tail, at + 42)[0]])
        at += 46 + sum(lengths)
    struct.pack_into("<I", tail, at + 16, len(out))
    return out + bytes(tail)


def zip64_end(archive):
    """The archive with a zip64 end record and locator, which it does not need."""
    at = archive.rindex(b"PK\5\6")
    count, size, start = struct.unpack_from("<HII", archive, at + 10)
    record = b"PK\6\6" + struct.pack("<QHHIIQQQQ", 44, 45, 45, 0, 0, count, count, size, start)
    return archive[:at] + record + b"PK\6\7" + struct.pack("<IQI", 0, at, 1) + archive[at:]


def signing_block(archive):
    """The archive with a block between its members and its directory, as signed packages of phones have one."""
    with zipfile.ZipFile(io.BytesIO(archive)) as old:
        directory = old.start_dir
    pair = struct.pack("<QI", 4 + 3000, 0x7109871A) + noise(3000)
    size = len(pair) + 24
    block = struct.pack("<Q", size) + pair + struct.pack("<Q", size) + b"APK Sig Block 42"
    end = archive.rindex(b"PK\5\6")
    tail = bytearray(archive[directory:])
    struct.pack_into("<I", tail, end - directory + 16, directory + len(block))
    return archive[:directory] + block + bytes(tail)


def zips(shop):
    content = members()
    inner = pack(members(2, 3000))
    made = {
        "deflated": pack(content), "stored": pack(content, zipfile.ZIP_STORED), "bzip2": pack(content, zipfile.ZIP_BZIP2),
        "lzma": pack(content, zipfile.ZIP_LZMA), "comment": pack(content, comment=b"a comment"),
        "long-comment": pack(content, comment=noise(65535)), "comment-like-record": pack(content, comment=b"PK\5\6" + bytes(18)),
        "member-comments": pack(content, member_comment=b"a comment"), "descriptors": pack(content, piped=True),
        "descriptors-stored": pack(content, zipfile.ZIP_STORED, piped=True), "descriptors-comment": pack(content, piped=True,
                                                                                                    comment=b"x"),
        "descriptors-zip64": pack(content, piped=True, zip64=True), "descriptors-unmarked": without_descriptor_marks(
            pack(content, piped=True)), "zip64-members": pack(content, zip64=True), "zip64-end": zip64_end(pack(content)),
        "one-byte": pack({"a": b"x"}, zipfile.ZIP_STORED), "one-empty": pack({"a": b""}, zipfile.ZIP_STORED),
        "folders": pack({"a/": b"", "a/b/": b"", "a/b/c.txt": b"word\n"}), "unicode-names": pack({"ÄÖÜ.txt": b"word " * 200}),
        "nested": pack({"inner.zip": inner, "a.txt": b"word\n"}), "nested-stored": pack({"inner.zip": inner, "b.zip": inner},
                                                                                zipfile.ZIP_STORED),
        "nested-stored-piped": pack({"inner.zip": inner, "b.zip": inner}, zipfile.ZIP_STORED, piped=True),
        "nested-last": pack({"a.txt": b"word\n", "inner.zip": inner}, zipfile.ZIP_STORED), "many": pack(
            {f"f{n}": b"%d" % n for n in range(3000)}), "extra-fields": pack(content, extra=struct.pack("<HH", 0xCAFE, 40) + bytes(40)),
        "large": pack(members(12, 300000)),
    }
    # The end record begins on a sector's border, and 10 bytes before one.
    for name, want in (("end-on-border", 0), ("end-over-border", 502)):
        plain = pack({"a": b""}, zipfile.ZIP_STORED)
        made[name] = pack({"a": noise((want - len(plain) + 22) % 512 + 2048)}, zipfile.ZIP_STORED)
    for name, data in made.items():
        shop.write("zip", name, data)
    shop.write("jar", "plain", pack({"META-INF/MANIFEST.MF": b"Manifest-Version: 1.0\r\n\r\n", "a/B.class": noise(3000)}))
    shop.write("jar", "piped", pack({"META-INF/": b"", "META-INF/MANIFEST.MF": b"Manifest-Version: 1.0\r\n\r\n", "a/B.class":
                                     noise(3000)}, piped=True, extra=struct.pack("<HH", 0xCAFE, 0)))
    shop.write("jar", "manifest-last", pack({"a/B.class": noise(9000), "META-INF/MANIFEST.MF": b"Manifest-Version: 1.0\r\n\r\n"}))
    app = pack({"AndroidManifest.xml": noise(4000), "classes.dex": b"dex\n035\0" + noise(9000), "META-INF/MANIFEST.MF": b"x: y\n"})
    shop.write("apk", "signed", signing_block(app))
    book = {"META-INF/container.xml": b"<container/>" * 9, "page.xhtml": text("fr", 20000).encode()}
    shop.write("epub", "plain", book_package(book))
    shop.write("epub", "piped", book_package(book, piped=True))
    shop.write("kmz", "plain", pack({"doc.kml": b"<kml><Placemark/></kml>" * 90}))
    programs(shop, content)


def book_package(content, piped=False):
    target = Pipe() if piped else io.BytesIO()
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr(zipfile.ZipInfo("mimetype", DATE), b"application/epub+zip")
        for name, data in content.items():
            info = zipfile.ZipInfo(name, DATE)
            info.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(info, data)
    return bytes(target.data) if piped else target.getvalue()


def programs(shop, content):
    """What the packers themselves write."""
    root = shop.scratch / "content"
    for name, data in content.items():
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
    shop.program("zip", "program", "zip", "-q", "-r", "OUT", root)
    shop.program("zip", "program-comment", "zip", "-q", "-r", "-z", "OUT", root, stdin=b"a comment\n")
    shop.program("zip", "program-encrypted", "zip", "-q", "-r", "-P", "a", "OUT", root)
    shop.captured("zip", "program-piped", "zip", "-q", "-r", "-", "content")
    for name, options in (("aes", ("-mem=AES256", "-pa")), ("deflate64", ("-mm=Deflate64",)), ("ppmd", ("-mm=PPMd",))):
        shop.program("zip", f"7z-{name}", "7z", "a", "-tzip", "-bd", *options, "OUT", root)
    for name, options in (("lzma2", ()), ("lzma", ("-m0=lzma",)), ("ppmd", ("-m0=PPMd",)), ("stored", ("-mx=0",)), ("bzip2",
                          ("-m0=BZip2",)), ("not-solid", ("-ms=off",)), ("encrypted", ("-pa",)), ("encrypted-names", ("-pa", "-mhe=on")),
                          ("plain-header", ("-mhc=off",))):
        shop.program("7z", name, "7z", "a", "-t7z", "-bd", *options, "OUT", root)
    one = shop.scratch / "one.txt"
    one.write_bytes(b"x")
    shop.program("7z", "one-byte", "7z", "a", "-t7z", "-bd", "OUT", one)
    files = sorted(p for p in root.rglob("*") if p.is_file())
    shop.program("cab", "deflated", "gcab", "-c", "-z", "OUT", *files)
    shop.program("cab", "stored", "gcab", "-c", "OUT", *files)
    shop.program("cab", "one-byte", "gcab", "-c", "OUT", one)
    shop.program("cab", "reserved", "gcab", "-c", "-s", "6144", "OUT", *files)


# ---- RAR ----------------------------------------------------------------
# There is no free packer: these are stored members in headers written by hand.

def rar4_block(kind, flags, fields=b"", data=b""):
    body = struct.pack("<BHH", kind, flags, 7 + len(fields)) + fields
    return struct.pack("<H", zlib.crc32(body) & 0xFFFF) + body + data


def rar4(content, end=True):
    out = b"Rar!\x1a\7\0" + rar4_block(0x73, 0, bytes(6))
    for name, data in content.items():
        coded = name.encode()
        fields = struct.pack("<IIBIIBBHI", len(data), len(data), 3, zlib.crc32(data), 0x50215000, 20, 0x30, len(coded), 0o100644)
        out += rar4_block(0x74, 0x8000, fields + coded, data)
    return out + (rar4_block(0x7B, 0x4000) if end else b"")


def vint(value):
    out = b""
    while value >= 0x80:
        out += bytes((value & 0x7F | 0x80,))
        value >>= 7
    return out + bytes((value,))


def rar5_block(kind, flags, fields=b"", data=b""):
    body = vint(kind) + vint(flags | (2 if data else 0)) + (vint(len(data)) if data else b"") + fields
    body = vint(len(body)) + body
    return struct.pack("<I", zlib.crc32(body)) + body + data


def rar5(content):
    out = b"Rar!\x1a\7\1\0" + rar5_block(1, 0, vint(0))
    for name, data in content.items():
        coded = name.encode()
        fields = vint(4) + vint(len(data)) + vint(0o100644) + struct.pack("<I", zlib.crc32(data)) + vint(0) + vint(1)
        out += rar5_block(2, 0, fields + vint(len(coded)) + coded, data)
    return out + rar5_block(5, 0, vint(0))


def rars(shop):
    content = members()
    shop.write("rar", "rar4-stored", rar4(content))
    shop.write("rar", "rar4-no-end", rar4(content, end=False))
    shop.write("rar", "rar4-one-byte", rar4({"a": b"x"}))
    shop.write("rar", "rar5-stored", rar5(content))
    shop.write("rar", "rar5-large", rar5(members(6, 200000)))
    shop.write("rar", "rar5-one-byte", rar5({"a": b"x"}))


MAKERS = (zips, rars)

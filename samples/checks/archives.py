"""Archives, and documents that are archives or compound files."""

import io
import struct
import zipfile

from .common import want

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


KINDS = {
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
}

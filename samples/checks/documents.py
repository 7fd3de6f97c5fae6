"""Mail, text, markup, PDF and help."""

import email
import html.parser
import re
import struct
import xml.etree.ElementTree

from .common import Bad, want


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


KINDS = {
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
    "page.eml": message("text/html"),
    "alternative.eml": message("multipart/alternative", "text/plain", "text/html"),
    "attachment.eml": message("multipart/mixed", "text/plain", "application/octet-stream"),
    "archive.mht": web_archive,
    "log.txt": ascii_text,
    "plain.pdf": pdf(1),
    "linearized.pdf": pdf(2, b"/Linearized"),
    "linearized-updated.pdf": pdf(3, b"/Linearized"),
    "updated.pdf": pdf(3),
    "packed.pdf": pdf(1, b"/ObjStm"),
    "attached.pdf": pdf(1, b"%%EOFendstream"),
    "drawing.ai": pdf(2, b"/AIPrivateData1"),
    "old-drawing.ai": old_drawing,
}

#!/usr/bin/env bash
# Makes the small PDF documents and Illustrator drawings in fixtures/. Other
# files in fixtures/ stay as they are.
#
# Debian packages needed:
#   ghostscript  writes the document
#   qpdf         linearizes it, packs its objects, attaches files; checks
#   python3      updates it, and writes the drawings: no free program does
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need gs qpdf python3
cd "$work"

# Three pages of lines and curves; without text no font is embedded.
cat >pages.ps <<'PS'
%!PS
1 1 3 {
    /page exch def
    0 20 400 {
        /x exch def
        page 3 div x 400 div 0.4 setrgbcolor
        100 x add 100 moveto
        300 x page 37 mul add 200 500 x sub 400 page 50 mul add 700 x sub curveto stroke
    } for
    showpage
} for
PS
gs -q -dBATCH -dNOPAUSE -dSAFER -sDEVICE=pdfwrite -dCompatibilityLevel=1.4 -dCompressPages=true \
    -dOmitInfoDate=true -dOmitID=true -dOmitXMP=true -sOutputFile=plain.pdf pages.ps

cat >write.py <<'PY'
"""Appends updates to a PDF as editors do, and writes Illustrator drawings."""
import re
import sys


def update(data, objects):
    """Appends these objects, {number: bytes}, with a cross-reference table."""
    previous = int(re.findall(rb"startxref\s+(\d+)", data)[-1])
    root = re.findall(rb"/Root\s+\d+ \d+ R", data)[-1]
    size = max([int(number) for number in re.findall(rb"/Size\s+(\d+)", data)] + [max(objects) + 1])
    data += b"" if data.endswith((b"\r", b"\n")) else b"\r\n"
    table = b"xref\r\n0 1\r\n0000000000 65535 f\r\n"
    for number, content in sorted(objects.items()):
        table += b"%d 1\r\n%010d 00000 n\r\n" % (number, len(data))
        data += b"%d 0 obj\r\n%s\r\nendobj\r\n" % (number, content)
    start = len(data)
    return data + table + b"trailer\r\n<</Size %d /Prev %d %s>>\r\nstartxref\r\n%d\r\n%%%%EOF" % (
        size, previous, root, start)


def stream(content, entries=b""):
    return b"<</Length %d%s>>\r\nstream\r\n%s\r\nendstream" % (len(content), entries, content)


def next_number(data):
    return max(int(number) for number in re.findall(rb"/Size\s+(\d+)", data))


def note(data, text):
    return update(data, {next_number(data): b"<</Type /Annot /Subtype /Text /Rect [9 9 30 30] /Contents (%s)>>" % text})


def drawing(data):
    """A PDF with the keys of Illustrator's own data, as version 9 and later
    write it."""
    number = next_number(data)
    private = b"%!PS-Adobe-3.0 \r%%Creator: Adobe Illustrator(R) 10.0\r%%Title: (Leaf)\r%%EOF\r"
    return update(data, {
        number: b"<</Illustrator <</LastModified (D:20110618140528Z) /Private %d 0 R>>>>" % (number + 1),
        number + 1: b"<</CreatorVersion 10 /ContainerVersion 9 /RoundtripVersion 10 /NumBlock 1\r"
                    b"/AIMetaData %d 0 R /AIPrivateData1 %d 0 R>>" % (number + 2, number + 3),
        number + 2: stream(private[:64]),
        number + 3: stream(private),
    }) + b"\r"


def old_drawing():
    """A drawing of version 7 with a placed file and the bytes of a picture."""
    placed = ["%!PS-Adobe-3.0 EPSF-3.0", "%%Creator: Another program", "%%BoundingBox: 0 0 9 9", "%%EndComments",
              "%%Trailer", "%%EOF"]
    picture = bytes(range(256)) * 2 + b"\r%%EOF\r"
    head = ["%!PS-Adobe-3.0 ", "%%Creator: Adobe Illustrator(R) 7.0", "%%For: (Ada) (Letters)", "%%Title: (Leaf)",
            "%%BoundingBox: 0 0 200 200", "%AI5_FileFormat 3", "%AI3_ColorUsage: Color", "%%EndComments",
            "%%BeginSetup", "%%EndSetup", "%AI5_BeginLayer", "1 1 1 1 0 0 0 79 128 255 Lb", "(Layer 1) Ln"]
    head += ["%d %d m" % (x, 200 - x) + "\r%d %d L\rS" % (x + 7, x) for x in range(0, 190, 3)]
    head += ["%%BeginDocument: placed.eps"] + placed + ["%%EndDocument", "%%%%BeginData: %d Binary Bytes" % len(picture)]
    tail = ["%%EndData", "LB", "%AI5_EndLayer--", "%%PageTrailer", "%%Trailer", "%%EOF"]
    return "\r".join(head).encode() + b"\r" + picture + "\r".join(tail).encode() + b"\r"


def main():
    with open("plain.pdf", "rb") as file:
        plain = file.read()
    with open("linearized.pdf", "rb") as file:
        linearized = file.read()
    for name, data in {
        "updated.pdf": note(note(plain, b"first"), b"second"),
        "linearized-updated.pdf": note(linearized, b"later"),
        "drawing.ai": drawing(plain),
        "old-drawing.ai": old_drawing(),
    }.items():
        with open(name, "wb") as file:
            file.write(data)


if __name__ == "__main__":
    sys.exit(main())
PY

qpdf --deterministic-id --linearize plain.pdf linearized.pdf
qpdf --deterministic-id --object-streams=generate plain.pdf packed.pdf
python3 write.py
# The attached document as it is, end marks and all.
qpdf --deterministic-id --compress-streams=n --add-attachment updated.pdf --mimetype=application/pdf \
    --creationdate=D:20110618140528Z --moddate=D:20110618140528Z -- plain.pdf attached.pdf

# ---- every document must be whole ---------------------------------------

for file in *.pdf drawing.ai; do
    qpdf --check "$file" >/dev/null
done

cp plain.pdf "$out/plain.pdf"
cp linearized.pdf packed.pdf updated.pdf linearized-updated.pdf attached.pdf drawing.ai old-drawing.ai "$out"

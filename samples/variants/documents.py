"""Documents: office files by an office suite and packed again, PDF, Illustrator."""

import base64
import io
import re
import zipfile

from .workshop import Missing, text

NAMESPACES = " ".join(f'xmlns:{name}="urn:oasis:names:tc:opendocument:xmlns:{urn}:1.0"' for name, urn in (
    ("office", "office"), ("text", "text"), ("table", "table"), ("draw", "drawing"), ("style", "style"),
    ("presentation", "presentation"), ("svg", "svg-compatible"))) + ' xmlns:xlink="http://www.w3.org/1999/xlink"'


def flat(kind, body):
    return (f'<?xml version="1.0" encoding="UTF-8"?><office:document {NAMESPACES} office:version="1.3" '
            f'office:mimetype="application/vnd.oasis.opendocument.{kind}"><office:body>{body}</office:body></office:document>')


def frame(picture, width=12, height=9):
    data = base64.b64encode(picture.read_bytes()).decode()
    return (f'<draw:frame svg:width="{width}cm" svg:height="{height}cm"><draw:image><office:binary-data>{data}'
            '</office:binary-data></draw:image></draw:frame>')


def letter(size, *pictures):
    paragraphs = "".join(f"<text:p>{line}</text:p>" for n, line in enumerate(text("de", size).splitlines()))
    shown = "".join(f"<text:p>{frame(p)}</text:p>" for p in pictures)
    return flat("text", f"<office:text>{paragraphs}{shown}</office:text>")


def sheet(rows, tables=1):
    def cell(n):
        return (f'<table:table-cell office:value-type="float" office:value="{n * 7919 % 10007 / 8}"/>' if n % 4 else
                f'<table:table-cell office:value-type="string"><text:p>row {n}</text:p></table:table-cell>')
    table = "".join("<table:table-row>" + "".join(cell(r * 8 + c) for c in range(8)) + "</table:table-row>" for r in range(rows))
    named = "".join(f'<table:table table:name="T{n}">{table}</table:table>' for n in range(tables))
    return flat("spreadsheet", f"<office:spreadsheet>{named}</office:spreadsheet>")


def slides(count, *pictures):
    shown = "".join(frame(p, 20, 15) for p in pictures)
    pages = "".join(f'<draw:page draw:name="p{n}"><draw:frame svg:width="20cm" svg:height="8cm"><draw:text-box><text:p>'
                    f'{text("en", 200, n)}</text:p></draw:text-box></draw:frame>{shown if n == 0 else ""}</draw:page>'
                    for n in range(count))
    return flat("presentation", f"<office:presentation>{pages}</office:presentation>")


def drawing(count):
    shapes = "".join(f'<draw:rect svg:x="{n % 19}cm" svg:y="{n % 27}cm" svg:width="{n % 5 + 1}cm" svg:height="2cm"/>'
                     for n in range(count))
    return flat("graphics", f'<office:drawing><draw:page draw:name="p">{shapes}</draw:page></office:drawing>')


FORMULA = '<math xmlns="http://www.w3.org/1998/Math/MathML"><mfrac><mi>a</mi><mi>b</mi></mfrac></math>'

# Which formats the office suite writes for each kind of source, and with which of its filters.
TEXTS = ("odt", "ott", "docx", "doc:MS Word 97", "dot:MS Word 97 Vorlage", "docx:Office Open XML Text:-iso", "pdf", "html",
         "txt:Text")
SHEETS = ("ods", "ots", "xlsx", "xls:MS Excel 97", "xlt:MS Excel 97 Vorlage/Template", "pdf", "html")
SLIDES = ("odp", "otp", "pptx", "ppt", "pot:MS PowerPoint 97 Vorlage", "pdf")
DRAWINGS = ("odg", "pdf", "emf", "wmf", "png")


def office(shop):
    small, large = shop.picture(320, 240), shop.picture(1600, 1200)
    sources = {
        "letter": ("fodt", letter(1500), TEXTS),
        "report": ("fodt", letter(60000, small), TEXTS),
        "album": ("fodt", letter(8000, small, large), TEXTS),
        "table": ("fods", sheet(20), SHEETS),
        "tables": ("fods", sheet(150, 6), SHEETS),
        "long-table": ("fods", sheet(4000), SHEETS),
        "talk": ("fodp", slides(2), SLIDES),
        "long-talk": ("fodp", slides(40, small), SLIDES),
        "slide-show": ("fodp", slides(3, small, large), SLIDES),
        "plan": ("fodg", drawing(12), DRAWINGS),
        "large-plan": ("fodg", drawing(900), DRAWINGS),
        "formula": ("mml", FORMULA, ("odf",)),
    }
    wanted = {}
    for name, (ext, content, formats) in sources.items():
        (shop.scratch / f"{name}.{ext}").write_text(content, encoding="utf-8")
        for form in formats:
            wanted.setdefault((form, ext), []).append(name)
    for (form, ext), names in wanted.items():
        target, _, rest = form.partition(":")
        export, _, suffix = rest.partition(":")
        folder = shop.scratch / f"office-{target}{suffix}-{ext}"
        try:
            shop.run("soffice", "--headless", f"-env:UserInstallation=file://{shop.scratch}/profile", "--convert-to",
                     f"{target}:{export}" if export else target, "--outdir", folder, *(f"{n}.{ext}" for n in names))
        except Missing as why:
            shop.skip(f"{target} of {ext}", why)
            continue
        for name in names:
            made = folder / f"{name}.{target}"
            if made.exists():
                shop.write(target, f"office-{name}{suffix}{'-page' if target in ('html', 'pdf') else ''}", made.read_bytes())
            else:
                shop.skip(made.name, "the office suite did not write it")


# ---- Packages packed again ----------------------------------------------

class Pipe(io.RawIOBase):
    """A stream that cannot be sought in: the packer has to write sizes behind the data."""

    def __init__(self):
        super().__init__()
        self.data = bytearray()

    def writable(self):
        return True

    def write(self, data):
        self.data += data
        return len(data)


def repack(package, stored=False, descriptors=False, order=None, comment=b"", zip64=False):
    """The members of a package in a new one, all with one time."""
    target = Pipe() if descriptors else io.BytesIO()
    with zipfile.ZipFile(package) as old, zipfile.ZipFile(target, "w") as new:
        names = old.namelist()
        for name in sorted(names, key=order) if order else names:
            member = zipfile.ZipInfo(name, (2020, 1, 1, 12, 0, 0))
            member.compress_type = zipfile.ZIP_STORED if stored or name == "mimetype" else zipfile.ZIP_DEFLATED
            with new.open(member, "w", force_zip64=zip64) as stream:
                stream.write(old.read(name))
        new.comment = comment
    return bytes(target.data) if descriptors else target.getvalue()


def packages(shop):
    for ext, macro in (("docx", "docm"), ("xlsx", "xlsm"), ("pptx", "pptm"), ("odt", None), ("ods", None), ("odp", None)):
        found = sorted((shop.out / ext).glob("office-*." + ext))
        if not found:
            shop.skip(f"{ext} packed again", "the office suite did not write any")
            continue
        made = {
            "stored": {"stored": True},
            "descriptors": {"descriptors": True},
            "descriptors-stored": {"descriptors": True, "stored": True},
            "types-last": {"order": lambda name: (name == "[Content_Types].xml", name != "mimetype", name)},
            "comment": {"comment": b"a comment behind the end record"},
            "zip64-members": {"zip64": True, "descriptors": True},
            "reversed": {"order": lambda name: (name != "mimetype", [-ord(c) for c in name])},
        }
        for name, options in made.items():
            shop.write(ext, f"packed-{name}", repack(found[0], **options))
        shop.write(ext, "packed-large-descriptors", repack(max(found, key=lambda p: p.stat().st_size), descriptors=True))
        if macro:
            shop.write(macro, "renamed", repack(found[-1]))


# ---- PDF, Illustrator ---------------------------------------------------

def small_pdf(version="1.4", line_end=b"\n", last=b"\n", pages=1, page_entry=b""):
    """A PDF of empty pages, written by hand; `last` stands behind the end mark."""
    kids = b" ".join(b"%d 0 R" % (3 + n) for n in range(pages))
    objects = [b"<< /Type /Catalog /Pages 2 0 R >>", b"<< /Type /Pages /Kids [" + kids + b"] /Count %d >>" % pages]
    objects += [b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200]" + page_entry + b" >>"] * pages
    out, places = b"%PDF-" + version.encode() + line_end + b"%\xe2\xe3\xcf\xd3" + line_end, []
    for number, body in enumerate(objects, 1):
        places.append(len(out))
        out += b"%d 0 obj" % number + line_end + body + line_end + b"endobj" + line_end
    start = len(out)
    out += b"xref" + line_end + b"0 %d" % (len(objects) + 1) + line_end + b"0000000000 65535 f" + (b" " + line_end)[-2:]
    out += b"".join(b"%010d 00000 n" % place + (b" " + line_end)[-2:] for place in places)
    out += b"trailer" + line_end + b"<< /Size %d /Root 1 0 R >>" % (len(objects) + 1) + line_end
    return out + b"startxref" + line_end + b"%d" % start + line_end + b"%%EOF" + last


def update(pdf, width=201):
    """Appends an incremental update that replaces the first page by an empty one."""
    previous = int(re.findall(rb"startxref\s+(\d+)", pdf)[-1])
    page = int(re.search(rb"(\d+) 0 obj\s*<<(?:(?!endobj).)*/Type\s*/Page\b", pdf, re.DOTALL)[1])
    parent = re.search(rb"/Parent (\d+ 0 R)", pdf)[1]
    root = re.search(rb"/Root (\d+ 0 R)", pdf)[1]
    size = int(re.findall(rb"/Size (\d+)", pdf)[-1])
    begin = len(pdf)
    body = b"%d 0 obj\n<< /Type /Page /Parent %s /MediaBox [0 0 %d 300] >>\nendobj\n" % (page, parent, width)
    table = b"xref\n%d 1\n%010d 00000 n \ntrailer\n<< /Size %d /Root %s /Prev %d >>\n" % (page, begin, size, root, previous)
    return pdf + body + table + b"startxref\n%d\n%%%%EOF\n" % (begin + len(body))


def pdf(shop):
    for name, end, last in (("unix", b"\n", b"\n"), ("no-line-end", b"\n", b""), ("windows", b"\r\n", b"\r\n"), ("old-mac", b"\r",
                            b"\r"), ("blank-lines", b"\n", b"\n\n\n")):
        shop.write("pdf", f"by-hand-{name}", small_pdf(line_end=end, last=last))
    for version in ("1.0", "1.7", "2.0"):
        shop.write("pdf", f"by-hand-{version}", small_pdf(version))
    plain = small_pdf()
    shop.write("pdf", "updated", update(plain))
    shop.write("pdf", "updated-often", update(update(update(plain), 202), 203))
    shop.write("pdf", "long", small_pdf(pages=2000))
    page = shop.source("page.pdf", "gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite", "-sOutputFile=OUT", "-c",
                       "/Times-Roman findfont 20 scalefont setfont 1 1 40 { dup 15 mul 40 exch moveto 20 string cvs show } for "
                       "showpage 0 9 400 { dup moveto 300 200 lineto stroke } for showpage")
    for level in ("1.2", "1.4", "1.7"):
        shop.program("pdf", f"ghostscript-{level}", "gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite",
                     f"-dCompatibilityLevel={level}", "-sOutputFile=OUT", page)
    for name, options in (("linearized", ("--linearize",)), ("object-streams", ("--object-streams=generate",)), ("linearized-streams",
                          ("--linearize", "--object-streams=generate")), ("encrypted", ("--encrypt", "a", "b", "256", "--")),
                          ("readable", ("--qdf",)), ("newline-before", ("--newline-before-endstream",))):
        shop.program("pdf", f"qpdf-{name}", "qpdf", "--deterministic-id" if name != "encrypted" else "--warning-exit-0", *options,
                     page, "OUT")
    shop.write("pdf", "qpdf-linearized-updated", lambda: update(shop.source("lin.pdf", "qpdf", "--deterministic-id", "--linearize",
                                                                           page, "OUT").read_bytes()))
    whole = (shop.out / "pdf" / "office-report-page.pdf")
    if whole.exists():
        shop.program("pdf", "office-linearized", "qpdf", "--linearize", "--deterministic-id", whole, "OUT")
        shop.program("pdf", "attachment", "qpdf", page, "--add-attachment", whole, "--", "--deterministic-id", "OUT")
    private = b" /PieceInfo << /Illustrator << /LastModified (D:2020) /Private << /AIMetaData 3 0 R /AIPrivateData1 3 0 R >> >> >>"
    shop.write("ai", "pdf-based", small_pdf("1.5", page_entry=private))
    body = b"".join(b"%d %d m\r\n%d %d L\r\nS\r\n" % (n, n * 3 % 700, n * 5 % 600, n) for n in range(900))
    for name, end in (("windows", b"\r\n"), ("unix", b"\n")):
        head = (b"%!PS-Adobe-3.0\r\n%%Creator: Adobe Illustrator(R) 8.0\r\n%%BoundingBox: 0 0 600 800\r\n%AI5_FileFormat 4.0\r\n"
                b"%%EndComments\r\n%%BeginProlog\r\n%%EndProlog\r\n%%BeginSetup\r\n%%EndSetup\r\n")
        shop.write("ai", f"postscript-{name}", (head + body + b"%%PageTrailer\r\n%%Trailer\r\n%%EOF\r\n").replace(b"\r\n", end))


MAKERS = (office, packages, pdf)

"""Files that the libraries of Debian's Python write. A library that is not there is left out with a line on stderr."""

import importlib
import io
import random
from pathlib import Path

from .workshop import Missing, noise, text


def library(name):
    try:
        return importlib.import_module(name)
    except ImportError:
        raise Missing(f"no Python module {name}") from None


def saved(save):
    """What a function writes into the stream that it is given."""
    out = io.BytesIO()
    save(out)
    return out.getvalue()


def sets(shop, ext, rows, write):
    """A file for each row of names and options; what a library refuses is left out."""
    for name, options in rows.items():
        try:
            shop.write(ext, f"library-{name}", saved(lambda out, options=options: write(out, options)))
        except Exception as why:        # noqa: BLE001 - every library has errors of its own
            shop.skip(f"library-{name}.{ext}", why)


def pictures(shop):
    image = library("PIL.Image")
    colour = image.open(shop.picture()).convert("RGB")
    small = colour.resize((97, 61))

    def write(kind, source=colour):
        def writer(out, options):
            options = dict(options)
            mode = options.pop("mode", None)
            size = options.pop("size", source.size)
            picture = source.resize(size)
            (picture.convert(mode) if mode else picture).save(out, kind, **options)
        return writer
    sets(shop, "jpg", {"plain": {}, "grey": {"mode": "L"}, "cmyk": {"mode": "CMYK"}, "progressive": {"progressive": True, "quality": 20},
                       "best": {"quality": 100, "subsampling": 0}, "dpi": {"dpi": (300, 300), "optimize": True}, "comment": {
                       "comment": b"words"}, "profile": {"icc_profile": noise(150000)}, "exif": {"exif": exif(image, small)},
                       "tiny": {"size": (1, 1)}, "web": {"quality": "web_low"}, "wide": {"size": (3000, 5)}}, write("JPEG"))
    frames = [small.rotate(n * 40) for n in range(4)]
    sets(shop, "jpg", {"two-pictures": {"append_images": frames[:1]}},
         lambda out, options: colour.save(out, "MPO", save_all=True, **options))
    modes = {mode.lower(): {"mode": mode} for mode in ("1", "L", "LA", "P", "RGB", "RGBA", "I")}
    sets(shop, "png", modes | {"best": {"optimize": True}, "stored": {"compress_level": 0}, "animated": {"save_all": True,
         "append_images": frames, "duration": 90, "size": small.size}, "dpi": {"dpi": (72, 72), "icc_profile": noise(900)}}, write("PNG"))
    sets(shop, "bmp", {name: modes[name] for name in ("1", "l", "p", "rgb", "rgba")}, write("BMP"))
    sets(shop, "bmp", {f"odd-{n}": {"mode": mode, "size": (n, 9)} for n in (1, 3, 17) for mode in ("1",)}, write("BMP"))
    sets(shop, "gif", {"plain": {}, "frames": {"save_all": True, "append_images": frames, "size": small.size, "loop": 0},
                       "comment": {"comment": b"words " * 90}, "progressive": {"interlace": 0}}, write("GIF"))
    sets(shop, "tif", {name: modes[name] for name in ("1", "l", "la", "p", "rgb", "rgba", "i")} | {"cmyk": {"mode": "CMYK"},
         "lab": {"mode": "LAB"}, "float": {"mode": "F"}, "tags": {"description": "words " * 50, "software": "by hand", "dpi": (300, 300)},
         "pages": {"save_all": True, "append_images": frames}} | {c: {"compression": c} for c in ("packbits", "tiff_lzw",
         "tiff_adobe_deflate", "tiff_deflate", "tiff_jpeg", "jpeg", "webp", "zstd", "lzma", "raw")} | {f"fax-{c}": {"mode": "1",
         "compression": c} for c in ("group3", "group4", "tiff_ccitt")} | {"big": {"big_tiff": True}, "exif": {"exif": exif(image, small)}},
         write("TIFF"))
    sets(shop, "ico", {"plain": {"size": (256, 256)}, "sizes": {"size": (256, 256), "sizes": [(n, n) for n in (16, 24, 48, 128)]},
                       "bitmaps": {"size": (64, 64), "bitmap_format": "bmp", "mode": "RGBA"}}, write("ICO"))
    sets(shop, "pcx", {name: modes[name] for name in ("1", "l", "p", "rgb")} | {f"odd-{n}": {"mode": "L", "size": (n, 7)} for n in
                      (1, 5, 31)}, write("PCX"))
    sets(shop, "webp", {"plain": {}, "lossless": {"lossless": True}, "alpha": {"mode": "RGBA"}, "exif": {"exif": exif(image, small)},
                        "animated": {"save_all": True, "append_images": frames, "size": small.size}}, write("WEBP"))
    sets(shop, "pdf", {"pages": {"save_all": True, "append_images": frames}, "grey": {"mode": "L"}, "bits": {"mode": "1"}}, write("PDF"))
    sets(shop, "eps", {"plain": {}, "grey": {"mode": "L"}}, write("EPS", small))


def exif(image, thumbnail):
    data = image.Exif()
    data[0x010F], data[0x0110], data[0x9003] = "A maker", "A model", "2020:01:01 00:00:00"
    data[0x8825] = {1: "N", 2: (48.0, 12.0, 1.0)}
    return data.tobytes()


def scientific(shop):
    numpy, tifffile = library("numpy"), library("tifffile")
    numbers = numpy.random.default_rng(1)
    grey = (numbers.random((120, 160)) * 255).astype("uint8")
    rgb = (numbers.random((96, 128, 3)) * 255).astype("uint8")
    stack = (numbers.random((7, 64, 48)) * 65535).astype("uint16")
    rows = {
        "plain": (grey, {}), "big-endian": (grey, {"byteorder": ">"}), "big": (grey, {"bigtiff": True}), "stack": (stack, {}),
        "stack-imagej": (stack, {"imagej": True}), "ome": (stack, {"ome": True}), "tiles": (rgb, {"tile": (32, 32)}),
        "tiles-deflate": (rgb, {"tile": (32, 32), "compression": "zlib", "predictor": True}), "strips": (rgb, {"rowsperstrip": 7}),
        "floats": (stack.astype("float32"), {"compression": "zlib"}), "planar": (numpy.moveaxis(rgb, 2, 0).copy(), {"photometric": "rgb",
        "planarconfig": "separate"}), "described": (grey, {"description": "words " * 70, "software": "by hand"}),
        "tags": (grey, {"extratags": [(65000, "s", 0, "private words", True), (65001, "I", 9, tuple(range(9)), True)]}),
        "contiguous": (stack, {"contiguous": True, "align": 4096}), "doubles": (stack.astype("float64"), {}),
        "one-byte": (grey[:1, :1], {}), "complex": (grey[:9, :9].astype("complex64"), {}), "truncated": (grey[:9], {"truncate": True}),
        "odd": (grey[:7, :9], {"resolution": (300, 300)}), "bits": (grey > 90, {}),
    }
    sets(shop, "tif", {f"science-{k}": v for k, v in rows.items()}, lambda out, row: tifffile.imwrite(out, row[0], **row[1]))
    imageio = library("imageio")
    for ext in ("bmp", "gif", "jpg", "png"):
        sets(shop, ext, {"imageio": {}}, lambda out, _, ext=ext: imageio.imwrite(out, rgb, format=ext))


def drawings(shop):
    ezdxf = library("ezdxf")

    def drawing(out, options):
        version, binary, amount = options
        made = ezdxf.new(version, setup=amount > 9)
        space = made.modelspace()
        for n in range(amount):
            space.add_line((n, 0), (n * 7 % 31, n * 3 % 17), dxfattribs={"color": n % 7})
            space.add_circle((n, n), n + 1)
            space.add_text(f"words {n} ä")
        if version != "R12":
            space.add_mtext("many words " * 60)
            space.add_spline([(0, 0), (3, 4), (9, 1)])
            space.add_hatch().paths.add_polyline_path([(0, 0), (9, 0), (9, 9)])
        if binary:
            made.write(out, fmt="bin")
        else:
            stream = io.TextIOWrapper(out, encoding=made.output_encoding, errors="dxfreplace", newline="\r\n" if amount % 2 else "\n")
            made.write(stream)
            stream.detach()
    sets(shop, "dxf", {f"{version}{'-binary' if binary else ''}-{amount}": (version, binary, amount) for version in
                       ("R12", "R2000", "R2004", "R2007", "R2010", "R2013", "R2018") for binary in (False, True) for amount in (3, 40)}, drawing)


def sheets(shop):
    openpyxl, xlsxwriter, xlwt = library("openpyxl"), library("xlsxwriter"), library("xlwt")
    picture = shop.picture(96, 64)

    def book(out, options):
        made = openpyxl.Workbook(write_only=options.get("plain", False))
        for n in range(options.get("sheets", 1)):
            sheet = made.create_sheet(f"T{n}")
            for row in range(options.get("rows", 9)):
                sheet.append([row, row * 0.5, f"words {row}", f"=A{row + 1}"])
            if options.get("picture"):
                sheet.add_image(library("openpyxl.drawing.image").Image(str(picture)))
        made.save(out)
    sets(shop, "xlsx", {"openpyxl": {}, "openpyxl-large": {"rows": 4000}, "openpyxl-sheets": {"sheets": 12}, "openpyxl-picture":
                        {"picture": True}, "openpyxl-plain": {"plain": True, "rows": 900}}, book)

    def written(out, options):
        made = xlsxwriter.Workbook(out, options.get("book", {}))
        sheet = made.add_worksheet()
        for row in range(options.get("rows", 9)):
            sheet.write_row(row, 0, [row, row / 7, f"words {row}"])
        if options.get("more"):
            chart = made.add_chart({"type": "line"})
            chart.add_series({"values": "=Sheet1!$A$1:$A$9"})
            sheet.insert_chart("E2", chart)
            sheet.insert_image("E20", str(picture))
            sheet.write_comment("A1", "a note")
            made.set_properties({"title": "words"})
        made.close()
    sets(shop, "xlsx", {"writer": {}, "writer-more": {"more": True}, "writer-constant": {"book": {"constant_memory": True}, "rows": 3000},
                        "writer-zip64": {"book": {"use_zip64": True}}, "writer-memory": {"book": {"in_memory": True}}}, written)

    def old(out, options):
        made = xlwt.Workbook()
        for n in range(options[0]):
            sheet = made.add_sheet(f"T{n}")
            for row in range(options[1]):
                for column in range(5):
                    sheet.write(row, column, f"words {row}" if column % 2 else row * column / 3)
        made.save(out)
    sets(shop, "xls", {"plain": (1, 3), "sheets": (20, 40), "long": (1, 9000), "many": (3, 300)}, old)


def documents(shop):
    docx, odf, canvas = library("docx"), library("odf.opendocument"), library("reportlab.pdfgen.canvas")
    picture = shop.picture(96, 64)

    def letter(out, options):
        made = docx.Document()
        made.add_heading("Words", 0)
        for line in text("de", options["size"]).splitlines():
            made.add_paragraph(line)
        if options.get("picture"):
            made.add_picture(str(picture))
            made.add_table(4, 5)
        made.save(out)
    sets(shop, "docx", {"plain": {"size": 300}, "long": {"size": 90000}, "picture": {"size": 900, "picture": True}}, letter)
    paragraph = library("odf.text")
    for ext, kind, part in (("odt", "Text", "text"), ("ods", "Spreadsheet", "spreadsheet"), ("odp", "Presentation", "presentation"),
                            ("odg", "Drawing", "drawing")):
        def open_document(out, lines, kind=kind, part=part):
            made = getattr(odf, f"OpenDocument{kind}")()
            for line in text("en", lines).splitlines() if kind == "Text" else ():
                made.text.addElement(paragraph.P(text=line))
            made.addPicture(str(picture))
            made.write(out)
        sets(shop, ext, {"odf": 900, "odf-long": 40000}, open_document)

    def page(out, options):
        made = canvas.Canvas(out, **options)
        for n in range(5):
            made.drawString(100, 700, f"words {n}")
            made.drawImage(str(picture), 100, 300)
            made.showPage()
        made.save()
    sets(shop, "pdf", {"canvas": {}, "canvas-plain": {"pageCompression": 0}, "canvas-deflated": {"pageCompression": 1},
                       "canvas-encrypted": {"encrypt": "a"}}, page)
    plain = saved(lambda out: page(out, {}))
    pikepdf, pypdf = library("pikepdf"), library("PyPDF2")
    mode = pikepdf.ObjectStreamMode
    sets(shop, "pdf", {"pike": {}, "pike-linear": {"linearize": True}, "pike-packed": {"object_stream_mode": mode.generate, "compress_streams":
         True}, "pike-old": {"min_version": "1.1", "object_stream_mode": mode.disable}},
         lambda out, options: pikepdf.open(io.BytesIO(plain)).save(out, **options))

    def merged(out, count):
        merger = pypdf.PdfMerger()
        for _ in range(count):
            merger.append(io.BytesIO(plain))
        merger.write(out)
    sets(shop, "pdf", {"merged": 3}, merged)
    pyplot = library("matplotlib")
    pyplot.use("agg")
    figure = library("matplotlib.figure").Figure()
    axes = figure.subplots()
    rng = random.Random(1)
    axes.plot([rng.random() for _ in range(300)])
    for ext in ("pdf", "ps", "eps", "svg", "png", "jpg", "tif"):
        sets(shop, ext, {"plot": {"dpi": 60}}, lambda out, options, ext=ext: figure.savefig(out, format=ext, **options))


def tagged(shop):
    """Sounds whose tags a library has written or rewritten."""
    mutagen = library("mutagen")
    sound = shop.sound(2)
    cover = shop.source("library-cover.jpg", "convert", shop.picture(300, 300), "OUT").read_bytes()
    ffmpeg = ("ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin", "-y", "-i", sound)
    encoders = {"mp3": ("lame", "--quiet", sound, "OUT"), "wav": ("cp", sound, "OUT"), "aiff": (*ffmpeg, "-f", "aiff", "OUT"),
                "ogg": ("oggenc", "-Q", "-s", "7", "-o", "OUT", sound), "opus": ("opusenc", "--quiet", sound, "OUT"),
                "wma": (*ffmpeg, "-f", "asf", "OUT"), "m4a": (*ffmpeg, "-f", "ipod", "OUT"), "mp4": (*ffmpeg, "-f", "mp4", "OUT")}
    id3 = library("mutagen.id3")
    for ext, command in encoders.items():
        for name, amount in (("tags", 1), ("long-tags", 4000)):
            def change(path, amount=amount, ext=ext):
                made = mutagen.File(path)
                if made.tags is None:
                    made.add_tags()
                if ext in ("mp3", "wav", "aiff"):
                    made.tags.add(id3.TIT2(encoding=3, text="words " * amount))
                    made.tags.add(id3.APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=cover))
                elif ext in ("m4a", "mp4"):
                    made["\xa9nam"] = "words " * amount
                    made["covr"] = [cover]
                else:
                    made["title"] = "words " * amount
                made.save()
            changed(shop, ext, name, command, change)
    changed(shop, "mp3", "ape", encoders["mp3"], lambda path: ape(path, 9))
    changed(shop, "mp3", "ape-cover", encoders["mp3"], lambda path: ape(path, 9, cover))
    changed(shop, "mp3", "all-tags", encoders["mp3"], lambda path: (id3.ID3().save(path, v1=2), ape(path, 300)))
    changed(shop, "mp3", "id3-2.3", encoders["mp3"], lambda path: with_frame(id3, path, cover).save(path, v2_version=3, v1=2))
    changed(shop, "mp3", "id3-2.4-no-padding", encoders["mp3"], lambda path: with_frame(id3, path, cover).save(
        path, padding=lambda info: 0))


def with_frame(id3, path, cover):
    tag = id3.ID3()
    tag.add(id3.TPE1(encoding=1, text="somebody"))
    tag.add(id3.APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=cover))
    return tag


def ape(path, amount, cover=b""):
    apev2 = library("mutagen.apev2")
    tag = apev2.APEv2()
    tag["Title"] = "words " * amount
    if cover:
        tag["Cover Art (Front)"] = apev2.APEValue(b"cover.jpg\0" + cover, apev2.BINARY)
    tag.save(path)


def changed(shop, ext, name, command, change):
    path = shop.scratch / f"library-changed.{ext}"
    try:
        shop.run(*[str(path) if part == "OUT" else part for part in command])
        change(str(path))
        shop.write(ext, f"library-{name}", path.read_bytes())
    except Exception as why:            # noqa: BLE001 - every library has errors of its own
        shop.skip(f"library-{name}.{ext}", why)


def archives(shop):
    py7zr = library("py7zr")
    rows = {name: {"filters": [{"id": getattr(py7zr, f"FILTER_{name.upper()}")}]} for name in ("lzma2", "bzip2", "deflate",
            "copy")} | {"secret": {"password": "a"}, "secret-names": {"password": "a",
            "header_encryption": True}}

    source = shop.scratch / "packed.txt"
    source.write_text(text("en", 9000))

    def pack(out, options):
        with py7zr.SevenZipFile(out, "w", **options) as made:
            for n in range(3):
                made.write(source, f"folder/{n}.txt")
    sets(shop, "7z", rows, pack)
    mido = library("mido")

    def song(out, options):
        made = mido.MidiFile(type=options[0], ticks_per_beat=options[1])
        for n in range(options[2]):
            track = mido.MidiTrack([mido.MetaMessage("track_name", name=f"words {n}"), mido.MetaMessage("set_tempo", tempo=500000 + n)])
            for k in range(90):
                track += [mido.Message("note_on", note=40 + k % 40, time=k * 7 % 300), mido.Message("note_off", note=40 + k % 40, time=60)]
            made.tracks.append(track)
        made.save(file=out)
    sets(shop, "mid", {"one": (0, 96, 1), "four": (1, 480, 4), "own": (2, 960, 3)}, song)


def java(shop):
    """What Java's own library and some of Debian's Java libraries write."""
    jars = [str(path) for path in sorted(Path("/usr/share/java").glob("*.jar")) if any(
        path.name.startswith(start) for start in ("poi", "commons-", "itext5", "pdfbox2", "fontbox2", "bcp", "slf4j-nop", "slf4j-api"))]
    made = shop.scratch / "java"
    shop.run("java", "-cp", ":".join(jars), Path(__file__).parent / "JavaFiles.java", made)
    for path in sorted(made.iterdir()):
        shop.write(path.suffix[1:], path.stem, path.read_bytes())


MAKERS = (pictures, scientific, drawings, sheets, documents, tagged, archives, java)

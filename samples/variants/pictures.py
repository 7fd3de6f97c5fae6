"""Pictures: JPEG with what cameras and phones append, PNG, GIF, TIFF and the rest."""

import struct
import zlib

from .sounds import EXACT, FFMPEG, chunk
from .workshop import noise


# ---- JPEG ---------------------------------------------------------------

def segment(marker, data):
    return b"\xff" + bytes((marker,)) + struct.pack(">H", len(data) + 2) + data


def behind_soi(jpeg, *segments):
    return jpeg[:2] + b"".join(segments) + jpeg[2:]


def xmp(text):
    return segment(0xE1, b"http://ns.adobe.com/xap/1.0/\0" + text.encode())


def multi_picture(first, second):
    """Two pictures in one file: an MP index in the first one says where the second one lies."""
    def index(at, length):
        entries = struct.pack(">IIIHH", 0x20030000, length, 0, 0, 0) + struct.pack(">IIIHH", 0x00020002, len(second), at, 0, 0)
        fields = (struct.pack(">HHI4s", 0xB000, 7, 4, b"0100") + struct.pack(">HHII", 0xB001, 4, 1, 2)
                  + struct.pack(">HHII", 0xB002, 7, 32, 50))
        return segment(0xE2, b"MPF\0MM\0*" + struct.pack(">IH", 8, 3) + fields + bytes(4) + entries)
    header = 2 + 2 + 2 + 4              # SOI, marker, length, "MPF": offsets count from behind it
    whole = len(first) + len(index(0, 0))
    return behind_soi(first, index(whole - header, whole)) + second


def container_directory(video_length, gain_map_length=0, padding=0):
    item = ('<rdf:li rdf:parseType="Resource"><Container:Item Item:Mime="{}" Item:Semantic="{}" Item:Length="{}" '
            'Item:Padding="{}"/></rdf:li>')
    return xmp('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
               '<rdf:Description xmlns:GCamera="http://ns.google.com/photos/1.0/camera/" '
               'xmlns:Container="http://ns.google.com/photos/1.0/container/" '
               'xmlns:Item="http://ns.google.com/photos/1.0/container/item/" GCamera:MotionPhoto="1">'
               '<Container:Directory><rdf:Seq>' + item.format("image/jpeg", "Primary", 0, padding)
               + (item.format("image/jpeg", "GainMap", gain_map_length, 0) if gain_map_length else "")
               + (item.format("video/mp4", "MotionPhoto", video_length, 0) if video_length else "")
               + '</rdf:Seq></Container:Directory></rdf:Description></rdf:RDF></x:xmpmeta>')


def micro_video(video_length):
    return xmp('<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
               '<rdf:Description xmlns:GCamera="http://ns.google.com/photos/1.0/camera/" GCamera:MicroVideo="1" '
               f'GCamera:MicroVideoOffset="{video_length}"/></rdf:RDF></x:xmpmeta>')


def tagged_trailer(*items):
    """The block directory that some phones append: blocks, their directory, its length and a mark."""
    blocks, entries = b"", []
    for kind, name, data in items:
        entries.append((kind, len(blocks), 8 + len(name) + len(data)))
        blocks += struct.pack("<HHI", 0, kind, len(name)) + name + data
    directory = b"SEFH" + struct.pack("<II", 107, len(entries))
    for kind, at, length in entries:
        directory += struct.pack("<HHII", 0, kind, len(blocks) - at, length)
    return blocks + directory + struct.pack("<I", len(directory)) + b"SEFT"


def pixels(shop):
    return shop.source("small.ppm", "convert", shop.picture(1600, 1200), "-resize", "640x480", "OUT")


def jpeg(shop):
    big = shop.picture(1600, 1200)
    small = shop.picture(160, 120)
    for quality in (30, 75, 90, 98):
        shop.program("jpg", f"quality-{quality}", "convert", big, "-quality", quality, "OUT")
    shop.program("jpg", "one-pixel", "convert", "-size", "1x1", "xc:red", "OUT")
    shop.program("jpg", "tiny", "convert", small, "-resize", "16x16", "-quality", "40", "OUT")
    shop.program("jpg", "large", "convert", shop.picture(4000, 3000), "-quality", "85", "OUT")
    shop.program("jpg", "progressive", "convert", big, "-interlace", "JPEG", "OUT")
    shop.program("jpg", "progressive-small", "convert", small, "-interlace", "JPEG", "-quality", "50", "OUT")
    shop.program("jpg", "grey", "convert", big, "-colorspace", "gray", "OUT")
    shop.program("jpg", "cmyk", "convert", big, "-colorspace", "CMYK", "OUT")
    shop.program("jpg", "full-colour", "convert", big, "-sampling-factor", "4:4:4", "OUT")
    shop.program("jpg", "comment", "convert", small, "-set", "comment", "a long comment " * 2000, "OUT")
    shop.program("jpg", "film-frame", *FFMPEG, "-i", big, "-frames:v", "1", *EXACT, "OUT")
    for name, options in (("restart-1", ("-restart", "1")), ("restart-blocks", ("-restart", "3B")), ("arithmetic", ("-arithmetic",)),
                          ("optimized", ("-optimize",)), ("progressive-restart", ("-progressive", "-restart", "2")),
                          ("rgb", ("-rgb",))):
        shop.program("jpg", name, "cjpeg", "-quality", "80", *options, "-outfile", "OUT", pixels(shop))


def assembled_jpeg(shop):
    """JPEG with other segments, and with pictures and films behind it."""
    big = shop.picture(1600, 1200)
    small = shop.picture(160, 120)
    plain = shop.source("plain.jpg", "cjpeg", "-quality", "80", "-outfile", "OUT", pixels(shop)).read_bytes()
    thumb = shop.source("thumb.jpg", "convert", small, "-strip", "-quality", "70", "OUT")
    camera = shop.source("camera.jpg", "convert", big, "-strip", "-quality", "88", "OUT")
    shop.run("exiftool", "-q", "-overwrite_original", "-Make=Maker", "-Model=Camera", "-DateTimeOriginal=2020:01:01 00:00:00",
             f"-ThumbnailImage<={thumb}", camera)
    exif = camera.read_bytes()
    video = shop.source("photo.mp4", *FFMPEG, "-f", "lavfi", "-i", "testsrc2=size=176x144:rate=15:duration=1", "-c:v", "mpeg4",
                        *EXACT, "OUT").read_bytes()
    app0_end = 4 + int.from_bytes(plain[4:6], "big")
    no_app = plain[:2] + plain[app0_end:]
    made = {
        "exif-thumbnail": exif,
        "quantisation-first": no_app,
        "comment-first": behind_soi(no_app, segment(0xFE, b"A comment")),
        "adobe-first": behind_soi(no_app, segment(0xEE, b"Adobe\0\x64\0\0\0\0\1")),
        "photoshop-first": behind_soi(no_app, segment(0xED, b"Photoshop 3.0\0" + b"8BIM\4\4\0\0" + struct.pack(">I", 12)
                                                      + b"\x1c\2\x05\0\7a name"[:12])),
        "app3-first": behind_soi(no_app, segment(0xE3, b"Meta\0\0" + noise(90))),
        "app15-first": behind_soi(no_app, segment(0xEF, noise(40))),
        "profile-parts": behind_soi(plain, *(segment(0xE2, b"ICC_PROFILE\0" + bytes((n, 3)) + noise(60000, n)) for n in (1, 2, 3))),
        "fill-bytes": plain[:app0_end] + b"\xff\xff\xff" + plain[app0_end:],
        "long-metadata": behind_soi(exif, xmp("<x:xmpmeta/>" + " " * 40000), segment(0xEC, noise(65000))),
        "two-pictures": multi_picture(exif, plain),
        "two-pictures-camera": multi_picture(plain, exif),
        "motion": behind_soi(plain, container_directory(len(video))) + video,
        "motion-exif": behind_soi(exif, container_directory(len(video))) + video,
        "motion-padded": behind_soi(exif, container_directory(len(video), padding=8)) + bytes(8) + video,
        "gain-map": behind_soi(plain, container_directory(0, len(thumb.read_bytes()))) + thumb.read_bytes(),
        "gain-map-indexed": multi_picture(behind_soi(exif, container_directory(0, len(plain))), plain),
        "gain-map-motion": multi_picture(behind_soi(exif, container_directory(len(video), len(plain))), plain) + video,
        "micro-video": behind_soi(exif, micro_video(len(video))) + video,
        "trailer": exif + tagged_trailer((0x0A01, b"Image_UTC_Data", b"1577836800000")),
        "trailer-motion": exif + tagged_trailer((0x0A30, b"MotionPhoto_Data", video), (0x0A01, b"Image_UTC_Data", b"1577836800000")),
    }
    for name, content in made.items():
        shop.write("jpg", name, content)


# ---- PNG, GIF, bitmaps, icons -------------------------------------------

def png_chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def tiny_png(width, height, kind=6, depth=8, *between):
    samples = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[kind]
    row = b"\0" + bytes((width * samples * depth + 7) // 8)
    header = struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + b"".join(between)
            + png_chunk(b"IDAT", zlib.compress(row * height, 9)) + png_chunk(b"IEND", b""))


def png(shop):
    shop.write("png", "one-pixel-grey", tiny_png(1, 1, 0, 1))
    shop.write("png", "one-pixel-alpha", tiny_png(1, 1))
    shop.write("png", "palette", tiny_png(8, 8, 3, 4, png_chunk(b"PLTE", noise(48)), png_chunk(b"tRNS", b"\0")))
    shop.write("png", "gamma", tiny_png(16, 16, 2, 8, png_chunk(b"gAMA", struct.pack(">I", 45455)), png_chunk(b"sRGB", b"\0")))
    shop.write("png", "text", tiny_png(16, 16, 2, 8, png_chunk(b"tEXt", b"Comment\0" + b"word " * 900)))
    # IEND begins in the sector before the one in which it ends.
    for missing in (2, 5, 9):
        plain = len(tiny_png(16, 16)) + 12
        shop.write("png", f"end-straddles-{missing}", tiny_png(16, 16, 6, 8, png_chunk(b"prVt", noise(1024 + missing - plain))))
    for width, height in ((16, 16), (48, 48), (640, 480), (1600, 1200)):
        shop.program("png", f"size-{width}", "convert", shop.picture(width, height), "OUT")
    picture = shop.picture()
    for name, options in (("interlaced", ("-interlace", "PNG")), ("grey", ("-colorspace", "gray")), ("16-bit", ("-depth", "16")),
                          ("two-colours", ("-monochrome",)), ("colours-256", ("-colors", "256")), ("times", ("-set", "Title", "x"))):
        shop.program("png", name, "convert", picture, *options, "OUT")
    shop.program("png", "animated", *FFMPEG, "-f", "lavfi", "-i", "testsrc2=size=96x64:rate=5:duration=2", "-f", "apng", "OUT")


def gif(shop):
    tiny = b"GIF89a\1\0\1\0\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0\1\0\1\0\0\2\2D\1\0;"
    shop.write("gif", "tiny", tiny)
    shop.write("gif", "tiny-87", b"GIF87a\1\0\1\0\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0\1\0\1\0\0\2\2D\1\0;")
    shop.write("gif", "tiny-transparent", tiny[:19] + b"!\xf9\4\1\0\0\0\0\0" + tiny[19:])
    shop.write("gif", "no-palette", b"GIF89a\1\0\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\2D\1\0;")
    for width in (16, 64, 300, 900):
        shop.program("gif", f"size-{width}", "convert", shop.picture(width, width), "OUT")
    picture = shop.picture()
    shop.program("gif", "interlaced", "convert", picture, "-interlace", "GIF", "OUT")
    shop.program("gif", "comment", "convert", picture, "-set", "comment", "a comment " * 200, "OUT")
    shop.program("gif", "animated", *FFMPEG, "-f", "lavfi", "-i", "testsrc2=size=200x150:rate=10:duration=3", "OUT")
    shop.program("gif", "animated-local", "convert", "-delay", "20", shop.picture(80, 80), shop.picture(80, 80, "gradient:red-blue"),
                 shop.picture(80, 80, "pattern:checkerboard"), "-loop", "0", "OUT")


def bitmaps(shop):
    picture = shop.picture()
    for name, options in (("24", ("-type", "TrueColor")), ("8", ("-colors", "200", "-type", "Palette")), ("1", ("-monochrome",)),
                          ("4", ("-colors", "15", "-type", "Palette")), ("alpha", ("-alpha", "set")),
                          ("rle", ("-colors", "60", "-compress", "RLE"))):
        shop.program("bmp", f"depth-{name}", "convert", picture, *options, "OUT")
    shop.program("bmp", "version-3", "convert", picture, "BMP3:OUT")
    shop.program("bmp", "version-2", "convert", picture, "BMP2:OUT")
    shop.program("bmp", "icon-sized", "convert", shop.picture(16, 16), "BMP3:OUT")
    rows = noise(40 * 30 * 3)
    header = struct.pack("<IiiHHIIiiII", 40, 40, -30, 1, 24, 0, 0, 2835, 2835, 0, 0)
    shop.write("bmp", "top-down", b"BM" + struct.pack("<IHHI", 54 + len(rows), 0, 0, 54) + header + rows)
    for ext, mode in (("ico", "--icon"), ("cur", "--cursor")):
        hotspot = ("--hotspot-x=1", "--hotspot-y=2") if ext == "cur" else ()
        sizes = [shop.picture(n, n) for n in (16, 24, 32, 48)]
        shop.program(ext, "four-sizes", "icotool", "-c", mode, *hotspot, "-o", "OUT", *sizes)
        shop.program(ext, "one-size", "icotool", "-c", mode, *hotspot, "-o", "OUT", sizes[0])
    shop.program("ico", "with-png", "icotool", "-c", "-o", "OUT", shop.picture(16, 16), f"--raw={shop.picture(256, 256)}")
    shop.program("ico", "two-colours", "convert", shop.picture(32, 32), "-monochrome", "OUT")
    only_png = shop.picture(256, 256).read_bytes()
    shop.write("ico", "png-alone", struct.pack("<HHHBBBBHHII", 0, 1, 1, 0, 0, 0, 0, 1, 32, len(only_png), 22) + only_png)

    frame = shop.source("frame.cur", "icotool", "-c", "--cursor", "-o", "OUT", shop.picture(32, 32)).read_bytes()
    anih = chunk(b"anih", struct.pack("<9I", 36, 3, 3, 0, 0, 0, 0, 10, 1))
    frames = chunk(b"LIST", b"fram" + chunk(b"icon", frame) * 3)
    for name, parts in (("plain", (anih, frames)), ("rates", (anih, chunk(b"rate", struct.pack("<3I", 5, 9, 5)), frames)),
                        ("titled", (chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A name\0\0")), anih, frames))):
        body = b"ACON" + b"".join(parts)
        shop.write("ani", name, b"RIFF" + struct.pack("<I", len(body)) + body)
    for name, options in (("24", ()), ("8", ("-colors", "200")), ("1", ("-monochrome",)), ("small", ("-resize", "8x8"))):
        shop.program("pcx", f"depth-{name}", "convert", picture, *options, "OUT")
    shop.program("pcx", "ffmpeg", *FFMPEG, "-i", picture, "-frames:v", "1", "OUT")


# ---- TIFF, layered pictures, WebP, vectors, profiles --------------------

def tiff(shop):
    picture = shop.picture()
    for name, options in (("plain", ("-compress", "None")), ("lzw", ("-compress", "LZW")), ("zip", ("-compress", "Zip")),
                          ("jpeg", ("-compress", "JPEG")), ("rle", ("-compress", "RLE")), ("fax", ("-monochrome", "-compress",
                          "Group4")), ("big-endian", ("-endian", "MSB", "-compress", "None")), ("16-bit", ("-depth", "16",
                          "-compress", "LZW")), ("cmyk", ("-colorspace", "CMYK", "-compress", "LZW")), ("grey", ("-colorspace",
                          "gray", "-compress", "None")), ("one-strip", ("-compress", "None", "-define", "tiff:rows-per-strip=480")),
                          ("tiny", ("-resize", "3x3", "-compress", "None")), ("odd", ("-crop", "31x17+0+0", "+repage",
                          "-colorspace", "gray", "-compress", "None")), ("palette", ("-colors", "32", "-compress", "LZW"))):
        shop.program("tif", name, "convert", picture, *options, "OUT")
    shop.program("tif", "pages", "convert", picture, shop.picture(320, 240), shop.picture(64, 64), "-compress", "LZW", "OUT")
    shop.program("tif", "profile", "convert", picture, "-profile", "/usr/share/color/icc/ghostscript/srgb.icc", "OUT")
    shop.program("tiff", "ffmpeg", *FFMPEG, "-i", picture, "-frames:v", "1", "OUT")
    plain = shop.source("plain.tif", "convert", picture, "-compress", "None", "OUT")
    for name, options in (("tiles", ("-t", "-w", "64", "-l", "64")), ("tiles-zip", ("-t", "-c", "zip")), ("planes", ("-p",
                          "separate")), ("big-endian-lzw", ("-B", "-c", "lzw:2")), ("one-row-strips", ("-r", "1"))):
        shop.program("tif", f"tiffcp-{name}", "tiffcp", *options, plain, "OUT")
    for name, tag in (("described", "-ImageDescription=long words " * 99), ("camera", "-Make=NIKON CORPORATION")):
        copy = shop.source(f"{name}.tif", "convert", picture, "-compress", "LZW", "OUT")
        shop.program("tif", f"exiftool-{name}", "exiftool", "-q", tag, "-Model=A model", "-o", "OUT", copy)
    shop.program("tif", "exif-gps", "exiftool", "-q", "-ExposureTime=1/60", "-GPSLatitude=48.2", "-GPSLatitudeRef=N", "-o", "OUT",
                 plain)


GIMP_SAVE = """
(let* ((image (car (gimp-file-load RUN-NONINTERACTIVE "{source}" "{source}")))
       (layer (car (gimp-image-get-active-layer image))))
  {steps}
  (gimp-file-save RUN-NONINTERACTIVE image (car (gimp-image-get-active-layer image)) "{target}" "{target}"))
"""


def layered(shop):
    picture = shop.picture()
    more = '(gimp-image-insert-layer image (car (gimp-layer-copy layer TRUE)) 0 -1)'
    jobs = (("xcf", "plain", ""), ("xcf", "layers", more * 3), ("xcf", "grey", "(gimp-image-convert-grayscale image)"),
            ("xcf", "indexed", "(gimp-image-convert-indexed image 0 0 40 FALSE FALSE \"\")"),
            ("xcf", "16-bit", "(gimp-image-convert-precision image 200)"), ("xcf", "float", "(gimp-image-convert-precision image 600)"),
            ("xcf", "mask", "(gimp-layer-add-alpha layer) (gimp-layer-add-mask layer (car (gimp-layer-create-mask layer ADD-MASK-WHITE)))"),
            ("xcf", "path", '(let ((v (car (gimp-vectors-new image "p")))) (gimp-image-insert-vectors image v 0 0)'
             " (gimp-vectors-stroke-new-from-points v 0 6 #(1 1 1 1 1 1) FALSE))"),
            ("xcf", "text", '(gimp-text-fontname image -1 9 9 "words" 0 TRUE 40 PIXELS "Sans")'),
            ("xcf", "group", "(let ((g (car (gimp-layer-group-new image)))) (gimp-image-insert-layer image g 0 0)"
             " (gimp-image-insert-layer image (car (gimp-layer-copy layer TRUE)) g 0))"),
            ("xcf", "guides", "(gimp-image-add-hguide image 9) (gimp-image-add-sample-point image 5 5)"),
            ("xcf", "small", "(gimp-image-scale image 7 5)"), ("xcf", "tile-edge", "(gimp-image-scale image 128 64)"),
            ("psd", "gimp-mask", "(gimp-layer-add-alpha layer) (gimp-layer-add-mask layer (car (gimp-layer-create-mask layer ADD-MASK-WHITE)))"),
            ("psd", "gimp-16-bit", "(gimp-image-convert-precision image 200)"), ("psd", "gimp-grey", "(gimp-image-convert-grayscale image)"),
            ("tif", "gimp-grey", "(gimp-image-convert-grayscale image)"), ("tif", "gimp-float", "(gimp-image-convert-precision image 600)"),
            ("png", "gimp-16-bit", "(gimp-image-convert-precision image 200)"), ("ico", "gimp", "(gimp-image-scale image 48 48)"),
            ("ps", "gimp", ""), ("pdf", "gimp", ""), ("heic", "gimp", ""),
            ("pcx", "gimp", ""), ("tif", "gimp", ""), ("tif", "gimp-layers", more * 2), ("bmp", "gimp", ""), ("webp", "gimp", ""),
            ("jpg", "gimp", ""), ("png", "gimp", ""), ("gif", "gimp", "(gimp-image-convert-indexed image 0 0 99 FALSE FALSE \"\")"))
    targets, script = [], ""
    for ext, name, steps in jobs:
        target = shop.scratch / f"{name}.{ext}"
        targets.append((ext, name, target))
        script += f"(catch 0 {GIMP_SAVE.format(source=picture, target=target, steps=steps)})"
    shop.run("gimp", "-n", "-i", "-d", "-f", "-b", script, "-b", "(gimp-quit 0)")
    for ext, name, target in targets:
        if target.exists():
            shop.write(ext, name, target.read_bytes())
        else:
            shop.skip(target.name, "gimp did not write it")


def other_pictures(shop):
    picture = shop.picture()
    for name, options in (("plain", ()), ("layers", (shop.picture(200, 100), shop.picture(90, 90))), ("grey", ("-colorspace", "gray")),
                          ("16-bit", ("-depth", "16")), ("cmyk", ("-colorspace", "CMYK")), ("packed", ("-compress", "RLE"))):
        shop.program("psd", name, "convert", picture, *options, "OUT")
    for name, options in (("lossy", ("-q", "60")), ("lossless", ("-lossless",)), ("near-lossless", ("-near_lossless", "40")),
                          ("tiny", ("-resize", "1", "1")), ("metadata", ("-metadata", "all"))):
        shop.program("webp", name, "cwebp", "-quiet", *options, picture, "-o", "OUT")
    shop.program("webp", "alpha", "convert", picture, "-alpha", "set", "-channel", "A", "-evaluate", "set", "50%", "OUT")
    shop.program("webp", "animated", *FFMPEG, "-f", "lavfi", "-i", "testsrc2=size=96x64:rate=5:duration=2", "-c:v", "libwebp_anim",
                 "-f", "webp", "OUT")
    drawing = shop.scratch / "drawing.svg"
    drawing.write_text('<svg xmlns="http://www.w3.org/2000/svg" width="300" height="200"><rect x="9" y="9" width="99" height="90"'
                       ' fill="#c33"/><path d="M 10 150 C 60 10 200 190 290 40" stroke="#06c" stroke-width="5" fill="none"/>'
                       '<text x="20" y="190" font-size="24">words</text></svg>')
    for ext in ("emf", "wmf", "dxf", "pdf"):
        shop.program(ext, "inkscape", "inkscape", drawing, f"--export-type={ext}", "--export-filename=OUT")
    outline = shop.source("outline.pbm", "convert", picture, "-monochrome", "OUT")
    for ext, kind in (("dxf", "dxf"), ("pdf", "pdf")):
        shop.program(ext, "potrace", "potrace", "-b", kind, "-o", "OUT", outline)
    lines = ["0", "SECTION", "2", "ENTITIES"]
    for n in range(300):
        lines += ["0", "LINE", "8", "0", "10", f"{n}.5", "20", "1.0", "11", f"{n}.0", "21", f"{n * 7 % 50}.25"]
    lines += ["0", "ENDSEC", "0", "EOF"]
    shop.write("dxf", "entities", ("\r\n".join(lines) + "\r\n").encode())
    shop.write("dxf", "entities-unix", ("\n".join(lines) + "\n").encode())
    shop.write("dxf", "comment-first", ("\n".join(["999", "a comment"] + lines) + "\n").encode())
    profiles(shop)


def profiles(shop):
    try:
        from PIL import ImageCms
    except ImportError:
        shop.skip("profiles", "python3-pil is not installed")
        return
    for space in ("sRGB", "LAB", "XYZ"):
        shop.write("icc", space.lower(), ImageCms.ImageCmsProfile(ImageCms.createProfile(space)).tobytes())


MAKERS = (jpeg, assembled_jpeg, png, gif, bitmaps, tiff, layered, other_pictures)

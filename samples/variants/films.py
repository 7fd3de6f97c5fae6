"""Films: ISO boxes and QuickTime, AVI, Matroska, Flash, transport and program streams, Windows Media, RealMedia."""

import lzma
import struct
import zlib

from .sounds import EXACT, FFMPEG, chunk
from .workshop import noise

PICTURE = ("-f", "lavfi", "-i", "testsrc2=size=320x240:rate=15:duration=3")
SMALL = ("-f", "lavfi", "-i", "testsrc2=size=176x144:rate=15:duration=2")
TONE = ("-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=3")
H264 = ("-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p")


# ---- ISO boxes ----------------------------------------------------------

CONTAINERS = (b"moov", b"trak", b"mdia", b"minf", b"stbl")


def boxes(data, begin=0, end=None):
    """The boxes that lie side by side in data[begin:end], as (name, begin, end)."""
    end = len(data) if end is None else end
    while begin + 8 <= end:
        size = int.from_bytes(data[begin:begin + 4], "big")
        if size == 1:
            size = int.from_bytes(data[begin + 8:begin + 16], "big")
        size = size or end - begin
        yield data[begin + 4:begin + 8], begin, begin + size
        begin += size


def shift_chunks(data, delta):
    """A copy of data in which all chunk offsets are larger by delta."""
    out = bytearray(data)

    def walk(begin, end):
        for name, at, behind in boxes(data, begin, end):
            if name in CONTAINERS:
                walk(at + 8, behind)
            elif name in (b"stco", b"co64"):
                width = 4 if name == b"stco" else 8
                for n in range(int.from_bytes(data[at + 12:at + 16], "big")):
                    entry = slice(at + 16 + n * width, at + 16 + (n + 1) * width)
                    out[entry] = (int.from_bytes(data[entry], "big") + delta).to_bytes(width, "big")

    walk(0, len(data))
    return bytes(out)


def without_first_box(data):
    _, _, first = next(boxes(data))
    return shift_chunks(data, -first)[first:]


def behind(data, prefix):
    return prefix + shift_chunks(data, len(prefix))


def behind_first_box(data, more):
    _, _, first = next(boxes(data))
    return data[:first] + more + shift_chunks(data, len(more))[first:]


def box(name, data=b""):
    return struct.pack(">I", len(data) + 8) + name + data


def wide_data(data):
    """The file with a 64-bit size of its mdat, in place of the 8-byte box in front of it."""
    previous = None
    for name, at, end in boxes(data):
        if name == b"mdat" and previous and previous[0] in (b"free", b"wide") and at - previous[1] == 8:
            return data[:at - 8] + struct.pack(">I4sQ", 1, b"mdat", end - at + 8) + data[at + 8:]
        previous = (name, at)
    raise ValueError("no box of 8 bytes in front of mdat")


def open_data(data):
    """The file with mdat of size 0, which means to the end; only for files that end with it."""
    for name, at, end in boxes(data):
        if name == b"mdat" and end == len(data):
            return data[:at] + bytes(4) + data[at + 4:]
    raise ValueError("mdat is not the last box")


def iso(shop):
    for name, flags in (("plain", ""), ("faststart", "+faststart"), ("fragmented", "+frag_keyframe+empty_moov"),
                        ("fragmented-moof", "+frag_every_frame+empty_moov+default_base_moof"),
                        ("fragmented-dash", "+dash+frag_keyframe"), ("fragmented-delayed", "+frag_keyframe+delay_moov"),
                        ("fragmented-no-mfra", "+frag_keyframe+empty_moov+skip_trailer"),
                        ("one-fragment", "+empty_moov"), ("hybrid", "+frag_keyframe+global_sidx")):
        movflags = ("-movflags", flags) if flags else ()
        shop.program("mp4", name, *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", *movflags, *EXACT, "OUT")
    shop.program("mp4", "mpeg4", *FFMPEG, *SMALL, "-c:v", "mpeg4", *EXACT, "OUT")
    shop.program("mp4", "hevc", *FFMPEG, *SMALL, "-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none",
                 *EXACT, "OUT")
    shop.program("mp4", "sound-only", *FFMPEG, *TONE, "-c:a", "aac", *EXACT, "OUT")
    shop.program("mp4", "subtitles", *FFMPEG, *SMALL, "-f", "srt", "-i", "-", *H264, "-c:s", "mov_text", *EXACT, "OUT",
                 stdin=b"1\n00:00:00,000 --> 00:00:01,000\nA word\n")
    shop.program("m4v", "plain", *FFMPEG, *SMALL, *H264, *EXACT, "-f", "ipod", "OUT")
    shop.program("m4v", "faststart", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", "-movflags", "+faststart", *EXACT, "-f",
                 "ipod", "OUT")
    shop.program("3gp", "h263", *FFMPEG, *SMALL, "-c:v", "h263", "-s", "176x144", *EXACT, "OUT")
    shop.program("3gp", "amr", *FFMPEG, *TONE, "-c:a", "libopencore_amrnb", "-ar", "8000", "-ac", "1", *EXACT, "OUT")
    shop.program("3gp", "h264", *FFMPEG, *SMALL, *TONE, *H264, "-c:a", "aac", *EXACT, "OUT")
    for name, options in (("h264", (*H264, "-c:a", "aac")), ("mjpeg", ("-c:v", "mjpeg", "-pix_fmt", "yuvj420p", "-c:a",
                          "pcm_s16le")), ("prores", ("-c:v", "prores_ks", "-c:a", "pcm_s24le")), ("animation", ("-c:v", "qtrle")),
                          ("faststart", (*H264, "-movflags", "+faststart")), ("adpcm", ("-c:v", "mpeg4", "-c:a",
                          "adpcm_ima_qt")), ("fragmented", (*H264, "-movflags", "+frag_keyframe+empty_moov"))):
        shop.program("mov", name, *FFMPEG, *SMALL, *TONE, *options, *EXACT, "OUT")
    rebuilt_boxes(shop)


def rebuilt_boxes(shop):
    """Files whose boxes stand in an order, or with sizes, that ffmpeg does not write."""
    small = (*FFMPEG, *SMALL, "-c:v", "mpeg4", *EXACT)
    mov = shop.source("small.mov", *small, "OUT").read_bytes()
    fast = shop.source("fast.mov", *small, "-movflags", "+faststart", "OUT").read_bytes()
    mp4 = shop.source("small.mp4", *small, "OUT").read_bytes()
    fast4 = shop.source("fast.mp4", *small, "-movflags", "+faststart", "OUT").read_bytes()
    bare = without_first_box(mov)
    made = {
        ("mov", "no-ftyp-wide-mdat"): bare,
        ("mov", "no-ftyp-mdat"): without_first_box(bare),
        ("mov", "no-ftyp-moov"): without_first_box(fast),
        ("mov", "no-ftyp-free"): behind(bare, box(b"free", bytes(500))),
        ("mov", "no-ftyp-skip"): behind(without_first_box(fast), box(b"skip", bytes(24))),
        ("mov", "no-ftyp-pnot"): behind(bare, box(b"pnot", bytes(4) + b"\0\0PICT\0\1") + box(b"PICT", noise(2000))),
        ("mov", "no-ftyp-64-bit"): wide_data(bare),
        ("mov", "64-bit"): wide_data(mov),
        ("mov", "two-wide"): behind_first_box(mov, box(b"wide")),
        ("mov", "free-last"): mov + box(b"free", bytes(4000)),
        ("mp4", "64-bit"): wide_data(mp4),
        ("mp4", "open-mdat"): open_data(fast4),
        ("mp4", "uuid-last"): mp4 + box(b"uuid", noise(16) + b"<x/>" * 200),
        ("mp4", "uuid-behind-ftyp"): behind_first_box(mp4, box(b"uuid", noise(16))),
        ("mp4", "large-free"): mp4 + box(b"free", bytes(70000)),
        ("mp4", "meta-last"): mp4 + box(b"meta", bytes(4) + box(b"hdlr", bytes(24) + b"\0")),
    }
    for (ext, name), content in made.items():
        shop.write(ext, name, content)


# ---- AVI ----------------------------------------------------------------

def avi(shop):
    for name, options in (("mpeg4", ("-c:v", "mpeg4")), ("mjpeg", ("-c:v", "mjpeg", "-pix_fmt", "yuvj420p")),
                          ("raw", ("-c:v", "rawvideo", "-pix_fmt", "bgr24", "-s", "64x48")), ("h264", H264),
                          ("mp3", ("-c:v", "mpeg4", "-c:a", "libmp3lame")), ("pcm", ("-c:v", "mpeg4", "-c:a", "pcm_s16le")),
                          ("huffyuv", ("-c:v", "huffyuv", "-s", "96x64"))):
        sound = TONE if "-c:a" in options else ()
        shop.program("avi", name, *FFMPEG, *SMALL, *sound, *options, *EXACT, "OUT")
    shop.program("avi", "metadata", *FFMPEG, *SMALL, "-c:v", "mpeg4", "-metadata", "title=" + "long " * 300, "OUT")
    first = open_dml(60)
    shop.write("avi", "one-segment", first)
    shop.write("avi", "two-segments", first + open_dml_more(40))
    shop.write("avi", "four-segments", first + open_dml_more(9) + open_dml_more(70) + open_dml_more(1))


def riff(form, *chunks):
    body = form + b"".join(chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def frames(count):
    return [chunk(b"00db", noise(16 * 16 * 3, n)) for n in range(count)]


def movie(count):
    return chunk(b"LIST", b"movi" + b"".join(frames(count)))


def open_dml(count):
    """An AVI of uncompressed frames of 16 by 16 with the extended header of files of several segments."""
    header = struct.pack("<14I", 66667, 0, 0, 0x10, count, 0, 1, 768, 16, 16, 0, 0, 0, 0)
    stream = b"vidsDIB " + struct.pack("<IHHIIIIIIiI4H", 0, 0, 0, 0, 1, 15, 0, count, 768, -1, 0, 0, 0, 16, 16)
    picture = struct.pack("<IiiHHIIiiII", 40, 16, 16, 1, 24, 0, 768, 0, 0, 0, 0)
    strl = chunk(b"LIST", b"strl" + chunk(b"strh", stream) + chunk(b"strf", picture))
    odml = chunk(b"LIST", b"odml" + chunk(b"dmlh", struct.pack("<I", count) + bytes(244)))
    hdrl = chunk(b"LIST", b"hdrl" + chunk(b"avih", header) + strl + odml)
    index = b"".join(struct.pack("<4sIII", b"00db", 0x10, 4 + 776 * n, 768) for n in range(count))
    return riff(b"AVI ", hdrl, chunk(b"JUNK", bytes(1000)), movie(count), chunk(b"idx1", index))


def open_dml_more(count):
    return riff(b"AVIX", movie(count))


# ---- Matroska and Flash -------------------------------------------------

def matroska(shop):
    vp8 = ("-c:v", "libvpx", "-b:v", "200k", "-deadline", "realtime")
    vp9 = ("-c:v", "libvpx-vp9", "-b:v", "200k", "-deadline", "realtime", "-cpu-used", "8")
    shop.program("webm", "vp8-vorbis", *FFMPEG, *SMALL, *TONE, *vp8, "-c:a", "libvorbis", *EXACT, "OUT")
    shop.program("webm", "vp9-opus", *FFMPEG, *SMALL, *TONE, *vp9, "-c:a", "libopus", *EXACT, "OUT")
    shop.program("webm", "sound", *FFMPEG, *TONE, "-c:a", "libopus", *EXACT, "OUT")
    shop.program("webm", "cues-in-front", *FFMPEG, *SMALL, *vp8, "-cues_to_front", "1", *EXACT, "OUT")
    shop.captured("webm", "unknown-size", *FFMPEG, *SMALL, *TONE, *vp8, "-c:a", "libvorbis", *EXACT, "-f", "webm", "-")
    shop.captured("webm", "live", *FFMPEG, *SMALL, *TONE, *vp8, "-c:a", "libopus", *EXACT, "-f", "webm", "-live", "1", "-")
    h264 = shop.program("mkv", "h264-aac", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", *EXACT, "OUT")
    shop.program("mkv", "mpeg4-mp3", *FFMPEG, *SMALL, *TONE, "-c:v", "mpeg4", "-c:a", "libmp3lame", *EXACT, "OUT")
    shop.program("mkv", "ffv1-flac", *FFMPEG, *SMALL, *TONE, "-c:v", "ffv1", "-c:a", "flac", *EXACT, "OUT")
    shop.captured("mkv", "unknown-size", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", *EXACT, "-f", "matroska", "-")
    shop.captured("mkv", "live", *FFMPEG, *PICTURE, *H264, *EXACT, "-f", "matroska", "-live", "1", "-")
    if h264:
        tool = ("mkvmerge", "-q", "--deterministic", "1", "-o", "OUT")
        shop.program("mkv", "mkvmerge", *tool, h264)
        shop.program("mkv", "no-cues", *tool, "--no-cues", h264)
        shop.program("mkv", "attachment", *tool, "--attach-file", shop.picture(), h264)
        shop.program("mkv", "short-clusters", *tool, "--cluster-length", "100ms", h264)


def swf_tags(version, picture, count=4):
    """What follows the eight bytes of a Flash film's header: its frame, rate and tags."""
    def tag(kind, data):
        if len(data) < 63:
            return struct.pack("<H", kind << 6 | len(data)) + data
        return struct.pack("<HI", kind << 6 | 63, len(data)) + data
    head = (tag(69, struct.pack("<I", 0)) if version >= 8 else b"") + tag(9, b"\xff\xff\xff")
    pictures = b"".join(tag(21, struct.pack("<H", n) + picture) for n in range(1, count + 1))
    return b"\x70\0\x0f\xa0\0\0\x8c\xa0" + struct.pack("<HH", 12 << 8, 1) + head + pictures + tag(1, b"") + tag(0, b"")


def swf(version, body, packing=b"F"):
    head = bytes((version,)) + struct.pack("<I", 8 + len(body))
    if packing == b"F":
        return b"FWS" + head + body
    if packing == b"C":
        return b"CWS" + head + zlib.compress(body, 9)
    packed = lzma.compress(body, lzma.FORMAT_ALONE)
    stream = packed[13:]                # behind the properties and the unpacked size
    return b"ZWS" + head + struct.pack("<I", len(stream)) + packed[:5] + stream


def flash(shop):
    picture = shop.source("film.jpg", "convert", shop.picture(160, 120), "-quality", "60", "OUT").read_bytes()
    for version in (1, 3, 5, 8, 13, 32, 43):
        shop.write("swf", f"plain-{version}", swf(version, swf_tags(version, picture)))
    for version in (6, 9, 15, 50):
        shop.write("swf", f"deflated-{version}", swf(version, swf_tags(version, picture), b"C"))
    shop.write("swf", "deflated-large", swf(10, swf_tags(10, picture, 90), b"C"))
    shop.write("swf", "no-end-tag", swf(7, swf_tags(7, picture)[:-2]))
    shop.write("swf", "lzma", swf(20, swf_tags(20, picture), b"Z"))
    shop.program("swf", "ffmpeg", *FFMPEG, *SMALL, "-c:v", "flv", *EXACT, "OUT")
    shop.program("swf", "ffmpeg-sound", *FFMPEG, *SMALL, *TONE, "-c:v", "flv", "-c:a", "libmp3lame", *EXACT, "OUT")
    shop.program("flv", "sorenson", *FFMPEG, *SMALL, "-c:v", "flv", *EXACT, "OUT")
    shop.program("flv", "h264-aac", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", *EXACT, "OUT")
    shop.program("flv", "index", *FFMPEG, *PICTURE, *H264, "-flvflags", "add_keyframe_index", *EXACT, "OUT")
    shop.program("flv", "sound-only", *FFMPEG, *TONE, "-c:a", "libmp3lame", *EXACT, "OUT")
    shop.program("flv", "no-metadata", *FFMPEG, *SMALL, "-c:v", "flv", "-flvflags", "no_metadata", *EXACT, "OUT")
    shop.captured("flv", "unknown-length", *FFMPEG, *SMALL, "-c:v", "flv", *EXACT, "-f", "flv", "-")


# ---- Streams ------------------------------------------------------------

def streams(shop):
    packets = shop.program("ts", "h264-aac", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "aac", *EXACT, "-f", "mpegts", "OUT")
    shop.program("ts", "mpeg2", *FFMPEG, *PICTURE, *TONE, "-c:v", "mpeg2video", "-c:a", "mp2", *EXACT, "-f", "mpegts", "OUT")
    shop.program("ts", "constant-rate", *FFMPEG, *SMALL, "-c:v", "mpeg2video", "-muxrate", "2M", *EXACT, "-f", "mpegts", "OUT")
    shop.program("ts", "two-programs", *FFMPEG, *SMALL, *TONE, "-map", "0", "-map", "1", "-c:v", "mpeg2video", "-c:a", "mp2",
                 "-program", "st=0", "-program", "st=1", *EXACT, "-f", "mpegts", "OUT")
    shop.program("mts", "h264-ac3", *FFMPEG, *PICTURE, *TONE, *H264, "-c:a", "ac3", "-mpegts_m2ts_mode", "1", *EXACT, "-f",
                 "mpegts", "OUT")
    shop.program("m2ts", "mpeg2", *FFMPEG, *PICTURE, *TONE, "-c:v", "mpeg2video", "-c:a", "ac3", "-mpegts_m2ts_mode", "1",
                 *EXACT, "-f", "mpegts", "OUT")
    if packets:
        data = packets.read_bytes()
        plain = [data[n:n + 188] for n in range(0, len(data), 188)]
        shop.write("ts", "parity-204", b"".join(p + noise(16, n) for n, p in enumerate(plain)))
        shop.write("ts", "null-packets", b"".join(p + (b"\x47\x1f\xff\x10" + b"\xff" * 184 if n % 5 == 4 else b"")
                                                  for n, p in enumerate(plain)))
    for name, form, codec in (("mpeg1", "mpeg", "mpeg1video"), ("vcd", "vcd", "mpeg1video"), ("svcd", "svcd", "mpeg2video")):
        shop.program("mpg", name, *FFMPEG, *PICTURE, *TONE, "-c:v", codec, "-c:a", "mp2", "-r", "25", *EXACT, "-f", form, "OUT")
    for name, form, sound in (("vob-ac3", "vob", "ac3"), ("dvd-ac3", "dvd", "ac3"), ("dvd-mp2", "dvd", "mp2")):
        shop.program("vob", name, *FFMPEG, *PICTURE, *TONE, "-c:v", "mpeg2video", "-c:a", sound, "-r", "25", *EXACT, "-f", form,
                     "OUT")
    shop.program("vob", "no-sound", *FFMPEG, *PICTURE, "-c:v", "mpeg2video", "-r", "25", *EXACT, "-f", "vob", "OUT")
    for name, options in (("wmv1", ("-c:v", "wmv1")), ("wmv2", ("-c:v", "wmv2", "-c:a", "wmav2"))):
        shop.program("wmv", name, *FFMPEG, *PICTURE, *TONE, *options, *EXACT, "-f", "asf", "OUT")
    shop.captured("wmv", "broadcast", *FFMPEG, *PICTURE, *TONE, "-c:v", "wmv2", "-c:a", "wmav2", *EXACT, "-f", "asf", "-")
    shop.program("asf", "mpeg4", *FFMPEG, *PICTURE, "-c:v", "msmpeg4v3", *EXACT, "-f", "asf", "OUT")
    shop.captured("asf", "unknown-length", *FFMPEG, *PICTURE, "-c:v", "msmpeg4v2", *EXACT, "-f", "asf", "-")
    for codec in ("rv10", "rv20"):
        shop.program("rm", codec, *FFMPEG, *SMALL, "-c:v", codec, *EXACT, "OUT")
    shop.program("rm", "rv20-ac3", *FFMPEG, *SMALL, *TONE, "-c:v", "rv20", "-c:a", "ac3", *EXACT, "OUT")


MAKERS = (iso, avi, matroska, flash, streams)

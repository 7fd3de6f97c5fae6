"""Sounds: WAVE, AIFF, AU, MPEG audio, Ogg, MIDI, SMAF and what goes with them."""

import random
import struct

from .workshop import Missing, noise

FFMPEG = ("ffmpeg", "-hide_banner", "-loglevel", "error", "-nostdin", "-y")
EXACT = ("-fflags", "+bitexact", "-flags:v", "+bitexact", "-flags:a", "+bitexact", "-map_metadata", "-1", "-threads", "1")


def chunk(name, data, order="<", pad=True):
    return name + struct.pack(order + "I", len(data)) + data + (b"\0" if pad and len(data) & 1 else b"")


# ---- WAVE ---------------------------------------------------------------

def wave(*chunks, form=b"RIFF"):
    order = ">" if form == b"RIFX" else "<"
    body = b"WAVE" + b"".join(chunks)
    return form + struct.pack(order + "I", len(body)) + body


def wave_format(channels=1, rate=8000, bits=16, tag=1, order="<", extra=b""):
    align = channels * bits // 8
    data = struct.pack(order + "HHIIHH", tag, channels, rate, rate * align, align, bits) + extra
    return chunk(b"fmt ", data, order)


def waves(shop):
    fmt = wave_format()
    samples = noise(9000)
    bext = chunk(b"bext", b"A field recording".ljust(256, b"\0") + b"Recorder".ljust(64, b"\0") + b"2020-01-01" b"12:00:00"
                 + bytes(8) + struct.pack("<H", 1) + bytes(254) + b"A=PCM,F=8000,W=16,M=mono\r\n")
    info = chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A name\0") + chunk(b"ISFT", b"by hand\0"))
    cue = chunk(b"cue ", struct.pack("<I", 1) + struct.pack("<II4sIII", 1, 0, b"data", 0, 0, 40))
    labels = chunk(b"LIST", b"adtl" + chunk(b"labl", struct.pack("<I", 1) + b"mark\0"))
    data = chunk(b"data", samples)
    made = {
        "plain": wave(fmt, data),
        "one-sample": wave(fmt, chunk(b"data", b"\1\2")),
        "no-samples": wave(fmt, chunk(b"data", b"")),
        "odd-padded": wave(wave_format(bits=8), chunk(b"data", samples[:4001])),
        "odd-unpadded": wave(wave_format(bits=8), chunk(b"data", samples[:4001], pad=False)),
        "bext-first": wave(bext, fmt, data),
        "junk-first": wave(chunk(b"JUNK", bytes(28)), fmt, data),
        "long-junk-first": wave(chunk(b"JUNK", bytes(4060)), fmt, data),
        "list-first": wave(info, fmt, data),
        "list-last": wave(fmt, data, info),
        "fact": wave(wave_format(tag=3, bits=32, extra=b"\0\0"), chunk(b"fact", struct.pack("<I", 2250)), data),
        "fact-first": wave(chunk(b"fact", struct.pack("<I", 4500)), fmt, data),
        "cue-labels": wave(fmt, data, cue, labels),
        "id3-last": wave(fmt, data, chunk(b"id3 ", id3v2([("TIT2", b"\0A name")]))),
        "xml-chunks": wave(fmt, chunk(b"iXML", b"<BWFXML><SCENE>1</SCENE></BWFXML>"), data, chunk(b"_PMX", b"<x/>" * 90)),
        "bigendian": wave(wave_format(order=">"), chunk(b"data", samples, ">"), form=b"RIFX"),
        "extensible": wave(wave_format(2, 48000, 24, 0xFFFE, extra=struct.pack("<HHI", 22, 24, 3)
                                       + bytes.fromhex("0100000000001000800000aa00389b71")), chunk(b"data", noise(6000, 2))),
        "zeros-at-end": wave(fmt, chunk(b"data", samples + bytes(20000))),
    }
    for name, content in made.items():
        shop.write("wav", name, content)
    sound = shop.sound()
    for codec in ("pcm_u8", "pcm_s24le", "pcm_f32le", "pcm_alaw", "adpcm_ms", "adpcm_ima_wav", "libmp3lame", "g726"):
        rate = ("-ar", "8000", "-ac", "1") if codec in ("pcm_alaw", "g726") else ()
        shop.program("wav", codec.replace("_", "-"), *FFMPEG, "-i", sound, "-c:a", codec, *rate, "-f", "wav", "OUT")
    shop.program("wav", "rf64", *FFMPEG, "-i", sound, "-rf64", "always", "OUT")
    shop.program("wav", "bext-by-program", *FFMPEG, "-i", sound, "-write_bext", "1", "-metadata", "description=x", "OUT")
    shop.program("wav", "peaks", *FFMPEG, "-i", sound, "-write_peak", "on", "OUT")
    shop.captured("wav", "unknown-length", *FFMPEG, "-i", sound, "-f", "wav", "-")
    shop.program("wav", "gsm", "sox", sound, "-r", "8000", "-c", "1", "-e", "gsm-full-rate", "OUT")
    shop.program("wav", "sox-24", "sox", sound, "-b", "24", "OUT")


# ---- AIFF, AU -----------------------------------------------------------

def aiff(*chunks, form=b"AIFF"):
    body = form + b"".join(chunks)
    return b"FORM" + struct.pack(">I", len(body)) + body


def common(frames, bits=16, channels=1, compression=b""):
    rate = bytes.fromhex("400bfa00000000000000")        # 8000 Hz as an 80-bit float
    return chunk(b"COMM", struct.pack(">HIH", channels, frames, bits) + rate + compression, ">")


def aiffs(shop):
    samples = noise(8000, 3)
    ssnd = chunk(b"SSND", bytes(8) + samples, ">")
    comm = common(4000)
    fver = chunk(b"FVER", struct.pack(">I", 0xA2805140), ">")
    twos = common(4000, compression=b"sowt\x0ddoes not pack")
    comment = chunk(b"COMT", struct.pack(">HIHH", 1, 0xB0000000, 0, 6) + b"a note", ">")
    made = {
        "plain": aiff(comm, ssnd),
        "name-first": aiff(chunk(b"NAME", b"A name", ">"), comm, ssnd),
        "comment-first": aiff(comment, comm, ssnd),
        "channels-first": aiff(chunk(b"CHAN", bytes(12), ">"), comm, ssnd),
        "sound-first": aiff(ssnd, comm),
        "odd": aiff(common(4001, 8), chunk(b"SSND", bytes(8) + samples[:4001], ">")),
        "instrument": aiff(comm, chunk(b"MARK", struct.pack(">HHI", 1, 1, 9) + b"\4mark\0", ">"),
                           chunk(b"INST", bytes(20), ">"), ssnd),
        "id3": aiff(comm, ssnd, chunk(b"ID3 ", id3v2([("TIT2", b"\0A name")]), ">")),
    }
    for name, content in made.items():
        shop.write("aiff", name, content)
    shop.write("aifc", "version-first", aiff(fver, twos, ssnd, form=b"AIFC"))
    shop.write("aifc", "version-second", aiff(twos, fver, ssnd, form=b"AIFC"))
    sound = shop.sound()
    shop.program("aif", "ffmpeg", *FFMPEG, "-i", sound, "-f", "aiff", "OUT")
    shop.program("aif", "ffmpeg-24", *FFMPEG, "-i", sound, "-c:a", "pcm_s24be", "-write_id3v2", "1", "-metadata", "title=x",
                 "-f", "aiff", "OUT")
    shop.program("aif", "sox", "sox", sound, "-t", "aiff", "OUT")
    shop.program("aifc", "sox", "sox", sound, "-t", "aifc", "OUT")
    shop.program("aifc", "ffmpeg-mulaw", *FFMPEG, "-i", sound, "-c:a", "pcm_mulaw", "-f", "aiff", "OUT")
    for encoding in ("signed-integer", "mu-law", "a-law", "floating-point"):
        shop.program("au", encoding, "sox", sound, "-e", encoding, "OUT")
    shop.program("au", "eight-bit-mono", "sox", sound, "-b", "8", "-c", "1", "-r", "11025", "OUT")
    shop.program("au", "long-comment", "sox", sound, "--comment", "a comment " * 60, "OUT")
    shop.captured("au", "unknown-length", *FFMPEG, "-i", sound, "-c:a", "pcm_mulaw", "-ar", "8000", "-f", "au", "-")
    shop.write("au", "tiny", b".snd" + struct.pack(">IIIII", 28, 40, 1, 8000, 1) + bytes(4) + noise(40))


# ---- MPEG audio ---------------------------------------------------------

def synchsafe(value):
    return bytes((value >> shift) & 0x7F for shift in (21, 14, 7, 0))


def id3v2(frames, version=3, padding=0, footer=False):
    body = b""
    for name, data in frames:
        size = synchsafe(len(data)) if version == 4 else struct.pack(">I", len(data))
        body += name.encode() + size + b"\0\0" + data
    body += bytes(padding)
    flags = 0x10 if footer else 0
    head = bytes((version, 0, flags)) + synchsafe(len(body))
    return b"ID3" + head + body + (b"3DI" + head if footer else b"")


def id3v1(title=b"A name"):
    return b"TAG" + title.ljust(30, b"\0") + b"Somebody".ljust(30, b"\0") + bytes(30) + b"2001" + bytes(30) + b"\x11"


def ape_tag(items, header=True):
    body = b"".join(struct.pack("<II", len(v), 0) + k + b"\0" + v for k, v in items)
    def mark(flags):
        return b"APETAGEX" + struct.pack("<IIII", 2000, len(body) + 32, len(items), flags) + bytes(8)
    present = 0x80000000 if header else 0
    return (mark(present | 0x20000000) if header else b"") + body + mark(present)


def lyrics3(lyrics):
    fields = b"IND00003110" + b"LYR%05d" % len(lyrics) + lyrics
    body = b"LYRICSBEGIN" + fields
    return body + b"%06d" % len(body) + b"LYRICS200"


def mpeg_audio(shop):
    sound = shop.sound(3)
    quiet = ("--quiet", "--nohist")
    for rate in (32, 64, 128, 192, 320):
        shop.program("mp3", f"cbr-{rate}", "lame", *quiet, "-b", rate, sound, "OUT")
    for rate in ("8", "11.025", "12", "16", "22.05", "24", "32", "48"):
        shop.program("mp3", f"rate-{rate}", "lame", *quiet, "--resample", rate, "-V", "6", sound, "OUT")
        shop.program("mp3", f"rate-{rate}-plain", "lame", *quiet, "-t", "--resample", rate, "-m", "m", sound, "OUT")
    shop.program("mp3", "vbr", "lame", *quiet, "-V", "2", sound, "OUT")
    shop.program("mp3", "abr", "lame", *quiet, "--abr", "150", sound, "OUT")
    shop.program("mp3", "crc", "lame", *quiet, "-p", "-b", "128", sound, "OUT")
    shop.program("mp3", "no-reservoir", "lame", *quiet, "--nores", "-t", "-b", "96", sound, "OUT")
    shop.program("mp3", "no-xing", *FFMPEG, "-i", sound, "-b:a", "128k", "-write_xing", "0", "-id3v2_version", "0", "OUT")
    shop.program("mp3", "tags", "lame", *quiet, "--add-id3v2", "--tt", "A name", "--ta", "Somebody", "-b", "128", sound, "OUT")
    shop.program("mp3", "short", "lame", *quiet, "-b", "64", shop.sound(1, 22050, 1), "OUT")
    for rate in (44100, 22050, 48000):
        shop.program("mp2", f"layer2-{rate}", *FFMPEG, "-i", sound, "-ar", rate, "-c:a", "mp2", "-f", "mp2", "OUT")
    shop.program("mp2", "layer2-mono-192", "twolame", "-b", "96", "-m", "mono", sound, "OUT")
    shop.program("aac", "adts", *FFMPEG, "-i", sound, "-c:a", "aac", "-f", "adts", "OUT")
    shop.program("aac", "adts-mono", *FFMPEG, "-i", sound, "-ac", "1", "-ar", "22050", "-c:a", "aac", "-f", "adts", "OUT")
    shop.program("aac", "adts-tag", *FFMPEG, "-i", sound, "-c:a", "aac", "-write_id3v2", "1", "-metadata", "title=x", "-f",
                 "adts", "OUT")

    plain = shop.source("plain.mp3", "lame", *quiet, "-t", "-b", "128", sound, "OUT").read_bytes()
    xing = shop.source("xing.mp3", "lame", *quiet, "-V", "4", sound, "OUT").read_bytes()
    cover = shop.source("cover.jpg", "convert", shop.picture(900, 900), "-quality", "92", "OUT").read_bytes()
    picture = ("APIC", b"\0image/jpeg\0\3\0" + cover)
    title = ("TIT2", b"\0A name")
    ape = ape_tag([(b"Title", b"A name"), (b"MP3GAIN_MINMAX", b"100,200")])
    made = {
        "id3v1": plain + id3v1(),
        "id3v1-zeros": plain + b"TAG" + bytes(125),
        "id3v2-3": id3v2([title]) + plain,
        "id3v2-4-footer": id3v2([title], 4, footer=True) + xing,
        "id3v2-padding": id3v2([title], padding=4096) + plain,
        "id3v2-long-padding": id3v2([title], padding=100000) + xing,
        "id3v2-picture": id3v2([title, picture]) + plain,
        "id3v2-picture-4": id3v2([picture, title], 4, 1024) + xing,
        "two-id3v2": id3v2([title]) + id3v2([title], padding=500) + plain,
        "ape": plain + ape,
        "ape-no-header": plain + ape_tag([(b"Title", b"A name")], header=False),
        "ape-id3v1": xing + ape + id3v1(),
        "lyrics": plain + lyrics3(b"[00:01]la la la\r\n" * 30) + id3v1(),
        "lyrics-ape": plain + ape + lyrics3(b"la la la\r\n" * 9) + id3v1(),
        "all-tags": id3v2([title, picture]) + xing + ape + id3v1(),
        "cut-last-frame": plain[:-100],
        "gap-behind-tag": id3v2([title]) + bytes(300) + plain,
    }
    for name, content in made.items():
        shop.write("mp3", name, content)


# ---- Ogg, MIDI, SMAF, RealAudio, Windows Media --------------------------

def ogg(shop):
    sound = shop.sound(3)
    vorbis = shop.program("ogg", "vorbis", *FFMPEG, "-i", sound, "-c:a", "libvorbis", *EXACT, "OUT")
    shop.program("ogg", "vorbis-high", *FFMPEG, "-i", sound, "-c:a", "libvorbis", "-q:a", "9", *EXACT, "OUT")
    opus = shop.program("ogg", "opus", *FFMPEG, "-i", sound, "-c:a", "libopus", *EXACT, "OUT")
    shop.program("ogg", "flac", *FFMPEG, "-i", sound, "-c:a", "flac", *EXACT, "OUT")
    shop.program("ogg", "speex", *FFMPEG, "-i", sound, "-ar", "16000", "-ac", "1", "-c:a", "libspeex", *EXACT, "OUT")
    shop.program("ogg", "oggenc", "oggenc", "-Q", "-s", "7", "-q", "2", "-t", "A name", "-o", "OUT", sound)
    shop.program("ogg", "comments", "oggenc", "-Q", "-s", "8", "-c", "NOTE=" + "long " * 4000, "-o", "OUT", sound)
    shop.program("opus", "opusenc", "opusenc", "--quiet", "--serial", "9", sound, "OUT")
    shop.program("ogv", "theora", *FFMPEG, "-f", "lavfi", "-i", "testsrc2=size=176x144:rate=10:duration=2", "-i", sound,
                 "-c:v", "libtheora", "-c:a", "libvorbis", *EXACT, "-f", "ogg", "OUT")
    if vorbis and opus:
        shop.write("ogg", "chained", vorbis.read_bytes() + opus.read_bytes())
        shop.write("ogg", "chained-same", vorbis.read_bytes() * 3)


def variable(value):
    out = bytes((value & 0x7F,))
    while value := value >> 7:
        out = bytes((value & 0x7F | 0x80,)) + out
    return out


def midi_track(seed, notes, running=False, name=b"A track"):
    rng = random.Random(seed)
    events, status = [b"\0\xff\3" + variable(len(name)) + name], None
    for _ in range(notes):
        note = rng.randrange(40, 80)
        for command, delta in ((0x90, 0), (0x80, rng.choice((30, 96, 480)))):
            head = b"" if running and status == command else bytes((command,))
            events.append(variable(delta) + head + bytes((note, 64)))
            status = command
    return chunk(b"MTrk", b"".join(events) + b"\0\xff\x2f\0", ">", pad=False)


def midi(shop):
    def song(kind, *tracks):
        return b"MThd" + struct.pack(">IHHH", 6, kind, len(tracks), 96) + b"".join(tracks)
    shop.write("mid", "one-note", song(0, midi_track(1, 1)))
    shop.write("mid", "no-note", song(0, midi_track(1, 0, name=b"")))
    shop.write("mid", "kind-0", song(0, midi_track(2, 400, True)))
    shop.write("mid", "kind-1", song(1, *(midi_track(n, 120) for n in range(9))))
    shop.write("mid", "kind-2", song(2, midi_track(3, 50), midi_track(4, 50)))
    shop.write("mid", "long", song(1, *(midi_track(n, 3000) for n in range(16))))
    shop.write("mid", "exclusive", song(0, chunk(b"MTrk", b"\0\xf0" + variable(5000) + noise(4999, 4).translate(
        bytes(n & 0x7F for n in range(256))) + b"\xf7\0\xff\x2f\0", ">", pad=False)))


def other_sounds(shop):
    sound = shop.sound(3)
    for rate in (4000, 8000, 11025, 22050):
        shop.program("mmf", f"rate-{rate}", *FFMPEG, "-i", sound, "-ac", "1", "-ar", rate, *EXACT, "OUT")
    shop.program("rm", "ra-144", *FFMPEG, "-i", sound, "-c:a", "real_144", "-ac", "1", "-ar", "8000", *EXACT, "OUT")
    shop.program("rm", "ac3", *FFMPEG, "-i", sound, "-c:a", "ac3", *EXACT, "OUT")
    for codec in ("wmav1", "wmav2"):
        shop.program("wma", codec, *FFMPEG, "-i", sound, "-c:a", codec, *EXACT, "-f", "asf", "OUT")
    shop.program("wma", "tags", *FFMPEG, "-i", sound, "-c:a", "wmav2", "-metadata", "title=" + "long " * 500, "-f", "asf",
                 "OUT")
    shop.captured("wma", "broadcast", *FFMPEG, "-i", sound, "-c:a", "wmav2", "-f", "asf", "-")
    for name, codec in (("aac", ("aac",)), ("alac", ("alac",)), ("ac3", ("ac3",)), ("faststart", ("aac", "-movflags",
                        "+faststart")), ("fragmented", ("aac", "-movflags", "+frag_keyframe+empty_moov", "-frag_duration",
                        "300000"))):
        shop.program("m4a", name, *FFMPEG, "-i", sound, "-c:a", *codec, "-metadata", "title=x", "-f", "ipod", "OUT")
    try:
        cover = shop.source("cover.jpg", "convert", shop.picture(900, 900), "-quality", "92", "OUT")
        shop.program("m4a", "cover", *FFMPEG, "-i", sound, "-i", cover, "-map", "0", "-map", "1", "-c:a", "aac", "-c:v",
                     "copy", "-disposition:v:0", "attached_pic", "-f", "ipod", "OUT")
    except Missing as why:
        shop.skip("m4a with cover", why)


MAKERS = (waves, aiffs, mpeg_audio, ogg, midi, other_sounds)

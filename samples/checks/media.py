"""Films and sounds, and animations and pictures in their containers."""

import struct
import uuid

from .common import want

ASF_HEADER, ASF_FILE, ASF_STREAM, ASF_AUDIO, ASF_VIDEO = (uuid.UUID(text).bytes_le for text in (
    "75b22630-668e-11cf-a6d9-00aa0062ce6c", "8cabdca1-a947-11cf-8ee4-00c00c205365",
    "b7dc0791-a9b7-11cf-8ee6-00c00c205365", "f8699e40-5b4d-11cf-a8fd-00805f5c442b",
    "bc19efc0-5b4d-11cf-a8fd-00805f5c442b"))


def asf(*streams):
    """An ASF file whose top-level objects fill it, with these stream types."""
    def check(data):
        ends, pos = [], 0
        while pos < len(data):
            pos += struct.unpack_from("<Q", data, pos + 16)[0]
            ends.append(pos)
        want(data.startswith(ASF_HEADER) and pos == len(data), "objects end at %r" % ends)
        header = data[:ends[0]]
        size = struct.unpack_from("<Q", header, header.index(ASF_FILE) + 40)[0]
        want(size == len(data), "the header says %d bytes" % size)
        types = {part[8:24] for part in header.split(ASF_STREAM)[1:]}
        want(types == set(streams), "%d kinds of streams" % len(types))
    return check


# kbit/s of MPEG-1 Layer III.
LAYER3_RATES = (0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320)


def mp3(tagged):
    """MPEG-1 Layer III at 44100 Hz, frame by frame from the end of an ID3v2
    tag to that of the file, or to an ID3v1 tag there."""
    def check(data):
        want(data.startswith(b"ID3") == tagged and (data[-128:-125] == b"TAG") == tagged, "tags are missing or there")
        start, end = 0, len(data) - (128 if tagged else 0)
        if tagged:
            for byte in data[6:10]:
                start = start << 7 | byte
            start += 10
            want(start > 128, "the first frame is at %d" % start)
        pos = start
        while pos < end:
            want(data[pos] == 0xFF and data[pos + 1] & 0xFE == 0xFA, "no frame at %d" % pos)
            pos += LAYER3_RATES[data[pos + 2] >> 4] * 144000 // 44100 + (data[pos + 2] >> 1 & 1)
        want(pos == end, "the frames end at %d" % pos)
    return check


def transport_stream(prefix):
    """Whole packets of 188 bytes with a prefix each; one has the PID 0."""
    def check(data):
        size = prefix + 188
        want(len(data) % size == 0 and len(data) > 100 * 188, "%d bytes" % len(data))
        packets = [data[at + prefix:at + size] for at in range(0, len(data), size)]
        want(all(packet[0] == 0x47 for packet in packets), "a sync byte is missing")
        want(any(packet[1] & 0x1F == packet[2] == 0 for packet in packets), "no program association table")
    return check


def program_stream(data):
    pos = packets = 0
    while pos < len(data):
        want(data[pos:pos + 3] == b"\0\0\1", "no start code at %d" % pos)
        if data[pos + 3] == 0xBA:
            pos += 14 + (data[pos + 13] & 7)
        else:
            pos += 6 + struct.unpack_from(">H", data, pos + 4)[0]
            packets += 1
    want(pos == len(data) and packets >= 10, "%d packets end at %d" % (packets, pos))


def boxes(*wanted, brand):
    """A row of boxes up to the end of the file, the first of this brand, with
    these among them."""
    def check_boxes(data):
        pos, names = 0, []
        while pos < len(data):
            size, name = struct.unpack_from(">I4s", data, pos)
            want(size >= 8, "a box of %d bytes at %d" % (size, pos))
            names.append(name)
            pos += size
        want(pos == len(data), "the last box ends at %d" % pos)
        want(names[0] == b"ftyp" and data[8:12] == brand, "begins with %r, %r" % (names[0], data[8:12]))
        want([name for name in names if name in wanted] == list(wanted), "the boxes are %r" % names)
    return check_boxes


def chunks(form, *wanted, order="<", signature=b"RIFF"):
    """One form up to the end of the file, made of chunks with these among
    them, the first of which is the first."""
    def check_chunks(data):
        want(data[:4] == signature and data[8:12] == form, "the form is %r" % data[8:12])
        size = struct.unpack_from(order + "I", data, 4)[0]
        want(size + 8 == len(data), "the header's size is %d" % size)
        pos, names = 12, []
        while pos < len(data):
            name, size = struct.unpack_from(order + "4sI", data, pos)
            names.append(name)
            # A chunk of odd size is padded.
            pos += 8 + size + size % 2
        want(pos == len(data), "the last chunk ends at %d" % pos)
        want(names[0] == wanted[0], "the first chunk is %r" % names[0])
        for name in wanted:
            want(name in names, "no chunk %r" % name)
    return check_chunks


def matroska(doc_type, sized=True):
    """An EBML header and one Segment, which must reach to the end."""
    def check_segment(data):
        want(data.startswith(b"\x1a\x45\xdf\xa3"), "no EBML header")
        want(b"\x42\x82" + bytes((0x80 | len(doc_type),)) + doc_type in data[:64], "not of this document type")
        # The header's size is written in one byte.
        begin = 5 + (data[4] & 0x7F)
        want(data[begin:begin + 5] == b"\x18\x53\x80\x67\x01", "no Segment with a size of 8 bytes")
        size = int.from_bytes(data[begin + 5:begin + 12], "big")
        want(size == (len(data) - begin - 12 if sized else (1 << 56) - 1), "the Segment has %d bytes" % size)
    return check_segment


def flash_video(data):
    want(data.startswith(b"FLV\1") and data[13] == 0x12, "does not begin with script data")
    pos = 9
    while pos + 4 < len(data):
        length = int.from_bytes(data[pos + 5:pos + 8], "big")
        pos += 15 + length
        want(struct.unpack_from(">I", data, pos)[0] == 11 + length, "wrong back pointer at %d" % pos)
    want(pos + 4 == len(data), "the last tag ends at %d" % pos)
    at = data.index(b"\0\x08filesize\0")
    want(struct.unpack_from(">d", data, at + 11)[0] == len(data), "wrong file size")


def real_media(data):
    want(data.startswith(b".RMF\0\0\0\x12"), "no file header")
    pos, names = 0, []
    for _ in range(struct.unpack_from(">I", data, 14)[0]):
        name, size = struct.unpack_from(">4sI", data, pos)
        names.append(name)
        pos += size
    want(names[-1] == b"DATA" and b"MDPR" in names, "chunks are %r" % names)
    # The writer counts the 10 bytes after the header of the data twice.
    want(pos - 10 == len(data), "the last chunk ends at %d" % pos)


def ogg(codec):
    def check_pages(data):
        want(codec in data[:200], "not of this codec")
        pos, ended = 0, 0
        while pos < len(data):
            want(data[pos:pos + 4] == b"OggS", "no page at %d" % pos)
            ended += data[pos + 5] >> 2 & 1
            pos += 27 + data[pos + 26] + sum(data[pos + 27:pos + 27 + data[pos + 26]])
        want(pos == len(data) and ended > 0, "the last page ends at %d" % pos)
    return check_pages


def ringtone(data):
    want(data.startswith(b"MMMD") and data[8:12] == b"CNTI", "no signature")
    want(struct.unpack_from(">I", data, 4)[0] + 8 == len(data), "the outermost chunk has another size")


def sun_sound(data):
    want(data.startswith(b".snd"), "no signature")
    want(sum(struct.unpack_from(">II", data, 4)) == len(data), "the header has another size")


def flash_movie(data):
    want(data[:3] == b"FWS", "no signature")
    want(struct.unpack_from("<I", data, 4)[0] == len(data), "the header has another size")


def midi(data):
    pos, tracks = 14, struct.unpack_from(">H", data, 10)[0]
    for _ in range(tracks):
        name, size = struct.unpack_from(">4sI", data, pos)
        want(name == b"MTrk", "no track at %d" % pos)
        pos += 8 + size
        want(data[pos - 3:pos] == b"\xff\x2f\0", "no end of track in front of %d" % pos)
    want(pos == len(data), "the last track ends at %d" % pos)


KINDS = {
    "tone.wma": asf(ASF_AUDIO),
    "film.wmv": asf(ASF_AUDIO, ASF_VIDEO),
    "plain.mp3": mp3(tagged=False),
    "variable.mp3": mp3(tagged=False),
    "tagged.mp3": mp3(tagged=True),
    "stream.ts": transport_stream(0),
    "stream.m2ts": transport_stream(4),
    "stream.vob": program_stream,
    "plain.mp4": boxes(b"mdat", b"moov", brand=b"isom"),
    "faststart.mp4": boxes(b"moov", b"mdat", brand=b"isom"),
    "fragmented.mp4": boxes(b"moov", *(b"moof", b"mdat") * 4, b"mfra", brand=b"isom"),
    "indexed.mp4": boxes(b"moov", *(b"sidx", b"moof", b"mdat") * 4, b"mfra", brand=b"iso5"),
    "film.mov": boxes(b"wide", b"mdat", b"moov", brand=b"qt  "),
    "film.m4v": boxes(b"mdat", b"moov", brand=b"M4V "),
    "phone.3gp": boxes(b"mdat", b"moov", brand=b"3gp4"),
    "tone.m4a": boxes(b"free", b"mdat", b"moov", brand=b"M4A "),
    "film.avi": chunks(b"AVI ", b"LIST", b"idx1"),
    "tone.wav": chunks(b"WAVE", b"fmt ", b"data"),
    "packed.wav": chunks(b"WAVE", b"fmt ", b"fact", b"data"),
    "tone.aif": chunks(b"AIFF", b"COMM", b"SSND", order=">", signature=b"FORM"),
    "lossy.webp": chunks(b"WEBP", b"VP8 "),
    "lossless.webp": chunks(b"WEBP", b"VP8L"),
    "animated.webp": chunks(b"WEBP", b"VP8X", b"ANIM", b"ANMF"),
    "turning.ani": chunks(b"ACON", b"anih", b"LIST"),
    "video.mkv": matroska(b"matroska"),
    "video.webm": matroska(b"webm"),
    "live.webm": matroska(b"webm", sized=False),
    "video.flv": flash_video,
    "video.rm": real_media,
    "sound.rm": real_media,
    "video.swf": flash_movie,
    "vorbis.ogg": ogg(b"\x01vorbis"),
    "opus.ogg": ogg(b"OpusHead"),
    "flac.ogg": ogg(b"\x7fFLAC"),
    "theora.ogg": ogg(b"\x80theora"),
    "sound.au": sun_sound,
    "ringtone.mmf": ringtone,
    "scale.mid": midi,
}

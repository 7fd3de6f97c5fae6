#!/usr/bin/env bash
# Makes the small sounds and videos in fixtures/ that need no family of their
# own: Matroska, WebM, Flash, RealMedia, Ogg, AU, SMAF and MIDI. Other files in
# fixtures/ stay as they are.
#
# Debian packages needed:
#   ffmpeg       all but the MIDI file
#   python3      the MIDI file, and check-fixtures.py
#
# The same version of ffmpeg gives the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need ffmpeg ffprobe python3
cd "$work"

picture=(-f lavfi -i "testsrc2=size=96x64:rate=10:duration=0.5")
larger=(-f lavfi -i "testsrc2=size=176x144:rate=10:duration=0.3")
tone=(-f lavfi -i "sine=frequency=440:sample_rate=22050:duration=0.5")

# make NAME INPUTS AND ENCODERS...: without the encoder's version, the time and
# random serial numbers.
make() {
    local name=$1
    shift
    ffmpeg -hide_banner -loglevel error -nostdin -y "$@" -threads 1 \
        -fflags +bitexact -flags:v +bitexact -flags:a +bitexact -map_metadata -1 "$out/$name"
    ffprobe -loglevel error "$out/$name" >/dev/null
}

make video.mkv "${picture[@]}" "${tone[@]}" -c:v mpeg4 -b:v 60k -c:a flac
make video.webm "${picture[@]}" "${tone[@]}" -c:v libvpx -b:v 40k -c:a libvorbis -b:a 32k
# Where the output is not seekable, the size stays unknown.
ffmpeg -hide_banner -loglevel error -nostdin "${tone[@]}" -c:a libopus -b:a 24k \
    -fflags +bitexact -flags:a +bitexact -map_metadata -1 -f webm - | cat >"$out/live.webm"
make video.flv "${picture[@]}" -c:v flv -b:v 60k
make video.rm "${larger[@]}" -c:v rv10 -b:v 60k
make sound.rm "${tone[@]}" -c:a real_144 -ar 8000
make video.swf "${picture[@]}" -c:v flv -b:v 60k
make vorbis.ogg "${tone[@]}" -c:a libvorbis
make opus.ogg "${tone[@]}" -c:a libopus -b:a 24k
make flac.ogg "${tone[@]}" -c:a flac
make theora.ogg "${picture[@]}" "${tone[@]}" -c:v libtheora -c:a libvorbis
make sound.au "${tone[@]}" -c:a pcm_mulaw -ar 8000
make ringtone.mmf "${tone[@]}" -ar 8000

# ---- MIDI ---------------------------------------------------------------

python3 - "$out/scale.mid" <<'PYTHON'
import struct
import sys

def chunk(name, data):
    return name + struct.pack(">I", len(data)) + data

END = b"\0\xff\x2f\0"
tempo = chunk(b"MTrk", b"\0\xff\x51\3" + struct.pack(">I", 500000)[1:] + END)
tracks = [tempo]
for channel in range(2):
    events = bytes((0, 0xC0 | channel, 4 + channel))
    for step in (0, 2, 4, 5, 7, 9, 11, 12) * 4:
        note = 60 + step - 12 * channel
        events += bytes((0, 0x90 | channel, note, 80, 48, 0x80 | channel, note, 0))
    tracks.append(chunk(b"MTrk", events + END))
header = chunk(b"MThd", struct.pack(">HHH", 1, len(tracks), 96))
with open(sys.argv[1], "wb") as file:
    file.write(header + b"".join(tracks))
PYTHON

"$here/check-fixtures.py"

#!/usr/bin/env bash
# Makes the small films, sounds and pictures in fixtures/ that are built of
# boxes or of RIFF chunks. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   ffmpeg       the films and sounds, and a check that all of them can be read
#   webp         the WebP pictures
#   imagemagick  the drawings that these and the cursor are made of
#   icoutils     the frames of the cursor
#   python3      puts the frames of the cursor together
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need ffmpeg ffprobe cwebp webpmux webpinfo convert icotool python3
cd "$work"

# A moving picture and a tone, which encode FILE OPTIONS... writes with these options.
picture=(-f lavfi -i testsrc=size=64x48:rate=10:duration=1)
tone=(-f lavfi -i sine=frequency=440:sample_rate=8000:duration=0.4)
same=(-map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
h264=(-c:v libx264 -pix_fmt yuv420p -x264-params threads=1)
encode() {
    local file=$1
    shift
    ffmpeg -hide_banner -loglevel error -y -bitexact "$@" "${same[@]}" "$file"
}

# ---- boxes --------------------------------------------------------------

encode plain.mp4 "${picture[@]}" "${h264[@]}"
encode faststart.mp4 "${picture[@]}" "${h264[@]}" -movflags +faststart
# Fragments of three pictures, without and with an index before each.
encode fragmented.mp4 "${picture[@]}" "${h264[@]}" -g 3 -movflags +frag_keyframe+empty_moov
encode indexed.mp4 "${picture[@]}" "${h264[@]}" -g 3 -movflags +dash+frag_keyframe
encode film.mov "${picture[@]}" "${h264[@]}"
encode film.m4v "${picture[@]}" "${h264[@]}" -brand 'M4V '
encode phone.3gp "${picture[@]}" -s 128x96 -c:v h263
encode tone.m4a "${tone[@]}" -c:a aac -b:a 32k

# ---- chunks -------------------------------------------------------------

encode film.avi "${picture[@]}" -c:v mjpeg -q:v 16
encode tone.wav "${tone[@]}"
encode packed.wav "${tone[@]}" -c:a adpcm_ima_wav
encode tone.aif "${tone[@]}" -f aiff

for turn in 0 40 80; do
    convert -seed 5 -size 64x48 plasma:orange-navy -distort SRT "$turn" "frame$turn.png"
    convert "frame$turn.png" -crop 16x16+20+10 +repage "small$turn.png"
    icotool -c --cursor -X 3 -Y 4 -o "small$turn.cur" "small$turn.png"
done
cwebp -quiet -q 60 frame0.png -o lossy.webp
cwebp -quiet -lossless frame0.png -o lossless.webp
for turn in 40 80; do
    cwebp -quiet -q 60 "frame$turn.png" -o "turned$turn.webp"
done
webpmux -frame lossy.webp +100 -frame turned40.webp +100 -frame turned80.webp +100 -o animated.webp 2>/dev/null

# No free program writes animated cursors: a header and a list of cursors.
python3 - small0.cur small40.cur small80.cur >turning.ani <<'PYTHON'
import struct
import sys


def chunk(name, payload):
    return struct.pack("<4sI", name, len(payload)) + payload + bytes(len(payload) % 2)


frames = [open(path, "rb").read() for path in sys.argv[1:]]
# Its own size, frames, steps, four fields of raw frames, sixtieths of a second, frames are cursors.
header = struct.pack("<9I", 36, len(frames), len(frames), 0, 0, 0, 0, 6, 1)
body = b"ACON" + chunk(b"anih", header) + chunk(b"LIST", b"fram" + b"".join(chunk(b"icon", f) for f in frames))
sys.stdout.buffer.write(chunk(b"RIFF", body))
PYTHON

# ---- every file must be whole -------------------------------------------

files=({plain,faststart,fragmented,indexed}.mp4 film.{mov,m4v,avi} phone.3gp tone.{m4a,wav,aif} packed.wav)
for file in "${files[@]}"; do
    test -z "$(ffprobe -loglevel error -count_frames -show_entries stream=nb_read_frames "$file" 2>&1 >/dev/null)"
done
pictures=({lossy,lossless,animated}.webp)
for file in "${pictures[@]}"; do
    webpinfo -quiet "$file" >/dev/null
done
cp "${files[@]}" "${pictures[@]}" turning.ani "$out/"
"$here/check-fixtures.py"

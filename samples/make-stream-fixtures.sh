#!/usr/bin/env bash
# Makes the small ASF, MP3, transport stream and program stream files in
# fixtures/. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   ffmpeg   all of them but one
#   lame     the MP3 with a variable bit rate
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need ffmpeg lame
cd "$work"

# Nothing that depends on the machine or on the version of the program.
exact=(-fflags +bitexact -flags +bitexact -map_metadata -1 -threads 1)
make() {
    ffmpeg -nostdin -hide_banner -loglevel error -y "${@:1:$#-1}" "${exact[@]}" "$out/${!#}"
}
tone() { printf '%s\n' -f lavfi -i "sine=frequency=440:sample_rate=44100:duration=$1"; }
picture() { printf '%s\n' -f lavfi -i "testsrc=size=48x32:rate=25:duration=$1"; }
mapfile -t short_tone < <(tone 0.6)
mapfile -t short_picture < <(picture 0.4)

# ---- ASF ----------------------------------------------------------------

windows_audio=(-c:a wmav2 -b:a 32k)
make "${short_tone[@]}" "${windows_audio[@]}" -f asf tone.wma
make "${short_picture[@]}" "${short_tone[@]}" -c:v wmv2 -b:v 30k "${windows_audio[@]}" -f asf film.wmv

# ---- MP3 ----------------------------------------------------------------

layer3=(-c:a libmp3lame -b:a 32k -ac 1 -f mp3)
make "${short_tone[@]}" "${layer3[@]}" -id3v2_version 0 plain.mp3
# With a tag in front, large enough for the first frame to lie after the first
# 128 bytes, and one at the end.
ffmpeg -nostdin -hide_banner -loglevel error -y "${short_tone[@]}" "${layer3[@]}" "${exact[@]}" -write_id3v1 1 \
    -metadata title="A tone" -metadata artist="A generator of sine waves, for six tenths of a second" \
    -metadata comment="Written to try the recognition of tags at both ends of a file" "$out/tagged.mp3"
mapfile -t longer_tone < <(tone 1.2)
ffmpeg -nostdin -hide_banner -loglevel error "${longer_tone[@]}" "${exact[@]}" tone.wav
lame --quiet -m m -V 9 --resample 44.1 tone.wav "$out/variable.mp3"

# ---- MPEG streams -------------------------------------------------------

mpeg2=(-c:v mpeg2video -b:v 60k -c:a mp2 -b:a 64k)
# A transport stream of less than 100 packets is not taken for one.
mapfile -t picture < <(picture 1)
mapfile -t tone < <(tone 0.8)
make "${picture[@]}" "${tone[@]}" "${mpeg2[@]}" -f mpegts stream.ts
make "${picture[@]}" "${tone[@]}" "${mpeg2[@]}" -f mpegts -mpegts_m2ts_mode 1 stream.m2ts
make "${picture[@]}" "${short_tone[@]}" "${mpeg2[@]}" -f vob stream.vob

#!/usr/bin/env bash
# Makes the small JPEG and PNG files in fixtures/ with the programs that
# ordinary software writes such files with.
#
# Debian packages needed:
#   imagemagick            the scenes, and some of the PNG files
#   libjpeg-turbo-progs    cjpeg, djpeg, wrjpgcom
#   libimage-exiftool-perl Exif, IPTC and XMP metadata
#   netpbm                 some of the PNG files
#   optipng                one optimised PNG file
#   icc-profiles-free      the colour profile of one JPEG file
#   python3                check-fixtures.py
#
# The same versions of these packages give the same bytes: seeds are fixed,
# and nothing written into a file is taken from the clock.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need convert cjpeg djpeg wrjpgcom exiftool pnmtopng pngtopnm optipng dpkg python3
cd "$work"

# With several threads the noise would depend on how the rows are shared out.
export MAGICK_THREAD_LIMIT=1

icc=$(dpkg -L icc-profiles-free | grep '/sRGB\.icc$') || {
    echo "make-fixtures.sh: package icc-profiles-free is not installed" >&2
    exit 1
}

# An empty -config keeps a user's own exiftool settings out of the files.
exif() {
    exiftool -config '' -q -q -overwrite_original "$@"
}

# scene FILE WIDTH HEIGHT SEED SKY-TOP SKY-BOTTOM GROUND GRAIN
# A landscape: clouds in a graded sky above rough hills, with sensor noise
# over everything. GRAIN is the strength of the noise and so the main
# influence on the size of the compressed file.
scene() {
    local file=$1 w=$2 h=$3 seed=$4 top=$5 bottom=$6 ground=$7 grain=$8
    local hills="M 0,$((h * 60 / 100))"
    hills+=" C $((w * 20 / 100)),$((h * 30 / 100)) $((w * 35 / 100)),$((h * 75 / 100)) $((w * 55 / 100)),$((h * 55 / 100))"
    hills+=" S $((w * 85 / 100)),$((h * 45 / 100)) $w,$((h * 62 / 100)) L $w,$h L 0,$h Z"

    convert -seed "$seed" -size "${w}x$h" 'plasma:#404040-#c0c0c0' \
        -colorspace Gray -blur 0x2 -normalize clouds.miff
    convert -seed $((seed + 1)) -size "${w}x$h" 'plasma:#303030-#d0d0d0' \
        -colorspace Gray -normalize -seed $((seed + 2)) -attenuate 0.8 +noise Gaussian -blur 0x0.7 rough.miff
    convert -size "${w}x$h" "gradient:$top-$bottom" \
        \( clouds.miff -level 45%,95% \) -compose Screen -composite sky.miff
    convert -size "${w}x$h" "gradient:$ground-#1a1a10" rough.miff \
        -compose Overlay -composite land.miff
    convert -size "${w}x$h" xc:black -fill white -draw "path '$hills'" -blur 0x1 mask.miff
    convert sky.miff land.miff mask.miff -compose Over -composite \
        -seed $((seed + 3)) -attenuate "$grain" +noise Gaussian "$file"
}

scene noon.ppm  800 600 100 '#4f86c6' '#f2dfc0' '#6f8f3f' 0.20
scene dusk.ppm  640 480 200 '#303a5c' '#d9825b' '#3c5a48' 0.20
scene mist.ppm  480 360 300 '#8d99a6' '#e6e6df' '#7c7f63' 0.20
scene shore.ppm 320 240 400 '#2f8fb0' '#d8f0ee' '#c9b27a' 0.20
scene tiny.ppm  160 120 500 '#5577aa' '#eeddcc' '#708050' 0.10
for name in noon dusk mist shore tiny; do
    convert "$name.ppm" -depth 8 "$name.ppm"
done

# Other scripts make the remaining files there.
rm -f "$out"/*.jpg "$out"/*.png

# ---- JPEG with a JFIF segment -------------------------------------------

cjpeg -quality 88 noon.ppm >"$out/jfif-baseline.jpg"
cjpeg -quality 80 -progressive dusk.ppm >"$out/jfif-progressive.jpg"
cjpeg -quality 85 -grayscale mist.ppm >"$out/jfif-grey.jpg"
# One restart interval per row of blocks: FF D0 to FF D7 in turn in the scan.
cjpeg -quality 80 -restart 1 dusk.ppm >"$out/jfif-restart.jpg"
cjpeg -quality 85 -optimize -sample 1x1 shore.ppm |
    wrjpgcom -replace -comment 'A made-up shore, drawn and not photographed.' \
        >"$out/jfif-optimised-comment.jpg"
cjpeg -quality 75 -icc "$icc" shore.ppm >"$out/jfif-icc.jpg"

# ---- JPEG that begins with another segment ------------------------------

# Cameras write the Exif segment directly after the start of image and no
# JFIF segment at all. cjpeg always writes one, so it is taken out first.
bare() {
    cjpeg "${@:2}" >"$1"
    exif -JFIF:all= "$1"
}

camera=(
    -Make='Example' -Model='Example Camera 100' -Software='1.02'
    -Orientation#=1 -XResolution=72 -YResolution=72
    -DateTimeOriginal='2011:06:18 14:05:27' -CreateDate='2011:06:18 14:05:27'
    -ModifyDate='2011:06:18 14:05:27'
    -ExposureTime=1/250 -FNumber=5.6 -ISO=200 -FocalLength=35
)

bare exif.jpg -quality 82 -sample 2x1 mist.ppm
exif -ExifByteOrder=II "${camera[@]}" exif.jpg

convert dusk.ppm -resize 160x120 -depth 8 thumb.ppm
bare thumb.jpg -quality 90 thumb.ppm
bare exif-thumbnail.jpg -quality 88 -sample 2x1 dusk.ppm
exif -ExifByteOrder=II "${camera[@]}" '-ThumbnailImage<=thumb.jpg' exif-thumbnail.jpg

bare exif-progressive.jpg -quality 80 -progressive mist.ppm
exif -ExifByteOrder=II "${camera[@]}" exif-progressive.jpg

bare exif-big-endian.jpg -quality 85 shore.ppm
exif -ExifByteOrder=MM "${camera[@]}" exif-big-endian.jpg

# IPTC data lives in an APP13 segment that begins with "Photoshop 3.0".
bare photoshop-iptc.jpg -quality 85 shore.ppm
exif -IPTC:ObjectName='Shore' -IPTC:Keywords=coast -IPTC:Keywords=drawn \
    -IPTC:Caption-Abstract='A made-up shore under a made-up sky.' photoshop-iptc.jpg

mv exif.jpg exif-thumbnail.jpg exif-progressive.jpg exif-big-endian.jpg photoshop-iptc.jpg "$out"

# ---- PNG ----------------------------------------------------------------

# convert would note the source file's times in text chunks.
undated=(-strip -define png:exclude-chunk=date,time)

convert tiny.ppm "${undated[@]}" "PNG24:$out/rgb8.png"
convert shore.ppm +dither -colors 64 "${undated[@]}" "PNG8:$out/palette.png"
convert -seed 600 -size 128x96 'plasma:#202020-#e0e0e0' -colorspace Gray -blur 0x1 \
    -depth 16 -define png:bit-depth=16 -define png:color-type=0 "${undated[@]}" "$out/grey16.png"
convert tiny.ppm -resize 75% \
    \( -seed 700 -size 120x90 'plasma:#000000-#ffffff' -colorspace Gray -blur 0x4 -normalize -depth 8 \) \
    -alpha off -compose CopyOpacity -composite -interlace PNG "${undated[@]}" \
    "PNG32:$out/rgba-adam7.png"

# pnmtopng writes tEXt before the picture data; exiftool writes XMP as
# an iTXt chunk.
printf '%s\n' 'Title Hills' 'Description A small picture with text chunks' >text.txt
convert tiny.ppm -resize 100x75! -depth 8 small.ppm
pnmtopng -quiet -text=text.txt small.ppm >text.png
exif -XMP-dc:Description='Hills, drawn and not photographed' text.png
mv text.png "$out"

pnmtopng -quiet tiny.ppm >optimised.png
optipng -quiet -o2 optimised.png
mv optimised.png "$out"

# ---- every file must decode, and have the structure its name promises ----

for file in "$out"/*.jpg; do
    # djpeg ends with status 2 when it had to warn of damaged data.
    djpeg "$file" >/dev/null
done
for file in "$out"/*.png; do
    pngtopnm -quiet "$file" >/dev/null
done
"$here/check-fixtures.py"

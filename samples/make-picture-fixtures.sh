#!/usr/bin/env bash
# Makes the small GIF, BMP, PCX, icon, cursor, metafile and colour profile files
# in fixtures/. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   imagemagick       GIF, BMP and PCX files, and what the others are made of
#   netpbm            PCX files of single bits and the OS/2 bitmap
#   icoutils          icons and cursors
#   inkscape          metafiles
#   python3-pil, liblcms2-utils, faketime   colour profiles
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need convert ppmtopcx ppmtobmp icotool inkscape linkicc faketime
cd "$work"

export HOME=$work

# picture SIZE FILE: something with areas, edges and a gradient.
picture() {
    convert -size "$1" gradient:'#204080'-'#f0c060' -fill '#c03020' -draw 'circle 12,12 12,4' \
        -fill none -stroke '#103010' -draw 'line 0,28 28,2' -depth 8 -strip "$2"
}
picture 45x31 picture.png
picture 32x32 icon32.png
picture 16x16 icon16.png
convert icon16.png -colors 16 -type Palette icon4bit.png
convert picture.png -flip flipped.png

# ---- GIF ----------------------------------------------------------------

convert picture.png -colors 64 GIF87:"$out/still87.gif"
convert picture.png -colors 64 -interlace GIF "$out/interlaced.gif"
convert -delay 20 -loop 0 picture.png flipped.png -colors 32 -set comment 'Two frames; 00 3B' "$out/animated.gif"

# ---- BMP ----------------------------------------------------------------

# The header of 40 bytes unless the name says another.
convert picture.png -resize 120x80! -type Bilevel BMP3:"$out/mono.bmp"
convert picture.png -colors 16 -type Palette -compress None BMP3:"$out/palette4.bmp"
convert picture.png -type Palette -compress RLE BMP3:"$out/rle8.bmp"
convert picture.png -type TrueColor BMP3:"$out/rgb24.bmp"
convert picture.png -colors 16 ppm:- | ppmtobmp -quiet -os2 >"$out/os2.bmp"
convert picture.png -type TrueColor -intent undefined "$out/rgb24-v4.bmp"
convert picture.png -type TrueColorAlpha -alpha set -channel A -evaluate set 60% "$out/alpha32.bmp"

# ---- PCX ----------------------------------------------------------------

convert picture.png -resize 120x80! -type Bilevel ppm:- | ppmtopcx -quiet >"$out/mono.pcx"
convert picture.png -colors 16 ppm:- | ppmtopcx -quiet >"$out/planes4.pcx"
convert picture.png -colors 64 -type Palette "$out/palette8.pcx"
convert picture.png -type TrueColor "$out/rgb24.pcx"

# ---- icons and cursors --------------------------------------------------

icotool -c -o "$out/sizes.ico" icon32.png icon16.png
icotool -c -o "$out/with-png.ico" icon4bit.png -r icon32.png
icotool -c --cursor -X 3 -Y 5 -o "$out/arrow.cur" icon32.png icon16.png

# ---- metafiles ----------------------------------------------------------

cat >drawing.svg <<'SVG'
<svg xmlns="http://www.w3.org/2000/svg" width="200" height="120">
<rect x="10" y="10" width="80" height="60" fill="#4080c0" stroke="#000000"/>
<circle cx="140" cy="60" r="40" fill="#e0a020"/>
<path d="M10 110 C 60 20 120 20 190 110" fill="none" stroke="#903030" stroke-width="3"/>
</svg>
SVG
inkscape drawing.svg -o "$out/placeable.wmf" 2>/dev/null
# Embedded pictures lack the 22 bytes that make a metafile placeable.
tail -c +23 "$out/placeable.wmf" >"$out/plain.wmf"
inkscape drawing.svg -o "$out/drawing.emf" 2>/dev/null

# ---- colour profiles ----------------------------------------------------

faketime -f '2011-06-18 14:05:28' /usr/bin/python3 - "$out/display.icc" <<'PYTHON'
import sys
from PIL import ImageCms

with open(sys.argv[1], "wb") as file:
    file.write(ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
PYTHON
# A device link of version 2.
faketime -f '2011-06-18 14:05:28' linkicc -o"$out/link.icc" -n5 -8 -r2.1 -d'Link' -y'No copyright, use freely' '*sRGB' '*Lab' \
    >/dev/null 2>&1

"$here/check-fixtures.py"

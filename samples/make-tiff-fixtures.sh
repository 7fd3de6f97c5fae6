#!/usr/bin/env bash
# Makes the small TIFF files in fixtures/, and those that bear a camera maker's
# marks. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   imagemagick              the pictures
#   libtiff-tools            byte orders, compressions, strips and pages
#   libimage-exiftool-perl   the makers' names, and the directory in front
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need convert tiffcp exiftool
cd "$work"

convert -seed 7 -size 50x36 plasma:navy-orange -depth 8 -compress none colour.tif
convert colour.tif -colorspace gray -depth 8 -compress none grey.tif
convert -seed 7 -size 160x120 plasma:black-white -monochrome -compress group4 line.tif

rm -f "$out"/{strip,strip-last,lzw,deflate,packbits,fax,pages}.tif "$out"/{maker.nef,maker.pef,maker.arw,name.dcr,version.dng}

# -r: rows per strip. The directory comes after the picture.
tiffcp -L -c none -r 36 colour.tif "$out/strip.tif"
tiffcp -B -c lzw -r 8 colour.tif "$out/lzw.tif"
tiffcp -L -c zip -r 36 colour.tif "$out/deflate.tif"
tiffcp -B -c packbits -r 36 colour.tif "$out/packbits.tif"
tiffcp -L -c g4 -r 120 line.tif "$out/fax.tif"
tiffcp -B -c none -r 36 grey.tif line.tif colour.tif "$out/pages.tif"

# exiftool writes the directory in front and the picture last.
tagged() {
    exiftool -q -o "$1" "${@:3}" "$2"
}
tagged strip-last.tif colour.tif -ImageDescription='Directory in front'
# The makers' files are TIFF files of both orders that bear a maker's name.
tagged nikon.tif "$out/packbits.tif" -Make='NIKON CORPORATION' -Model='NIKON D1'
tagged pentax.tif "$out/packbits.tif" -Make='PENTAX Corporation'
tagged sony.tif "$out/deflate.tif" -Make=SONY -Model=DSLR
tagged kodak.tif "$out/deflate.tif" -DocumentName=P1000001.DCR
# The version decides, whatever the maker.
tagged version.tif "$out/deflate.tif" -DNGVersion='1 4 0 0' -Make='NIKON CORPORATION'

mv strip-last.tif "$out"
mv nikon.tif "$out/maker.nef"
mv pentax.tif "$out/maker.pef"
mv sony.tif "$out/maker.arw"
mv kodak.tif "$out/name.dcr"
mv version.tif "$out/version.dng"

# ---- every file must be whole -------------------------------------------

for file in "$out"/*.tif "$out"/{maker.nef,maker.pef,maker.arw,name.dcr,version.dng}; do
    convert "tiff:$file" null:
done

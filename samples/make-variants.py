#!/usr/bin/env python3
"""Makes some hundreds of files, one for each variant of a format, with the programs of a Debian system.

They are there to be recovered: `bench/score OUTDIR` lays them on an image and says what comes back. What cannot be made here,
since a program is missing, is left out with a line on stderr. The same versions of the programs give mostly the same bytes.

Debian packages that it uses when they are there: ffmpeg sox lame twolame vorbis-tools opus-tools mkvtoolnix imagemagick
libjpeg-turbo-progs libimage-exiftool-perl libtiff-tools webp icoutils gimp inkscape python3-pil libreoffice-writer
libreoffice-calc libreoffice-impress libreoffice-draw libreoffice-math ghostscript qpdf zip p7zip-full gcab.

Group "tools" also: abiword a2ps advancecomp atomicparsley bsdtar (libarchive-tools) dia dvdauthor enscript eyed3 flac flvmeta
gifsicle git gnumeric graphicsmagick groff gstreamer1.0-tools gstreamer1.0-plugins-{good,bad,ugly} gstreamer1.0-libav guetzli id3v2
libarchive-zip-perl libavif-bin libheif-examples librsvg2-bin libvips-tools lilypond minizip mjpegtools mp3gain mupdf-tools netpbm
oggz-tools openscad optipng pandoc pdftk-java pngcrush pngquant poppler-utils pstoedit sndfile-programs speex wkhtmltopdf yamdi
exiv2 fp-utils haxe libgsf-bin zipmerge ziptool 7zip. Group "libraries": python3-{docx,ezdxf,imageio,matplotlib,mido,mutagen,odf,
openpyxl,pikepdf,py7zr,pypdf2,reportlab,tifffile,xlsxwriter,xlwt}, a JDK and lib{apache-poi,commons-compress,itext5,pdfbox2}-java;
run it with the system's own Python.
"""

import argparse
import sys
import time

# Loading the makers must not leave a __pycache__ beside them.
sys.dont_write_bytecode = True

from variants import GROUPS                                     # noqa: E402
from variants.workshop import Missing, Workshop                 # noqa: E402


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("out", metavar="OUTDIR", help="folder for the files: OUTDIR/EXT/NAME.EXT; older ones are replaced")
    parser.add_argument("--only", metavar="GROUP", nargs="+", choices=sorted(GROUPS),
                        help="make these groups alone: " + ", ".join(sorted(GROUPS)))
    arguments = parser.parse_args()

    shop = Workshop(arguments.out)
    try:
        for group in arguments.only or GROUPS:
            for maker in GROUPS[group]:
                begin, before = time.monotonic(), shop.made
                try:
                    maker(shop)
                except Missing as why:
                    shop.skip(f"more of {maker.__name__}", why)
                print(f"{group}/{maker.__name__}: {shop.made - before} files, {time.monotonic() - begin:.1f} s")
    finally:
        shop.close()
    print(f"{shop.made} files made, {shop.skipped} left out")
    return 0 if shop.made else 1


if __name__ == "__main__":
    sys.exit(main())

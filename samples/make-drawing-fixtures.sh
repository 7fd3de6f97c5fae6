#!/usr/bin/env bash
# Makes the small layered pictures and drawings in fixtures/: XCF, PSD, PSB and
# DXF. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   gimp          the XCF files and a PSD file with layers
#   imagemagick   the other PSD files and the PSB file
#   potrace       a DXF file of entities only, with a comment in front
#   pstoedit      DXF files of two releases
#   python3       the binary DXF files, which are the others once more
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need gimp convert potrace pstoedit python3
cd "$work"

mkdir -p config

# ---- XCF, and a PSD with the same layers ----------------------------------

cat >pictures.scm <<'END'
(define (bars img layer h)
  (let ((i 0))
    (while (< i 6)
      (gimp-image-select-rectangle img CHANNEL-OP-REPLACE (* i 16) 0 7 h)
      (gimp-context-set-foreground (list (* i 40) 90 (- 250 (* i 40))))
      (gimp-drawable-edit-fill layer FILL-FOREGROUND)
      (set! i (+ i 1))))
  (gimp-selection-none img))
(define (picture name w h type precision more)
  (let* ((img (car (gimp-image-new-with-precision w h RGB precision)))
         (layer (car (gimp-layer-new img w h type "Bars" 100 LAYER-MODE-NORMAL-LEGACY))))
    (gimp-image-insert-layer img layer 0 0)
    (gimp-drawable-fill layer FILL-WHITE)
    (bars img layer h)
    (more img layer)
    (gimp-xcf-save 0 img layer name name)
    img))
(define (as-it-is img layer) #t)
; Ends with a tile, since neither side is longer than one.
(picture "small.xcf" 40 30 RGB-IMAGE PRECISION-U8-GAMMA as-it-is)
; Pointers of 8 bytes.
(picture "deep.xcf" 70 30 RGB-IMAGE PRECISION-FLOAT-LINEAR as-it-is)
(picture "palette.xcf" 50 50 RGB-IMAGE PRECISION-U8-GAMMA
  (lambda (img layer)
    (gimp-image-convert-indexed img CONVERT-DITHER-NONE CONVERT-PALETTE-GENERATE 16 FALSE TRUE "")))
(let ((img
  (picture "layers.xcf" 90 70 RGBA-IMAGE PRECISION-U8-GAMMA
    (lambda (img layer)
      (let ((second (car (gimp-layer-copy layer TRUE)))
            (path (car (gimp-vectors-new img "Way"))))
        (gimp-image-insert-layer img second 0 0)
        (gimp-layer-add-mask second (car (gimp-layer-create-mask second ADD-MASK-WHITE)))
        (gimp-image-insert-channel img (car (gimp-channel-new img 90 70 "Extra" 50 '(0 0 0))) 0 0)
        (gimp-image-insert-vectors img path 0 0)
        (gimp-vectors-bezier-stroke-new-moveto path 3 3))))))
  (file-psd-save 1 img (car (gimp-image-get-active-layer img)) "layers.psd" "layers.psd" 0 0))
(gimp-quit 1)
END
GIMP2_DIRECTORY=$work/config gimp -i -n -d -b - <pictures.scm >gimp.log 2>&1 || {
    cat gimp.log >&2
    exit 1
}
cp small.xcf deep.xcf palette.xcf layers.xcf layers.psd "$out"

# ---- PSD and PSB ----------------------------------------------------------

convert -size 40x24 gradient:red-blue \( -size 12x12 xc:lime \) -geometry +8+8 -composite scene.png
convert scene.png -compress RLE "$out/packed.psd"
convert scene.png -compress None "$out/raw.psd"
convert scene.png -colorspace CMYK -depth 16 -compress RLE "$out/cmyk16.psd"
convert scene.png -colors 16 -type palette "$out/palette.psd"
convert scene.png -compress RLE "$out/large.psb"

# ---- DXF ------------------------------------------------------------------

convert -size 60x40 xc:white -fill black -draw 'circle 30,20 30,4' -draw 'rectangle 2,2 12,12' scene.pbm
potrace -b dxf scene.pbm -o "$out/traced.dxf"
cat >roof.eps <<'END'
%!PS-Adobe-3.0 EPSF-3.0
%%BoundingBox: 0 0 200 120
newpath 10 10 moveto 190 10 lineto 100 110 lineto closepath stroke
newpath 100 50 30 0 360 arc stroke
showpage
END
pstoedit -f dxf roof.eps "$out/release12.dxf" 2>pstoedit.log
pstoedit -f dxf_14 roof.eps release14.dxf 2>>pstoedit.log
# With the line ends of the system that the format comes from, and its end of file.
sed 's/$/\r/' release14.dxf >"$out/release14.dxf"
printf '\x1a' >>"$out/release14.dxf"

python3 - "$out" <<'END'
import struct
import sys

out = sys.argv[1]


# The value's layout for a group code; text where there is none.
def layout(code):
    if 10 <= code <= 59 or 110 <= code <= 149 or 210 <= code <= 239 or 1010 <= code <= 1059:
        return "<d"
    if 60 <= code <= 79 or 170 <= code <= 179 or 270 <= code <= 289 or 370 <= code <= 389 or 1060 <= code <= 1070:
        return "<H"
    if 90 <= code <= 99:
        return "<I"
    return None


def binary(name, source, wide):
    lines = open(source, encoding="ascii").read().split("\n")
    data = b"AutoCAD Binary DXF\r\n\x1a\0"
    for code, value in zip(lines[0::2], lines[1::2]):
        code = int(code)
        if code == 999:
            continue
        value = value.rstrip("\r")
        data += struct.pack("<H", code) if wide else bytes((code,)) if code < 255 else b"\xff" + struct.pack("<H", code)
        form = layout(code)
        number = float(value) if form == "<d" else int(value) & 0xFFFF if form else 0
        data += struct.pack(form, number) if form else value.encode("ascii") + b"\0"
    open(out + "/" + name, "wb").write(data)


binary("release10.binary.dxf", out + "/release12.dxf", False)
binary("release14.binary.dxf", "release14.dxf", True)
END

"$here/check-fixtures.py"

"""One line a file: what further programs of a Debian system write. In a line, OUT is the file to make and {name} a source."""

import shlex

from .sounds import FFMPEG
from .workshop import Missing, text

ENCODE = " ".join(FFMPEG)
DRAWING = """<svg xmlns="http://www.w3.org/2000/svg" width="300" height="200"><rect x="9" y="9" width="99" height="90" fill="#c33"/>
<path d="M 10 150 C 60 10 200 190 290 40" stroke="#06c" stroke-width="5" fill="none"/><text x="20" y="190">words</text></svg>
"""
POSTSCRIPT = b"""%!PS-Adobe-3.0 EPSF-3.0
%%BoundingBox: 0 0 300 200
%%EndComments
/Times-Roman findfont 20 scalefont setfont
1 1 9 { dup 20 mul dup moveto (some words) show } for
0 3 200 { dup 0 moveto 300 exch lineto stroke } for
showpage
%%EOF
"""

PICTURES = """
jpg jpegtran-progressive  jpegtran -copy all -progressive -outfile OUT {jpeg}
jpg jpegtran-cropped      jpegtran -crop 100x80+16+16 -outfile OUT {jpeg}
jpg jpegtran-arithmetic   jpegtran -arithmetic -progressive -outfile OUT {jpeg}
jpg guetzli               guetzli --quality 84 {small} OUT
jpg netpbm                sh -c "pnmtojpeg --quality=70 --optimize {ppm} > OUT"
jpg netpbm-comment        sh -c "pnmtojpeg --comment='a comment' --smooth=5 {ppm} > OUT"
jpg graphicsmagick        gm convert -quality 60 -interlace Plane {png} OUT
jpg cmyk                  convert {png} -colorspace CMYK OUT
jpg grey                  convert {png} -colorspace Gray -quality 30 OUT
jpg sampling-4x1          convert {png} -sampling-factor 4x1 OUT
jpg sampling-1x2          convert {png} -sampling-factor 1x2,1x1,1x1 OUT
jpg one-pixel             convert {png} -crop 1x1+9+9 +repage OUT
jpg vips                  vips jpegsave {png} OUT --Q 70 --interlace --optimize-coding
jpg vips-trellis          vips jpegsave {png} OUT --Q 95 --subsample-mode off
jpg lossless              {ffmpeg} -i {png} -frames:v 1 -c:v ljpeg -f image2 OUT
jpg still-frame           {ffmpeg} -i {png} -frames:v 1 -c:v mjpeg -huffman default -pix_fmt yuvj422p -f image2 OUT
jpg gstreamer             gst-launch-1.0 -q filesrc location={png} ! pngdec ! videoconvert ! jpegenc quality=70 ! filesink location=OUT
jpg gstreamer-film-frame  gst-launch-1.0 -q videotestsrc num-buffers=1 ! avenc_mjpeg ! filesink location=OUT
jpg mupdf                 sh -c "mutool draw -q -F pnm -o page.pnm {pdf} 1 && cjpeg -quality 50 -outfile OUT page.pnm"
jpg poppler               sh -c "pdftoppm -jpeg -singlefile {pdf} poppler && mv poppler.jpg OUT"
jpg ghostscript           gs -q -dNOPAUSE -dBATCH -sDEVICE=jpeg -r100 -sOutputFile=OUT {pdf}
heic plain                heif-enc -q 50 -o OUT {png}
heic lossless             heif-enc -L -o OUT {small}
heic thumbnail            heif-enc --thumb 100 -o OUT {jpeg}
heic two                  heif-enc -o OUT {png} {small}
avif plain                avifenc -s 8 {png} OUT
avif lossless             avifenc -s 8 -l {small} OUT
avif grid                 avifenc -s 8 --grid 1x1 {png} OUT
avif sequence             avifenc -s 8 --timescale 10 {small} {small} OUT
avif heif                 heif-enc -A -o OUT {png}
png optipng               optipng -quiet -o1 -out OUT {png}
png pngcrush              pngcrush -q {png} OUT
png pngquant              pngquant --output OUT {png}
png advanced              sh -c "cp {png} OUT && advpng -q -z -2 OUT"
png netpbm                sh -c "pnmtopng -interlace {ppm} > OUT"
png netpbm-grey           sh -c "pnmtopng -downscale {pgm} > OUT"
png cairo                 rsvg-convert -o OUT {svg}
png inkscape              inkscape {svg} --export-type=png --export-filename=OUT
png graphicsmagick        gm convert {png} -comment words OUT
png ghostscript           gs -q -dNOPAUSE -dBATCH -sDEVICE=png256 -r60 -sOutputFile=OUT {pdf}
png poppler               sh -c "pdftoppm -png -r 40 -singlefile {pdf} poppler && mv poppler.png OUT"
png cairo-mono            sh -c "pdftocairo -png -mono -singlefile {pdf} cairo && mv cairo.png OUT"
png vips                  vips pngsave {png} OUT --interlace --compression 3
png gstreamer             gst-launch-1.0 -q videotestsrc num-buffers=1 ! videoconvert ! pngenc ! filesink location=OUT
png ffmpeg-16             {ffmpeg} -i {png} -frames:v 1 -pix_fmt rgb48be -dpi 300 OUT
gif gifsicle-interlaced   gifsicle -i -O3 -o OUT {gif}
gif gifsicle-named        gifsicle -n title --extension 5 data -o OUT {gif}
gif netpbm                sh -c "pamtogif -interlace -comment=words {pgm} > OUT"
gif graphicsmagick        gm convert {png} OUT
gif ffmpeg-many           {ffmpeg} -f lavfi -i testsrc=size=160x120:rate=25:duration=4 OUT
bmp netpbm                sh -c "ppmtobmp {ppm} > OUT"
bmp netpbm-os2            sh -c "ppmtobmp -os2 {ppm8} > OUT"
bmp netpbm-4              sh -c "pnmquant 12 {ppm} | ppmtobmp > OUT"
bmp graphicsmagick        gm convert {png} OUT
bmp cjpeg-source          sh -c "djpeg -bmp -outfile OUT {jpeg}"
bmp cjpeg-os2             sh -c "djpeg -os2 -colors 200 -outfile OUT {jpeg}"
bmp ffmpeg-565            {ffmpeg} -i {png} -frames:v 1 -pix_fmt rgb565le OUT
bmp ffmpeg-555            {ffmpeg} -i {png} -frames:v 1 -pix_fmt rgb555le OUT
bmp ffmpeg-pal8           {ffmpeg} -i {png} -frames:v 1 -pix_fmt pal8 OUT
bmp ffmpeg-mono           {ffmpeg} -i {png} -frames:v 1 -pix_fmt monob OUT
bmp ffmpeg-bgra           {ffmpeg} -i {png} -frames:v 1 -pix_fmt bgra OUT
bmp ghostscript           gs -q -dNOPAUSE -dBATCH -sDEVICE=bmp16m -r60 -sOutputFile=OUT {pdf}
bmp ghostscript-mono      gs -q -dNOPAUSE -dBATCH -sDEVICE=bmpmono -r60 -sOutputFile=OUT {pdf}
ico netpbm                sh -c "ppmtowinicon {icon} > OUT"
ico netpbm-png            sh -c "pamtowinicon -pngthreshold=16 {icon} > OUT"
ico ffmpeg                {ffmpeg} -i {small} -frames:v 1 -s 48x48 OUT
ico magick-sizes          convert {png} -define icon:auto-resize=256,128,64,48,32,16 OUT
ico magick-colours        convert {small} -resize 32x32 -colors 16 OUT
pcx netpbm                sh -c "ppmtopcx {ppm} > OUT"
pcx netpbm-8              sh -c "pnmquant 99 {ppm} | ppmtopcx -8bit > OUT"
pcx netpbm-4              sh -c "pnmquant 14 {ppm} | ppmtopcx > OUT"
pcx netpbm-2              sh -c "pnmquant 2 {ppm} | ppmtopcx -packed > OUT"
pcx graphicsmagick        gm convert {png} OUT
pcx ghostscript           gs -q -dNOPAUSE -dBATCH -sDEVICE=pcx24b -r60 -sOutputFile=OUT {pdf}
pcx ghostscript-256       gs -q -dNOPAUSE -dBATCH -sDEVICE=pcx256 -r60 -sOutputFile=OUT {pdf}
pcx ghostscript-mono      gs -q -dNOPAUSE -dBATCH -sDEVICE=pcxmono -r60 -sOutputFile=OUT {pdf}
pcx ghostscript-16        gs -q -dNOPAUSE -dBATCH -sDEVICE=pcx16 -r60 -sOutputFile=OUT {pdf}
psd ghostscript           gs -q -dNOPAUSE -dBATCH -sDEVICE=psdcmyk -r40 -sOutputFile=OUT {pdf}
psd ghostscript-rgb       gs -q -dNOPAUSE -dBATCH -sDEVICE=psdrgb -r40 -sOutputFile=OUT {pdf}
psb magick                convert {png} OUT
psb magick-layers         convert {png} {small} {small} OUT
psd magick-zip            convert {png} -compress Zip OUT
psd magick-indexed        convert {png} -colors 60 -type Palette OUT
psd magick-bilevel        convert {png} -monochrome OUT
psd magick-alpha          convert {png} -alpha set -profile {profile} OUT
tif netpbm                sh -c "pamtotiff -lzw -truecolor -output=OUT {ppm}"
tif netpbm-fax            sh -c "pamthreshold {pgm} | pamtotiff -g3 -output=OUT"
tif netpbm-flate          sh -c "pamtotiff -flate -predictor=2 -output=OUT {ppm}"
tif graphicsmagick        gm convert {png} -compress LZW OUT
tif graphicsmagick-group4 gm convert {png} -monochrome -compress Group4 OUT
tif ghostscript-24        gs -q -dNOPAUSE -dBATCH -sDEVICE=tiff24nc -r60 -sOutputFile=OUT {pages}
tif ghostscript-fax       gs -q -dNOPAUSE -dBATCH -sDEVICE=tiffg4 -r100 -sOutputFile=OUT {pages}
tif ghostscript-g3        gs -q -dNOPAUSE -dBATCH -sDEVICE=tiffg32d -sOutputFile=OUT {pages}
tif ghostscript-lzw       gs -q -dNOPAUSE -dBATCH -sDEVICE=tifflzw -sOutputFile=OUT {pages}
tif ghostscript-scaled    gs -q -dNOPAUSE -dBATCH -sDEVICE=tiffscaled24 -sCompression=pack -sOutputFile=OUT {pages}
tif tiffcp-jpeg           tiffcp -c jpeg:r:70 -r 16 {tiff} OUT
tif tiffcp-jpeg-tiles     tiffcp -c jpeg -t -w 64 -l 64 {tiff} OUT
tif tiffcp-packbits       tiffcp -c packbits {tiff} OUT
tif tiffcp-lzma           tiffcp -c lzma {tiff} OUT
tif tiffcp-zstd           tiffcp -c zstd {tiff} OUT
tif tiffcp-webp           tiffcp -c webp {tiff} OUT
tif tiffcp-many           tiffcp -c lzw {tiff} {tiff} {tiff} {tiff} OUT
tif tiff2bw               tiff2bw {tiff} OUT
tif vips                  vips tiffsave {png} OUT --compression jpeg --tile --pyramid
tif vips-big              vips tiffsave {png} OUT --bigtiff --compression deflate --predictor horizontal
tif vips-subifd           vips tiffsave {png} OUT --tile --pyramid --subifd --compression lzw
tif vips-properties       vips tiffsave {png} OUT --properties --miniswhite --bitdepth 1
tif poppler               sh -c "pdftoppm -tiff -tiffcompression lzw -r 50 -singlefile {pdf} poppler && mv poppler.tif OUT"
webp vips                 vips webpsave {png} OUT --Q 50
webp img2webp             img2webp -o OUT -lossy {small} -d 80 {small}
webp gif2webp             gif2webp -quiet -mixed {gif} -o OUT
webp muxed                sh -c "cwebp -quiet {png} -o plain.webp && webpmux -set xmp {svg} plain.webp -o with.webp && webpmux -set icc {profile} with.webp -o OUT"
emf pstoedit              pstoedit -q -f emf {eps} OUT
dxf pstoedit              pstoedit -q -f dxf {eps} OUT
dxf pstoedit-splines      pstoedit -q -f dxf_s {eps} OUT
dxf dia                   dia -n -e OUT -t dxf {dia}
pdf dia                   dia -n -e OUT -t cairo-pdf {dia}
svg dia                   dia -n -e OUT -t svg {dia}
dxf openscad              openscad -o OUT --export-format dxf {scad}
"""

SOUNDS = """
wav sndfile-double   sndfile-convert -float64 {wav} OUT
wav sndfile-ms-adpcm sndfile-convert -ms-adpcm {wav} OUT
wav sndfile-ulaw     sndfile-convert -ulaw {wav} OUT
wav sndfile-rf64        sndfile-convert {wav} OUT
aif sndfile-float    sndfile-convert -float32 {wav} OUT
aifc sndfile-ima     sndfile-convert -ima-adpcm {wav} OUT
au sndfile-double    sndfile-convert -float64 {wav} OUT
wav sox-ima          sox {wav} -e ima-adpcm OUT
wav sox-ms           sox {wav} -e ms-adpcm OUT
wav sox-piped        sh -c "sox {wav} -t wav - | cat > OUT"
wav sox-8            sox {wav} -b 8 -c 1 -r 11025 OUT trim 0 1.00003
wav sox-comment      sox {wav} --comment "a note" OUT
aiff sox-8-odd       sox {wav} -b 8 -c 1 OUT trim 0 40001s
aiff sox-24          sox {wav} -b 24 OUT
aifc sox-32          sox {wav} -b 32 OUT
au sox-piped         sh -c "sox {wav} -t au - | cat > OUT"
wav gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=60 ! wavenc ! filesink location=OUT
wav gstreamer-tags   gst-launch-1.0 -q audiotestsrc num-buffers=60 ! taginject tags=title=words ! wavenc ! filesink location=OUT
wav flac-decoded     sh -c "flac -s -o x.flac -f {wav} && flac -s -d -f -o OUT x.flac"
wav flac-rf64        sh -c "flac -s -f -o x.flac {wav} && flac -s -d --force-rf64-format -f -o OUT x.flac"
wav mp3-decoded      sh -c "lame --quiet {wav} x.mp3 && lame --quiet --decode x.mp3 OUT"
wav ogg-decoded      sh -c "oggdec -Q -o OUT {ogg}"
aif ffmpeg-tagged    {ffmpeg} -i {wav} -metadata title=words -write_id3v2 1 -f aiff OUT
wav ffmpeg-info      {ffmpeg} -i {wav} -metadata title=words -metadata artist=somebody OUT
w64 ffmpeg           {ffmpeg} -i {wav} OUT
mp3 gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! lamemp3enc target=bitrate cbr=true ! filesink location=OUT
mp3 gstreamer-tags   gst-launch-1.0 -q audiotestsrc num-buffers=200 ! lamemp3enc ! xingmux ! id3v2mux ! filesink location=OUT
mp3 gstreamer-ape    gst-launch-1.0 -q audiotestsrc num-buffers=200 ! lamemp3enc ! apev2mux ! filesink location=OUT
mp3 lame-free        lame --quiet --freeformat -b 400 {wav} OUT
mp3 lame-both-tags   lame --quiet --tt words --ta somebody --tl album --ty 2001 --tc note --add-id3v2 --pad-id3v2-size 3000 {wav} OUT
mp3 lame-phone       lame --quiet --preset phone {wav} OUT
mp3 lame-insane      lame --quiet --preset insane {wav} OUT
mp3 lame-joint       lame --quiet -m j -b 112 -h --strictly-enforce-ISO {wav} OUT
mp3 ffmpeg-cover     {ffmpeg} -i {wav} -i {jpeg} -map 0 -map 1 -c:v copy -id3v2_version 3 -write_id3v1 1 -metadata title=words OUT
mp3 ffmpeg-ape       {ffmpeg} -i {wav} -write_apetag 1 -write_id3v1 1 -metadata title=words -f mp3 OUT
mp3 mp3gain          sh -c "lame --quiet {wav} gain.mp3 && mp3gain -q -r -c gain.mp3 && mv gain.mp3 OUT"
mp3 mp3gain-id3      sh -c "lame --quiet --tt words {wav} gain.mp3 && mp3gain -q -s i -r -c gain.mp3 && mv gain.mp3 OUT"
mp3 eyed3            sh -c "lame --quiet {wav} eye.mp3 && eyeD3 -Q -a somebody -t words --add-image {jpeg}:FRONT_COVER eye.mp3 && mv eye.mp3 OUT"
mp3 id3v2            sh -c "lame --quiet {wav} two.mp3 && id3v2 -a somebody -t words two.mp3 && mv two.mp3 OUT"
mp2 twolame-dab      twolame -b 128 --energy {wav} OUT
mp2 gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! twolamemp2enc ! filesink location=OUT
ogg gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! vorbisenc ! oggmux ! filesink location=OUT
ogg gstreamer-opus   gst-launch-1.0 -q audiotestsrc num-buffers=200 ! opusenc ! oggmux ! filesink location=OUT
ogg flac             flac -s --ogg --serial-number=7 -o OUT {wav}
spx speexenc         speexenc {mono} OUT
spx speexenc-vbr     speexenc --vbr --nframes 3 --comment a=b {mono} OUT
opus opusenc-low     opusenc --quiet --bitrate 12 --framesize 60 --comment a=b {wav} OUT
opus opusenc-cover   opusenc --quiet --picture {jpeg} {wav} OUT
ogv gstreamer        gst-launch-1.0 -q videotestsrc num-buffers=40 ! theoraenc ! oggmux name=m ! filesink location=OUT audiotestsrc num-buffers=80 ! vorbisenc ! m.
ogv ffmpeg-skeleton  {ffmpeg} -f lavfi -i testsrc2=size=96x64:rate=10:duration=2 -c:v libtheora -metadata title=words OUT
ogg oggz-merged      oggz merge -o OUT {ogg} {opus}
ogg oggz-chopped     oggz chop -s 0.5 -e 1.5 -o OUT {ogg}
ogg oggz-sorted      oggz sort -o OUT {ogg}
ogg vorbiscomment    sh -c "vorbiscomment -w -t A=words {ogg} OUT"
mid abc              abc2midi {abc} -o OUT
mid lilypond         sh -c "lilypond -s -dno-print-pages -o song {ly} && mv song.midi OUT"
m4a gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! avenc_aac ! mp4mux ! filesink location=OUT
m4a atomicparsley    sh -c "{ffmpeg} -i {wav} -f ipod atom.m4a && AtomicParsley atom.m4a --title words --artwork {jpeg} --overWrite && mv atom.m4a OUT"
m4a chapters         {ffmpeg} -i {wav} -i {chapters} -map_metadata 1 -map 0 -f ipod OUT
wma gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! avenc_wmav2 ! asfmux ! filesink location=OUT
aac gstreamer        gst-launch-1.0 -q audiotestsrc num-buffers=200 ! avenc_aac ! aacparse ! audio/mpeg,stream-format=adts ! filesink location=OUT
"""

CLIP = "-f lavfi -i testsrc2=size=176x144:rate=15:duration=3"
TONE = "-f lavfi -i sine=frequency=440:sample_rate=44100:duration=3"
LIVE = "videotestsrc num-buffers=60 ! video/x-raw,width=160,height=120,framerate=15/1"
FILMS = f"""
mp4 chapters           {{ffmpeg}} {CLIP} {TONE} -i {{chapters}} -map_metadata 2 -map 0 -map 1 OUT
mp4 timecode           {{ffmpeg}} {CLIP} -timecode 01:00:00:00 -write_tmcd 1 OUT
mp4 hinted             {{ffmpeg}} {CLIP} -movflags rtphint OUT
mp4 cover              {{ffmpeg}} {CLIP} -i {{jpeg}} -map 0 -map 1 -c:v:1 copy -disposition:v:1 attached_pic OUT
mp4 av1                {{ffmpeg}} -f lavfi -i testsrc2=size=96x64:rate=5:duration=1 -c:v libaom-av1 -cpu-used 8 OUT
mp4 vp9                {{ffmpeg}} {CLIP} -c:v libvpx-vp9 -deadline realtime OUT
mp4 tags               {{ffmpeg}} {CLIP} -movflags use_metadata_tags -metadata own=words OUT
mp4 reserved           {{ffmpeg}} {CLIP} -moov_size 40000 OUT
mp4 brand              {{ffmpeg}} {CLIP} -brand avc1 OUT
mp4 encrypted          {{ffmpeg}} {CLIP} -encryption_scheme cenc-aes-ctr -encryption_key 76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8 OUT
mp4 gstreamer          gst-launch-1.0 -q {LIVE} ! x264enc ! mp4mux ! filesink location=OUT
mp4 gstreamer-fragment gst-launch-1.0 -q {LIVE} ! x264enc ! mp4mux fragment-duration=500 ! filesink location=OUT
mp4 gstreamer-stream   gst-launch-1.0 -q {LIVE} ! x264enc ! mp4mux fragment-duration=500 streamable=true ! filesink location=OUT
mp4 gstreamer-fast     gst-launch-1.0 -q {LIVE} ! x264enc ! mp4mux faststart=true ! filesink location=OUT
mp4 motion-jpeg        {{ffmpeg}} {CLIP} -c:v mjpeg OUT
ismv plain             {{ffmpeg}} {CLIP} {TONE} -c:v libx264 -c:a aac OUT
f4v plain              {{ffmpeg}} {CLIP} {TONE} -c:v libx264 -c:a aac OUT
3g2 plain              {{ffmpeg}} {CLIP} {TONE} -c:v h263 -c:a aac OUT
3gp gstreamer          gst-launch-1.0 -q {LIVE} ! x264enc ! 3gppmux ! filesink location=OUT
mov gstreamer          gst-launch-1.0 -q {LIVE} ! jpegenc ! qtmux ! filesink location=OUT
mov gstreamer-fragment gst-launch-1.0 -q {LIVE} ! x264enc ! qtmux fragment-duration=400 ! filesink location=OUT
mov gstreamer-timecode gst-launch-1.0 -q {LIVE} ! timecodestamper ! x264enc ! qtmux ! filesink location=OUT
mov dv                 {{ffmpeg}} {CLIP} -target pal-dv -f mov OUT
mov dnxhd              {{ffmpeg}} {CLIP} -s 1920x1080 -r 25 -t 0.3 -c:v dnxhd -b:v 120M OUT
mov raw                {{ffmpeg}} {CLIP} -t 0.3 -c:v rawvideo OUT
mov alac               {{ffmpeg}} {TONE} -c:a alac OUT
mov timecode           {{ffmpeg}} {CLIP} {TONE} -timecode 01:00:00:00 OUT
mov chapters           {{ffmpeg}} {CLIP} -i {{chapters}} -map_metadata 1 -map 0 OUT
avi dv                 {{ffmpeg}} {CLIP} -target pal-dv -f avi OUT
avi gstreamer          gst-launch-1.0 -q {LIVE} ! jpegenc ! avimux ! filesink location=OUT
avi gstreamer-raw      gst-launch-1.0 -q {LIVE} ! videoconvert ! avimux name=m ! filesink location=OUT audiotestsrc num-buffers=100 ! m.
avi ac3                {{ffmpeg}} {CLIP} {TONE} -c:v mpeg4 -vtag XVID -c:a ac3 OUT
avi two-sounds         {{ffmpeg}} {CLIP} {TONE} -map 0 -map 1 -map 1 -c:v mpeg4 -c:a libmp3lame OUT
avi cinepak            {{ffmpeg}} {CLIP} -t 1 -c:v cinepak OUT
avi msvideo            {{ffmpeg}} {CLIP} -c:v msvideo1 OUT
avi sound-only         {{ffmpeg}} {TONE} -c:a pcm_s16le -f avi OUT
avi piped              sh -c "{{ffmpeg}} {CLIP} -c:v mjpeg -f avi - | cat > OUT"
avi mencoder-like      {{ffmpeg}} {CLIP} {TONE} -c:v msmpeg4v2 -c:a mp2 -reserve_index_space 8192 OUT
mkv gstreamer          gst-launch-1.0 -q {LIVE} ! x264enc ! matroskamux ! filesink location=OUT
mkv gstreamer-stream   gst-launch-1.0 -q {LIVE} ! x264enc ! matroskamux streamable=true ! filesink location=OUT
webm gstreamer         gst-launch-1.0 -q {LIVE} ! vp8enc ! webmmux ! filesink location=OUT
webm gstreamer-stream  gst-launch-1.0 -q {LIVE} ! vp8enc ! webmmux streamable=true ! filesink location=OUT
webm alpha             {{ffmpeg}} {CLIP} -c:v libvpx -pix_fmt yuva420p -auto-alt-ref 0 OUT
webm dash              {{ffmpeg}} {CLIP} -c:v libvpx -dash 1 OUT
mkv subtitles          {{ffmpeg}} {CLIP} -i {{srt}} -c:v mpeg4 -c:s srt OUT
mkv chapters           {{ffmpeg}} {CLIP} -i {{chapters}} -map_metadata 1 -map 0 -c:v libx264 OUT
mkv cover              {{ffmpeg}} {CLIP} -attach {{jpeg}} -metadata:s:t mimetype=image/jpeg -c:v libx264 OUT
mkv raw                {{ffmpeg}} {CLIP} -t 0.3 -c:v rawvideo -allow_raw_vfw 1 OUT
mka sound              {{ffmpeg}} {TONE} -c:a flac OUT
mkv mkvmerge-3d        mkvmerge -q --stereo-mode 0:1 -o OUT {{mp4}}
mkv mkvmerge-old       mkvmerge -q --engage no_simpleblocks --engage no_cue_duration --disable-lacing -o OUT {{mp4}}
webm mkvmerge          mkvmerge -q --webm -o OUT {{webm}}
mkv mkvpropedit        sh -c "mkvmerge -q -o prop.mkv {{mp4}} && mkvpropedit -q prop.mkv --set title=words --add-attachment {{jpeg}} && mv prop.mkv OUT"
flv gstreamer          gst-launch-1.0 -q {LIVE} ! x264enc ! flvmux ! filesink location=OUT
flv gstreamer-stream   gst-launch-1.0 -q {LIVE} ! x264enc ! flvmux streamable=true ! filesink location=OUT
flv yamdi              yamdi -i {{flv}} -o OUT
flv flvmeta            flvmeta -U {{flv}} OUT
flv screen             {{ffmpeg}} {CLIP} -c:v flashsv OUT
flv speex              {{ffmpeg}} {TONE} -c:a libspeex -ar 16000 -ac 1 OUT
swf screen             {{ffmpeg}} {CLIP} -c:v flv -b:v 100k OUT
ts gstreamer           gst-launch-1.0 -q {LIVE} ! x264enc ! mpegtsmux ! filesink location=OUT
m2ts gstreamer         gst-launch-1.0 -q {LIVE} ! x264enc ! mpegtsmux m2ts-mode=true ! filesink location=OUT
ts gstreamer-aligned   gst-launch-1.0 -q {LIVE} ! x264enc ! mpegtsmux alignment=7 ! filesink location=OUT
ts hevc                {{ffmpeg}} {CLIP} -c:v libx265 -x265-params log-level=none -f mpegts OUT
ts data                {{ffmpeg}} {CLIP} {TONE} -c:v mpeg2video -c:a ac3 -mpegts_flags system_b -streamid 0:500 -f mpegts OUT
ts radio               {{ffmpeg}} {TONE} -c:a mp2 -f mpegts OUT
mpg mplex-svcd         mplex -v 0 -f 4 -o OUT {{m2v}} {{mp2}}
vob mplex-dvd          mplex -v 0 -f 8 -o OUT {{m2v}} {{mp2}}
vob dvdauthor          sh -c "VIDEO_FORMAT=PAL dvdauthor -o disc -t {{vob}} && mv disc/VIDEO_TS/VTS_01_1.VOB OUT"
wmv gstreamer          gst-launch-1.0 -q {LIVE} ! avenc_wmv2 ! asfmux ! filesink location=OUT
wmv gstreamer-stream   gst-launch-1.0 -q {LIVE} ! avenc_wmv2 ! asfmux streamable=true ! filesink location=OUT
asf packets            {{ffmpeg}} {CLIP} -c:v msmpeg4 -packet_size 12000 -f asf OUT
rm realaudio           {{ffmpeg}} {CLIP} {TONE} -c:v rv10 -c:a real_144 -ar 8000 -ac 1 OUT
"""

DOCUMENTS = """
eps ghostscript      gs -q -dNOPAUSE -dBATCH -sDEVICE=eps2write -sOutputFile=OUT {pdf}
ps ghostscript       gs -q -dNOPAUSE -dBATCH -sDEVICE=ps2write -sOutputFile=OUT {pages}
eps cairo            rsvg-convert -f eps -o OUT {svg}
ps cairo             rsvg-convert -f ps -o OUT {svg}
pdf cairo            rsvg-convert -f pdf -o OUT {svg}
eps graphicsmagick   gm convert {small} OUT
eps poppler          pdftops -eps {pdf} OUT
ps poppler           pdftops {pages} OUT
eps inkscape         inkscape {svg} --export-type=eps --export-filename=OUT
eps netpbm           sh -c "pnmtops -noturn {ppm} > OUT"
ps enscript          enscript -q -o OUT {text}
ps a2ps              a2ps -q -o OUT {text}
ps groff             sh -c "groff -ms -Tps {text} > OUT"
pdf groff            sh -c "groff -ms -Tpdf {text} > OUT"
eps pstoedit         pstoedit -q -f ps2ai {eps} OUT
pdf pdftk            pdftk {pages} cat 1-2 output OUT
pdf pdftk-encrypted  pdftk {pages} output OUT owner_pw a user_pw b
pdf pdftk-plain      pdftk {pages} output OUT uncompress
pdf pdftk-attached   pdftk {pages} attach_files {svg} output OUT
pdf mutool           mutool clean -gggg {pages} OUT
pdf mutool-linear    mutool clean -z {pages} OUT
pdf mutool-ascii     mutool clean -d -a {pages} OUT
pdf mutool-merged    mutool merge -o OUT {pages} {pdf}
pdf mutool-converted mutool convert -o OUT {svg}
pdf poppler-unite    pdfunite {pages} {pdf} OUT
pdf poppler-separate pdfseparate -f 1 -l 1 {pages} OUT
pdf poppler-cairo    pdftocairo -pdf {pages} OUT
pdf graphicsmagick   gm convert {small} OUT
pdf tiff2pdf         tiff2pdf -o OUT {tiff}
pdf wkhtmltopdf      wkhtmltopdf -q {html} OUT
pdf ghostscript-a    gs -q -dNOPAUSE -dBATCH -dPDFA=2 -sDEVICE=pdfwrite -sColorConversionStrategy=RGB -sOutputFile=OUT {pages}
pdf ghostscript-fast gs -q -dNOPAUSE -dBATCH -dFastWebView=true -sDEVICE=pdfwrite -sOutputFile=OUT {pages}
pdf pstoedit         pstoedit -q -f gs:pdfwrite {eps} OUT
pdf lilypond         sh -c "lilypond -s -o song {ly} && mv song.pdf OUT"
docx pandoc          pandoc -f markdown -o OUT {text}
odt pandoc           pandoc -f markdown -o OUT {text}
pptx pandoc          pandoc -f markdown -o OUT {text}
epub pandoc          pandoc -f markdown --metadata title=words -o OUT {text}
txt pandoc           pandoc -s -f markdown -o OUT {text}
xml pandoc           pandoc -s -f markdown -t fb2 -o OUT {text}
odt abiword          abiword --to=odt --to-name=OUT {html}
docx abiword         abiword --to=docx --to-name=OUT {html}
xls gnumeric-8       ssconvert -T Gnumeric_Excel:excel_biff8 {csv} OUT
xls gnumeric-7       ssconvert -T Gnumeric_Excel:excel_biff7 {csv} OUT
xls gnumeric-dual    ssconvert -T Gnumeric_Excel:excel_dsf {csv} OUT
xlsx gnumeric        ssconvert -T Gnumeric_Excel:xlsx2 {csv} OUT
xlsx gnumeric-2007   ssconvert -T Gnumeric_Excel:xlsx {csv} OUT
ods gnumeric         ssconvert -T Gnumeric_OpenCalc:odf {csv} OUT
html gnumeric        ssconvert -T Gnumeric_html:html40 {csv} OUT
chm free-pascal      sh -c "chmcmd {hhp} && mv help.chm OUT"
swf haxe             haxe --main Made -swf OUT
swf haxe-10          haxe --main Made -swf OUT -D swf-version=10 -debug
ole gsf              gsf createole OUT {text} {svg}
"""

ARCHIVES = """
zip bsdtar          bsdtar -a -cf OUT folder
zip bsdtar-stored   bsdtar -cf OUT --format zip --options zip:compression=store folder
zip bsdtar-zip64    bsdtar -cf OUT --format zip --options zip:zip64 folder
zip bsdtar-crypt    bsdtar -cf OUT --format zip --options zip:encryption=aes256 --passphrase a folder
7z bsdtar           bsdtar -cf OUT --format 7zip folder
7z bsdtar-bzip2     bsdtar -cf OUT --format 7zip --options 7zip:compression=bzip2 folder
zip info-bzip2      zip -q -r -Z bzip2 OUT folder
zip info-stored     zip -q -r -0 -X OUT folder
zip info-descriptor zip -q -r -fd OUT folder
zip info-zip64      zip -q -r -fz OUT folder
zip info-grown      sh -c "zip -q -r grown.zip folder && zip -q -g grown.zip {text} && zip -q -d grown.zip folder/noise-0.bin && mv grown.zip OUT"
zip info-symlinks   sh -c "ln -sf folder/text-0.txt link && zip -q -y -r OUT link folder"
zip minizip         minizip -o -9 OUT {text} {svg}
zip ziptool         ziptool -n OUT add a.txt words add b.txt words set_archive_comment note
zip zipmerge        zipmerge OUT {zip} {zip2}
zip advanced        sh -c "cp {zip} adv.zip && advzip -q -z -2 adv.zip && mv adv.zip OUT"
zip perl            perl -MArchive::Zip -e "$z=Archive::Zip->new; $z->addTree('folder','f'); $z->writeToFileNamed('OUT')"
zip perl-piped      perl -MIO::Compress::Zip=zip -e "zip ['folder/text-0.txt','folder/noise-0.bin'] => 'OUT', Stream=>1"
zip git             sh -c "rm -rf repository && git init -q repository && cp -r folder repository && cd repository && git add . && git -c user.name=a -c user.email=a@b commit -q -m a && git archive --format=zip -o OUT HEAD"
zip 7z-large        7z a -tzip -bd -mx=9 -mcu=on OUT folder
zip 7zz             7zz a -tzip -bd -mm=LZMA OUT folder
zip 7zz-zstd        7zz a -tzip -bd -mm=xz OUT folder
7z 7zz              7zz a -bd -mx=1 OUT folder
7z 7zz-arm          7zz a -bd -m0=BCJ2 -m1=LZMA OUT /usr/bin/zip
7z 7zz-copy         7zz a -bd -m0=Copy -mtc=on -mta=on OUT folder
7z 7zz-comment      7zz a -bd -mf=off -ms=1k OUT folder
7z 7zz-updated      sh -c "7zz a -bd up.7z folder && 7zz a -bd up.7z {svg} && 7zz d -bd up.7z folder/noise-1.bin && mv up.7z OUT"
7z empty-file       sh -c "touch empty && 7zz a -bd OUT empty"
jar jar             jar cf OUT folder
jar jar-stored      jar c0f OUT folder
zip jar-no-manifest jar cMf OUT folder
jar jar-piped       sh -c "jar c folder > OUT"
jar jar-updated     sh -c "jar cf up.jar folder && jar uf up.jar -C . one.txt && mv up.jar OUT"
jar ant             ant -q -f build.xml -Dout=OUT
cab lzx             gcab -c -n -z OUT folder/text-0.txt folder/noise-0.bin
cab 16-files        gcab -c -z OUT folder/text-0.txt folder/text-1.txt folder/text-2.txt folder/text-3.txt
"""


def folder(shop):
    for n in range(4):
        place = shop.scratch / "folder"
        place.mkdir(exist_ok=True)
        (place / f"text-{n}.txt").write_text(text("en", 9000, n))
        (place / f"noise-{n}.bin").write_bytes(bytes((k * k + n) * 7919 >> 5 & 255 for k in range(9000)))
    (shop.scratch / "one.txt").write_text("x")


def sources(shop):
    """Path by name for what the lines above start from; a source that cannot be made is left out with its lines."""
    folder(shop)
    written = {
        "svg": DRAWING.encode(), "eps": POSTSCRIPT, "text": text("en", 20000).encode(), "csv": b"".join(
            b"%d,%d.5,name %d\n" % (n, n * 7, n) for n in range(900)), "html": b"<!DOCTYPE html><html><body><h1>Words</h1><p>"
        + text("en", 5000).encode() + b"</p></body></html>\n", "srt": b"1\n00:00:00,000 --> 00:00:01,000\nA word\n",
        "chapters": b";FFMETADATA1\ntitle=words\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=one\n"
                    b"[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=2000\ntitle=two\n",
        "abc": b"X:1\nT:Words\nM:4/4\nL:1/8\nK:C\n" + b"CDEF GABc|cBAG FEDC|\n" * 9, "ly": b'\\version "2.24.0"\n\\score { \\relative '
        b"c' { " + b"c d e f g a b c " * 9 + b"} \\layout { } \\midi { } }\n", "scad": b"difference() { square(10); circle(3); }\n",
        "hhp": b"[OPTIONS]\nCompiled file=help.chm\nDefault topic=x.html\nTitle=words\n[FILES]\nx.html\n",
    }
    commands = {
        "ppm": "convert {png} OUT", "ppm8": "sh -c 'pnmquant 200 {ppm} > OUT'", "pgm": "convert {png} -colorspace Gray OUT",
        "icon": "convert {png} -resize 48x48! -colors 200 ppm:OUT", "jpeg": "convert {png} -quality 85 jpeg:OUT",
        "gif": "convert {small} gif:OUT", "tiff": "convert {png} -compress None tiff:OUT",
        "profile": "cp /usr/share/color/icc/ghostscript/srgb.icc OUT",
        "pdf": "gs -q -dNOPAUSE -dBATCH -sDEVICE=pdfwrite -sOutputFile=OUT {eps}",
        "pages": "gs -q -dNOPAUSE -dBATCH -sDEVICE=pdfwrite -sOutputFile=OUT {eps} {eps} {eps}",
        "mono": "sox {wav} -t wav -r 16000 -c 1 OUT", "ogg": "oggenc -Q -s 7 -o OUT {wav}", "opus": "opusenc --quiet {wav} OUT",
        "mp4": f"{ENCODE} {CLIP} {TONE} -c:v libx264 -c:a aac -f mp4 OUT", "webm": f"{ENCODE} {CLIP} -c:v libvpx -f webm OUT",
        "flv": f"{ENCODE} {CLIP} {TONE} -c:v flv -c:a libmp3lame -f flv OUT", "mp2": f"{ENCODE} {TONE} -c:a mp2 -f mp2 OUT",
        "m2v": f"{ENCODE} {CLIP} -target pal-dvd -an -f mpeg2video OUT",
        "vob": f"{ENCODE} {CLIP} {TONE} -target pal-dvd OUT", "zip": "zip -q -r OUT folder", "zip2": "zip -q OUT one.txt",
        "dia": f"sh -c 'dia -n -e OUT -t svg {{svg}}; echo {DIA} > OUT'",
    }
    found = {"png": shop.picture(), "small": shop.picture(96, 64), "wav": shop.sound(3), "ffmpeg": ENCODE}
    for name, content in written.items():
        found[name] = shop.scratch / f"tool-source.{name}"
        found[name].write_bytes(content)
    (shop.scratch / "Made.hx").write_text('class Made { static function main() { trace("words"); } }')
    (shop.scratch / "x.html").write_bytes(written["html"])
    (shop.scratch / "build.xml").write_text('<project default="a"><target name="a"><jar destfile="${out}" basedir="folder"/></target></project>')
    for name, line in commands.items():
        try:
            found[name] = shop.source(f"tool-made.{name}", *shlex.split(line.format(**found)))
        except Missing as why:
            shop.skip(f"source {name}", why)
    return found


DIA = ('"<?xml version=\\"1.0\\"?><dia:diagram xmlns:dia=\\"http://www.lysator.liu.se/~alla/dia/\\"><dia:layer name=\\"B\\" visible=\\"true\\">'
       '<dia:object type=\\"Standard - Box\\" version=\\"0\\" id=\\"O0\\"><dia:attribute name=\\"elem_corner\\"><dia:point val=\\"1,1\\"/>'
       '</dia:attribute></dia:object></dia:layer></dia:diagram>"')


def edited(shop):
    """Files made before, after programs have changed their metadata."""
    tag = ("exiftool", "-q", "-m", "-Title=words", "-Artist=somebody", "-XMP-dc:Description=" + "long words " * 200)
    for ext in ("3gp", "ai", "arw", "avif", "cr2", "cr3", "crw", "dng", "eps", "gif", "heic", "jpg", "m4a", "m4v", "mov", "mp4", "mrw",
                "nef", "orf", "pdf", "pef", "png", "psd", "psb", "raf", "rw2", "tif", "webp", "x3f"):
        made = [path for path in sorted((shop.out / ext).glob(f"*.{ext}")) if not path.name.startswith("edited-")]
        for path in made[::max(1, len(made) // 8)][:8]:
            shop.program(ext, f"edited-{path.stem}", *tag, "-o", "OUT", path)
        for path in made[1:3] if ext in ("cr2", "crw", "dng", "jpg", "mrw", "nef", "orf", "pef", "png", "psd", "tif", "webp") else ():
            copy = shop.scratch / f"copy.{ext}"
            copy.write_bytes(path.read_bytes())
            try:
                shop.run("exiv2", "-Mset Exif.Image.Artist Ascii somebody", "-Mset Xmp.dc.source words", "modify", copy)
            except Missing as why:
                shop.skip(f"exiv2-{path.name}", why)
                continue
            shop.write(ext, f"edited-exiv2-{path.stem}", copy.read_bytes())


def table(name, lines):
    def maker(shop):
        found = sources(shop)
        for line in lines.strip().splitlines():
            ext, variant, command = line.split(None, 2)
            try:
                argv = shlex.split(command.format(**found))
            except KeyError as missing:
                shop.skip(f"{variant}.{ext}", f"no source {missing}")
                continue
            shop.program(ext, f"tool-{variant}", *argv)
    maker.__name__ = name
    return maker


MAKERS = (table("pictures", PICTURES), table("sounds", SOUNDS), table("films", FILMS), table("documents", DOCUMENTS),
          table("archives", ARCHIVES), edited)

#!/usr/bin/env bash
# Makes the small archives in fixtures/ with the programs that ordinary
# software writes such files with. Other files in fixtures/ stay as they are.
#
# Debian packages needed:
#   zip          the ZIP archives
#   p7zip-full   the 7z archives
#   gcab         the cabinets
#   fastjar      the Java archive
#   unzip        checks, and the contents of the office documents
#
# The same versions of these packages give the same bytes, except for the
# times that fastjar writes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need zip unzip 7z gcab fastjar
cd "$work"

# prose SEED LINES: lines of words that compress like text.
prose() {
    awk -v seed="$1" -v lines="$2" 'BEGIN {
        srand(seed)
        count = split("river stone light under every letter north garden paper " \
                      "quiet window seven harbour copper winter across field", words, " ")
        for (line = 0; line < lines; ++line) {
            text = ""
            for (i = 0; i < 9; ++i) {
                text = text words[int(rand() * count) + 1] " "
            }
            print text int(rand() * 100000)
        }
    }'
}

mkdir -p notes META-INF org
prose 1 60 >notes/first.txt
prose 2 90 >notes/second.txt
prose 3 12 >readme.txt
prose 4 40 >org/Example.class
printf 'Manifest-Version: 1.0\nMain-Class: org.Example\n' >manifest.txt
find . -exec touch -d '2011-06-18 14:05:28' {} +

cd "$out"
rm -f plain.zip comment.zip descriptors.zip nested.zip packed.docx packed.xlsx packed.pptx lzma.7z copy.7z mszip.cab stored.cab program.jar
cd "$work"

# ---- ZIP ----------------------------------------------------------------

zip -q -X -r "$out/plain.zip" readme.txt notes
zip -q -X "$out/comment.zip" readme.txt notes/first.txt
printf 'Kept for the record, with a comment behind the directory.\n' | zip -q -z "$out/comment.zip" >/dev/null
# Written to a pipe, an archive has its sizes after the data.
zip -q -X - readme.txt notes/second.txt | cat >"$out/descriptors.zip"
# One archive stored inside another.
cp "$out/plain.zip" inner.zip
touch -d '2011-06-18 14:05:28' inner.zip
zip -q -X -0 "$out/nested.zip" readme.txt inner.zip notes/first.txt

# ---- Office Open XML ----------------------------------------------------

# The documents in fixtures/ have their sizes after the data, which the most
# widespread office programs do not do: the same parts packed again.
repack() {
    mkdir "$1.parts"
    unzip -q "$out/$2" -d "$1.parts"
    (cd "$1.parts" && find . -exec touch -d '2011-06-18 14:05:28' {} + &&
        find . -type f | LC_ALL=C sort | zip -q -X "$out/$1" -@)
}
repack packed.docx letter.docx
repack packed.xlsx table.xlsx
repack packed.pptx slides.pptx

# ---- 7z, cabinet --------------------------------------------------------

7z a -bd -bso0 -mx=5 "$out/lzma.7z" readme.txt notes
7z a -bd -bso0 -mx=0 "$out/copy.7z" readme.txt
gcab -n -z -c "$out/mszip.cab" readme.txt notes/first.txt notes/second.txt
gcab -n -c "$out/stored.cab" readme.txt

# ---- Java ---------------------------------------------------------------

fastjar cfm "$out/program.jar" manifest.txt org

# ---- every archive must be whole ----------------------------------------

for file in "$out"/{plain,comment,descriptors,nested}.zip "$out/program.jar"; do
    unzip -tqq "$file"
done
7z t -bd -bso0 "$out/lzma.7z"
7z t -bd -bso0 "$out/copy.7z"
gcab -t "$out/mszip.cab" >/dev/null
gcab -t "$out/stored.cab" >/dev/null

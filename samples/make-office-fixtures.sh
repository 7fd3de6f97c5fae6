#!/usr/bin/env bash
# Makes the small office documents in fixtures/ with LibreOffice, in its own
# and in other makers' formats.
#
# Debian packages needed:
#   libreoffice-writer, -calc, -impress, -draw, -math and -base
#   python3-uno            the database document
#   python3                check-fixtures.py
#
# LibreOffice writes the time and random identifiers into its documents, so
# every run gives other bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need soffice python3
cd "$work"

# A profile of its own keeps a user's settings out of the files, and this one
# setting a picture of 400 KiB out of the presentation.
mkdir -p profile/user
cat >profile/user/registrymodifications.xcu <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry" xmlns:xs="http://www.w3.org/2001/XMLSchema">
<item oor:path="/org.openoffice.Office.Common/Filter/Microsoft/Export"><prop oor:name="EnablePowerPointPreview" oor:op="fuse"><value>false</value></prop></item>
</oor:items>
XML
office() {
    soffice "-env:UserInstallation=file://$work/profile" --headless --norestore "$@"
}

# convert FROM TO FILTER
convert() {
    office --convert-to "${2##*.}${3:+:$3}" --outdir "$work" "$1" >/dev/null 2>&1
    mv "${1%.*}.${2##*.}" "$out/$2"
}

# flat KIND BODY: a document in one XML file, without styles.
flat() {
    cat <<XML
<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
  xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
  xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0"
  xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0"
  xmlns:dc="http://purl.org/dc/elements/1.1/"
  office:version="1.3" office:mimetype="application/vnd.oasis.opendocument.$1">
<office:meta><dc:title>Made-up $1</dc:title></office:meta>
<office:body>$2</office:body></office:document>
XML
}

paragraphs=
for number in 1 2 3 4 5 6; do
    paragraphs+="<text:p>Paragraph $number of a made-up letter that nobody sent to anybody.</text:p>"
done
box='<draw:frame svg:x="2cm" svg:y="2cm" svg:width="12cm" svg:height="3cm"><draw:text-box><text:p>Hills</text:p></draw:text-box></draw:frame>'
shape='<draw:rect svg:x="3cm" svg:y="6cm" svg:width="5cm" svg:height="4cm"/>'
flat text "<office:text>$paragraphs</office:text>" >letter.fodt
flat presentation "<office:presentation><draw:page draw:name=\"One\">$box$shape</draw:page></office:presentation>" >slides.fodp
flat graphics "<office:drawing><draw:page draw:name=\"One\">$box$shape</draw:page></office:drawing>" >drawing.fodg
{
    echo 'Hill,Height,Walks'
    for number in $(seq 1 40); do echo "Hill $number,$((number * 37 % 900 + 100)),$((number * 11 % 17))"; done
} >table.csv
cat >formula.mml <<'XML'
<math xmlns="http://www.w3.org/1998/Math/MathML"><mrow><mi>E</mi><mo>=</mo><mi>m</mi><msup><mi>c</mi><mn>2</mn></msup></mrow></math>
XML

# Other scripts make the remaining files there.
rm -f "$out"/{letter,table,slides,drawing,formula,tables}.*

convert letter.fodt letter.doc 'MS Word 97'
convert letter.fodt letter.docx 'MS Word 2007 XML'
convert letter.fodt letter.odt writer8
convert table.csv table.xls 'MS Excel 97'
convert table.csv table.xlsx 'Calc MS Excel 2007 XML'
convert table.csv table.ods calc8
convert slides.fodp slides.ppt 'MS PowerPoint 97'
convert slides.fodp slides.pptx 'Impress MS PowerPoint 2007 XML'
convert slides.fodp slides.odp impress8
convert drawing.fodg drawing.odg draw8
convert formula.mml formula.odf math8

# No filter writes a database document, but the program itself does.
cat >database.py <<'PY'
import sys
import time
import uno
from com.sun.star.connection import NoConnectException

local = uno.getComponentContext()
resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
for attempt in range(120):
    try:
        context = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % sys.argv[1])
        break
    except NoConnectException:
        time.sleep(0.5)
services = context.ServiceManager
source = services.createInstanceWithContext("com.sun.star.sdb.DatabaseContext", context).createInstance()
source.URL = "sdbc:flat:file:///tmp"
source.DatabaseDocument.storeAsURL("file://" + sys.argv[2], ())
try:
    services.createInstanceWithContext("com.sun.star.frame.Desktop", context).terminate()
except Exception:
    pass  # the connection ends with the program
PY
pipe=salvor$$
office "--accept=pipe,name=$pipe;urp;" >/dev/null 2>&1 &
# The python3-uno package works with the system's own Python only.
/usr/bin/python3 database.py "$pipe" "$out/tables.odb"
wait

# ---- every file must have the structure its name promises ----------------

"$here/check-fixtures.py"

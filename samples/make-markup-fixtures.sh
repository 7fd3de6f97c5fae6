#!/usr/bin/env bash
# Makes the small HTML and XML files in fixtures/. Other files in fixtures/
# stay as they are.
#
# Debian packages needed:
#   libxml2-utils   HTML 4, XHTML, the document types and UTF-16 of XML
#   libc-bin        UTF-16 of HTML
#   python3         XML with marked sections, SVG
#
# The same versions of these packages give the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need xmllint iconv python3
cd "$work"

# ---- HTML ---------------------------------------------------------------

# The script holds an end tag that is not the page's.
cat >page.html <<'END'
<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>Tide table</title>
<style>td { text-align: right; } caption > b { color: #036; }</style>
<script>
function show() { document.write("<html><body>" + Date() + "</body></html>"); }
</script>
</head>
<body>
<h1>Tides at the pier</h1>
<!-- Heights are above the harbour's datum. -->
<table>
<caption><b>High and low water</b>, March</caption>
END
for day in $(seq 1 12); do
    printf '<tr><td>%d</td><td>%02d:%02d</td><td>%d.%d m</td></tr>\n' \
        "$day" $((day % 12)) $((day * 37 % 60)) $((day % 4 + 1)) $((day * 3 % 10))
done >>page.html
printf '</table>\n<p>Größer als 3 m: gefährlich.<br>\n</body>\n</html>\n' >>page.html

cp page.html "$out/page5.html"
# The parser ends a script at any end tag.
sed '/^<script>/,/^<\/script>/d' page.html >plain.html
xmllint --nowarning --html --format plain.html 2>/dev/null |
    sed '1s|.*|<!DOCTYPE HTML PUBLIC "-//W3C//DTD HTML 4.01//EN">|' >"$out/page4.htm"
xmllint --nowarning --html --xmlout plain.html >"$out/page.xhtml" 2>/dev/null
{ printf '\xFF\xFE' && iconv -f UTF-8 -t UTF-16LE page.html; } >"$out/page-utf16.html"
{
    printf '\xEF\xBB\xBF<!-- saved from url=(0022)http://tides.example/ -->\r\n'
    tail -n +2 page.html
    printf '<!-- page served in 12 ms -->\n<script>count("</body>");</script>\n\n'
} >"$out/page-saved.html"

# ---- XML ----------------------------------------------------------------

python3 - "$out" <<'END'
import sys
import xml.etree.ElementTree as tree
from xml.dom import minidom

out = sys.argv[1]

document = minidom.getDOMImplementation().createDocument(None, "notes", None)
for number in range(1, 15):
    # Elements with the root's name inside it, and names that begin with it.
    note = document.createElement(("note", "notes", "notes-old")[number % 3])
    note.setAttribute("if", "a > b && c < %d" % number)
    note.appendChild(document.createCDATASection("if (a < %d && b > 0) { close(\"</notes>\"); }" % number))
    document.documentElement.appendChild(note)
document.appendChild(document.createComment(" behind the root "))
with open(out + "/sections.xml", "wb") as file:
    file.write(document.toprettyxml(indent="  ", encoding="UTF-8"))

svg = tree.Element("svg", xmlns="http://www.w3.org/2000/svg", width="120", height="80")
for step in range(16):
    tree.SubElement(svg, "circle", cx=str(5 + 7 * step), cy=str(40 + step * step % 30), r="4", fill="#%02x4080" % (step * 15))
tree.ElementTree(svg).write(out + "/circles.svg", encoding="utf-8", xml_declaration=True)
END

cat >catalogue.xml <<'END'
<?xml version="1.0"?>
<!-- A catalogue of <plants>. -->
<!DOCTYPE plants [
  <!ELEMENT plants (plant*)>
  <!ELEMENT plant (#PCDATA)>
  <!ATTLIST plant height CDATA "> 1 m">
  <!ENTITY more "and ]> more">
]>
<plants>
END
for plant in Alder Birch Cedar Dogwood Elm Fir Ginkgo Hazel Ivy Juniper Larch Maple; do
    printf '<plant height="&lt; %d m">%s &more;</plant>' ${#plant} "$plant"
done >>catalogue.xml
printf '</plants>\n<?printer pages="2"?>\n' >>catalogue.xml
xmllint --format catalogue.xml >"$out/catalogue.xml"
xmllint --format --encode UTF-16 catalogue.xml >"$out/catalogue-utf16.xml"

#!/usr/bin/env bash
# Makes the small mail messages and the text file in fixtures/. Other files in
# fixtures/ stay as they are.
#
# Needs the Debian package python3, whose email package writes the messages.
# The same version of it gives the same bytes.
source "$(dirname "${BASH_SOURCE[0]}")/fixtures.sh"
need python3
cd "$work"

python3 - "$out" <<'PYTHON'
import os
import random
import sys
from email import policy
from email.message import EmailMessage

OUT = sys.argv[1]
NEXT_LINE = policy.SMTP     # lines end in CR LF, as mail is sent
dice = random.Random(7)


def sentence():
    words = "the parcel came on Monday and was left with our neighbour next door".split()
    dice.shuffle(words)
    return " ".join(words).capitalize() + "."


def paragraphs(count):
    return "\n".join(sentence() for _ in range(count)) + "\n"


def message(subject):
    mail = EmailMessage(policy=NEXT_LINE)
    for host in "inner", "outer":
        mail["Received"] = ("from %s.example.org (%s.example.org [192.0.2.7]) by mail.example.net "
                            "for <reader@example.net>; Sat, 18 Jun 2011 14:05:28 +0000" % (host, host))
    mail["From"] = "Writer <writer@example.org>"
    mail["To"] = "Reader <reader@example.net>"
    mail["Subject"] = subject
    mail["Date"] = "Sat, 18 Jun 2011 14:05:27 +0000"
    return mail


def fix_boundaries(mail):
    for number, part in enumerate(part for part in mail.walk() if part.is_multipart()):
        part.set_boundary("===============%019d==" % dice.randrange(10 ** 18))


def write(name, mail):
    fix_boundaries(mail)
    with open(os.path.join(OUT, name), "wb") as file:
        file.write(mail.as_bytes())


page = "<html>\n<body>\n<p>%s</p>\n</body>\n</html>"

# The page does not begin at a sector start, where it would count as a file of its own.
mail = message("A page on what the parcels did")
mail.set_content(page % paragraphs(30), subtype="html", cte="7bit")
write("page.eml", mail)

mail = message("A letter in two forms")
mail.set_content(paragraphs(12))
mail.add_alternative(page % paragraphs(14), subtype="html")
write("alternative.eml", mail)

mail = message("A picture")
mail.set_content(paragraphs(6))
mail.add_attachment(dice.randbytes(3000), maintype="application", subtype="octet-stream", filename="noise.bin")
write("attachment.eml", mail)

# A page with its parts' list last. The header says its version, kind and
# boundary and nothing else, so that they stand in the first 64 bytes.
boundary = "----=_NextPart_01CC2DC5.4A"
listing = '<xml xmlns:o="urn:schemas-microsoft-com:office:office">\n<o:File HRef="page.htm"/>\n</xml>\n'
parts = (("text/html", page % paragraphs(30)), ("text/xml", listing.rstrip("\n")))
lines = ['MIME-Version: 1.0', 'Content-Type: multipart/related; boundary="%s"' % boundary, ""]
for kind, content in parts:
    lines += ["--" + boundary, "Content-Type: " + kind, ""] + content.split("\n") + [""]
lines[-1:] = ["--" + boundary + "--"]
with open(os.path.join(OUT, "archive.mht"), "wb") as file:
    file.write("\r\n".join(lines).encode())

words = "started stopped mounted read wrote checked waiting for disk card reader block in queue again".split()
with open(os.path.join(OUT, "log.txt"), "w") as file:
    for line in range(60):
        file.write("[%9.3f] %s\n" % (line * 7 + dice.random(), " ".join(dice.choices(words, k=dice.randint(3, 10)))))
PYTHON

"$here/check-fixtures.py"

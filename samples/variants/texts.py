"""Text, markup and mail in several languages and codings."""

import email.message
import email.policy
import mailbox

from .workshop import noise, text

CODINGS = (("en", "ascii"), ("de", "utf-8"), ("de", "latin-1"), ("fr", "cp1252"), ("ru", "utf-8"), ("ru", "cp1251"), ("ru", "koi8-r"),
           ("ja", "utf-8"), ("de", "cp850"))


def plain(shop):
    for language, coding in CODINGS:
        for size in (300, 7000):
            shop.write("txt", f"{language}-{coding}-{size}", text(language, size).encode(coding, "replace"))
    for size in (66000, 300000, 1500000):
        shop.write("txt", f"long-{size}", text("en", size).encode())
    shop.write("txt", "long-8-bit", text("de", 200000).encode("latin-1"))
    shop.write("txt", "long-utf-8", text("ru", 200000).encode())
    shop.write("txt", "windows", text("en", 5000, line_end="\r\n").encode())
    shop.write("txt", "old-mac", text("en", 5000, line_end="\r").encode())
    shop.write("txt", "mark-utf-8", b"\xef\xbb\xbf" + text("de", 5000).encode())
    shop.write("txt", "one-sector", text("en", 600).encode()[:511] + b"\n")
    shop.write("txt", "one-cluster", text("en", 5000).encode()[:4095] + b"\n")
    shop.write("txt", "no-last-line-end", text("en", 3000).encode().rstrip(b"\n"))
    shop.write("txt", "mostly-ascii", (text("en", 5000) + "Straße und Übung\n" + text("en", 4000, 2)).encode("latin-1"))
    shop.write("txt", "long-lines", text("en", 20000, width=5000).encode())
    shop.write("txt", "escapes", b"\x1b[1mheading\x1b[0m\n" + text("en", 3000).encode())
    shop.write("txt", "form-feeds", b"\f\n".join(text("en", 900, n).encode() for n in range(5)))
    shop.write("txt", "old-end-mark", text("en", 3000, line_end="\r\n").encode() + b"\x1a")
    shop.write("txt", "table", b"".join(b"%d\t%d.%d\tname %d\n" % (n, n * 7 % 99, n % 10, n) for n in range(2000)))
    shop.write("txt", "numbers", b"".join(b"%d\n" % (n * 7919 % 100003) for n in range(4000)))
    shop.write("txt", "program", b"#include <stdio.h>\n\nint main(void)\n{\n    return 0;\n}\n" * 40)
    for language in ("en", "de", "ru"):
        for order, mark in (("le", b"\xff\xfe"), ("be", b"\xfe\xff")):
            shop.write("txt", f"utf-16-{order}-{language}", mark + text(language, 3000).encode(f"utf-16-{order}"))
    shop.write("txt", "utf-16-no-mark", text("en", 3000, line_end="\r\n").encode("utf-16-le"))


def page(language, size, head="<!DOCTYPE html>\n", coding="utf-8", script=""):
    paragraphs = "".join(f"<p>{part}</p>\n" for part in text(language, size).split("\n\n"))
    return (f'{head}<html>\n<head><meta charset="{coding}"><title>words</title>{script}</head>\n<body>\n{paragraphs}</body>\n'
            "</html>\n").encode(coding, "replace")


def markup(shop):
    for language, coding in CODINGS:
        shop.write("html", f"{language}-{coding}", page(language, 5000, coding=coding))
    shop.write("html", "long", page("en", 400000))
    shop.write("html", "long-8-bit", page("de", 200000, coding="latin-1"))
    shop.write("html", "tiny", b"<html><body>x</body></html>")
    shop.write("html", "redirect", b'<html><head><meta http-equiv="refresh" content="0;url=a.html"></head></html>\n')
    shop.write("html", "upper-case", page("en", 2000, "<HTML>\n").replace(b"<html>", b"", 1).replace(b"</html>", b"</HTML>"))
    shop.write("html", "strict", page("en", 2000, '<!DOCTYPE HTML PUBLIC "-//W3C//DTD HTML 4.01//EN"\n"http://www.w3.org/TR/html4/strict.dtd">\n'))
    shop.write("html", "xhtml", page("fr", 2000, '<?xml version="1.0" encoding="utf-8"?>\n<!DOCTYPE html>\n'))
    shop.write("html", "comment-first", page("en", 2000, "<!-- saved from somewhere -->\n<!DOCTYPE html>\n"))
    shop.write("html", "script-with-end", page("en", 2000, script="<script>var s = '</html>';</script>"))
    shop.write("html", "comment-behind", page("en", 2000) + b"<!-- served in 3 ms -->\n")
    shop.write("html", "no-last-line-end", page("en", 2000).rstrip())
    shop.write("html", "mark", b"\xef\xbb\xbf" + page("de", 2000))
    shop.write("html", "utf-16", b"\xff\xfe" + page("de", 2000).decode().encode("utf-16-le"))
    shop.write("html", "not-closed", page("en", 3000).replace(b"</html>\n", b"").replace(b"</body>\n", b""))

    items = "".join(f'<item id="{n}"><name>n{n}</name><value>{n * 7 % 13}</value></item>\n' for n in range(400))
    head = '<?xml version="1.0" encoding="{}"?>\n'
    for name, content, coding in (
            ("plain", f"<items>\n{items}</items>\n", "UTF-8"), ("tiny", "<a/>", "UTF-8"), ("tiny-line", "<a></a>\n", "UTF-8"),
            ("names", "<items>" + "<items2/>" * 50 + "</items>", "UTF-8"), ("comment-behind", f"<i>{items}</i>\n<!-- end -->\n", "UTF-8"),
            ("instruction", f'<?style href="a"?>\n<i>{items}</i>\n', "UTF-8"), ("unclosed-text", f"<i><![CDATA[</i>]]>{items}</i>", "UTF-8"),
            ("latin", f"<i>{text('de', 4000)}</i>\n", "ISO-8859-1"), ("cyrillic", f"<i>{text('ru', 4000)}</i>\n", "windows-1251"),
            ("types", f'<!DOCTYPE i [<!ENTITY a "b>">]>\n<i>{items}</i>\n', "UTF-8"), ("long", f"<i>{items * 60}</i>\n", "UTF-8"),
            ("blank-behind", f"<i>{items}</i>\n\n\n", "UTF-8"), ("windows", f"<i>{items}</i>\n".replace("\n", "\r\n"), "UTF-8")):
        shop.write("xml", name, (head.format(coding) + content).encode(coding))
    shop.write("xml", "utf-16", (head.format("UTF-16") + f"<i>{items}</i>\n").encode("utf-16"))
    shop.write("svg", "drawing", (head.format("UTF-8") + '<svg xmlns="http://www.w3.org/2000/svg">' + '<path d="M 1 1"/>' * 90
                                  + "</svg>\n").encode())
    links = "".join(f'        <DT><A HREF="http://example.com/{n}" ADD_DATE="1600000000">Straße {n}</A>\n' for n in range(200))
    for name, count in (("few", 2), ("many", 200)):
        some = "".join(links.splitlines(True)[:count])
        # These are HTML to everybody, and of a type of their own in the catalogue.
        shop.write("html", f"bookmarks-{name}", (
            "<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<!-- This is an automatically generated file. -->\n"
            '<META HTTP-EQUIV="Content-Type" CONTENT="text/html; charset=UTF-8">\n<TITLE>Bookmarks</TITLE>\n<H1>Bookmarks</H1>\n\n'
            f"<DL><p>\n    <DT><H3>Folder</H3>\n    <DL><p>\n{some}    </DL><p>\n</DL>\n").encode())


# ---- Mail ---------------------------------------------------------------

def letter(subject="Some words", date="Mon, 6 Jan 2020 10:00:00 +0000"):
    message = email.message.EmailMessage(policy=email.policy.SMTP)
    message["From"] = "Somebody <somebody@example.com>"
    message["To"] = "Another <another@example.com>"
    message["Subject"] = subject
    message["Date"] = date
    message["Message-ID"] = f"<{abs(sum(map(ord, subject)))}@example.com>"
    return message


def bounded(message, number):
    """The message with a fixed boundary in each of its parts that has one."""
    for n, part in enumerate(p for p in message.walk() if p.is_multipart()):
        part.set_boundary(f"=_part-{number}-{n}")
    return message.as_bytes()


def mail(shop):
    for language, coding in (("en", "us-ascii"), ("de", "utf-8"), ("de", "iso-8859-1"), ("ru", "koi8-r")):
        for transfer in ("8bit", "quoted-printable", "base64"):
            if coding == "us-ascii" and transfer == "8bit":
                transfer = "7bit"
            message = letter(f"Words in {language}")
            message.set_content(text(language, 3000), charset=coding, cte=transfer)
            shop.write("eml", f"{language}-{coding}-{transfer}", message.as_bytes())
            shop.write("eml", f"{language}-{coding}-{transfer}-unix", message.as_bytes(policy=email.policy.default))
    both = letter("Text and page")
    both.set_content(text("en", 2000))
    both.add_alternative(page("en", 2000).decode(), subtype="html")
    shop.write("eml", "alternative", bounded(both, 1))
    for size in (2000, 90000, 700000):
        attached = letter(f"Attached {size}")
        attached.set_content(text("fr", 900))
        attached.add_attachment(noise(size), maintype="application", subtype="octet-stream", filename="noise.bin")
        shop.write("eml", f"attachment-{size}", bounded(attached, 2))
    shop.write("eml", "attachment-without-line-end", bounded(attached, 2).rstrip(b"\r\n"))
    forwarded = letter("Forwarded")
    forwarded.set_content("See below.\n")
    forwarded.add_attachment(both)
    shop.write("eml", "forwarded", bounded(forwarded, 3))
    html = letter("A page")
    html.set_content(page("de", 3000).decode(), subtype="html")
    shop.write("eml", "page", html.as_bytes())
    received = "".join(f"Received: from a{n}.example.com by b{n}.example.com; Mon, 6 Jan 2020 10:00:0{n} +0000\r\n" for n in range(6))
    shop.write("eml", "received-first", received.encode() + both.as_bytes())
    shop.write("eml", "return-path-first", b"Return-Path: <somebody@example.com>\r\n" + both.as_bytes())
    shop.write("eml", "other-fields-first", b"X-Status: read\r\nX-Keywords:\r\n" + both.as_bytes())
    shop.write("eml", "tiny", b"From: a@example.com\nSubject: x\n\ny\n")
    shop.write("eml", "preamble-epilogue", bounded(both, 4).replace(b"\r\n\r\n--=_", b"\r\n\r\nThis is a message in parts.\r\n--=_", 1))
    web = letter("A saved page")
    web.set_content(page("en", 4000).decode(), subtype="html")
    web["Content-Location"] = "http://example.com/"
    web.add_related(noise(9000), "image", "png", cid="<a@b>")
    shop.write("mht", "page", bounded(web, 5))
    shop.write("mht", "snapshot", b"From: <Saved by Blink>\r\nSnapshot-Content-Location: http://example.com/\r\n"
               + bounded(web, 6).split(b"\r\n", 1)[1])
    box = shop.scratch / "letters"
    box.unlink(missing_ok=True)
    folder = mailbox.mbox(box)
    for n in range(12):
        message = letter(f"Number {n}")
        message.set_content(text(("en", "de", "fr")[n % 3], 500 + 400 * n, n))
        entry = mailbox.mboxMessage(message)
        entry.set_from("somebody@example.com", (2020, 1, 6, 10, 0, n, 0, 6, 0))
        folder.add(entry)
    folder.close()
    shop.write("mbox", "letters", box.read_bytes())


MAKERS = (plain, markup, mail)

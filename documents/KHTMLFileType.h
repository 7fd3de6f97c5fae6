#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "frame/WalkingScanner.h"

/// Web pages: HTML by its document type or by its first tags, and XML documents of that type. A page ends with its
/// `</html>` and what servers and editors append to that, or where the text ends. Bookmark files, which have a document
/// type of their own, are none. Source: WHATWG, HTML Standard, sections 13.1 and 13.2; WHATWG, MIME Sniffing Standard,
/// sections 3 and 7.1; W3C, XHTML 1.0, section 3.1.
class KHTMLFileType final : public WalkingScanner<KHTMLFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[26];
    static constexpr FormatNotes Notes{
        .source =
            "WHATWG, HTML Standard, sections 13.1 and 13.2; WHATWG, MIME Sniffing Standard, sections 3 and 7.1; "
            "W3C, XHTML 1.0, section 3.1",
        .found =
            "Pages of 256 bytes and more that begin with the HTML document type, the html tag or several of the "
            "tags of a page's head, as 8-bit text or UTF-16 with a byte-order mark; XHTML with an XML declaration.",
        .end =
            "The html end tag with appended white space and markup, or where the text ends; exact for nearly all "
            "pages whose last sector is filled up with zeros.",
        .limits =
            "Fragments without any of those tags are not found; text behind the html end tag is left out where it "
            "reaches into a further sector."};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = std::int64_t{64} << 20;

    static bool IsHeader(ByteSpan sector);

    std::int32_t Reset() override;
    std::optional<std::int64_t> Measure(const Candidate& candidate);
    std::optional<std::int64_t> Walk(FileWindow& file);

private:
    static constexpr std::int64_t NoSector = std::numeric_limits<std::int64_t>::min();

    // The sector behind the text that is known: the last page found, or text in which no page was found to end. What
    // might be a page without an html tag of its own is none in front of it.
    std::int64_t knownEnd_ = NoSector;
    // Of the candidate in hand: whether it begins in that text, and how far it was followed, in bytes.
    bool isKnown_ = false;
    std::int64_t walked_ = 0;
};

#pragma once

#include <cstdint>
#include <optional>

#include "formats/MarkupReader.h"
#include "frame/bytes/BytePairs.h"
#include "frame/scan/WalkingScanner.h"

/// Begins a page's first tag behind its "<".
constexpr bool IsFirstLetter(char16_t c) {
    return std::u16string_view(u"!?hbmst").find(FoldLetter(c)) != std::u16string_view::npos;
}

/// Web pages: HTML by its document type or by its first tags, and XML documents of that type. A page ends with its
/// `</html>` and what servers and editors append to that, or where the text ends. Bookmark files, which have a document
/// type of their own, are none. Source: WHATWG, HTML Standard, sections 13.1 and 13.2; WHATWG, MIME Sniffing Standard,
/// sections 3 and 7.1; W3C, XHTML 1.0, section 3.1.
class KHTMLFileType final : public WalkingScanner<KHTMLFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Html];
    /// The start of a first tag, perhaps behind white space; or a byte-order mark.
    static constexpr BytePairs Filter = BytePairs()
                                            .Allow("<", IsFirstLetter)
                                            .Allow(" \n\r\t\f", [](char16_t c) { return c == '<' || IsWhite(c); })
                                            .Allow("\xEF", 0xBB)
                                            .Allow("\xFE", 0xFF)
                                            .Allow("\xFF", 0xFE);
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = std::int64_t{64} << 20;

    static bool IsHeader(ByteSpan sector);

    std::int32_t Reset() override;
    std::optional<std::int64_t> Measure(const Candidate& candidate);
    std::optional<std::int64_t> Walk(FileWindow& file);

private:
    // Markup that was followed from a page's start. What might be a page without an html tag of its own is none in it,
    // and the ends of others that begin in it are those of this one: many pages without an end cost no more than one.
    struct Followed {
        std::int64_t startSector = 0;
        TextForm form;
        // In bytes from its start: where the page's end is decided or the walk came to, and the page's length.
        std::int64_t to = 0;
        std::optional<std::int64_t> size;
    };

    Followed followed_;
    // Of the candidate in hand; the offset is that in the markup followed, in bytes.
    std::int64_t startSector_ = 0;
    std::int64_t offset_ = 0;
};

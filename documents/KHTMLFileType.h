#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "formats/MarkupMemory.h"
#include "formats/MarkupReader.h"
#include "frame/bytes/BytePairs.h"
#include "frame/scan/WalkingScanner.h"

/// Letters that a page's first tag may begin with, after "<".
constexpr bool IsFirstLetter(char16_t c) {
    return std::u16string_view(u"!?hbmst").find(FoldLetter(c)) != std::u16string_view::npos;
}

/// Web pages: HTML with its document type or first tags, and XHTML. A page ends with its `</html>` and whatever servers
/// and editors append to it, or where the text ends. Bookmark files, which have a document type of their own, do not
/// count. Source: WHATWG, HTML Standard, sections 13.1 and 13.2; WHATWG, MIME Sniffing Standard, sections 3 and 7.1;
/// W3C, XHTML 1.0, section 3.1.
class KHTMLFileType final : public WalkingScanner<KHTMLFileType, MarkupMemory> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Html];
    /// The start of a tag, after optional white space; or a byte-order mark.
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
    bool RestsAt(std::int64_t nextSector) const;
    std::optional<std::int64_t> Measure(const Candidate& candidate);
    std::optional<std::int64_t> Walk(FileWindow& file);

private:
    // Markup already followed from a page's start. A page without an html tag cannot begin in it, and any other that
    // begins in it ends where this one does, so many pages without an end cost no more than one.
    struct Followed {
        std::int64_t startSector = 0;
        TextForm form;
        // In bytes from the start: how far the walk got, and the page's length.
        std::int64_t to = 0;
        std::optional<std::int64_t> size;

        std::int64_t End() const { return std::max(to, size.value_or(0)); }
    };

    // Bytes from the start of the followed markup to the sector.
    std::int64_t OffsetOf(std::int64_t sector) const;

    Followed followed_;
    std::int32_t sectorSize_ = 0;
    // Of the current candidate: its sector, and the offset in bytes at which it begins in the followed markup.
    std::int64_t startSector_ = 0;
    std::int64_t offset_ = 0;
};

#pragma once

#include <cstdint>
#include <optional>

#include "formats/MarkupReader.h"
#include "frame/bytes/BytePairs.h"
#include "frame/scan/WalkingScanner.h"

/// XML documents that open with an XML declaration, except web pages, which are HTML files. The markup is followed to
/// the end of the root element and of the comments and processing instructions after it. Source: W3C, Extensible Markup
/// Language (XML) 1.0, sections 2 and 3.
class KXMLFileType final : public WalkingScanner<KXMLFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Xml];
    /// "<?", or a byte-order mark.
    static constexpr BytePairs Filter =
        BytePairs().Allow("<", '?').Allow("\xEF", 0xBB).Allow("\xFE", 0xFF).Allow("\xFF", 0xFE);
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = std::int64_t{256} << 20;

    static bool IsHeader(ByteSpan sector) { return BeginsXml(sector); }
    static std::optional<std::int64_t> Walk(FileWindow& file);
};

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "formats/MarkupMemory.h"
#include "formats/MarkupReader.h"
#include "formats/XmlContent.h"
#include "frame/bytes/BytePairs.h"
#include "frame/memory/Trail.h"
#include "frame/scan/WalkingScanner.h"

/// XML documents that open with an XML declaration, except web pages, which are HTML files. The markup is followed to
/// the end of the root element and of the comments and processing instructions after it. Source: W3C, Extensible Markup
/// Language (XML) 1.0, sections 2 and 3.
class KXMLFileType final : public WalkingScanner<KXMLFileType, MarkupMemory> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Xml];
    /// "<?", or a byte-order mark.
    static constexpr BytePairs Filter =
        BytePairs().Allow("<", '?').Allow("\xEF", 0xBB).Allow("\xFE", 0xFF).Allow("\xFF", 0xFE);
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = std::int64_t{256} << 20;

    static bool IsHeader(ByteSpan sector) { return BeginsXml(sector); }

    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    std::optional<std::int64_t> Measure(const Candidate& candidate);
    std::optional<std::int64_t> Walk(FileWindow& file);

private:
    // Documents that begin inside each other go through the same items, whose changes are known for one root's name.
    // With windows of 128 bytes they soon meet: where a medium is full of them, a walk takes a few sectors. Such walks
    // look for marks in every sector, so the marks must fit into the second-level cache.
    Trail<XmlContentWalk::Change, 7, 12> trail_;
    std::u16string root_;
    TextForm form_;
    const Candidate* candidate_ = nullptr;
};

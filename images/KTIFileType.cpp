#include "images/KTIFileType.h"

#include <algorithm>
#include <array>
#include <optional>

#include "formats/TiffTags.h"
#include "frame/bytes/BytePattern.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

namespace {

constexpr std::uint32_t GreatestDirectoryOffset = 20U << 20U;

// The texts are looked for here.
constexpr std::size_t HeadBytes = 4096;

constexpr auto Cr2Mark = PatternOf("CR\2");
constexpr std::size_t Cr2MarkOffset = 8;

constexpr auto Pentax = PatternOf("PENTAX");
constexpr auto Nikon = PatternOf("NIKON");
constexpr auto DcrName = PatternOf(".DCR\0");
constexpr auto Sony = PatternOf("SONY\0");

struct TextRule {
    BytePattern text;
    KTIFileType::Kind kind;
};

// The first text that is there decides.
constexpr TextRule TextRules[] = {
    {BytePattern{Pentax}, KTIFileType::Pef},
    {BytePattern{Nikon}, KTIFileType::Nef},
    {BytePattern{DcrName}, KTIFileType::Dcr},
    {BytePattern{Sony}, KTIFileType::Sony},
};

KTIFileType::Kind DecideKindByText(KFileSimulator& file) {
    std::array<std::uint8_t, HeadBytes> head{};
    file.Seek(0);
    // What cannot be read stays zeros.
    file.Read(head.data(), head.size());
    if (HasPatternAt(head, Cr2MarkOffset, Cr2Mark)) {
        return KTIFileType::Cr2;
    }
    // A text that ends with the last byte does not count.
    const ByteSpan searched = ByteSpan(head).first(HeadBytes - 1);
    for (const TextRule& rule : TextRules) {
        if (rule.text.FindIn(searched)) {
            return rule.kind;
        }
    }
    return KTIFileType::Tif;
}

}  // namespace

std::int32_t KTIFileType::Reset() {
    maxSize_ = DefaultMaxSize;
    fields_.stripOffset = 0;
    fields_.stripByteCount = 0;
    fields_.texts = {};
    hasStripOffset_ = false;
    hasStripByteCount_ = false;
    guesses_ = 0;
    return 1;
}

std::int32_t KTIFileType::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(TiffFilter, words, capacity);
}

void KTIFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) {
    ForEachSector(*block, TiffFilter, [&](const Candidate& candidate) {
        if (const std::optional<TiffHeader> header = FindTiffHeader(candidate.sector)) {
            ExamineCandidate(candidate.block, candidate.startSector, *header);
        }
    });
}

void KTIFileType::ExamineCandidate(const SectorBlock& block, std::int64_t startSector, const TiffHeader& header) {
    if (header.firstDirectory > GreatestDirectoryOffset) {
        return;
    }
    KFileSimulator file(&block, startSector, static_cast<std::uint32_t>(maxSize_));
    TiffValue value(header.order);
    bool hasDngVersion = false;
    const auto link = ForEachTiffEntry(file, header.firstDirectory, header.order, [&](const TiffEntry& entry) {
        value.Take(entry);
        fields_.Set(entry.tag, value);
        hasStripOffset_ = hasStripOffset_ || entry.tag == TiffTag::StripOffsets;
        hasStripByteCount_ = hasStripByteCount_ || entry.tag == TiffTag::StripByteCounts;
        hasDngVersion = hasDngVersion || entry.tag == TiffTag::DngVersion;
    });
    if (!link) {
        return;
    }
    const Kind kind = hasDngVersion ? Dng : DecideKindByText(file);
    // A strip end at 2 GiB or more counts as negative.
    const auto stripEnd = static_cast<std::int32_t>(fields_.stripOffset + fields_.stripByteCount);
    const std::int64_t size = kind == Tif ? stripEnd : 0;
    guesses_ += kind == Tif && !(hasStripOffset_ && hasStripByteCount_) ? 1 : 0;
    AddFound(startSector, std::min(maxSize_, size), kind);
}

#include "containers/KCompoundFileType.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "containers/CompoundReader.h"
#include "formats/CompoundRecords.h"
#include "frame/read/TraceMessage.h"
#include "frame/scan/SectorScan.h"

namespace {

constexpr std::int64_t MinReportLength = 1024;

// CLSID 597CAA70-72AA-11CF-831E-524153480000.
constexpr auto FlashClass = PatternOf("\x70\xAA\x7C\x59\xAA\x72\xCF\x11\x83\x1E\x52\x41\x53\x48\x00\x00");

// The streams that identify applications. Names that begin with a control character are property sets.
constexpr std::string_view Summary = "\5SummaryInformation";
constexpr std::string_view DocumentSummary = "\5DocumentSummaryInformation";
constexpr std::string_view StreamNames[] = {
    Summary,
    DocumentSummary,
    "\1CompObj",
    "PerfectOffice_MAIN",
    "PerfectOffice_OBJECTS",
    "SlideShow",
    "NativeContent_MAIN",
    "PageMaker",
    "WordDocument",
    "Workbook",
    "Book",
    "PowerPoint Document",
    "PP40",
    "VisioDocument",
    "VisioInformation",
    "Props9",
    "Props",
    "Contents",
    "Layer",
    "PAPER SPACE",
    "VIEWDATA",
    "PREVIEW",
    "SYMBOL",
    "Scene",
    "DllDirectory",
    "ClassDirectory3",
    "ClassData",
    "VideoPostQueue",
};
static_assert(std::size(StreamNames) <= 32);

// One bit per name. A name that is not in the list does not compile.
template <class... Names>
consteval std::uint32_t Streams(Names... names) {
    const auto bit = [](std::string_view name) {
        std::size_t i = 0;
        while (StreamNames[i] != name) {
            ++i;
        }
        return std::uint32_t{1} << i;
    };
    return (0U | ... | bit(names));
}

constexpr std::uint32_t BothSummaries = Streams(Summary, DocumentSummary);

struct KindRule {
    /// At least one of these streams is present,
    std::uint32_t anyOf;
    /// and all of these.
    std::uint32_t allOf;
    KCompoundFileType::Kind kind;
    const char* message;

    bool Matches(std::uint32_t streams) const { return (streams & anyOf) != 0 && (streams & allOf) == allOf; }
};

// The first match decides.
constexpr KindRule KindRules[] = {
    {Streams("PerfectOffice_MAIN", "PerfectOffice_OBJECTS"), Streams("SlideShow"), KCompoundFileType::SlideShow,
     "It maybe a PerfectOffice SlideShow document(%I64d, %u)!\r\n"},
    {Streams("NativeContent_MAIN"), 0, KCompoundFileType::QuattroPro, "It maybe a Quatto Pro document(%I64d, %u)!\r\n"},
    {Streams("PageMaker"), 0, KCompoundFileType::PageMaker, "It maybe a Adobe PageMaker document(%I64d, %u)!\r\n"},
    {Streams("WordDocument"), BothSummaries, KCompoundFileType::Word, "It maybe a word document(%I64d, %u)!\r\n"},
    {Streams("Workbook", "Book"), BothSummaries, KCompoundFileType::Excel, "It maybe a excel document(%I64d, %u)!\r\n"},
    {Streams("PowerPoint Document", "PP40"), BothSummaries, KCompoundFileType::PowerPoint,
     "It maybe a PowerPoint document(%I64d, %u)!\r\n"},
    {Streams("VisioDocument"), Streams("VisioInformation") | BothSummaries, KCompoundFileType::Visio,
     "It maybe a Visio document(%I64d, %u)!\r\n"},
    {Streams("Props9", "Props"), Streams("\1CompObj") | BothSummaries, KCompoundFileType::Project,
     "It maybe a project document(%I64d, %u)!\r\n"},
    {Streams("Contents"), Streams("\1CompObj") | BothSummaries, KCompoundFileType::Publisher,
     "It maybe a publisher document(%I64u, %u)!\r\n"},
    {Streams("Layer"), Streams("PAPER SPACE", "VIEWDATA", "PREVIEW", "SYMBOL"), KCompoundFileType::DesignCad,
     "It maybe a DCD document(%I64u, %u)!\r\n"},
    {Streams("Scene"), Streams("DllDirectory", "ClassDirectory3", "ClassData", "VideoPostQueue"),
     KCompoundFileType::Max3D, "It maybe a 3DMAX document(%I64u, %u)!\r\n"},
};

KCompoundFileType::Kind DecideKind(const CompoundReader& reader, std::int64_t startSector) {
    for (const KindRule& rule : KindRules) {
        if (rule.Matches(reader.Streams())) {
            TraceFormatted(rule.message, startSector, reader.EstimatedSize());
            return rule.kind;
        }
    }
    return reader.IsOfClass(FlashClass) ? KCompoundFileType::Flash : KCompoundFileType::Unknown;
}

}  // namespace

std::int32_t KCompoundFileType::Reset() {
    maxSize_ = DefaultMaxSize;
    budget_.Reset();
    SetScannedBlockKey(FirstBlockKey);
    return 1;
}

std::int32_t KCompoundFileType::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(SectorFilterOf(CompoundSignature), words, capacity);
}

void KCompoundFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) {
    budget_.EnterBlock(*block);
    ForEachSector(*block, SectorFilterOf(CompoundSignature), [&](const Candidate& candidate) {
        // The sector must be longer than the signature.
        if (candidate.sector.size() <= CompoundSignature.size() || !StartsWith(candidate.sector, CompoundSignature)) {
            return;
        }
        ExamineCandidate(candidate.block, candidate.startSector);
    });
}

void KCompoundFileType::ExamineCandidate(const SectorBlock& block, std::int64_t startSector) {
    budget_.BeginWalk();
    const CompoundReader reader(block, startSector, StreamNames, budget_);
    const Kind kind = DecideKind(reader, startSector);
    // Estimates of 2 GiB and more turn negative and are not reported.
    const auto estimate = static_cast<std::int32_t>(reader.EstimatedSize());
    if (estimate >= MinReportLength) {
        const std::int64_t size = std::min<std::int64_t>(estimate, maxSize_);
        AddFound(startSector, size, kind);
        if (kind == Excel) {
            AddFound(startSector, size, Spreadsheet);
        } else if (kind == PowerPoint) {
            AddFound(startSector, size, Slides);
        }
    }
}

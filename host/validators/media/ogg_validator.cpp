#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "host/validators/broken.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

// RFC 3533, section 6: the header of a page.
constexpr auto PageSignature = PatternOf("OggS");
constexpr std::size_t FlagsOffset = 5;
constexpr std::size_t SerialOffset = 14;
constexpr std::size_t NumberOffset = 18;
constexpr std::size_t ChecksumOffset = 22;
constexpr std::size_t SegmentsOffset = 26;
constexpr std::size_t HeaderBytes = 27;
constexpr std::uint8_t Continues = 1;
constexpr std::uint8_t BeginsStream = 2;
constexpr std::uint8_t EndsStream = 4;
constexpr std::uint8_t KnownFlags = Continues | BeginsStream | EndsStream;

// CRC-32 with polynomial 04C11DB7h, most significant bit first, starting at 0, not inverted.
constexpr std::array<std::uint32_t, 256> ChecksumTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t rest = byte << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            rest = (rest << 1U) ^ ((rest & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
        table[byte] = rest;
    }
    return table;
}();

std::uint32_t AddToChecksum(std::uint32_t sum, ByteSpan bytes) {
    for (const std::uint8_t byte : bytes) {
        sum = (sum << 8U) ^ ChecksumTable[(sum >> 24U) ^ byte];
    }
    return sum;
}

struct Page {
    std::uint8_t flags;
    std::uint32_t serial;
    std::uint32_t number;
    std::int64_t size;
    bool isSound;
};

bool IsPageStart(ByteSpan bytes) {
    return StartsWith(bytes, PageSignature) && bytes.size() > FlagsOffset && bytes[4] == 0 &&
           (bytes[FlagsOffset] & ~KnownFlags) == 0;
}

// Nothing if no page begins here. A page that passes the end of the readable bytes is not valid.
std::optional<Page> ReadPage(Place& file, std::int64_t offset) {
    std::array<std::uint8_t, HeaderBytes> header{};
    if (!file.Copy(offset, header) || !IsPageStart(header)) {
        return std::nullopt;
    }
    const std::size_t segments = header[SegmentsOffset];
    const ByteSpan table = file.At(offset + static_cast<std::int64_t>(HeaderBytes), segments);
    if (table.size() != segments) {
        return std::nullopt;
    }
    Page page{.flags = header[FlagsOffset],
              .serial = LoadLittle<std::uint32_t>(header, SerialOffset),
              .number = LoadLittle<std::uint32_t>(header, NumberOffset),
              .size = static_cast<std::int64_t>(HeaderBytes + segments) +
                      std::accumulate(table.begin(), table.end(), std::int64_t{0}),
              .isSound = false};
    const auto declared = LoadLittle<std::uint32_t>(header, ChecksumOffset);
    std::fill_n(header.begin() + ChecksumOffset, sizeof(declared), std::uint8_t{0});
    std::uint32_t sum = AddToChecksum(0, header);
    std::int64_t at = offset + static_cast<std::int64_t>(HeaderBytes);
    const std::int64_t end = offset + page.size;
    while (at < end) {
        const ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            return page;
        }
        const ByteSpan some = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(end - at)));
        sum = AddToChecksum(sum, some);
        at += static_cast<std::int64_t>(some.size());
    }
    page.isSound = sum == declared;
    return page;
}

struct LogicalStream {
    std::uint32_t nextNumber = 0;
    bool hasEnded = false;
};

// The most streams in one file: a film has two or three, a chained radio recording a few hundred.
constexpr std::size_t MostStreams = 4096;

class OggWalk {
public:
    explicit OggWalk(Place& file) : file_(file) {}

    Finding Run() {
        GoOnFromNote(file_, *this);
        for (;;) {
            NoteWalk(file_, *this);
            const std::optional<Page> page = ReadPage(file_, end_);
            if (!page || !BelongsHere(*page)) {
                return AtEnd();
            }
            if (!page->isSound && !GoesOnAfter(*page)) {
                return BrokenAt(file_, end_, end_ + page->size, FileTypeIndex::Ogg, "a page's checksum is wrong");
            }
            isDamaged_ = isDamaged_ || !page->isSound;
            streams_[page->serial] = {page->number + 1, (page->flags & EndsStream) != 0};
            end_ += page->size;
        }
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        fields.Flag(isDamaged_);
        std::vector<std::pair<std::uint32_t, LogicalStream>> streams(streams_.begin(), streams_.end());
        std::size_t count = streams.size();
        fields.Number(count);
        streams.resize(std::min(count, MostStreams));
        for (auto& [serial, stream] : streams) {
            fields.Number(serial);
            fields.Number(stream.nextNumber);
            fields.Flag(stream.hasEnded);
        }
        streams_ = {streams.begin(), streams.end()};
    }

private:
    bool AllHaveEnded() const {
        return std::ranges::all_of(streams_, [](const auto& stream) { return stream.second.hasEnded; });
    }

    // True for the first page of a stream, or a later one of a stream that goes on. If all streams have just ended, a
    // page at a sector start begins another file.
    bool BelongsHere(const Page& page) const {
        const auto stream = streams_.find(page.serial);
        if ((page.flags & BeginsStream) != 0) {
            const bool isNextFile = end_ > 0 && AllHaveEnded() && end_ % file_.SectorSize() == 0;
            return !isNextFile && streams_.size() < MostStreams;
        }
        return stream != streams_.end() && !stream->second.hasEnded;
    }

    // A single bad page is stepped over if the next one continues its stream.
    bool GoesOnAfter(const Page& page) {
        const std::optional<Page> next = ReadPage(file_, end_ + page.size);
        return next && next->isSound && next->serial == page.serial && next->number == page.number + 1;
    }

    Finding AtEnd() const {
        if (end_ == 0) {
            return {};
        }
        if (isDamaged_) {
            return {Verdict::Damaged, end_, FileTypeIndex::Ogg, {}, "the checksum of a page in the middle is wrong"};
        }
        if (AllHaveEnded()) {
            return {Verdict::Whole, end_, FileTypeIndex::Ogg, {}, "every stream's last page is there"};
        }
        if (end_ >= file_.Limit()) {
            return {Verdict::Truncated, end_, FileTypeIndex::Ogg, {}, "streams go on past the medium's end"};
        }
        return Unbroken(
            {Verdict::Open, end_, FileTypeIndex::Ogg, {}, "the pages stop without marking the stream's end"});
    }

    Place& file_;
    std::map<std::uint32_t, LogicalStream> streams_;
    std::int64_t end_ = 0;
    bool isDamaged_ = false;
};

bool BeginsOgg(ByteSpan head) { return IsPageStart(head) && (head[FlagsOffset] & BeginsStream) != 0; }

constexpr StartSignature Starts[] = {{"OggS"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Ogg};

}  // namespace

/// Ogg. Source: RFC 3533.
extern const Validator OggValidator;
const Validator OggValidator{.name = "ogg",
                             .starts = Starts,
                             .begins = BeginsOgg,
                             .validate = [](Place& file) { return OggWalk(file).Run(); },
                             .types = Types};

}  // namespace salvor

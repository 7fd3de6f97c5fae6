#include "host/validate/measure_tiff.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "host/validate/byte_order.h"

namespace salvor {

namespace {

// Far more than files have, and little enough to be done in no time.
constexpr std::size_t MostDirectories = 65536;
constexpr std::size_t MostEntriesOfADirectory = 1024;
constexpr std::size_t MostEntries = std::size_t{1} << 20U;
constexpr std::size_t MostValues = std::size_t{1} << 20U;

constexpr std::int64_t HeaderBytes = 8;
constexpr std::size_t EntryBytes = 12;

// Field types.
constexpr std::uint16_t TypeShort = 3;
constexpr std::uint16_t TypeLong = 4;
constexpr std::uint16_t TypeDirectory = 13;

// Bytes of a value by field type; 0 for types that there are not.
constexpr std::array<std::uint8_t, 14> TypeBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};

namespace tag {
constexpr std::uint16_t Width = 256;
constexpr std::uint16_t Height = 257;
constexpr std::uint16_t BitsPerSample = 258;
constexpr std::uint16_t Compression = 259;
constexpr std::uint16_t StripOffsets = 273;
constexpr std::uint16_t SamplesPerPixel = 277;
constexpr std::uint16_t RowsPerStrip = 278;
constexpr std::uint16_t StripByteCounts = 279;
constexpr std::uint16_t PlanarConfiguration = 284;
constexpr std::uint16_t TileOffsets = 324;
constexpr std::uint16_t TileByteCounts = 325;
constexpr std::uint16_t SubDirectories = 330;
constexpr std::uint16_t JpegOffset = 513;
constexpr std::uint16_t JpegLength = 514;
constexpr std::uint16_t EncryptedOffset = 0x7200;
constexpr std::uint16_t EncryptedLength = 0x7201;
constexpr std::uint16_t ExifDirectory = 34665;
constexpr std::uint16_t GpsDirectory = 34853;
constexpr std::uint16_t InteroperabilityDirectory = 40965;
constexpr std::uint16_t PrivateData = 50740;
}  // namespace tag

// Where pieces of data begin and how long they are.
constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 4> DataTags{
    {{tag::StripOffsets, tag::StripByteCounts},
     {tag::TileOffsets, tag::TileByteCounts},
     {tag::JpegOffset, tag::JpegLength},
     {tag::EncryptedOffset, tag::EncryptedLength}}};

struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    // The values themselves, or where they stand if they take more than these 4 bytes.
    std::array<std::uint8_t, 4> field;

    bool HasKnownType() const { return type < TypeBytes.size() && TypeBytes[type] != 0; }
    bool HoldsOffsets() const { return type == TypeShort || type == TypeLong || type == TypeDirectory; }
    std::int64_t ValueBytes() const { return std::int64_t{count} * TypeBytes[type]; }
    bool IsInline() const { return ValueBytes() <= 4; }
};

// Those with known types.
using Entries = std::vector<Entry>;

class TiffWalk {
public:
    TiffWalk(CandidateReader& bytes, ByteOrder order) : bytes_(bytes), order_(order) {}

    // Nothing if no directory stands there.
    std::optional<std::int64_t> EndFrom(std::uint32_t firstDirectory) {
        Follow(firstDirectory, true);
        while (!pending_.empty()) {
            const auto [offset, inChain] = pending_.back();
            pending_.pop_back();
            WalkDirectory(offset, inChain);
        }
        return end_ > HeaderBytes ? std::optional(end_) : std::nullopt;
    }

private:
    // Once each, so that loops end. Directories of images stand in a chain; the others have no link to a next one.
    void Follow(std::uint32_t offset, bool inChain) {
        if (offset >= HeaderBytes && seen_.size() < MostDirectories && seen_.insert(offset).second) {
            pending_.emplace_back(offset, inChain);
        }
    }

    void Reach(std::int64_t start, std::int64_t length) {
        if (start < bytes_.Size()) {
            end_ = std::max(end_, start + length);
        }
    }

    void WalkDirectory(std::int64_t offset, bool inChain) {
        std::array<std::uint8_t, 4> number{};
        const std::span<std::uint8_t> twoBytes(number.data(), 2);
        if (!bytes_.Read(offset, twoBytes)) {
            return;
        }
        const std::size_t count = Load16(number, 0, order_);
        const Entries entries = ReadEntries(offset + 2, count);
        // Bytes that a wrong pointer takes for a directory have types at random.
        if (entries.size() <= count / 2) {
            return;
        }
        const std::int64_t link = offset + 2 + static_cast<std::int64_t>(count * EntryBytes);
        Reach(link, 4);
        if (inChain && bytes_.Read(link, number)) {
            Follow(Load32(number, 0, order_), true);
        }
        for (const Entry& entry : entries) {
            TakeEntry(entry);
        }
        TakeData(entries);
    }

    // None if there are too many or they lie outside.
    Entries ReadEntries(std::int64_t offset, std::size_t count) {
        if (count > MostEntriesOfADirectory || count > entriesLeft_) {
            return {};
        }
        entriesLeft_ -= count;
        std::vector<std::uint8_t> table(count * EntryBytes);
        if (!bytes_.Read(offset, table)) {
            return {};
        }
        Entries entries;
        for (std::size_t at = 0; at < table.size(); at += EntryBytes) {
            const Entry entry{Load16(table, at, order_),
                              Load16(table, at + 2, order_),
                              Load32(table, at + 4, order_),
                              {table[at + 8], table[at + 9], table[at + 10], table[at + 11]}};
            if (entry.HasKnownType()) {
                entries.push_back(entry);
            }
        }
        return entries;
    }

    void TakeEntry(const Entry& entry) {
        if (!entry.IsInline()) {
            Reach(Load32(entry.field, 0, order_), entry.ValueBytes());
        }
        switch (entry.tag) {
            case tag::SubDirectories:
            case tag::ExifDirectory:
            case tag::GpsDirectory:
            case tag::InteroperabilityDirectory:
                for (const std::uint32_t offset : Values(entry)) {
                    Follow(offset, entry.tag == tag::SubDirectories);
                }
                break;
            case tag::PrivateData:
                // Four bytes are no data but where a directory of the maker's stands.
                if (entry.ValueBytes() == 4) {
                    Follow(Load32(entry.field, 0, order_), false);
                }
                break;
            default:
                break;
        }
    }

    void TakeData(const Entries& entries) {
        for (const auto& [offsetTag, lengthTag] : DataTags) {
            const std::vector<std::uint32_t> offsets = ValuesOf(entries, offsetTag);
            const std::vector<std::uint32_t> lengths = ValuesOf(entries, lengthTag);
            for (std::size_t i = 0; i < std::min(offsets.size(), lengths.size()); ++i) {
                Reach(offsets[i], lengths[i]);
            }
            if (offsetTag == tag::StripOffsets && lengths.empty()) {
                TakeUncountedStrips(entries, offsets);
            }
        }
    }

    // Old writers leave out the lengths of strips that are not compressed.
    void TakeUncountedStrips(const Entries& entries, const std::vector<std::uint32_t>& offsets) {
        constexpr std::int64_t largest = std::int64_t{1} << 31U;
        const std::int64_t bits = ValueOf(entries, tag::BitsPerSample, 1);
        const std::int64_t samples =
            ValueOf(entries, tag::PlanarConfiguration, 1) == 1 ? ValueOf(entries, tag::SamplesPerPixel, 1) : 1;
        const std::int64_t height = ValueOf(entries, tag::Height, 0);
        const std::int64_t rows = std::min(ValueOf(entries, tag::RowsPerStrip, height), height);
        if (ValueOf(entries, tag::Compression, 1) != 1 || bits > 64 || samples > 64 || rows < 1 || height > largest) {
            return;
        }
        const std::int64_t rowBytes = (ValueOf(entries, tag::Width, 0) * bits * samples + 7) / 8;
        if (rowBytes > largest) {
            return;
        }
        const std::int64_t stripsOfAPlane = (height + rows - 1) / rows;
        std::int64_t strip = 0;
        for (const std::uint32_t offset : offsets) {
            Reach(offset, std::min(rows, height - strip * rows) * rowBytes);
            strip = (strip + 1) % stripsOfAPlane;
        }
    }

    // None if they are no offsets or lengths, are too many or lie outside.
    std::vector<std::uint32_t> Values(const Entry& entry) {
        if (!entry.HoldsOffsets() || entry.count > valuesLeft_ || entry.ValueBytes() > bytes_.Size()) {
            return {};
        }
        valuesLeft_ -= entry.count;
        std::vector<std::uint8_t> raw(entry.field.begin(), entry.field.end());
        if (!entry.IsInline()) {
            raw.resize(static_cast<std::size_t>(entry.ValueBytes()));
            if (!bytes_.Read(Load32(entry.field, 0, order_), raw)) {
                return {};
            }
        }
        const std::size_t width = TypeBytes[entry.type];
        std::vector<std::uint32_t> values;
        for (std::size_t i = 0; i < entry.count; ++i) {
            values.push_back(LoadNumber(raw, i * width, width, order_));
        }
        return values;
    }

    std::vector<std::uint32_t> ValuesOf(const Entries& entries, std::uint16_t tag) {
        const auto entry = std::ranges::find(entries, tag, &Entry::tag);
        return entry != entries.end() ? Values(*entry) : std::vector<std::uint32_t>();
    }

    std::int64_t ValueOf(const Entries& entries, std::uint16_t tag, std::int64_t fallback) {
        const std::vector<std::uint32_t> values = ValuesOf(entries, tag);
        return values.empty() ? fallback : values.front();
    }

    CandidateReader& bytes_;
    ByteOrder order_;
    std::int64_t end_ = HeaderBytes;
    std::size_t entriesLeft_ = MostEntries;
    std::size_t valuesLeft_ = MostValues;
    std::unordered_set<std::uint32_t> seen_;
    std::vector<std::pair<std::uint32_t, bool>> pending_;
};

std::optional<ByteOrder> OrderOf(std::string_view mark) {
    using namespace std::string_view_literals;
    // Cameras of one maker have letters in place of the number 42.
    for (const std::string_view little : {"II*\0"sv, "IIRO"sv, "IIRS"sv}) {
        if (mark == little) {
            return ByteOrder::Little;
        }
    }
    return mark == "MM\0*"sv || mark == "MMOR"sv ? std::optional(ByteOrder::Big) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> MeasureTiff(CandidateReader& bytes) {
    std::array<std::uint8_t, HeaderBytes> header{};
    if (!bytes.Read(0, header)) {
        return std::nullopt;
    }
    const auto order = OrderOf(std::string(header.begin(), header.begin() + 4));
    return order ? TiffWalk(bytes, *order).EndFrom(Load32(header, 4, *order)) : std::nullopt;
}

}  // namespace salvor

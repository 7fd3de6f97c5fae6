#include "formats/TiffWalk.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "formats/TiffTags.h"
#include "frame/bytes/BytePattern.h"

namespace {

// Far more than files have, and few enough to be read in no time.
constexpr std::size_t MostDirectories = 65536;
constexpr std::uint64_t MostEntriesOfADirectory = 4096;
constexpr std::size_t MostEntries = std::size_t{1} << 20U;
constexpr std::size_t MostValues = std::size_t{1} << 20U;
constexpr std::uint64_t LongestText = 256;

constexpr std::int64_t ClassicHeaderBytes = 8;
constexpr std::uint8_t BigNumber = 43;

// Bytes of a value by field type; 0 for types that do not exist.
constexpr std::array<std::uint8_t, 19> TypeBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};

// Sony, Samsung (two), Panasonic, Nikon, Kodak and Pentax.
constexpr std::array<std::uint64_t, 7> SensorCompressions{32767, 32769, 32770, 34316, 34713, 65000, 65535};
// A colour filter's pattern, and its linear data.
constexpr std::array<std::uint64_t, 2> SensorInterpretations{32803, 34892};

// Where pieces of data begin and how long they are.
constexpr std::array<std::pair<std::uint16_t, std::uint16_t>, 4> DataTags{
    {{TiffTag::StripOffsets, TiffTag::StripByteCounts},
     {TiffTag::TileOffsets, TiffTag::TileByteCounts},
     {TiffTag::JpegOffset, TiffTag::JpegLength},
     {TiffTag::EncryptedOffset, TiffTag::EncryptedLength}}};

struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t count;
    // The values themselves, or their offset where they do not fit.
    std::array<std::uint8_t, 8> field;

    bool HasKnownType() const { return type < TypeBytes.size() && TypeBytes[type] != 0; }
    bool HoldsOffsets() const {
        return type == TiffType::Short || type == TiffType::Long || type == TiffType::Directory ||
               type == TiffType::Long8 || type == TiffType::Directory8;
    }
    // The bytes of all values together, at most the largest number.
    std::int64_t ValueBytes() const {
        constexpr std::uint64_t most = std::uint64_t{1} << 56U;
        return static_cast<std::int64_t>(std::min(count, most / 8) * TypeBytes[type]);
    }
};

// Entries of known types.
using Entries = std::vector<Entry>;
using Numbers = std::vector<std::int64_t>;

class Walk {
public:
    Walk(ByteWindow& file, Endian endian, bool isBig) : file_(file), endian_(endian), isBig_(isBig) {}

    std::optional<TiffFile> From(std::int64_t firstDirectory) {
        Follow(firstDirectory, /*inChain=*/true);
        while (!pending_.empty() && !file_.IsExhausted()) {
            const auto [offset, inChain] = pending_.back();
            pending_.pop_back();
            const bool isFirst = found_.extents.empty();
            if (!WalkDirectory(offset, inChain)) {
                if (isFirst) {
                    return std::nullopt;
                }
                found_.missesDirectory = true;
            }
        }
        return found_.extents.empty() ? std::nullopt : std::optional(std::move(found_));
    }

private:
    std::size_t CountBytes() const { return isBig_ ? 8 : 2; }
    std::size_t WordBytes() const { return isBig_ ? 8 : 4; }
    std::size_t EntryBytes() const { return isBig_ ? 20 : 12; }

    std::uint64_t Number(ByteSpan bytes, std::size_t offset, std::size_t width) const {
        switch (width) {
            case 1:
                return bytes[offset];
            case 2:
                return LoadAs<std::uint16_t>(bytes, offset, endian_);
            case 4:
                return LoadAs<std::uint32_t>(bytes, offset, endian_);
            default:
                return LoadAs<std::uint64_t>(bytes, offset, endian_);
        }
    }
    // Offsets that no medium has are all clamped to the same one.
    std::int64_t Word(ByteSpan bytes, std::size_t offset, std::size_t width) const {
        constexpr std::uint64_t most = std::uint64_t{1} << 56U;
        return static_cast<std::int64_t>(std::min(Number(bytes, offset, width), most));
    }
    std::int64_t OffsetOf(const Entry& entry) const { return Word(entry.field, 0, WordBytes()); }
    bool IsInline(const Entry& entry) const { return entry.ValueBytes() <= static_cast<std::int64_t>(WordBytes()); }

    // Each directory is taken once, so that loops end. Directories of images are chained; the others have no link to a
    // next one.
    void Follow(std::int64_t offset, bool inChain) {
        found_.missesDirectory = found_.missesDirectory || offset >= file_.Limit();
        if (offset >= ClassicHeaderBytes && offset < file_.Limit() && seen_.size() < MostDirectories &&
            seen_.insert(offset).second) {
            pending_.emplace_back(offset, inChain);
        }
    }

    void Reach(std::int64_t start, std::int64_t length, TiffFile::Kind kind, std::int64_t compression = 0) {
        if (length > 0 && (start < file_.Limit() || kind == TiffFile::Kind::Picture)) {
            found_.extents.push_back({start, length, kind, static_cast<std::uint16_t>(compression)});
        }
    }

    bool WalkDirectory(std::int64_t offset, bool inChain) {
        std::array<std::uint8_t, 8> number{};
        if (!file_.Copy(offset, std::span(number).first(CountBytes()))) {
            return false;
        }
        const std::uint64_t count = Number(number, 0, CountBytes());
        const std::int64_t table = offset + static_cast<std::int64_t>(CountBytes());
        if (count == 0 || count > MostEntriesOfADirectory || count > entriesLeft_) {
            return false;
        }
        const Entries entries = ReadEntries(table, static_cast<std::size_t>(count));
        // Bytes that a wrong pointer takes for a directory have random types.
        if (entries.size() <= count / 2) {
            return false;
        }
        const std::int64_t link = table + static_cast<std::int64_t>(count * EntryBytes());
        Reach(offset, link + static_cast<std::int64_t>(WordBytes()) - offset, TiffFile::Kind::Directory);
        if (inChain && file_.Copy(link, std::span(number).first(WordBytes()))) {
            Follow(Word(number, 0, WordBytes()), /*inChain=*/true);
        }
        TakeKind(entries);
        for (const Entry& entry : entries) {
            TakeEntry(entry);
        }
        TakeData(entries);
        return true;
    }

    Entries ReadEntries(std::int64_t offset, std::size_t count) {
        entriesLeft_ -= count;
        std::vector<std::uint8_t> table(count * EntryBytes());
        if (!file_.Copy(offset, table)) {
            return {};
        }
        Entries entries;
        for (std::size_t at = 0; at < table.size(); at += EntryBytes()) {
            Entry entry{static_cast<std::uint16_t>(Number(table, at, 2)),
                        static_cast<std::uint16_t>(Number(table, at + 2, 2)),
                        Number(table, at + 4, WordBytes()),
                        {}};
            std::copy_n(table.begin() + static_cast<std::ptrdiff_t>(at + 4 + WordBytes()), WordBytes(),
                        entry.field.begin());
            if (entry.HasKnownType()) {
                entries.push_back(entry);
            }
        }
        return entries;
    }

    void TakeKind(const Entries& entries) {
        const auto has = [&entries](std::uint16_t tag) {
            return std::ranges::find(entries, tag, &Entry::tag) != entries.end();
        };
        found_.isDng = found_.isDng || has(TiffTag::DngVersion);
        found_.hasPhotoshopResources = found_.hasPhotoshopResources || has(TiffTag::PhotoshopResources);
        // The metadata packet is in the first directory, which is the first extent.
        found_.isLaidOutAnew = found_.extents.size() == 1 ? NamesEditor(entries) : found_.isLaidOutAnew;
        const auto isOneOf = [](const auto& numbers, std::int64_t number) {
            return std::ranges::find(numbers, static_cast<std::uint64_t>(number)) != numbers.end();
        };
        found_.hasSensorData = found_.hasSensorData ||
                               isOneOf(SensorCompressions, ValueOf(entries, TiffTag::Compression, 0)) ||
                               isOneOf(SensorInterpretations, ValueOf(entries, TiffTag::Photometric, 0));
        found_.make = found_.make.empty() ? TextOf(entries, TiffTag::Make) : found_.make;
        found_.model = found_.model.empty() ? TextOf(entries, TiffTag::Model) : found_.model;
    }

    // The program's name is an attribute of the packet's first element.
    bool NamesEditor(const Entries& entries) {
        static constexpr BytePattern tool = BytePatternOf<"Image::ExifTool">();
        static constexpr BytePattern library = BytePatternOf<"-Exiv2\"">();
        constexpr std::uint64_t within = 256;
        const auto packet = std::ranges::find(entries, TiffTag::MetadataPacket, &Entry::tag);
        if (packet == entries.end() || IsInline(*packet)) {
            return false;
        }
        const auto length = static_cast<std::size_t>(std::min(packet->count, within));
        const ByteSpan start = file_.At(OffsetOf(*packet), length);
        return tool.FindIn(start).has_value() || library.FindIn(start).has_value();
    }

    void TakeEntry(const Entry& entry) {
        if (!IsInline(entry)) {
            Reach(OffsetOf(entry), entry.ValueBytes(), TiffFile::Kind::Value);
        }
        switch (entry.tag) {
            case TiffTag::SubDirectories:
            case TiffTag::ExifDirectory:
            case TiffTag::GpsDirectory:
            case TiffTag::InteroperabilityDirectory:
                for (const std::int64_t offset : Values(entry)) {
                    Follow(offset, entry.tag == TiffTag::SubDirectories);
                }
                break;
            case TiffTag::PrivateData:
                // Four bytes are not data but the offset of a directory of the maker's own.
                if (entry.ValueBytes() == 4) {
                    Follow(Word(entry.field, 0, 4), /*inChain=*/false);
                }
                break;
            default:
                break;
        }
    }

    void TakeData(const Entries& entries) {
        const std::int64_t compression = ValueOf(entries, TiffTag::Compression, 1);
        for (const auto& [offsetTag, lengthTag] : DataTags) {
            constexpr std::int64_t elsewhere = 0xFFFFFFFF;
            Numbers offsets = ValuesOf(entries, offsetTag);
            if (offsets.size() == 1 && offsets[0] == elsewhere) {
                offsets = ValuesOf(entries, TiffTag::RawDataOffset);
            }
            const Numbers lengths = ValuesOf(entries, lengthTag);
            const bool isCoded = offsetTag == TiffTag::StripOffsets || offsetTag == TiffTag::TileOffsets;
            for (std::size_t i = 0; i < std::min(offsets.size(), lengths.size()); ++i) {
                Reach(offsets[i], lengths[i], TiffFile::Kind::Picture, isCoded ? compression : 0);
            }
            if (offsetTag == TiffTag::StripOffsets && lengths.empty()) {
                TakeUncountedStrips(entries, offsets);
            }
        }
    }

    // Old writers leave out the lengths of strips that are not compressed.
    void TakeUncountedStrips(const Entries& entries, const Numbers& offsets) {
        constexpr std::int64_t largest = std::int64_t{1} << 31U;
        const std::int64_t bits = ValueOf(entries, TiffTag::BitsPerSample, 1);
        const std::int64_t samples =
            ValueOf(entries, TiffTag::PlanarConfiguration, 1) == 1 ? ValueOf(entries, TiffTag::SamplesPerPixel, 1) : 1;
        const std::int64_t width = ValueOf(entries, TiffTag::ImageWidth, 0);
        const std::int64_t height = ValueOf(entries, TiffTag::ImageLength, 0);
        const std::int64_t rows = std::min(ValueOf(entries, TiffTag::RowsPerStrip, height), height);
        if (ValueOf(entries, TiffTag::Compression, 1) != 1 || bits > 64 || samples > 64 || rows < 1 ||
            height > largest || width > largest) {
            return;
        }
        const std::int64_t rowBytes = (width * bits * samples + 7) / 8;
        if (rowBytes > largest) {
            return;
        }
        const std::int64_t stripsOfAPlane = (height + rows - 1) / rows;
        std::int64_t strip = 0;
        for (const std::int64_t offset : offsets) {
            Reach(offset, std::min(rows, height - strip * rows) * rowBytes, TiffFile::Kind::Picture, 1);
            strip = (strip + 1) % stripsOfAPlane;
        }
    }

    // Empty if they are not offsets or lengths, are too many or lie outside.
    Numbers Values(const Entry& entry) {
        if (!entry.HoldsOffsets() || entry.count > valuesLeft_ || entry.ValueBytes() > file_.Limit()) {
            return {};
        }
        valuesLeft_ -= static_cast<std::size_t>(entry.count);
        std::vector<std::uint8_t> raw(entry.field.begin(), entry.field.end());
        if (!IsInline(entry)) {
            if (OffsetOf(entry) > file_.Limit() - entry.ValueBytes()) {
                return {};
            }
            raw.resize(static_cast<std::size_t>(entry.ValueBytes()));
            if (!file_.Copy(OffsetOf(entry), raw)) {
                return {};
            }
        }
        const std::size_t width = TypeBytes[entry.type];
        Numbers values;
        for (std::size_t i = 0; i < entry.count; ++i) {
            values.push_back(Word(raw, i * width, width));
        }
        return values;
    }

    Numbers ValuesOf(const Entries& entries, std::uint16_t tag) {
        const auto entry = std::ranges::find(entries, tag, &Entry::tag);
        return entry != entries.end() ? Values(*entry) : Numbers();
    }

    std::int64_t ValueOf(const Entries& entries, std::uint16_t tag, std::int64_t fallback) {
        const Numbers values = ValuesOf(entries, tag);
        return values.empty() ? fallback : values.front();
    }

    std::string TextOf(const Entries& entries, std::uint16_t tag) {
        const auto entry = std::ranges::find(entries, tag, &Entry::tag);
        if (entry == entries.end() || entry->type != TiffType::Ascii || entry->count > LongestText) {
            return {};
        }
        const auto length = static_cast<std::size_t>(entry->count);
        const ByteSpan bytes =
            IsInline(*entry) ? ByteSpan(entry->field).first(length) : file_.At(OffsetOf(*entry), length);
        return {bytes.begin(), std::ranges::find(bytes, std::uint8_t{0})};
    }

    ByteWindow& file_;
    Endian endian_;
    bool isBig_;
    TiffFile found_;
    std::size_t entriesLeft_ = MostEntries;
    std::size_t valuesLeft_ = MostValues;
    std::unordered_set<std::int64_t> seen_;
    std::vector<std::pair<std::int64_t, bool>> pending_;
};

bool IsBig(ByteSpan head, Endian endian) { return LoadAs<std::uint16_t>(head, 2, endian) == BigNumber; }

}  // namespace

std::optional<Endian> TiffEndianOf(ByteSpan head) {
    using namespace std::string_view_literals;
    const auto stands = [head](std::string_view mark) {
        return head.size() >= mark.size() && std::ranges::equal(mark, head.first(mark.size()), {},
                                                                [](char c) { return static_cast<std::uint8_t>(c); });
    };
    for (const std::string_view little : {"II*\0"sv, "IIRO"sv, "IIRS"sv, "IIU\0"sv, "II+\0\x08\0\0\0"sv}) {
        if (stands(little)) {
            return Endian::Little;
        }
    }
    for (const std::string_view big : {"MM\0*"sv, "MMOR"sv, "MM\0+\0\x08\0\0"sv}) {
        if (stands(big)) {
            return Endian::Big;
        }
    }
    return std::nullopt;
}

std::optional<TiffFile> WalkTiff(ByteWindow& file) {
    const ByteSpan head = file.From(0, TiffHeaderBytes);
    const std::optional<Endian> endian = TiffEndianOf(head);
    if (!endian || head.size() < TiffHeaderBytes) {
        return std::nullopt;
    }
    const bool isBig = IsBig(head, *endian);
    const std::uint64_t first =
        isBig ? LoadAs<std::uint64_t>(head, 8, *endian) : LoadAs<std::uint32_t>(head, 4, *endian);
    if (first >= static_cast<std::uint64_t>(file.Limit())) {
        return std::nullopt;
    }
    return Walk(file, *endian, isBig).From(static_cast<std::int64_t>(first));
}

#include "images/KCR2FileType.h"

#include <algorithm>
#include <array>
#include <vector>

#include "formats/CanonTrailer.h"
#include "formats/TiffDirectory.h"
#include "formats/TiffTags.h"

namespace {

constexpr std::size_t HeaderBytes = 16;

constexpr int ChainedDirectories = 4;
// Directories that others point to; cameras write up to three.
constexpr std::size_t MostNamedDirectories = 8;

// No value outside a directory is nearly this large, not even a preview in a maker's note.
constexpr std::uint64_t MostValueBytes = std::uint64_t{16} << 20U;

// Strips of a picture; these files have one.
constexpr std::uint32_t MostNumbers = 1024;
static_assert(MostNumbers * sizeof(std::uint32_t) <= FileWindow::PieceBytes, "they are shown at once");

// The cost of looking at another place in the file, in bytes that could be read in that time.
constexpr std::int64_t PlaceCost = 0x8000;

bool NamesDirectories(std::uint16_t tag) {
    return tag == TiffTag::SubDirectories || tag == TiffTag::ExifDirectory || tag == TiffTag::GpsDirectory ||
           tag == TiffTag::InteroperabilityDirectory;
}

// Follows the directories of one file and keeps the furthest end of what they hold and point to.
class DirectoryWalk {
public:
    DirectoryWalk(FileWindow& file, Endian order) : file_(file), order_(order) {}

    std::int64_t EndFrom(std::uint32_t firstDirectory) {
        std::int64_t offset = firstDirectory;
        for (int i = 0; i < ChainedDirectories && offset != 0; ++i) {
            const std::optional<std::int64_t> link = TakeDirectory(offset);
            std::array<std::uint8_t, 4> next{};
            if (!link || !ReadAt(file_, *link, next)) {
                break;
            }
            offset = LoadAs<std::uint32_t>(next, 0, order_);
        }
        while (!named_.empty()) {
            const std::uint32_t directory = named_.back();
            named_.pop_back();
            TakeDirectory(directory);
        }
        return end_;
    }

private:
    using Entries = std::vector<TiffEntry>;
    using Numbers = std::vector<std::uint32_t>;

    // The offset of the link to the next directory. A directory that fails counts for nothing.
    std::optional<std::int64_t> TakeDirectory(std::int64_t offset) {
        constexpr std::int64_t linkBytes = 4;
        file_.Charge(PlaceCost);
        Entries entries;
        const auto link =
            ForEachTiffEntry(file_, offset, order_, [&](const TiffEntry& entry) { entries.push_back(entry); });
        // Zeros are no directory.
        if (!link || entries.empty()) {
            return link;
        }
        Reach(*link + linkBytes);
        for (const TiffEntry& entry : entries) {
            TakeEntry(entry);
        }
        TakePictures(entries, TiffTag::StripOffsets, TiffTag::StripByteCounts);
        TakePictures(entries, TiffTag::JpegOffset, TiffTag::JpegLength);
        return link;
    }

    void TakeEntry(const TiffEntry& entry) {
        const std::uint64_t bytes = entry.ValueBytes();
        if (!entry.IsInline() && bytes <= MostValueBytes) {
            const std::int64_t end = std::int64_t{entry.Number(order_)} + static_cast<std::int64_t>(bytes);
            // Data that pass the limit are damaged; a picture may be cut there.
            Reach(end <= file_.Limit() ? end : 0);
        }
        if (namedLeft_ != 0 && NamesDirectories(entry.tag)) {
            const Numbers offsets = NumbersOf(entry);
            const std::size_t taken = std::min(offsets.size(), namedLeft_);
            named_.insert(named_.end(), offsets.begin(), offsets.begin() + static_cast<std::ptrdiff_t>(taken));
            namedLeft_ -= taken;
        }
    }

    void TakePictures(const Entries& entries, std::uint16_t offsetTag, std::uint16_t lengthTag) {
        const Numbers offsets = NumbersOf(entries, offsetTag);
        const Numbers lengths = NumbersOf(entries, lengthTag);
        for (std::size_t i = 0; i < std::min(offsets.size(), lengths.size()); ++i) {
            Reach(lengths[i] != 0 ? std::int64_t{offsets[i]} + lengths[i] : 0);
        }
    }

    Numbers NumbersOf(const Entries& entries, std::uint16_t tag) {
        const auto entry = std::ranges::find(entries, tag, &TiffEntry::tag);
        return entry != entries.end() ? NumbersOf(*entry) : Numbers();
    }

    // Empty if they are not whole numbers, are too many or cannot be read.
    Numbers NumbersOf(const TiffEntry& entry) {
        if ((entry.type != TiffType::Short && entry.type != TiffType::Long) || entry.count > MostNumbers) {
            return {};
        }
        file_.Charge(entry.IsInline() ? 0 : PlaceCost);
        const auto length = static_cast<std::size_t>(entry.ValueBytes());
        const ByteSpan bytes =
            entry.IsInline() ? ByteSpan(entry.value).first(length) : file_.At(entry.Number(order_), length);
        Numbers numbers;
        for (std::size_t at = 0; at < bytes.size(); at += TiffTypeBytes[entry.type]) {
            numbers.push_back(entry.type == TiffType::Short ? LoadAs<std::uint16_t>(bytes, at, order_)
                                                            : LoadAs<std::uint32_t>(bytes, at, order_));
        }
        return numbers;
    }

    void Reach(std::int64_t end) { end_ = std::max(end_, end); }

    FileWindow& file_;
    Endian order_;
    std::int64_t end_ = 0;
    // Directories still to be taken, and how many more may be named.
    std::vector<std::uint32_t> named_;
    std::size_t namedLeft_ = MostNamedDirectories;
};

}  // namespace

bool KCR2FileType::IsHeader(ByteSpan sector) {
    return FindTiffHeader(sector) && sector.size() >= HeaderBytes && HasPatternAt(sector, MarkOffset, Mark);
}

std::optional<std::int64_t> KCR2FileType::Walk(FileWindow& file) {
    const std::optional<TiffHeader> header = FindTiffHeader(file.At(0, HeaderBytes));
    if (!header) {
        return std::nullopt;
    }
    const std::int64_t end = DirectoryWalk(file, header->order).EndFrom(header->firstDirectory);
    // An end at 2 GiB or more counts as negative.
    const std::int64_t size = static_cast<std::int32_t>(static_cast<std::uint32_t>(end));
    return size >= MinReportLength ? std::optional(CanonTrailer::EndAfter(file, size)) : std::nullopt;
}

#include "host/medium/stored_blocks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/bytes/Bytes.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

// A table in the file, read piece by piece.
class Table {
public:
    explicit Table(const Device& file) : file_(file) {}

    /// The bytes of an entry, at most eight; nothing if it is outside the file.
    std::optional<ByteSpan> Entry(std::uint64_t offset, std::size_t length) {
        if (offset > static_cast<std::uint64_t>(file_.Size())) {
            return std::nullopt;
        }
        const auto at = static_cast<std::int64_t>(offset);
        if (at < start_ || at + static_cast<std::int64_t>(length) > start_ + std::ssize(part_)) {
            constexpr std::size_t partBytes = std::size_t{64} << 10U;
            start_ = at;
            part_.resize(partBytes);
            part_.resize(file_.ReadAt(start_, part_.data(), part_.size()));
        }
        const auto inPart = static_cast<std::size_t>(at - start_);
        return part_.size() >= inPart + length ? std::optional(ByteSpan(part_).subspan(inPart, length)) : std::nullopt;
    }

private:
    const Device& file_;
    std::int64_t start_ = 0;
    std::vector<std::uint8_t> part_;
};

// Microsoft's Virtual Hard Disk Image Format Specification: a dynamic disk's block allocation table.
class VhdBlocks final : public StoredBlocks {
public:
    VhdBlocks(Device file, std::uint64_t tableAt, std::uint32_t entries, std::int64_t blockBytes)
        : StoredBlocks(blockBytes), file_(std::move(file)), tableAt_(tableAt), entries_(entries) {}

    static std::unique_ptr<StoredBlocks> Open(Device file) {
        constexpr std::uint32_t dynamicDisk = 3;
        std::array<std::uint8_t, 512> footer{};
        std::array<std::uint8_t, 1024> header{};
        if (file.ReadAt(0, footer.data(), footer.size()) != footer.size() ||
            LoadBig<std::uint32_t>(footer, 60) != dynamicDisk) {
            return nullptr;
        }
        const auto headerAt = LoadBig<std::uint64_t>(footer, 16);
        if (headerAt > static_cast<std::uint64_t>(file.Size()) ||
            file.ReadAt(static_cast<std::int64_t>(headerAt), header.data(), header.size()) != header.size()) {
            return nullptr;
        }
        const auto tableAt = LoadBig<std::uint64_t>(header, 16);
        const auto entries = LoadBig<std::uint32_t>(header, 28);
        const auto blockBytes = LoadBig<std::uint32_t>(header, 32);
        const bool isSound = std::equal(header.begin(), header.begin() + 8, "cxsparse") && blockBytes >= 512 &&
                             tableAt <= static_cast<std::uint64_t>(file.Size());
        return isSound ? std::make_unique<VhdBlocks>(std::move(file), tableAt, entries, blockBytes) : nullptr;
    }

private:
    bool IsStored(std::int64_t block) override {
        constexpr std::uint32_t none = 0xFFFFFFFF;
        const auto index = static_cast<std::uint64_t>(block);
        if (index >= entries_) {
            return false;
        }
        const auto entry = table_.Entry(tableAt_ + 4 * index, 4);
        return !entry || LoadBig<std::uint32_t>(*entry, 0) != none;
    }

    Device file_;
    Table table_{file_};
    std::uint64_t tableAt_;
    std::uint32_t entries_;
};

// VMware's Virtual Disk Format 1.1: a sparse extent's directory and tables of grains.
class VmdkBlocks final : public StoredBlocks {
public:
    VmdkBlocks(Device file, std::uint64_t directoryAt, std::uint32_t inTable, std::int64_t grainBytes)
        : StoredBlocks(grainBytes), file_(std::move(file)), directoryAt_(directoryAt), inTable_(inTable) {}

    static std::unique_ptr<StoredBlocks> Open(Device file) {
        constexpr std::uint64_t atEnd = ~std::uint64_t{0};
        constexpr std::uint64_t most = std::uint64_t{1} << 32U;
        std::array<std::uint8_t, 512> header{};
        if (file.ReadAt(0, header.data(), header.size()) == header.size() &&
            LoadLittle<std::uint64_t>(header, 56) == atEnd) {
            // A stream-optimised file has its valid header before the last sector.
            file.ReadAt(file.Size() - 1024, header.data(), header.size());
        }
        const auto grainSectors = LoadLittle<std::uint64_t>(header, 20);
        const auto inTable = LoadLittle<std::uint32_t>(header, 44);
        const auto directoryAt = LoadLittle<std::uint64_t>(header, 56);
        const bool isSound = std::equal(header.begin(), header.begin() + 4, "KDMV") && grainSectors > 0 &&
                             grainSectors < most && inTable > 0 && directoryAt < most;
        return isSound ? std::make_unique<VmdkBlocks>(std::move(file), directoryAt * SectorBytes, inTable,
                                                      static_cast<std::int64_t>(grainSectors * SectorBytes))
                       : nullptr;
    }

private:
    static constexpr std::uint64_t SectorBytes = 512;

    bool IsStored(std::int64_t block) override {
        const auto index = static_cast<std::uint64_t>(block);
        const auto table = directory_.Entry(directoryAt_ + 4 * (index / inTable_), 4);
        if (!table) {
            return true;
        }
        const std::uint64_t tableAt = LoadLittle<std::uint32_t>(*table, 0) * SectorBytes;
        if (tableAt == 0) {
            return false;
        }
        // 0 for a missing grain, 1 for a grain of zeros.
        const auto grain = table_.Entry(tableAt + 4 * (index % inTable_), 4);
        return !grain || LoadLittle<std::uint32_t>(*grain, 0) > 1;
    }

    Device file_;
    Table directory_{file_};
    Table table_{file_};
    std::uint64_t directoryAt_;
    std::uint32_t inTable_;
};

// Microsoft's [MS-VHDX]: the block allocation table. In it, each chunk of blocks is followed by the entry of a bitmap,
// which only images based on others use.
class VhdxBlocks final : public StoredBlocks {
public:
    VhdxBlocks(Device file, std::uint64_t tableAt, std::uint64_t entries, std::uint64_t inChunk,
               std::int64_t blockBytes)
        : StoredBlocks(blockBytes), file_(std::move(file)), tableAt_(tableAt), entries_(entries), inChunk_(inChunk) {}

    static std::unique_ptr<StoredBlocks> Open(Device file) {
        constexpr std::int64_t regionsAt = 192 << 10U;
        constexpr std::string_view tableId = "\x66\x77\xC2\x2D\x23\xF6\x00\x42\x9D\x64\x11\x5E\x9B\xFD\x4A\x08"sv;
        constexpr std::string_view metadataId = "\x06\xA2\x7C\x8B\x90\x47\x9A\x4B\xB8\xFE\x57\x5F\x05\x0F\x88\x6E"sv;
        constexpr std::string_view blockSizeId = "\x37\x67\xA1\xCA\x36\xFA\x43\x4D\xB3\xB6\x33\xF0\xAA\x44\xE7\x6B"sv;
        constexpr std::string_view sectorSizeId = "\x1D\xBF\x41\x81\x6F\xA9\x09\x47\xBA\x47\xF2\x33\xA8\xFA\xAB\x5F"sv;
        const auto table = EntryOf(file, regionsAt, 16, tableId);
        const auto metadata = EntryOf(file, regionsAt, 16, metadataId);
        if (!table || !metadata) {
            return nullptr;
        }
        const auto metadataAt = LoadLittle<std::uint64_t>(*metadata, 16);
        const auto blockBytes = Number(file, metadataAt, blockSizeId);
        const auto sectorBytes = Number(file, metadataAt, sectorSizeId);
        const auto isSize = [](std::uint32_t size, std::uint32_t least, std::uint32_t most) {
            return size >= least && size <= most && (size & (size - 1)) == 0;
        };
        if (!isSize(blockBytes, 1U << 20U, 1U << 28U) || !isSize(sectorBytes, 512, 4096)) {
            return nullptr;
        }
        const std::uint64_t inChunk = (std::uint64_t{1} << 23U) * sectorBytes / blockBytes;
        return std::make_unique<VhdxBlocks>(std::move(file), LoadLittle<std::uint64_t>(*table, 16),
                                            LoadLittle<std::uint32_t>(*table, 24) / EntryBytes, inChunk, blockBytes);
    }

private:
    static constexpr std::uint64_t EntryBytes = 8;

    bool IsStored(std::int64_t block) override {
        constexpr std::uint64_t stateBits = 7;
        constexpr std::uint64_t notPresent = 0;
        constexpr std::uint64_t zeros = 2;
        const std::uint64_t index = static_cast<std::uint64_t>(block) + static_cast<std::uint64_t>(block) / inChunk_;
        const auto entry = index < entries_ ? table_.Entry(tableAt_ + EntryBytes * index, EntryBytes) : std::nullopt;
        const std::uint64_t state = entry ? LoadLittle<std::uint64_t>(*entry, 0) & stateBits : stateBits;
        return state != notPresent && state != zeros;
    }

    using TableEntry = std::array<std::uint8_t, 32>;

    // The entry in a table of regions or metadata that begins with this id. The first entry is `headBytes` after the
    // table's start.
    static std::optional<TableEntry> EntryOf(const Device& file, std::int64_t at, std::int64_t headBytes,
                                             std::string_view id) {
        constexpr int mostEntries = 64;
        TableEntry entry{};
        for (int i = 0; i < mostEntries; ++i) {
            const std::int64_t entryAt = at + headBytes + i * std::ssize(entry);
            if (file.ReadAt(entryAt, entry.data(), entry.size()) != entry.size()) {
                break;
            }
            if (std::equal(id.begin(), id.end(), entry.begin(),
                           [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; })) {
                return entry;
            }
        }
        return std::nullopt;
    }

    // A number in the metadata; 0 if it is missing.
    static std::uint32_t Number(const Device& file, std::uint64_t metadataAt, std::string_view id) {
        std::array<std::uint8_t, 4> bytes{};
        if (metadataAt <= static_cast<std::uint64_t>(file.Size())) {
            const auto at = static_cast<std::int64_t>(metadataAt);
            if (const auto entry = EntryOf(file, at, 32, id)) {
                file.ReadAt(at + LoadLittle<std::uint32_t>(*entry, 16), bytes.data(), bytes.size());
            }
        }
        return LoadLittle<std::uint32_t>(bytes, 0);
    }

    Device file_;
    Table table_{file_};
    std::uint64_t tableAt_;
    std::uint64_t entries_;
    std::uint64_t inChunk_;
};

// The Advanced Forensic Format 1.0: a row of segments, each with a name, data and an argument. A page of zeros is
// flagged as compressed to nothing but its length.
class AffBlocks final : public StoredBlocks {
public:
    AffBlocks(std::set<std::int64_t> zeros, std::int64_t pageBytes)
        : StoredBlocks(pageBytes), zeros_(std::move(zeros)) {}

    static std::unique_ptr<StoredBlocks> Open(const Device& file) {
        constexpr int mostSegments = 1 << 22;
        constexpr std::int64_t firstAt = 8;
        constexpr std::int64_t aroundBytes = 24;
        constexpr std::uint32_t zeroFlags = 0x31;
        constexpr std::uint32_t flagBits = 0xF1;
        std::set<std::int64_t> zeros;
        std::int64_t pageBytes = 0;
        std::int64_t at = firstAt;
        std::array<std::uint8_t, 64> head{};
        for (int i = 0; i < mostSegments && file.ReadAt(at, head.data(), head.size()) == head.size(); ++i) {
            const auto nameBytes = LoadBig<std::uint32_t>(head, 4);
            const auto argument = LoadBig<std::uint32_t>(head, 12);
            if (!std::equal(head.begin(), head.begin() + 4, SegmentMark.begin())) {
                return nullptr;
            }
            std::string name;
            std::copy_n(head.begin() + 16, std::min(nameBytes, 32U), std::back_inserter(name));
            if (name == "pagesize") {
                pageBytes = argument;
            } else if (const auto page = PageNumber(name); page && (argument & flagBits) == zeroFlags) {
                zeros.insert(*page);
            }
            at += aroundBytes + std::int64_t{nameBytes} + LoadBig<std::uint32_t>(head, 8);
        }
        return pageBytes > 0 && !zeros.empty() ? std::make_unique<AffBlocks>(std::move(zeros), pageBytes) : nullptr;
    }

private:
    static constexpr std::array<std::uint8_t, 4> SegmentMark{'A', 'F', 'F', 0};

    static std::optional<std::int64_t> PageNumber(const std::string& name) {
        constexpr std::string_view prefix = "page";
        std::int64_t number = 0;
        const char* const end = name.data() + name.size();
        const bool isPage = name.starts_with(prefix) && name.size() > prefix.size() &&
                            std::from_chars(name.data() + prefix.size(), end, number).ptr == end;
        return isPage && number >= 0 ? std::optional(number) : std::nullopt;
    }

    bool IsStored(std::int64_t block) override { return !zeros_.contains(block); }

    std::set<std::int64_t> zeros_;
};

}  // namespace

std::unique_ptr<StoredBlocks> StoredBlocks::Open(const std::string& path, ImageFormat format) {
    switch (format) {
        case ImageFormat::Aff:
            return AffBlocks::Open(Device(path));
        case ImageFormat::Vhd:
            return VhdBlocks::Open(Device(path));
        case ImageFormat::Vmdk:
            return VmdkBlocks::Open(Device(path));
        case ImageFormat::Vhdx:
            return VhdxBlocks::Open(Device(path));
        default:
            return nullptr;
    }
}

ByteRange StoredBlocks::NextData(std::int64_t offset, std::int64_t size) {
    // A limit for one call. Blocks that were not looked at count as data.
    constexpr std::int64_t longRun = std::int64_t{16} << 20U;
    constexpr std::int64_t mostLooks = std::int64_t{1} << 24U;
    std::int64_t block = offset / blockBytes_;
    const std::int64_t end = (size - 1) / blockBytes_ + 1;
    const std::int64_t lookEnd = std::min(end, block + mostLooks);
    while (block < lookEnd && !IsStored(block)) {
        ++block;
    }
    const std::int64_t first = std::min(std::max(block * blockBytes_, offset), size);
    if (block < end) {
        do {
            ++block;
        } while (block < end && block * blockBytes_ - first < longRun && IsStored(block));
    }
    return {first, std::min(block * blockBytes_, size) - first};
}

}  // namespace salvor

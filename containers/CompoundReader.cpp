#include "containers/CompoundReader.h"

#include <algorithm>

#include "formats/CompoundRecords.h"

namespace {

constexpr std::uint64_t LengthHint = 1024;

// How many sectors of each kind are read at most.
constexpr std::uint32_t MostFatSectors = 8192;
constexpr std::uint32_t MostDifatSectors = 8192;
constexpr std::uint32_t MostMiniFatSectors = 2048;

using Header = CompoundHeader;
using DirectoryEntry = CompoundDirectoryEntry;

constexpr std::uint32_t EntryBytes = DirectoryEntry::Bytes;
constexpr std::string_view RootName = "Root Entry";
constexpr std::uint32_t MostStreamBytes = 0x4000000;
// Sector numbers from here on are marks: FAT sector, end of chain, free sector.
constexpr std::uint32_t FirstSpecialSector = CompoundSectorMark::Fat;

// The least cost of a read in bytes: small ones take time as well.
constexpr std::size_t LeastWork = 512;

bool IsPositive(std::uint32_t value) { return static_cast<std::int32_t>(value) > 0; }

bool IsAcceptable(ByteSpan header) {
    const auto field = [header](std::size_t offset) {
        return LoadLittle<std::uint16_t>(header, offset);
    };
    return StartsWith(header, CompoundSignature) &&
           (field(Header::ByteOrder) == 0xFFFE || field(Header::ByteOrder) == 0xFEFF) &&
           field(Header::MinorVersion) < 255 && field(Header::MajorVersion) < 255 && field(Header::SectorShift) < 255 &&
           field(Header::MiniSectorShift) <= field(Header::SectorShift) &&
           LoadLittle<std::uint32_t>(header, Header::DifatSectorCount) <=
               LoadLittle<std::uint32_t>(header, Header::FatSectorCount);
}

constexpr std::uint32_t ToUpper(std::uint32_t unit) { return unit >= 'a' && unit <= 'z' ? unit - 'a' + 'A' : unit; }

// An entry's name up to its terminating zero. Without one, it is longer than any name that is looked for.
class EntryName {
public:
    explicit EntryName(ByteSpan entry) {
        while (length_ < units_.size()) {
            const auto unit = LoadLittle<std::uint16_t>(entry, length_ * 2);
            if (unit == 0) {
                break;
            }
            units_[length_++] = ToUpper(unit);
        }
    }

    bool Is(std::string_view name) const {
        return length_ == name.size() && std::ranges::equal(name, std::span(units_).first(length_), {}, [](char c) {
                   return ToUpper(static_cast<unsigned char>(c));
               });
    }

private:
    std::array<std::uint32_t, DirectoryEntry::NameUnits> units_{};
    std::size_t length_ = 0;
};

}  // namespace

CompoundReader::CompoundReader(const SectorBlock& block, std::int64_t startSector,
                               std::span<const std::string_view> streamNames, Budget& budget)
    : budget_(budget), streamNames_(streamNames) {
    directoryFile_ = std::make_unique<KFileSimulator>(&block, startSector, LengthHint, &budget_);
    std::array<std::uint8_t, Header::Bytes> header{};
    ReadAt(*directoryFile_, 0, header);
    if (!IsAcceptable(header)) {
        return;
    }
    fatFile_ = std::make_unique<KFileSimulator>(&block, startSector, LengthHint, &budget_);
    sectorSize_ = std::uint32_t{1} << (LoadLittle<std::uint16_t>(header, Header::SectorShift) % 32U);
    ReadDifat(header);
    CountMiniFat(header);
    WalkDirectory(header);
    estimatedSize_ = EstimateSize();
}

void CompoundReader::ReadAt(KFileSimulator& file, std::uint64_t position, std::span<std::uint8_t> out) {
    std::ranges::fill(out, std::uint8_t{0});
    if (budget_.IsExhausted()) {
        return;
    }
    budget_.Charge(static_cast<std::int64_t>(std::max(out.size(), LeastWork)));
    file.Seek(static_cast<std::int64_t>(position));
    file.Read(out.data(), static_cast<std::uint32_t>(out.size()));
}

std::uint32_t CompoundReader::WordAt(std::uint64_t position) {
    std::array<std::uint8_t, 4> word{};
    ReadAt(*fatFile_, position, word);
    return LoadLittle<std::uint32_t>(word, 0);
}

// `index` must be below `fatWords_`, so that a sector has at least one word.
std::uint32_t CompoundReader::FatWord(std::uint32_t index) {
    const std::uint32_t sector = fatSectors_[index / WordsPerSector()];
    return WordAt(PositionOf(sector) + std::uint64_t{index % WordsPerSector()} * 4);
}

// The FAT's sectors are listed in the header and in a chain of DIFAT sectors, each linked by its last word. The links
// count as list entries.
void CompoundReader::ReadDifat(ByteSpan header) {
    const auto declaredFat = LoadLittle<std::uint32_t>(header, Header::FatSectorCount);
    const std::size_t wanted = std::min(declaredFat, MostFatSectors);
    for (std::size_t at = Header::FirstDifatWord; at < Header::Bytes && fatSectors_.size() < wanted; at += 4) {
        fatSectors_.push_back(LoadLittle<std::uint32_t>(header, at));
    }
    const std::uint32_t most = std::min(LoadLittle<std::uint32_t>(header, Header::DifatSectorCount), MostDifatSectors);
    auto sector = LoadLittle<std::uint32_t>(header, Header::FirstDifatSector);
    // A sector of less than 4 bytes has no link.
    for (std::uint32_t read = 0; read < most && IsPositive(sector) && WordsPerSector() != 0; ++read) {
        if (sector > LargestSector()) {
            break;
        }
        TakeFatSectors(sector, wanted);
        difatWords_ += WordsPerSector();
        sector = WordAt(PositionOf(sector) + std::uint64_t{WordsPerSector() - 1} * 4);
    }
    const auto end = std::ranges::find_if(fatSectors_, [this](std::uint32_t s) { return s > LargestSector(); });
    fatSectors_.erase(end, fatSectors_.end());
    fatWords_ = static_cast<std::uint32_t>(fatSectors_.size()) * WordsPerSector();
}

void CompoundReader::TakeFatSectors(std::uint32_t difatSector, std::size_t wanted) {
    const std::size_t count = std::min<std::size_t>(wanted - fatSectors_.size(), WordsPerSector());
    if (count == 0) {
        return;
    }
    std::vector<std::uint8_t> words(count * 4);
    ReadAt(*fatFile_, PositionOf(difatSector), words);
    for (std::size_t i = 0; i < count; ++i) {
        fatSectors_.push_back(LoadLittle<std::uint32_t>(words, i * 4));
    }
}

// Every sector of the MiniFAT is read at the place of the first one, so its link decides alone: the chain has one
// sector or all that the header declares.
void CompoundReader::CountMiniFat(ByteSpan header) {
    const auto first = LoadLittle<std::uint32_t>(header, Header::FirstMiniFatSector);
    const std::uint32_t most =
        std::min(LoadLittle<std::uint32_t>(header, Header::MiniFatSectorCount), MostMiniFatSectors);
    if (most == 0 || !IsPositive(first) || first > LargestSector() || WordsPerSector() == 0) {
        return;
    }
    const std::uint32_t next = WordAt(PositionOf(first) + std::uint64_t{WordsPerSector() - 1} * 4);
    const bool goesOn = IsPositive(next) && next <= LargestSector();
    miniFatWords_ = (goesOn ? most : 1) * WordsPerSector();
}

// What a sector adds depends only on its bytes and on the root's stream size. When both are those of an earlier mark,
// the walk is in a loop, and all later laps add what this one did. The mark moves after 1, 2, 4 ... sectors, so that a
// loop of any length is seen, wherever it begins.
void CompoundReader::WalkDirectory(ByteSpan header) {
    auto sector = LoadLittle<std::uint32_t>(header, Header::FirstDirectorySector);
    const std::uint32_t lastVisit = WordsPerSector() * LoadLittle<std::uint32_t>(header, Header::FatSectorCount);
    WalkMark mark{0, sector, rootStreamSize_, entryCount_, streamBytes_};
    std::uint64_t markLifetime = 1;
    for (std::uint64_t visit = 0; visit <= lastVisit; ++visit) {
        if (!ReadDirectorySector(sector) || sector >= fatWords_) {
            break;
        }
        sector = FatWord(sector);
        if (!IsPositive(sector)) {
            break;
        }
        const std::uint64_t lap = visit + 1 - mark.visit;
        if (sector == mark.sector && rootStreamSize_ == mark.rootStreamSize) {
            const std::uint64_t laps = (lastVisit - visit) / lap;
            entryCount_ += static_cast<std::uint32_t>(laps) * (entryCount_ - mark.entryCount);
            streamBytes_ += static_cast<std::uint32_t>(laps) * (streamBytes_ - mark.streamBytes);
            visit += laps * lap;
        } else if (lap == markLifetime) {
            mark = {visit + 1, sector, rootStreamSize_, entryCount_, streamBytes_};
            markLifetime *= 2;
        }
    }
}

// False if the walk should stop: all entries are invalid, or the sector is too small for one.
bool CompoundReader::ReadDirectorySector(std::uint32_t sector) {
    // A 32-bit product: large sector numbers wrap back to the file's start.
    const std::uint32_t position = (sector + 1) * sectorSize_;
    const std::uint32_t count = sectorSize_ / EntryBytes;
    std::uint32_t invalid = 0;
    std::array<std::uint8_t, std::size_t{8} * EntryBytes> bytes{};
    // Once the budget is used up, all entries read as zeros and so are empty.
    for (std::uint32_t done = 0; done < count && !budget_.IsExhausted();) {
        const std::uint32_t part = std::min(count - done, static_cast<std::uint32_t>(bytes.size()) / EntryBytes);
        const std::span<std::uint8_t> read(bytes.data(), std::size_t{part} * EntryBytes);
        ReadAt(*directoryFile_, position + std::uint64_t{done} * EntryBytes, read);
        for (std::size_t at = 0; at < read.size(); at += EntryBytes) {
            invalid += TakeEntry(ByteSpan(read).subspan(at, EntryBytes)) == Entry::Invalid ? 1U : 0U;
        }
        done += part;
    }
    hasInvalidEntry_ = hasInvalidEntry_ || invalid != 0;
    return invalid < count;
}

CompoundReader::Entry CompoundReader::TakeEntry(ByteSpan entry) {
    const auto nameBytes = LoadLittle<std::uint16_t>(entry, DirectoryEntry::NameBytes);
    if (nameBytes == 0 || nameBytes > 64) {
        return Entry::Empty;
    }
    const auto start = LoadLittle<std::uint32_t>(entry, DirectoryEntry::StartingSector);
    const auto size = LoadLittle<std::uint32_t>(entry, DirectoryEntry::StreamSize);
    const EntryName name(entry);
    if (name.Is(RootName)) {
        rootStreamSize_ = size;
    }
    const bool startIsSane = start >= FirstSpecialSector || start < std::max(fatWords_, rootStreamSize_);
    if (!startIsSane || size > MostStreamBytes || entry[DirectoryEntry::ColourFlag] > 1 ||
        entry[DirectoryEntry::ObjectType] > 5) {
        return Entry::Invalid;
    }
    for (std::size_t i = 0; i < streamNames_.size(); ++i) {
        if (name.Is(streamNames_[i])) {
            streams_ |= std::uint32_t{1} << i;
        }
    }
    if (!hasFirstEntry_) {
        hasFirstEntry_ = true;
        std::ranges::copy(entry.subspan(DirectoryEntry::ClassId, classId_.size()), classId_.begin());
    }
    ++entryCount_;
    streamBytes_ += RoundUp(size);
    return Entry::Valid;
}

std::uint32_t CompoundReader::EstimateSize() const {
    // The header counts as 512 bytes whatever the sector size.
    const std::uint32_t size = RoundUp(difatWords_ * 4) + 512 + RoundUp(fatWords_ * 4) + RoundUp(miniFatWords_ * 4) +
                               RoundUp(entryCount_ * EntryBytes) + streamBytes_;
    const std::uint32_t limit = sectorSize_ * fatWords_;
    return size > limit || hasInvalidEntry_ ? limit : size;
}

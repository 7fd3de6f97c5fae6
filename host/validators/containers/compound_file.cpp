#include "host/validators/containers/compound_file.h"

#include <algorithm>

#include "formats/CompoundRecords.h"

namespace salvor {

namespace {

using Header = CompoundHeader;
using Entry = CompoundDirectoryEntry;
using Mark = CompoundSectorMark;

constexpr std::uint32_t MostTableWords = 1U << 24U;
constexpr std::size_t MostNodes = std::size_t{1} << 18U;
constexpr unsigned MiniShift = 6;
constexpr std::uint32_t NoNode = 0xFFFFFFFF;
constexpr std::uint8_t Storage = 1;
constexpr std::uint8_t StreamKind = 2;
constexpr std::uint8_t Root = 5;

std::int64_t UnitsFor(std::int64_t bytes, unsigned shift) {
    return (bytes >> shift) + ((bytes & ((std::int64_t{1} << shift) - 1)) != 0 ? 1 : 0);
}

char Lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

}  // namespace

CompoundFile::CompoundFile(ByteWindow& file) : file_(file) {
    if (!ReadHeader()) {
        return;
    }
    state_ = State::Sound;
    if (!ListFatSectors() || !ReadFat() || !CheckFat() || !ReadDirectory() || !ReadMiniFat()) {
        return;
    }
    WalkTree();
}

void CompoundFile::Blame(State state, std::int64_t position, std::string fault) {
    if (state_ == State::Sound) {
        state_ = state;
        faultPosition_ = position;
        fault_ = std::move(fault);
    }
}

std::int64_t CompoundFile::End() const {
    // The header takes a whole sector, so sector n ends at (n + 2) sectors.
    return std::min((std::int64_t{lastSector_} + 2) << sectorShift_, file_.Limit());
}

bool CompoundFile::HasRoot() const {
    const ByteSpan entry = file_.At(PositionOf(firstDirectorySector_), Entry::Bytes);
    return !entry.empty() && entry[Entry::ObjectType] == Root && entry[Entry::ColourFlag] <= 1;
}

bool CompoundFile::IsShown(std::uint32_t sector) const { return PositionOf(sector) < file_.Limit(); }

bool CompoundFile::ReadHeader() {
    const ByteSpan header = file_.At(0, Header::Bytes);
    if (header.empty() || !StartsWith(header, CompoundSignature)) {
        return false;
    }
    const auto word = [header](std::size_t offset) {
        return LoadLittle<std::uint32_t>(header, offset);
    };
    sectorShift_ = LoadLittle<std::uint16_t>(header, Header::SectorShift);
    majorVersion_ = LoadLittle<std::uint16_t>(header, Header::MajorVersion);
    miniCutoff_ = word(Header::MiniStreamCutoff);
    fatSectorCount_ = word(Header::FatSectorCount);
    firstDirectorySector_ = word(Header::FirstDirectorySector);
    firstMiniFatSector_ = word(Header::FirstMiniFatSector);
    firstDifatSector_ = word(Header::FirstDifatSector);
    difatSectorCount_ = word(Header::DifatSectorCount);
    return (sectorShift_ == 9 || sectorShift_ == 12) &&
           LoadLittle<std::uint16_t>(header, Header::MiniSectorShift) == MiniShift &&
           LoadLittle<std::uint16_t>(header, Header::ByteOrder) == 0xFFFE && majorVersion_ <= 4 &&
           miniCutoff_ <= 0x10000 && fatSectorCount_ != 0 && fatSectorCount_ <= MostTableWords >> (sectorShift_ - 2);
}

// The FAT's sectors are listed in the header and in a chain of DIFAT sectors, whose last words link them.
bool CompoundFile::ListFatSectors() {
    constexpr std::size_t headerWords = (Header::Bytes - Header::FirstDifatWord) / 4;
    const ByteSpan listed = file_.At(Header::FirstDifatWord, headerWords * 4);
    if (!AddFatSectors(listed, headerWords)) {
        return false;
    }
    const std::size_t wordsInSector = SectorSize() / 4;
    std::uint32_t sector = firstDifatSector_;
    std::vector<std::uint32_t> difat;
    while (fatSectors_.size() < fatSectorCount_) {
        const ByteSpan words = IsShown(sector) ? file_.At(PositionOf(sector), SectorSize()) : ByteSpan();
        if (words.empty() || difat.size() > fatSectorCount_) {
            Blame(sector < Mark::Difat && difat.size() <= fatSectorCount_ ? State::PassesEnd : State::Broken,
                  PositionOf(difat.empty() ? 0 : difat.back()), "the list of its allocation table is cut");
            return false;
        }
        difat.push_back(sector);
        lastSector_ = std::max(lastSector_, sector);
        const auto next = LoadLittle<std::uint32_t>(words, SectorSize() - 4);
        if (!AddFatSectors(words, wordsInSector - 1)) {
            return false;
        }
        sector = next;
    }
    taken_.resize(fatSectors_.size() * wordsInSector);
    return std::ranges::all_of(difat, [this](std::uint32_t each) { return TakeTableSector(each); }) &&
           std::ranges::all_of(fatSectors_, [this](std::uint32_t each) { return TakeTableSector(each); });
}

bool CompoundFile::AddFatSectors(ByteSpan words, std::size_t wanted) {
    for (std::size_t i = 0; i < wanted && fatSectors_.size() < fatSectorCount_; ++i) {
        const auto sector = LoadLittle<std::uint32_t>(words, i * 4);
        if (sector >= Mark::Difat) {
            Blame(State::Broken, PositionOf(0), "its allocation table is not listed");
            return false;
        }
        fatSectors_.push_back(sector);
    }
    return true;
}

// Takes a sector of the FAT or DIFAT, which belongs to them whatever its own entry in the FAT says.
bool CompoundFile::TakeTableSector(std::uint32_t sector) {
    if (sector >= taken_.size() || taken_[sector]) {
        Blame(State::Broken, IsShown(sector) ? PositionOf(sector) : 0, "a sector of its allocation table is wrong");
        return false;
    }
    taken_[sector] = true;
    lastSector_ = std::max(lastSector_, sector);
    return true;
}

bool CompoundFile::ReadFat() {
    fat_.reserve(std::min<std::size_t>(taken_.size(), static_cast<std::size_t>(file_.Limit() >> 2U)));
    for (const std::uint32_t sector : fatSectors_) {
        const ByteSpan words = file_.At(PositionOf(sector), SectorSize());
        if (words.empty()) {
            Blame(State::PassesEnd, PositionOf(sector), "its allocation table lies past the end");
            return false;
        }
        for (std::size_t at = 0; at < words.size(); at += 4) {
            fat_.push_back(LoadLittle<std::uint32_t>(words, at));
        }
    }
    return true;
}

// Every sector that is not free must be in the file, even one that nothing links.
bool CompoundFile::CheckFat() {
    const auto last = std::ranges::find_if(fat_.rbegin(), fat_.rend(), [](auto word) { return word != Mark::Free; });
    const auto count = static_cast<std::uint32_t>(fat_.rend() - last);
    lastSector_ = std::max(lastSector_, count == 0 ? 0 : count - 1);
    hasFat_ = true;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (fat_[i] > lastSector_ && fat_[i] < Mark::Difat) {
            Blame(State::Broken, PositionOf(fatSectors_[i / (SectorSize() / 4)]), "its allocation table is damaged");
            return false;
        }
    }
    // The last sector may hold enough even if the medium's end cuts it.
    if (!IsShown(lastSector_)) {
        Blame(State::PassesEnd, file_.Limit(), "its allocation table goes on past the end");
    }
    return true;
}

bool CompoundFile::Follow(const std::vector<std::uint32_t>& table, std::vector<bool>& taken, std::uint32_t first,
                          std::int64_t needed, std::vector<std::uint32_t>& chain) {
    std::uint32_t unit = first;
    // After the sectors that are needed, a chain may end in any way, as no program reads on.
    while (unit < table.size()) {
        if (taken[unit]) {
            return false;
        }
        taken[unit] = true;
        chain.push_back(unit);
        unit = table[unit];
    }
    return static_cast<std::int64_t>(chain.size()) >= needed;
}

bool CompoundFile::ReadDirectory() {
    std::vector<std::uint32_t> chain;
    const bool isRight = Follow(fat_, taken_, firstDirectorySector_, 1, chain);
    for (const std::uint32_t sector : chain) {
        for (std::uint32_t at = 0; at < SectorSize(); at += Entry::Bytes) {
            const ByteSpan entry = file_.At(PositionOf(sector) + at, Entry::Bytes);
            if (entry.empty()) {
                Blame(State::PassesEnd, PositionOf(sector), "its directory lies past the end");
                return false;
            }
            if (!AddNode(entry)) {
                Blame(State::Broken, PositionOf(sector), "its directory is damaged");
                return false;
            }
        }
    }
    if (!isRight || nodes_.empty() || nodes_[0].kind != Root) {
        Blame(State::Broken, chain.empty() ? PositionOf(0) : PositionOf(chain[0]), "its directory has no root");
        nodes_.clear();
        return false;
    }
    return true;
}

bool CompoundFile::AddNode(ByteSpan entry) {
    CompoundNode& node = nodes_.emplace_back();
    node.kind = entry[Entry::ObjectType];
    if (node.kind == 0) {
        return nodes_.size() <= MostNodes;
    }
    for (std::size_t i = 0; i < Entry::NameUnits; ++i) {
        const auto unit = LoadLittle<std::uint16_t>(entry, i * 2);
        if (unit == 0) {
            break;
        }
        node.name += unit < 0x7F ? static_cast<char>(unit) : '?';
    }
    node.left = LoadLittle<std::uint32_t>(entry, Entry::LeftSibling);
    node.right = LoadLittle<std::uint32_t>(entry, Entry::RightSibling);
    node.child = LoadLittle<std::uint32_t>(entry, Entry::Child);
    std::ranges::copy(entry.subspan(Entry::ClassId, node.classId.size()), node.classId.begin());
    node.start = LoadLittle<std::uint32_t>(entry, Entry::StartingSector);
    node.size = LoadLittle<std::uint32_t>(entry, Entry::StreamSize);
    if (majorVersion_ == 4) {
        node.size |= std::int64_t{LoadLittle<std::uint32_t>(entry, Entry::StreamSize + 4) & 0x7FFFFFFF} << 32U;
    }
    return nodes_.size() <= MostNodes && node.kind <= Root && LoadLittle<std::uint16_t>(entry, Entry::NameBytes) <= 64;
}

bool CompoundFile::ReadMiniFat() {
    const CompoundNode& root = nodes_[0];
    const bool hasMiniStream = root.size != 0 && root.start < Mark::Difat;
    if (hasMiniStream && !Follow(fat_, taken_, root.start, UnitsFor(root.size, sectorShift_), miniStream_)) {
        Blame(State::Broken, End(), "the chain of its short streams is damaged");
        return false;
    }
    std::vector<std::uint32_t> chain;
    // Some files without short streams have 0 here instead of an end mark.
    const bool hasMiniFat = firstMiniFatSector_ < Mark::Difat && !miniStream_.empty();
    if (hasMiniFat && !Follow(fat_, taken_, firstMiniFatSector_, 1, chain)) {
        Blame(State::Broken, End(), "the table of its short streams is damaged");
        return false;
    }
    for (const std::uint32_t sector : chain) {
        const ByteSpan words = file_.At(PositionOf(sector), SectorSize());
        if (words.empty()) {
            Blame(State::PassesEnd, PositionOf(sector), "the table of its short streams lies past the end");
            return false;
        }
        for (std::size_t at = 0; at < words.size(); at += 4) {
            miniFat_.push_back(LoadLittle<std::uint32_t>(words, at));
        }
    }
    miniFat_.resize(std::min(miniFat_.size(), miniStream_.size() << (sectorShift_ - MiniShift)));
    miniTaken_.resize(miniFat_.size());
    return true;
}

// Walks the tree, since entries that are not linked may hold anything.
void CompoundFile::WalkTree() {
    std::vector<bool> seen(nodes_.size());
    seen[0] = true;
    std::vector<std::uint32_t> storages;
    WalkSiblings(nodes_[0].child, seen, storages, children_);
    std::vector<std::uint32_t> members;
    while (!storages.empty()) {
        const std::uint32_t storage = storages.back();
        storages.pop_back();
        members.clear();
        WalkSiblings(nodes_[storage].child, seen, storages, members);
    }
}

void CompoundFile::WalkSiblings(std::uint32_t first, std::vector<bool>& seen, std::vector<std::uint32_t>& storages,
                                std::vector<std::uint32_t>& members) {
    std::vector<std::uint32_t> waiting{first};
    while (!waiting.empty()) {
        const std::uint32_t number = waiting.back();
        waiting.pop_back();
        if (number == NoNode) {
            continue;
        }
        if (number >= nodes_.size() || seen[number] || nodes_[number].kind == 0 || nodes_[number].kind == Root) {
            Blame(State::Broken, PositionOf(firstDirectorySector_), "its directory's tree is damaged");
            continue;
        }
        seen[number] = true;
        members.push_back(number);
        const CompoundNode& node = nodes_[number];
        if (node.kind == Storage) {
            storages.push_back(number);
        } else if (node.kind == StreamKind) {
            streams_.push_back(number);
            CheckStream(node);
        }
        waiting.push_back(node.left);
        waiting.push_back(node.right);
    }
}

void CompoundFile::CheckStream(const CompoundNode& node) {
    if (node.size == 0) {
        return;
    }
    const bool isMini = node.size < std::int64_t{miniCutoff_};
    std::vector<std::uint32_t> chain;
    const bool isRight = isMini ? Follow(miniFat_, miniTaken_, node.start, UnitsFor(node.size, MiniShift), chain)
                                : Follow(fat_, taken_, node.start, UnitsFor(node.size, sectorShift_), chain);
    if (!isRight) {
        Blame(State::Broken, End(), "the chain of stream \"" + node.name + "\" is damaged");
    }
}

const CompoundNode* CompoundFile::Stream(std::string_view name) const {
    for (const std::uint32_t child : children_) {
        const CompoundNode& node = nodes_[child];
        if (node.kind == StreamKind && std::ranges::equal(node.name, name, {}, Lower, Lower)) {
            return &node;
        }
    }
    return nullptr;
}

CompoundStream::CompoundStream(CompoundFile& file, const CompoundNode& node)
    : ByteWindow(node.size), file_(file), isMini_(node.size < std::int64_t{file.miniCutoff_}) {
    const std::vector<std::uint32_t>& table = isMini_ ? file.miniFat_ : file.fat_;
    const std::int64_t units = UnitsFor(node.size, isMini_ ? MiniShift : file.sectorShift_);
    for (std::uint32_t unit = node.start; unit < table.size() && std::ssize(chain_) < units; unit = table[unit]) {
        chain_.push_back(unit);
    }
}

ByteSpan CompoundStream::LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) {
    const unsigned shift = isMini_ ? MiniShift : file_.sectorShift_;
    const unsigned sectorShift = file_.sectorShift_;
    const std::int64_t end = offset + static_cast<std::int64_t>(length);
    buffer_.clear();
    while (offset < end) {
        const auto index = static_cast<std::size_t>(offset >> shift);
        const std::int64_t inUnit = offset & ((std::int64_t{1} << shift) - 1);
        if (index >= chain_.size()) {
            break;
        }
        std::int64_t position = file_.PositionOf(chain_[index]) + inUnit;
        if (isMini_) {
            const std::int64_t place = (std::int64_t{chain_[index]} << shift) + inUnit;
            const std::uint32_t sector = file_.miniStream_[static_cast<std::size_t>(place >> sectorShift)];
            position = file_.PositionOf(sector) + (place & ((std::int64_t{1} << sectorShift) - 1));
        }
        const std::int64_t count = std::min((std::int64_t{1} << shift) - inUnit, end - offset);
        const ByteSpan bytes = file_.file_.At(position, static_cast<std::size_t>(count));
        if (bytes.empty()) {
            break;
        }
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        offset += count;
    }
    return buffer_.size() < wanted ? ByteSpan() : ByteSpan(buffer_);
}

}  // namespace salvor

#include "tests/support/CompoundBuilder.h"

#include <algorithm>

namespace test {

namespace {

constexpr std::uint32_t EndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t FatSector = 0xFFFFFFFD;
constexpr std::uint32_t Free = 0xFFFFFFFF;

}  // namespace

const std::vector<CompoundKind>& CompoundKinds() {
    static const Names summaries{"\5SummaryInformation", "\5DocumentSummaryInformation"};
    static const auto with = [](Names names) {
        names.insert(names.end(), summaries.begin(), summaries.end());
        return names;
    };
    static const std::vector<CompoundKind> kinds{
        {"CorelPresentations", 15, {"PerfectOffice_MAIN", "PerfectOffice_OBJECTS"}, {"SlideShow"}, {103}},
        {"QuattroPro", 14, {"NativeContent_MAIN"}, {}, {99}},
        {"PageMaker", 13, {"PageMaker"}, {}, {97}},
        {"Word", 2, {"WordDocument"}, summaries, {0}},
        {"Excel", 3, {"Workbook", "Book"}, summaries, {1, 83}},
        {"PowerPoint", 4, {"PowerPoint Document", "PP40"}, summaries, {2, 84}},
        {"Visio", 5, {"VisioDocument"}, with({"VisioInformation"}), {3}},
        {"Project", 6, {"Props9", "Props"}, with({"\1CompObj"}), {4}},
        {"Publisher", 7, {"Contents"}, with({"\1CompObj"}), {5}},
        {"DesignCad", 8, {"Layer"}, {"PAPER SPACE", "VIEWDATA", "PREVIEW", "SYMBOL"}, {80}},
        {"Max3D", 12, {"Scene"}, {"DllDirectory", "ClassDirectory3", "ClassData", "VideoPostQueue"}, {87}},
    };
    return kinds;
}

CompoundFile& CompoundFile::Set(std::size_t offset, std::uint32_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        bytes.at(offset + i) = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return *this;
}

CompoundFile::CompoundFile(const CompoundPlan& plan)
    : sectorSize(1U << plan.sectorShift), hidden_(std::max(512 / sectorSize, 1U) - 1) {
    Allocate(plan);
    const std::uint32_t directorySectors = SectorsOf(plan.entries.size() * 128);
    const std::uint32_t firstDifat = Chain(plan.difatSectors);
    const std::uint32_t firstMiniFat = Chain(plan.miniFatSectors);
    firstDirectorySector = Chain(directorySectors);

    constexpr std::uint8_t signature[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    std::ranges::copy(signature, bytes.begin());
    Set16(24, 0x3E).Set16(26, 3).Set16(28, 0xFFFE).Set16(30, plan.sectorShift).Set16(32, 6);
    Set32(44, fatSectors_).Set32(48, firstDirectorySector).Set32(56, 4096);
    Set32(60, firstMiniFat).Set32(64, plan.miniFatSectors).Set32(68, firstDifat).Set32(72, plan.difatSectors);
    for (std::size_t i = 0; i < 109; ++i) {
        ListFatSector(76 + i * 4);
    }
    WriteDifat(firstDifat, plan.difatSectors);
    for (std::uint32_t sector = 0; sector < directorySectors; ++sector) {
        directory.push_back(OffsetOf(firstDirectorySector + sector));
    }
    for (std::size_t i = 0; i < plan.entries.size(); ++i) {
        WriteEntry(OffsetOf(firstDirectorySector) + i * 128, plan.entries[i]);
    }
}

void CompoundFile::Allocate(const CompoundPlan& plan) {
    const std::uint32_t words = sectorSize / 4;
    std::uint32_t others = hidden_ + plan.difatSectors + plan.miniFatSectors + SectorsOf(plan.entries.size() * 128);
    for (const CompoundEntry& entry : plan.entries) {
        others += SectorsOf(entry.size);
    }
    fatSectors_ = 1;
    while (fatSectors_ * words < fatSectors_ + others) {
        ++fatSectors_;
    }
    fatSectors_ += plan.spareFatSectors;
    bytes.assign(std::size_t{sectorSize} * (1 + fatSectors_ + others), 0);
    next_ = hidden_ + fatSectors_;
    for (std::uint32_t i = 0; i < fatSectors_ * words; ++i) {
        fat.push_back(OffsetOf(hidden_) + std::size_t{i} * 4);
        Set32(fat.back(), i < next_ ? FatSector : Free);
    }
}

std::uint32_t CompoundFile::Chain(std::uint32_t count) {
    const std::uint32_t first = next_;
    for (std::uint32_t i = 0; i < count; ++i, ++next_) {
        Set32(fat[next_], i + 1 < count ? next_ + 1 : EndOfChain);
    }
    return count == 0 ? EndOfChain : first;
}

void CompoundFile::ListFatSector(std::size_t offset) {
    Set32(offset, listed_ < fatSectors_ ? hidden_ + listed_++ : Free);
}

void CompoundFile::WriteDifat(std::uint32_t first, std::uint32_t sectors) {
    const std::uint32_t words = sectorSize / 4;
    for (std::uint32_t sector = 0; sector < sectors; ++sector) {
        for (std::uint32_t i = 0; i < words; ++i) {
            difat.push_back(OffsetOf(first + sector) + std::size_t{i} * 4);
            if (i + 1 < words) {
                ListFatSector(difat.back());
            } else {
                Set32(difat.back(), sector + 1 < sectors ? first + sector + 1 : EndOfChain);
            }
        }
    }
}

void CompoundFile::WriteEntry(std::size_t at, const CompoundEntry& entry) {
    const std::uint32_t start = Chain(SectorsOf(entry.size));
    for (std::size_t c = 0; c < std::min<std::size_t>(entry.name.size(), 32); ++c) {
        Set16(at + c * 2, static_cast<std::uint8_t>(entry.name[c]));
    }
    Set16(at + 64, static_cast<std::uint32_t>(entry.name.empty() ? 0 : entry.name.size() * 2 + 2));
    bytes[at + 66] = entry.objectType;
    bytes[at + 67] = entry.colour;
    std::ranges::copy(entry.classId, bytes.begin() + static_cast<std::ptrdiff_t>(at + 80));
    Set32(at + 116, start).Set32(at + 120, entry.size);
}

CompoundPlan PlanWith(std::initializer_list<Names> streams) {
    CompoundPlan plan;
    for (const Names& names : streams) {
        for (const std::string& name : names) {
            plan.entries.push_back({name, 300 + static_cast<std::uint32_t>(name.size()) * 40});
        }
    }
    return plan;
}

Bytes CompoundFileOf(std::int32_t kind) {
    if (kind == 11) {
        CompoundPlan plan = PlanWith({{"Page 1", "Symbol 1"}});
        plan.entries[0].classId = {0x70, 0xAA, 0x7C, 0x59, 0xAA, 0x72, 0xCF, 0x11,
                                   0x83, 0x1E, 0x52, 0x41, 0x53, 0x48, 0x00, 0x00};
        return CompoundFile(plan).bytes;
    }
    const auto row = std::ranges::find(CompoundKinds(), kind, &CompoundKind::number);
    return CompoundFile(PlanWith({row->allOf, {row->anyOf.front()}})).bytes;
}

}  // namespace test

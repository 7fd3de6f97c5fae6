#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>

#include "containers/kZipOfficeSearcher.h"
#include "frame/bytes/Bytes.h"
#include "tests/support/Registry.h"
#include "tests/support/ZipBuilder.h"

namespace {

using namespace test;
using FindsByKind = std::map<std::int32_t, Finds>;

// A file of `size` bytes, with zeros after the medium's end.
class ReferenceFile {
public:
    ReferenceFile(const Medium& medium, std::int64_t start) : data_(medium.Data()), at_(start) {}
    template <class T>
    T Read() {
        std::array<std::uint8_t, sizeof(T)> bytes{};
        for (std::uint8_t& byte : bytes) {
            byte =
                at_ < static_cast<std::int64_t>(data_.size()) ? data_[static_cast<std::size_t>(at_)] : std::uint8_t{0};
            ++at_;
        }
        return LoadLittle<T>(bytes, 0);
    }
    void Skip(std::int64_t count) { at_ += count; }

private:
    const Bytes& data_;
    std::int64_t at_;
};

// The walk written out plainly, without memory: adds to `finds` what begins at `start`.
void ReferenceWalk(const Medium& medium, std::int64_t sector, FindsByKind& finds) {
    const std::int64_t start = sector * medium.SectorSize();
    ReferenceFile file(medium, start);
    std::int64_t length = 0;
    std::int32_t kind = 0;
    bool isChecked = false;
    while (length <= 0x20000000) {
        const auto signature = file.Read<std::uint32_t>();
        if (signature == 0x04034B50) {
            file.Skip(14);
            const std::int64_t size = file.Read<std::uint32_t>();
            file.Skip(4);
            const std::int64_t behind = size + file.Read<std::uint16_t>() + file.Read<std::uint16_t>();
            file.Skip(behind);
            length += behind + 30;
        } else if (signature == 0x02014B50) {
            file.Skip(16);
            const auto size = file.Read<std::uint32_t>();
            file.Skip(4);
            const auto nameLength = file.Read<std::uint16_t>();
            const std::int64_t behind = std::int64_t{file.Read<std::uint16_t>()} + file.Read<std::uint16_t>();
            file.Skip(8);
            const auto offset = file.Read<std::uint32_t>();
            ReferenceFile checker(medium, start + offset);
            if (nameLength > 260) {
                return;
            }
            if (!isChecked) {
                isChecked = true;
                if (checker.Read<std::uint32_t>() != 0x04034B50) {
                    return;
                }
                checker.Skip(14);
                if (checker.Read<std::uint32_t>() != size) {
                    return;
                }
            }
            std::string name;
            for (std::uint16_t i = 0; i < nameLength; ++i) {
                name += static_cast<char>(std::tolower(file.Read<std::uint8_t>()));
            }
            if (kind == 0) {
                kind = name.starts_with("ppt/") ? 3 : name.starts_with("word/") ? 1 : name.starts_with("xl/") ? 2 : 0;
            }
            file.Skip(behind);
            length += nameLength + 46 + behind;
        } else if (signature == 0x06054B50) {
            file.Skip(16);
            length += file.Read<std::uint16_t>() + 22;
            if (kind != 0 && length >= 256) {
                finds[kind].push_back({sector, length});
            }
            return;
        } else if (signature == 0x08074B50) {
            file.Skip(12);
            length += 16;
        } else {
            return;
        }
    }
}

// Records in a row, many of which begin sectors; some local headers jump to a later record, near or far, so that walks
// meet and depart from the order of the medium.
Medium DenseMedium(Noise& noise) {
    const auto size = 51 + noise.Below(550);
    const std::size_t bytes = noise.Below(2) == 0 ? 3000 + noise.Below(30000) : 200000 + noise.Below(100000);
    const std::uint64_t oftenDirectory = noise.Below(3);
    const std::uint64_t oftenEnd = noise.Below(40);
    constexpr std::string_view names[] = {
        "", "a", "xl", "xl/", "Word/x", "PPT/", "word", "xl/workbook.xml", "docProps/app.xml"};
    Bytes data;
    std::vector<std::size_t> records;
    const auto add = [&](const Bytes& record) {
        records.push_back(data.size());
        data.insert(data.end(), record.begin(), record.end());
    };
    add(ZipLocal("", {}));
    while (data.size() < bytes) {
        const std::uint64_t what = noise.Below(200);
        const std::string_view name = names[noise.Below(std::size(names))];
        if (what < 150) {
            // Up to the next sector, or short.
            const std::size_t gap = (2 * size - (data.size() + 30 + name.size()) % size) % size;
            add(ZipLocal(name, noise.Below(30) == 0 ? Zeros(noise.Below(50)) : Bytes(),
                         noise.Below(3) != 0 ? gap : noise.Below(20)));
        } else if (what < 150 + 10 * oftenDirectory) {
            add(ZipCentral(name, noise.Below(20) == 0 ? 7 : 0, 0, noise.Below(9), noise.Below(9)));
        } else if (what < 190) {
            add(ZipDescriptor());
        } else if (noise.Below(40) < oftenEnd) {
            add(noise.Below(8) == 0 ? BytesOf("PK\x09\x09") : ZipEnd(noise.Below(9)));
        }
    }
    const std::uint64_t jumps = noise.Below(2) == 0 ? 0 : noise.Below(records.size());
    for (std::uint64_t jump = 0; jump < jumps; ++jump) {
        const std::size_t from = noise.Below(records.size());
        const std::size_t reach = noise.Below(2) == 0 ? 20 : records.size();
        const std::size_t to = std::min(from + 1 + noise.Below(reach), records.size() - 1);
        const std::size_t at = records[from];
        if (data[at + 2] == 3 && at + 30 < records[to]) {
            // The name goes with it; the rest is data, of a size that a directory seldom names.
            std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(at) + 26, 4, std::uint8_t{0});
            const Bytes header(data.begin() + static_cast<std::ptrdiff_t>(at),
                               data.begin() + static_cast<std::ptrdiff_t>(at) + 30);
            std::ranges::copy(Claiming(header, static_cast<std::uint32_t>(records[to] - at - 30)),
                              data.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    data.resize((data.size() + size - 1) / size * size);
    return Medium(static_cast<std::int32_t>(size), data);
}

TEST(OfficePackages, WalksThatShareRecordsAgreeWithTheReference) {
    Noise noise(6);
    std::map<std::int32_t, std::size_t> reports;
    for (int round = 0; round < 300; ++round) {
        Medium medium = DenseMedium(noise);
        FindsByKind expected;
        for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
            if (std::memcmp(medium.Data().data() + sector * medium.SectorSize(), "PK\x03\x04", 4) == 0) {
                ReferenceWalk(medium, sector, expected);
            }
        }
        TypePtr owners[] = {CreateType(FileTypeIndex::Docx), CreateType(FileTypeIndex::Xlsx),
                            CreateType(FileTypeIndex::Pptx)};
        IRawFileType* const types[] = {owners[0].get(), owners[1].get(), owners[2].get()};
        const std::vector<Finds> finds = ScanTogether(types, medium, RandomBlocks(medium, noise));
        for (std::int32_t kind = 1; kind <= 3; ++kind) {
            ASSERT_EQ(finds[static_cast<std::size_t>(kind - 1)], expected[kind])
                << "round " << round << ", sectors of " << medium.SectorSize();
            reports[kind] += expected[kind].size();
        }
    }
    for (std::int32_t kind = 1; kind <= 3; ++kind) {
        EXPECT_GT(reports[kind], 500U) << "the media have become too thin to test kind " << kind;
    }
}

Bytes WithNames(std::string_view first, std::string_view second) {
    return ZipArchive(
        {{"[Content_Types].xml", Zeros(400)}, {std::string(first), Zeros(300)}, {std::string(second), Zeros(10)}}, 5);
}

TEST(OfficePackages, TheFirstDecidingNameOfTheDirectoryGivesTheType) {
    const std::string longest = "xl/" + std::string(257, 'x');
    const struct {
        std::string_view first;
        std::string_view second;
        std::int32_t type;
    } cases[] = {{"word/document.xml", "docProps/app.xml", 6},
                 {"xl/a", "word/document.xml", 7},
                 {"docs/word/", "WORD/document.xml", 6},
                 {"xl/a", "ppt/presentation.xml", 7},
                 {"pPt/", "", 8},
                 {"xl", "wordy/", 0},
                 {longest, "", 7}};
    for (const auto& tested : cases) {
        const Bytes file = WithNames(tested.first, tested.second);
        Medium medium;
        medium.Put(3, file);
        Finds expected{{3, static_cast<std::int64_t>(file.size())}};
        for (const std::int32_t type : {6, 7, 8}) {
            EXPECT_EQ(ScanAtEverySplit(type, medium), type == tested.type ? expected : Finds{}) << tested.first;
        }
    }
    Medium medium;
    medium.Put(0, WithNames(longest + "x", "word/"));
    EXPECT_EQ(Scan(FileTypeIndex::Xlsx, medium), Finds{}) << "a name of 261 bytes ends the walk";
    EXPECT_EQ(Scan(FileTypeIndex::Docx, medium), Finds{});
}

TEST(OfficePackages, OnlyTheArchivesRealStartCounts) {
    // The second member begins a sector and leads to the same directory.
    const Bytes file = ZipArchive({{"word/a", Zeros(512 - 36)}, {"word/b", Zeros(600)}});
    Medium medium;
    medium.Put(2, file);
    EXPECT_EQ(ScanAtEverySplit(FileTypeIndex::Docx, medium), (Finds{{2, static_cast<std::int64_t>(file.size())}}));
    Medium moved;
    moved.Put(2, Join({Bytes(7), file}));
    EXPECT_EQ(Scan(FileTypeIndex::Docx, moved), Finds{});
    // Members of one size pass for the first one.
    const Bytes equal = ZipArchive({{"word/a", Zeros(476)}, {"word/b", Zeros(476)}});
    medium.Put(2, equal);
    const auto size = static_cast<std::int64_t>(equal.size());
    EXPECT_EQ(Scan(FileTypeIndex::Docx, medium), (Finds{{2, size}, {3, size - 512}}));
}

// Serves a piece of the medium where the walk expects it after a large member, and zeros elsewhere.
class FarMedium : public Medium {
public:
    std::int64_t farSector = 0;
    Bytes farSectors;
    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        const std::int64_t far = firstSector - StreamStart - streamShift - farSector;
        if (far < -count || far > 100) {
            return Medium::ReadSectors(firstSector, buffer, count);
        }
        for (std::int64_t i = 0; i < count * 512; ++i) {
            const std::int64_t at = far * 512 + i;
            const bool isInside = at >= 0 && at < static_cast<std::int64_t>(farSectors.size());
            buffer[i] = isInside ? farSectors[static_cast<std::size_t>(at)] : std::uint8_t{0};
        }
        return 1;
    }
};

TEST(OfficePackages, RecordsInFrontOfTheLastOneMayHave512MiB) {
    constexpr std::uint32_t limit = 0x20000000;
    constexpr std::uint32_t directory = 46 + 5;
    for (const std::uint32_t over : {0U, 1U}) {
        const std::uint32_t dataBytes = limit - 30 - directory + over;
        FarMedium medium;
        medium.Put(0, Claiming(ZipLocal("", {}), dataBytes));
        const std::uint32_t at = 30 + dataBytes;
        medium.farSector = at / 512;
        medium.farSectors = Join({Zeros(at % 512), ZipCentral("word/", dataBytes, 0), ZipEnd()});
        EXPECT_EQ(Scan(FileTypeIndex::Docx, medium), over == 0 ? (Finds{{0, limit + 22}}) : Finds{});
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <string>

#include "media/KASFFileType.h"
#include "tests/support/Numbers.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

constexpr std::int32_t Asf = FileTypeIndex::Asf;
constexpr std::int32_t Wma = FileTypeIndex::Wma;
constexpr std::int32_t Wmv = FileTypeIndex::Wmv;

Bytes Object(const std::string& id, const Bytes& content, std::uint64_t size) {
    return Join({BytesOf(id), Little(size, 8), content});
}
Bytes Object(const std::string& id, const Bytes& content) { return Object(id, content, 24 + content.size()); }

const std::string Audio = "\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B"s;
const std::string Video = "\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B"s;

Bytes Properties(std::uint64_t fileSize) {
    return Object("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65"s,
                  Join({Bytes(16, 7), Little(fileSize, 8), Bytes(56, 7)}));
}
Bytes Stream(const std::string& type) {
    return Object("\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"s,
                  Join({BytesOf(type), Bytes(38, 7)}));
}
// Another object, which may claim another size than it has.
Bytes Padding(std::uint64_t size) { return Object(std::string(16, 'x'), {}, size); }

Bytes AsfFile(std::uint32_t objectCount, std::initializer_list<Bytes> objects) {
    return Join({Object("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"s,
                        Join({Little(objectCount, 4), Bytes(2, 1)})),
                 Join(objects)});
}

Finds ScanFile(std::int32_t index, const Bytes& file, std::int32_t sectorSize = 512) {
    Medium medium(sectorSize);
    medium.Put(3, file).Grow(40);
    return ScanAtEverySplit(index, medium);
}

TEST(Asf, KindsFollowFromTheStreamsAndOverlap) {
    const Finds found{{3, 5000}};
    const struct {
        Bytes file;
        bool isAudio;
        bool isVideoType;
    } cases[] = {
        {AsfFile(3, {Stream(Audio), Stream(Video), Properties(5000)}), false, true},
        {AsfFile(2, {Properties(5000), Stream(Audio)}), true, true},
        {AsfFile(2, {Properties(5000), Stream(std::string(16, 's'))}), false, false},
        {AsfFile(1, {Properties(5000), Stream(Audio)}), false, false},
    };
    for (const auto& tested : cases) {
        EXPECT_EQ(ScanFile(Asf, tested.file), found);
        EXPECT_EQ(ScanFile(Wma, tested.file), tested.isAudio ? found : Finds{});
        EXPECT_EQ(ScanFile(Wmv, tested.file), tested.isVideoType ? found : Finds{});
    }
    // In the order of the kinds within a block.
    Medium medium;
    medium.Put(0, cases[0].file).Put(2, cases[1].file).Put(4, cases[2].file);
    EXPECT_EQ(Scan(Asf, medium), (Finds{{4, 5000}, {2, 5000}, {0, 5000}}));
    EXPECT_EQ(Scan(Wmv, medium), (Finds{{0, 5000}, {2, 5000}}));
}

TEST(Asf, SizesAreTheLowerHalvesAsSignedNumbers) {
    const std::pair<std::uint64_t, std::int64_t> sizes[] = {{255, 0},        {256, 256},      {0x7FFFFFFF, 0x7FFFFFFF},
                                                            {0x80000000, 0}, {0xFFFFFFFF, 0}, {0x500001000, 0x1000}};
    for (const auto& [declared, reported] : sizes) {
        EXPECT_EQ(ScanFile(Asf, AsfFile(1, {Properties(declared)})), reported == 0 ? Finds{} : (Finds{{3, reported}}));
    }
}

TEST(Asf, WalksAtMost32ObjectsWhereverTheirSizesLead) {
    Bytes many = AsfFile(40, {});
    for (int i = 0; i < 31; ++i) {
        many = Join({many, Padding(0x700000000 + 24)});
    }
    const Finds found{{3, 5000}};
    EXPECT_EQ(ScanFile(Asf, Join({many, Properties(5000)})), found);
    EXPECT_EQ(ScanFile(Asf, Join({many, Padding(24), Properties(5000)})), Finds{});
    EXPECT_EQ(ScanFile(Asf, AsfFile(0xFFFFFFFF, {Properties(5000)})), found);
    // Far ahead, back to the properties in front, to itself, and out of the file. 4 bytes of a sector hold none of it.
    Bytes far = AsfFile(2, {Padding(9000)});
    far.resize(30 + 9000);
    EXPECT_EQ(ScanFile(Asf, Join({far, Properties(5000)})), found);
    EXPECT_EQ(ScanFile(Wma, AsfFile(4, {Padding(24 + 78), Stream(Audio), Padding(0), Properties(5000)})), Finds{});
    const Bytes back = AsfFile(4, {Padding(24 + 104), Properties(5000), Padding(static_cast<std::uint64_t>(-104))});
    EXPECT_EQ(ScanFile(Asf, back), found);
    EXPECT_EQ(ScanFile(Asf, AsfFile(9, {Properties(5000), Padding(static_cast<std::uint64_t>(-4000))})), found);
    EXPECT_EQ(ScanFile(Asf, AsfFile(1, {Properties(5000)}), 16), found);
    EXPECT_EQ(ScanFile(Asf, AsfFile(1, {Properties(5000)}), 15), Finds{});
    EXPECT_EQ(ScanFile(Asf, AsfFile(1, {Properties(5000)}), 32768), found);
    EXPECT_EQ(ScanFile(Asf, AsfFile(1, {Properties(5000)}), 32769), Finds{}) << "no read inside a sector completes";
}

TEST(Asf, EngineTakesABlockForScannedByItsFirstSector) {
    Medium medium;
    medium.Put(0, AsfFile(1, {Properties(5000)}));
    SectorBlock block = BlockOf(medium);
    KASFFileType engine;
    RecordingSink sink;
    block.firstSector = 0;
    engine.ScanForKind(&block, &sink, KASFFileType::Other);
    EXPECT_EQ(sink.finds.size(), 0U) << "counts as scanned from the start";
    block.firstSector = 1;
    engine.SetMaxFileSize(1000);
    engine.ScanForKind(&block, &sink, KASFFileType::Other);
    EXPECT_EQ(sink.finds, (Finds{{0, 1000}}));
    medium.Data()[0] = 0;
    engine.ScanForKind(&block, &sink, KASFFileType::Other);
    EXPECT_EQ(sink.finds.size(), 2U) << "reported again and not scanned";
    engine.ScanForKind(&block, &sink, KASFFileType::Audio);
    EXPECT_EQ(engine.Reset(), 1);
    block.firstSector = 0;
    engine.ScanForKind(&block, &sink, KASFFileType::Other);
    EXPECT_EQ(sink.finds.size(), 3U) << "a reset leaves what was found";
}

}  // namespace

#include <gtest/gtest.h>

#include "media/MpegAudioFrames.h"
#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t Mp3 = FileTypeIndex::Mp3;
// 128 kbit/s at 44100 Hz: 417 bytes.
constexpr std::uint32_t Common = 0xFFFB9000;
// 32 kbit/s at 48000 Hz: 96 bytes.
constexpr std::uint32_t Short = 0xFFFB1400;

Bytes Header(std::uint32_t header) {
    return {static_cast<std::uint8_t>(header >> 24U), static_cast<std::uint8_t>(header >> 16U),
            static_cast<std::uint8_t>(header >> 8U), static_cast<std::uint8_t>(header)};
}

Bytes Frames(std::uint32_t header, int count) {
    const std::int32_t length = MpegAudioFrames().LengthOf(header).value_or(0);
    Bytes bytes;
    bytes.reserve(static_cast<std::size_t>(length * count));
    for (; count > 0; --count) {
        const Bytes start = Header(header);
        bytes.insert(bytes.end(), start.begin(), start.end());
        bytes.resize(bytes.size() + static_cast<std::size_t>(length) - start.size());
    }
    return bytes;
}

TEST(MpegAudioFrames, LengthsFollowTheTablesOfVersionAndLayer) {
    const std::pair<std::uint32_t, std::int32_t> cases[] = {
        {Common, 417},      {Common | 0x200, 418}, {Short, 96}, {0xFFFBE800, 1440}, {0xFFFB0000, 0},  // a free bit rate
        {0xFFFBF000, -3},                       // the forbidden one, truncated towards 0
        {0xFFFBF800, -4},   {0xFFFD9000, 522},  // Layer II at 160 kbit/s
        {0xFFFF9200, 316},                      // Layer I at 288 kbit/s, padded
        {0xFFFFE000, 484},                      // Layer I at 448 kbit/s
        {0xFFF3E000, 2089},                     // MPEG-2 Layer III: 320 kbit/s here
        {0xFFF35000, 417},                      // 64 kbit/s
        {0xFFF36000, 522},                      // 80 kbit/s
        {0xFFF37000, 365},                      // 56 kbit/s
        {0xFFF5E800, 1440},                     // MPEG-2 Layer II, 160 kbit/s at 16000 Hz
        {0xFFF7E400, 512},                      // MPEG-2 Layer I, 256 kbit/s at 24000 Hz
        {0xFFE3C000, 1671},                     // MPEG-2.5 Layer III, 128 kbit/s
        {0xFFE1E800, 0},                        // no layer
    };
    for (const auto& [header, length] : cases) {
        EXPECT_EQ(MpegAudioFrames().LengthOf(header), length) << std::hex << header;
    }
    for (const std::uint32_t header : {0xFFDB9000U, 0x7FFB9000U, 0xFFEB9000U, 0xFFFB9C00U}) {
        EXPECT_EQ(MpegAudioFrames().LengthOf(header), std::nullopt) << std::hex << header;
    }
    // Later frames keep version and layer, and the rate where they have none.
    MpegAudioFrames stream;
    EXPECT_EQ(stream.LengthOf(Short), 96);
    EXPECT_EQ(stream.LengthOf(0xFFE39C00), 384);
    EXPECT_EQ(stream.LengthOf(0xFFFF9000), 417);
}

TEST(Mp3, EndsBehindTheLastOfAtLeastTenFrames) {
    const Bytes frames = Frames(Common, 10);
    ExpectFiles(Mp3, {
                         {"nine frames", Frames(Common, 9), 0},
                         {"ten frames", frames, 4170},
                         {"ten frames of less than 1024 bytes", Frames(Short, 10), 0},
                         {"eleven of them", Frames(Short, 11), 1056},
                         {"with a checksum", Join({Frames(0xFFFA9000, 10)}), 4170},
                         {"another layer or version", Join({Frames(0xFFFD9000, 10), Frames(0xFFF39000, 10)}), 0},
                         {"a forbidden bit rate behind", Join({frames, Header(0xFFFBF000)}), 4167},
                         {"a free bit rate with padding behind", Join({frames, Header(0xFFFB0200)}), 4171},
                         {"tag right behind", Join({frames, BytesOf("TAG")}), 4298},
                         {"tag after 100 bytes", Join({frames, Zeros(100), BytesOf("TAG")}), 4398},
                         {"tag within the search", Join({frames, Zeros(65532), BytesOf("TAG")}), 4170 + 65532 + 128},
                         {"tag behind the search", Join({frames, Zeros(65533), BytesOf("TAG")}), 4170},
                         {"tag makes it long enough", Join({Frames(Short, 10), BytesOf("TAG")}), 1088},
                         {"more frames than are counted", Frames(Short, 30005), 30000 * 96},
                         {"a cap", frames, 1000, 1000},
                         {"sectors of 3 bytes", frames, 4170, 0, 3},
                         {"sectors of 2 bytes", frames, 0, 0, 2},
                     });
}

TEST(Mp3, FirstFrameBehindATagIsSearchedFor) {
    const Bytes frames = Frames(Common, 12);
    for (const std::size_t first : {127U, 128U, 129U, 5000U, 65661U, 65662U}) {
        const Bytes file = Join({BytesOf("ID3"), Zeros(first - 3), frames});
        // A frame before the search leaves the next one to be found.
        const bool isFound = first == 127 || (first > 128 && first <= 65661);
        ExpectFiles(Mp3, {{std::to_string(first), file, isFound ? std::ssize(file) : 0}});
    }
    ExpectFiles(Mp3, {{"only the first sync word counts",
                       Join({BytesOf("ID3"), Zeros(500), Header(Common), Zeros(600), frames}), 0}});
}

TEST(Mp3, SectorsInsideTheLastFileAreRefusedForGood) {
    // 16 frames are 3 sectors, so frames begin at sectors.
    Medium medium;
    medium.Put(0, Frames(Short, 64)).Grow(14);
    const SectorBlock block = BlockOf(medium);
    const SectorBlock inside = BlockOf(medium, 3, 11);
    for (const Finds& expected : {Finds{{0, 6144}}, Finds{{0, 6144}, {0, 6144}}}) {
        RecordingSink sink;
        for (std::size_t scans = expected.size(); scans > 0; --scans) {
            const TypePtr type = CreateType(Mp3);
            type->ScanBlock(&block, &sink);
            type->Reset();
            type->ScanBlock(&inside, &sink);
        }
        EXPECT_EQ(sink.finds, expected);
    }
    // After its end, another file moves the range, and the first one's sectors are candidates again.
    medium.Put(12, Frames(Short, 16));
    const SectorBlock longer = BlockOf(medium);
    RecordingSink sink;
    const TypePtr type = CreateType(Mp3);
    medium.Data()[12 * 512 - 96] = 0;
    type->ScanBlock(&longer, &sink);
    type->ScanBlock(&inside, &sink);
    EXPECT_EQ(sink.finds, (Finds{{0, 6048}, {12, 1536}, {3, 6048 - 1536}, {12, 1536}}));
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/Numbers.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

constexpr std::int32_t Mid = FileTypeIndex::Mid;
constexpr std::int32_t Ogg = FileTypeIndex::Ogg;
constexpr std::int32_t Rm = FileTypeIndex::Rm;

// The first bytes of a chunk of this type that is `size` bytes long, at least 32.
Bytes Chunk(std::int32_t index, std::uint32_t size, std::uint64_t choice = 0) {
    if (index == Mid) {
        return Join({BytesOf("MTrk"), Big(size - 8, 4)});
    }
    if (index == Rm) {
        constexpr std::string_view names = "PROPCONTMDPRINDXDATA";
        const std::uint64_t name = choice % 5;
        return Join({BytesOf(names.substr(name * 4, 4)), Big(name == 4 ? size + 10 : size, 4)});
    }
    const std::uint32_t segments = (size - 27 + 255) / 256;
    Bytes lengths(segments, 0xFF);
    lengths.back() = static_cast<std::uint8_t>(size - 27 - segments - 255 * (segments - 1));
    return Join({BytesOf("OggS\0"s + (choice % 4 == 0 ? '\2' : '\0')), Bytes(20, 0x55), Big(segments, 1), lengths});
}

Bytes Header(std::int32_t index, std::uint32_t count) {
    return index == Mid ? Join({BytesOf("MThd\0\0\0\6\0\1"s), Big(count, 2), Big(96, 2)})
                        : Join({BytesOf(".RMF\0\0\0\x12\0\0\0\0\0\0"s), Big(count, 4)});
}

// Long chains of small chunks. Now and then a chunk covers a sector start where a file begins whose own chain joins the
// long one, or ends with it. Of 16 chunks, `files` cover a file; of 4096, `breaks` are not chunks.
Bytes Chains(std::int32_t index, std::int64_t sectors, std::uint64_t files, std::uint64_t breaks, Noise& noise) {
    Bytes medium(static_cast<std::size_t>(sectors) * 512);
    const auto put = [&](std::size_t place, Bytes bytes) {
        if (noise.Below(4096) < breaks) {
            bytes[1] = '?';
        }
        bytes.resize(std::min(bytes.size(), medium.size() - place));
        std::ranges::copy(bytes, medium.begin() + static_cast<std::ptrdiff_t>(place));
    };
    for (std::size_t place = 0; place < medium.size();) {
        std::size_t next = place + 32 + noise.Below(64);
        std::size_t file = (place + 300) / 512 * 512;
        if (file < place + 100 || noise.Below(16) >= files) {
            put(place, Chunk(index, static_cast<std::uint32_t>(next - place), noise.Next()));
            place = next;
            continue;
        }
        next = file + 100 + noise.Below(noise.Below(8) == 0 ? 9000 : 300);
        put(place, Chunk(index, static_cast<std::uint32_t>(next - place), noise.Next() | 1U));
        if (index != Ogg && file < medium.size()) {
            const std::uint64_t most = std::uint64_t{1} << noise.Below(index == Mid ? 17 : 33);
            put(file, Header(index, static_cast<std::uint32_t>(noise.Below(most))));
            file += index == Mid ? 14 : 18;
        }
        for (std::uint64_t kind = 0; file < std::min(next, medium.size()); kind = noise.Next()) {
            const std::size_t left = next - file;
            const std::size_t size = left < 80 ? left : 32 + noise.Below(std::min<std::size_t>(left / 2, 80) - 32 + 1);
            put(file, Chunk(index, static_cast<std::uint32_t>(size), kind));
            file += size;
        }
        place = next;
    }
    return medium;
}

class ChunkFiles : public testing::TestWithParam<std::int32_t> {};

TEST_P(ChunkFiles, AreMeasuredTogetherAsAlone) {
    Noise noise(31);
    std::size_t finds = 0;
    // The last medium has more chunks than a memory has places.
    for (int round = 0; round <= 40; ++round) {
        Medium medium(512, Chains(GetParam(), round == 40 ? 3000 : 400, noise.Below(8) + 1, noise.Below(2) * 4, noise));
        const auto cap = static_cast<std::int64_t>(round % 2 == 0 ? 0x40000000 : 1 + noise.Below(100000));
        const TypePtr type = CreateType(GetParam());
        const Finds expected = ScanAlone(*type, medium, cap);
        ASSERT_EQ(Scan(*type, medium, RandomBlocks(medium, noise), cap), expected) << "round " << round;
        finds += expected.size();
    }
    EXPECT_GT(finds, 200U);
}

INSTANTIATE_TEST_SUITE_P(Types, ChunkFiles, testing::Values(Mid, Ogg, Rm));

Finds ScanParts(std::int32_t index, std::initializer_list<Bytes> parts, std::int32_t sectorSize = 512) {
    Medium medium(sectorSize);
    medium.Put(3, Join(parts)).Grow(40);
    return ScanAtEverySplit(index, medium);
}

Bytes Whole(Bytes chunk, std::size_t size) {
    chunk.resize(size, 0x33);
    return chunk;
}

TEST(MidiFiles, EndBehindTheTracksThatTheHeaderCounts) {
    const Bytes track = Whole(Chunk(Mid, 249), 249);
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 2), track, track}), (Finds{{3, 512}}));
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 9), track, track, BytesOf("MTrK")}), (Finds{{3, 512}}));
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 1), track, track}), Finds{});
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 0x8000), track, track}), Finds{});
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 1), BytesOf("MTrk\xFF\xFF\xFF\xFF")}), (Finds{{3, 0xA00000}})) << "unsigned";
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 2), track, track}, 9), (Finds{{3, 512}}));
    EXPECT_EQ(ScanParts(Mid, {Header(Mid, 2), track, track}, 8), Finds{});
}

TEST(OggFiles, EndBehindTheLastPageInARow) {
    Bytes pages;
    for (int page = 0; page < 20001; ++page) {
        const Bytes chunk = Whole(Chunk(Ogg, 40, page == 0 ? 0 : 1), 40);
        pages.insert(pages.end(), chunk.begin(), chunk.end());
    }
    Medium medium;
    medium.Put(1, pages);
    EXPECT_EQ(Scan(Ogg, medium), (Finds{{1, 20000 * 40}}));
    const Bytes first = Whole(Chunk(Ogg, 256), 256);
    EXPECT_EQ(ScanParts(Ogg, {first, first}), (Finds{{3, 512}}));
    EXPECT_EQ(ScanParts(Ogg, {Whole(Chunk(Ogg, 511), 511)}), Finds{});
    EXPECT_EQ(ScanParts(Ogg, {Whole(Chunk(Ogg, 512, 1), 512)}), Finds{}) << "not the first page of a stream";
    EXPECT_EQ(ScanParts(Ogg, {first, first}, 81), (Finds{{3, 512}}));
    EXPECT_EQ(ScanParts(Ogg, {first, first}, 80), Finds{});
}

TEST(RealMediaFiles, HaveAsManyChunksAsTheHeaderCounts) {
    const Bytes chunk = Whole(Chunk(Rm, 119), 119);
    const Bytes data = Whole(Chunk(Rm, 119, 4), 119);
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 3), chunk, data}), (Finds{{3, 256}}));
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 2), chunk, data}), Finds{}) << "too small";
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 5), chunk, data, BytesOf("XXXX"), chunk}), Finds{});
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 0), chunk, data}), Finds{});
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 4), chunk, chunk, BytesOf("CONT\0\0\0\7"s)}), Finds{});
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 4), chunk, chunk, BytesOf("CONT\0\0\0\x8"s)}), (Finds{{3, 264}}));
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 2), BytesOf("CONT\x7F\xFF\xFF\xED")}), (Finds{{3, 0x7FFF0000}}));
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 2), BytesOf("CONT\x7F\xFF\xFF\xEE")}), Finds{}) << "signed";
    // Less than what a data chunk lacks: the step is close to 4 GiB and the size wraps.
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 3), BytesOf("INDX\0\0\2\0"s), Bytes(504), BytesOf("DATA\0\0\0\5"s)}),
              (Finds{{3, 525}}));
    EXPECT_EQ(ScanParts(Rm, {Header(Rm, 3), chunk, data}, 511), Finds{});
}

TEST(RealMediaFiles, NothingBeginsInsideTheLastOneUntilTheScanEnds) {
    Medium medium;
    const auto file = [&](std::int64_t sector, std::uint32_t size) {
        medium.Put(sector, Join({Header(Rm, 2), Chunk(Rm, size - 18)}));
    };
    file(1, 3 * 512 + 1);
    file(2, 600);
    file(4, 600);
    file(5, 600);
    medium.Grow(12);
    EXPECT_EQ(ScanAtEverySplit(Rm, medium), (Finds{{1, 3 * 512 + 1}, {5, 600}}));
    EXPECT_EQ(Scan(Rm, medium, 0, 1024), (Finds{{1, 1024}, {4, 600}})) << "the size as reported";

    // A file at sector 0 of the stream counts as none, and the next scan knows nothing of this one's.
    const TypePtr type = CreateType(Rm);
    for (const std::int64_t shift : {-2, 0, 0}) {
        medium.streamShift = shift;
        RecordingSink sink;
        const SectorBlock block = BlockOf(medium);
        type->ScanBlock(&block, &sink);
        EXPECT_EQ(sink.finds.size(), shift == 0 ? 2U : 3U);
        type->EndScan();
    }
}

}  // namespace

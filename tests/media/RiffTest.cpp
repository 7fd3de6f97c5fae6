#include <gtest/gtest.h>

#include "tests/support/Numbers.h"
#include "tests/support/SparseMedium.h"

namespace {

using namespace test;

constexpr std::int32_t Wav = FileTypeIndex::Wav;
constexpr std::int32_t Avi = FileTypeIndex::Avi;
constexpr std::int32_t Webp = FileTypeIndex::Webp;
constexpr std::int32_t Aif = FileTypeIndex::Aif;
constexpr std::int32_t Ani = FileTypeIndex::Ani;
constexpr std::int64_t MiB = std::int64_t{1} << 20;
constexpr std::int64_t ChainLimit = 0x2000000000;

Bytes Riff(std::uint32_t size, const char* type) { return Join({BytesOf("RIFF"), Little(size), BytesOf(type)}); }
Bytes Form(std::uint32_t size) { return Join({BytesOf("FORM"), Big(size), BytesOf("AIFFCOMM")}); }
Bytes Film(std::int64_t size) { return Riff(static_cast<std::uint32_t>(size - 8), "AVI LIST"); }
// `size` includes the header of 8 bytes; may be negative.
Bytes Extension(std::int64_t size) { return Riff(static_cast<std::uint32_t>(size - 8), "AVIXLIST"); }

TEST(Riff, SizesAreTakenAsEachTypeDoes) {
    const struct {
        std::int32_t index;
        Bytes header;
        // 0 for no find.
        std::int64_t size;
        std::int64_t cap = 0;
    } cases[] = {
        {Wav, Riff(255, "WAVEfmt "), 0},
        {Wav, Riff(256, "WAVEfmt "), 256},
        {Wav, Riff(992, "WAVEfmt "), 992},
        {Wav, Riff(0x7FFFFFFF, "WAVEfmt "), 0x20000000},
        {Wav, Riff(0x80000000, "WAVEfmt "), 0},
        {Wav, Riff(992, "WAVELIST"), 0},
        {Wav, Riff(992, "WAVEFMT "), 0},
        {Wav, Join({BytesOf("RIFX"), Little(992, 4), BytesOf("WAVEfmt ")}), 0},
        {Wav, Riff(992, "WAVEfmt "), 700, 700},
        {Ani, Riff(255, "ACONanih"), 0},
        {Ani, Riff(256, "ACONanih"), 256},
        {Ani, Riff(0x7FFFFFFF, "ACONanih"), 0x2000000},
        {Ani, Riff(0x80000000, "ACONanih"), 0},
        {Ani, Riff(992, "ACONLIST"), 0},
        {Aif, Form(255), 0},
        {Aif, Form(4000), 4000},
        {Aif, Form(0x7FFFFFFF), 0x2000000},
        {Aif, Form(0x80000000), 0},
        {Webp, Riff(119, "WEBP"), 0},
        {Webp, Riff(120, "WEBPabcd"), 128},
        {Webp, Riff(0x7FFFFFF7, "WEBP"), 0x7FFFFFFF},
        {Webp, Riff(0x7FFFFFF8, "WEBP"), -0x80000000LL},
        {Webp, Riff(0xFFFFFFF7, "WEBP"), -1},
        {Webp, Riff(0xFFFFFFF8, "WEBP"), 0},
        {Webp, Riff(0xFFFFFFFF, "WEBP"), 0},
        {Webp, Riff(992, "WEBP"), 700, 700},
        {Avi, Film(255), 0},
        {Avi, Film(256), 256},
        {Avi, Film(0x40000000), 0x40000000},
        {Avi, Riff(0x50000000, "AVI LIST"), 0x40000000},
        {Avi, Riff(0xFFFFFFFF, "AVI LIST"), 0x40000000},
        {Avi, Riff(0x50000000, "AVI LIST"), 700, 700},
        {Avi, Riff(992, "AVI JUNK"), 0},
    };
    for (const auto& tested : cases) {
        Medium medium;
        // Two in a row: neither cuts the other.
        medium.Put(3, tested.header).Put(4, tested.header).Grow(8);
        EXPECT_EQ(Scan(tested.index, medium, 0, tested.cap),
                  tested.size == 0 ? Finds{} : (Finds{{3, tested.size}, {4, tested.size}}))
            << tested.index << ", " << tested.size;
    }
}

TEST(Riff, SmallSectorsHoldWholeHeaders) {
    for (const std::int32_t sectorSize : {16, 17, 256, 511, 512}) {
        for (const auto& [index, header, size] : {std::tuple{Wav, Riff(992, "WAVEfmt "), 992},
                                                  {Ani, Riff(992, "ACONanih"), 992},
                                                  {Aif, Form(992), 992},
                                                  {Avi, Film(992), 992},
                                                  {Webp, Riff(984, "WEBP"), 992}}) {
            Medium medium(sectorSize);
            medium.Put(2, header);
            EXPECT_EQ(Scan(index, medium), sectorSize >= (index == Webp ? 512 : 17) ? (Finds{{2, size}}) : Finds{})
                << sectorSize << ", " << index;
        }
    }
}

TEST(Avi, ExtensionsAreAdded) {
    SparseMedium medium(3000 * MiB);
    medium.Put(0, Film(700 * MiB)).Put(700 * MiB, Extension(600 * MiB)).Put(1300 * MiB, Extension(500 * MiB + 2));
    EXPECT_EQ(medium.ScanStart(Avi), (Finds{{0, 1800 * MiB + 2}}));
    medium.Put(1300 * MiB, Riff(0, "AVI LIST"));
    EXPECT_EQ(medium.ScanStart(Avi), (Finds{{0, 1300 * MiB}}));
    // A first chunk above 1 GiB has none.
    medium.Put(0, Film(1300 * MiB)).Put(1024 * MiB, Extension(1000));
    EXPECT_EQ(medium.ScanStart(Avi), (Finds{{0, 1024 * MiB}}));

    // 63 chunks of 2 GiB less 1, and one that ends before the limit or at it.
    for (const bool reachesLimit : {false, true}) {
        SparseMedium large(2 * ChainLimit);
        large.Put(0, Film(1024));
        std::int64_t at = 1024;
        for (int i = 0; i < 63; ++i, at += 0x7FFFFFFF) {
            large.Put(at, Extension(0x7FFFFFFF));
        }
        large.Put(at, Extension(reachesLimit ? ChainLimit - at : ChainLimit - at - 1)).Put(ChainLimit, Extension(5000));
        EXPECT_EQ(large.ScanStart(Avi), (Finds{{0, ChainLimit - (reachesLimit ? 0 : 1)}}));
    }
}

TEST(Avi, ChainsThatLeadBack) {
    const struct {
        const char* what;
        std::vector<std::pair<std::int64_t, std::int64_t>> extensions;
        std::int64_t size;
    } cases[] = {
        {"to an end", {{4096, -3000}, {1096, 700}}, 1796},
        {"nowhere", {{4096, 0}}, 0},
        {"in a circle", {{4096, 1000}, {5096, 1000}, {6096, -1000}}, 0},
        {"in a circle with a way in front", {{4096, 900}, {4996, 100}, {5096, 1000}, {6096, 500}, {6596, -1500}}, 0},
        {"in front of the film", {{4096, -4097}}, 0},
        {"to its start, which is no extension", {{4096, -4096}}, 0},
        {"to less than a film", {{4096, -4096 + 255}}, 0},
        {"to the smallest film", {{4096, -4096 + 256}}, 256},
        {"by a size of 2 GiB", {{4096, 0x80000008}}, 0},
    };
    for (const auto& tested : cases) {
        SparseMedium medium(1024 * MiB);
        medium.Put(0, Film(4096));
        for (const auto& [at, size] : tested.extensions) {
            medium.Put(at, Extension(size));
        }
        EXPECT_EQ(medium.ScanStart(Avi), tested.size == 0 ? Finds{} : (Finds{{0, tested.size}})) << tested.what;
    }
    // A sector larger than the reader's cache: the read would be retried forever.
    SparseMedium unreadable(MiB, 65536);
    unreadable.Put(0, Film(4096));
    EXPECT_EQ(unreadable.ScanStart(Avi), Finds{});
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Registry.h"

// What hostile media cost, in bytes asked of the source.

namespace {

using namespace test;

constexpr std::size_t MediumBytes = std::size_t{1} << 20;

Bytes Repeated(const Bytes& part) {
    Bytes bytes(MediumBytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = part[at % part.size()];
    }
    return bytes;
}

// In sizes of the medium.
std::int64_t TimesRead(std::int32_t index, const Bytes& bytes) {
    Medium medium(512, bytes);
    Scan(index, medium, 64);
    const std::int64_t sectors =
        std::accumulate(medium.requests.begin(), medium.requests.end(), std::int64_t{0},
                        [](std::int64_t sum, const Medium::Request& request) { return sum + request.count; });
    return sectors / medium.SectorCount();
}

// Three of the reader's caches for each candidate, on media with one in every sector, in every other one, in every
// fifth.
TEST(HostileMedia, OfAFilesFirstSectorsAreReadAFewTimes) {
    // As often as these are read, they still are linear in the medium: the budget bounds them.
    const std::set<std::string> bounded{"animated.gif", "release10.binary.dxf", "release14.binary.dxf", "smartdraw"};
    for (const Fixture& fixture : Fixtures()) {
        Bytes file = fixture.bytes;
        for (const std::size_t sectors : {5U, 2U, 1U}) {
            file.resize(sectors * 512);
            for (const std::int32_t index : fixture.types) {
                EXPECT_LE(TimesRead(index, Repeated(file)), bounded.contains(fixture.name) ? 2048 : 192)
                    << fixture << " as type " << index << ", " << sectors << " sectors of it";
            }
        }
    }
}

// Made-up streams: each sector could cost as much as a whole file.
TEST(HostileMedia, OfStreamsThatNeverEndAreReadOnce) {
    Bytes frames(512);
    for (const std::size_t at : {0U, 96U, 192U, 288U, 384U}) {
        std::ranges::copy(PatternOf("\xFF\xFB\x14"), frames.begin() + static_cast<std::ptrdiff_t>(at));
    }
    Bytes tag = BytesOf("ID3");
    tag.resize(512);
    Bytes packet(188, 0x11);
    packet[0] = 0x47;
    const struct {
        const char* what;
        std::int32_t index;
        Bytes part;
    } cases[] = {
        {"tags without frames", FileTypeIndex::Mp3, tag},
        {"few frames", FileTypeIndex::Mp3, frames},
        {"sync bytes everywhere", FileTypeIndex::Mts, {0x47}},
        {"packets without table", FileTypeIndex::Mts, packet},
        {"packs", FileTypeIndex::Vob, {0, 0, 1, 0xBA, 0x44, 0, 0, 0, 0, 0, 0, 0, 0, 0xFA, 0, 0}},
    };
    for (const auto& tested : cases) {
        // A reader's cache for each candidate.
        EXPECT_LE(TimesRead(tested.index, Repeated(tested.part)), 2 * 64) << tested.what;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <numeric>
#include <set>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Registry.h"

// What hostile media cost, in bytes asked of the source.

namespace {

using namespace std::string_literals;
using namespace test;

constexpr std::size_t MediumBytes = std::size_t{1} << 20;

Bytes Repeated(const Bytes& part) {
    Bytes bytes(MediumBytes);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = part[at % part.size()];
    }
    return bytes;
}

// In multiples of the medium's size.
std::int64_t TimesRead(std::int32_t index, const Bytes& bytes) {
    Medium medium(512, bytes);
    Scan(index, medium, 64);
    const std::int64_t sectors =
        std::accumulate(medium.requests.begin(), medium.requests.end(), std::int64_t{0},
                        [](std::int64_t sum, const Medium::Request& request) { return sum + request.count; });
    return sectors / medium.SectorCount();
}

// At most three of the reader's caches for each candidate, on media with one in every sector, in every second, in every
// fifth.
TEST(HostileMedia, OfAFilesFirstSectorsAreReadAFewTimes) {
    // These are read more often, but still in linear time: the budget bounds them.
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

Bytes Sector(const std::string& start, char fill = 'x') {
    return BytesOf(start + std::string(512 - start.size(), fill));
}

// Made-up streams: each sector could cost as much as a whole file.
TEST(HostileMedia, OfStreamsThatNeverEndAreReadOnce) {
    using namespace FileTypeIndex;
    std::string frame = "\xFF\xFB\x14";
    frame.resize(96);
    const std::string jpeg = "\xFF\xD8\xFF\xE1\0\x12"s;
    const std::string drawing = "%!PS-Adobe-2.0 EPSF-1.2\r%%Creator: Adobe Illustrator(TM) 3.2\r%%BeginDocument: a\r";
    const std::string declaration = "<?xml version='1.0'?>";
    const struct {
        const char* what;
        std::int32_t index;
        Bytes part;
    } cases[] = {
        {"tags without frames", Mp3, Sector("ID3", '\0')},
        {"few frames", Mp3, Sector(frame + frame + frame + frame + frame, '\0')},
        {"sync bytes everywhere", Mts, {0x47}},
        {"packets without table", Mts, BytesOf("G" + std::string(187, '\x11'))},
        {"packs", Vob, {0, 0, 1, 0xBA, 0x44, 0, 0, 0, 0, 0, 0, 0, 0, 0xFA, 0, 0}},
        {"boxes that lead into the next file", Mp4,
         Sector("\0\0\0\x10"
                "ftypisom\0\0\0\0\0\0\1\xF0moov"s)},
        {"pages in a row", Ogg, Sector("OggS\0\2"s + std::string(20, 'x') + "\2\xFF\xE4")},
        {"tracks in a row", Mid, Sector("MThd\0\0\0\6\0\1\x7F\xFF\0\x60MTrk\0\0\1\xF8"s)},
        {"tags over one another", Flv, Sector("FLV\1\5\0\0\0\x09\0\0\0\0\x12\xFF\xFF\xFF\0\0\0\0\0\0\0"s)},
        {"scans without end", JpegGraphics, Sector(jpeg + "JFIF" + std::string(12, 'x') + "\xFF\xDA\0\x08"s)},
        {"documents without end", Pdf, Sector("%PDF-1.4\n")},
        {"placed documents without end", Ai, Sector(drawing)},
        {"pages without end", Html, Sector("\n<html>")},
        {"data without end", Xml, Sector(declaration + "<a><![CDATA[")},
        {"a value without end", Xml, Sector(declaration + "<a b=\"")},
        {"messages without end", Eml, Sector("Received:\r\nContent-Type: text/")},
    };
    for (const auto& tested : cases) {
        // One reader's cache for each candidate.
        EXPECT_LE(TimesRead(tested.index, Repeated(tested.part)), 2 * 64) << tested.what;
    }
}

}  // namespace

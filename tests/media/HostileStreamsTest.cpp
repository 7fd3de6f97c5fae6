#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

#include "media/MpegAudioFrames.h"
#include "tests/support/Scan.h"

// The stream types take shortcuts where many candidates stand in front of the same bytes. Here the rules are written
// down plainly, without any, and run against the scanners on media full of candidates.

namespace {

using namespace test;

// A file on a medium that ends in zeros without end.
class PlainFile {
public:
    PlainFile(const Medium& medium, std::int64_t sector)
        : bytes_(ByteSpan(medium.Data()).subspan(static_cast<std::size_t>(sector * medium.SectorSize()))) {}
    std::uint32_t At(std::int64_t position) const {
        return position < std::ssize(bytes_) ? bytes_[static_cast<std::size_t>(position)] : 0;
    }
    bool Has(std::int64_t position, std::string_view text) const {
        for (const char c : text) {
            if (At(position++) != static_cast<std::uint8_t>(c)) {
                return false;
            }
        }
        return true;
    }

private:
    ByteSpan bytes_;
};

std::int64_t SectorsOf(std::int64_t size, const Medium& medium) {
    return (size + medium.SectorSize() - 1) / medium.SectorSize();
}

// Each gives the file's size, or 0.

std::int64_t PlainMp3(const PlainFile& file) {
    std::int64_t p = 0;
    if (file.Has(0, "ID3")) {
        for (p = 128; p <= 128 + 65533 && !(file.At(p) == 0xFF && (file.At(p + 1) | 1U) == 0xFB);) {
            ++p;
        }
        if (p == 128 || p > 128 + 65533) {
            return 0;
        }
    } else if (!file.Has(0, "\xFF\xFB") && !file.Has(0, "\xFF\xFA")) {
        return 0;
    }
    MpegAudioFrames stream;
    std::int64_t n = 0;
    while (n < 30000) {
        const auto length =
            stream.LengthOf(file.At(p) << 24U | file.At(p + 1) << 16U | file.At(p + 2) << 8U | file.At(p + 3));
        p += length.value_or(0);
        if (length.value_or(0) < 4) {
            break;
        }
        ++n;
    }
    for (std::int64_t j = 0; n >= 10 && j <= 65532; ++j) {
        if (file.Has(p + j, "TAG")) {
            p += j + 128;
            break;
        }
    }
    return n >= 10 && p >= 1024 ? p : 0;
}

std::int64_t PlainMts(const PlainFile& file) {
    const std::int64_t prefix = file.At(0) == 0x47 ? 0 : 4;
    for (const std::int64_t size : {188, 192, 204, 208}) {
        if (file.At(prefix) == 0x47 && file.At(prefix + size) == 0x47) {
            bool hasTable = false;
            std::int64_t length = prefix;
            for (; file.At(length) == 0x47; length += size) {
                hasTable = hasTable || ((file.At(length + 1) & 0x1FU) == 0 && file.At(length + 2) == 0);
            }
            return hasTable && length >= 18800 ? length : 0;
        }
    }
    return 0;
}

std::int64_t PlainVob(const PlainFile& file, std::int64_t cap) {
    std::int64_t q = 0;
    std::int64_t packets = 0;
    while (q <= cap && (q > 0 || file.At(3) == 0xBA) && file.Has(q, {"\0\0\1", 3}) && file.At(q + 3) >= 0xBA) {
        if (file.At(q + 3) > 0xBA) {
            q += 6 + (file.At(q + 4) << 8U | file.At(q + 5));
            ++packets;
        } else if (file.At(q + 4) >> 6U == 1 && file.At(q + 13) >> 3U == 31) {
            q += 14 + (file.At(q + 13) & 7U);
        } else {
            break;
        }
    }
    return packets >= 10 && q >= 1024 ? q : 0;
}

// What a type reports by its rule. A sector is refused behind the start of the last report, and for transport streams
// also where the report was cut by the cap.
Finds PlainFinds(std::int32_t index, const Medium& medium, std::int64_t cap) {
    Finds finds;
    std::int64_t refusedTo = 0;
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        const PlainFile file(medium, sector);
        const std::int64_t size = sector < refusedTo            ? 0
                                  : index == FileTypeIndex::Mp3 ? PlainMp3(file)
                                  : index == FileTypeIndex::Mts ? PlainMts(file)
                                                                : PlainVob(file, cap);
        if (size > 0) {
            const std::int64_t capped = std::min(size, cap);
            finds.push_back({sector, capped});
            refusedTo = sector + SectorsOf(index == FileTypeIndex::Mts ? capped : size, medium);
        }
    }
    return finds;
}

void Write(Bytes& bytes, std::size_t at, const Bytes& part) {
    std::copy_n(part.begin(), std::min(part.size(), bytes.size() - at),
                bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

Bytes AudioMedium(Noise& noise, std::size_t size) {
    Bytes bytes(size);
    std::size_t at = 0;
    while (at < size) {
        // Frames of 96 bytes, which at times fill a sector, in rows that are mostly too short.
        for (std::uint64_t row = noise.Below(14); row > 0 && at < size; --row, at += 96) {
            Write(bytes, at, {0xFF, 0xFB, static_cast<std::uint8_t>(noise.Below(40) == 0 ? 0xF4 : 0x14), 0});
        }
        at += noise.Below(2) * (32 - at % 32) + noise.Below(3) * 512 * noise.Below(8);
    }
    for (int i = 0; i < 300; ++i) {
        const std::size_t sector = noise.Below(size / 32) * 32;
        Write(bytes, sector, {'I', 'D', '3', 0});
        if (noise.Below(20) == 0) {
            Write(bytes, sector + noise.Below(28), {'T', 'A', 'G'});
        }
    }
    return bytes;
}

Bytes TransportMedium(Noise& noise, std::size_t size) {
    constexpr std::size_t sizes[] = {188, 192, 204, 208};
    Bytes bytes(size);
    for (int rows = 0; rows < 5; ++rows) {
        const std::size_t step = sizes[noise.Below(4)];
        std::size_t at = noise.Below(size / 512) * 512 + noise.Below(2) * 4;
        for (std::uint64_t packets = noise.Below(600); packets > 0 && at < size; --packets, at += step) {
            Write(bytes, at, {0x47, static_cast<std::uint8_t>(noise.Below(150) == 0 ? 0 : 1), 0});
        }
    }
    return bytes;
}

// Packs of 16 bytes, which are all candidates, and packets that lead from some of them to others far away.
Bytes ProgramMedium(Noise& noise, std::size_t size) {
    Bytes bytes(size);
    for (std::size_t at = 0; at < size; at += 16) {
        Write(bytes, at, {0, 0, 1, 0xBA, 0x44, 0, 0, 0, 0, 0, 0, 0, 0, 0xFA});
    }
    for (std::uint64_t packets = 15 + noise.Below(40); packets > 0; --packets) {
        const std::uint64_t length = 10 + 16 * noise.Below(noise.Below(4) == 0 ? 600 : 2);
        Write(bytes, noise.Below(size / 16) * 16,
              {0, 0, 1, 0xE0, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length)});
    }
    for (std::uint64_t breaks = noise.Below(4); breaks > 0; --breaks) {
        bytes[noise.Below(size / 16) * 16] = 1;
    }
    return bytes;
}

struct Kind {
    std::int32_t index;
    Bytes (*fill)(Noise& noise, std::size_t size);
    std::int32_t sectorSize;
    /// The largest is the type's own.
    std::vector<std::int64_t> caps;
};

TEST(HostileStreams, ShortcutsChangeNothing) {
    const Kind kinds[] = {{22, AudioMedium, 32, {0x4000000}},
                          {109, TransportMedium, 512, {0x7FFFF000, 30000, 10}},
                          {25, ProgramMedium, 16, {40000, 50000, 0xFFFFFFFF}}};
    Noise noise(5);
    for (const Kind& kind : kinds) {
        std::size_t found = 0;
        for (int round = 0; round < 9; ++round) {
            const std::int64_t cap = kind.caps[static_cast<std::size_t>(round) % kind.caps.size()];
            Medium medium(kind.sectorSize, kind.fill(noise, 70 << 10));
            const Finds expected = PlainFinds(kind.index, medium, cap);
            found += expected.size();
            const TypePtr type = CreateType(kind.index);
            EXPECT_EQ(Scan(*type, medium, RandomBlocks(medium, noise), cap), expected) << kind.index;
            EXPECT_EQ(Scan(*type, medium, 0, cap), expected) << kind.index;
        }
        EXPECT_GT(found, 8U) << kind.index;
    }
}

// Sectors that each begin like a file, so that each could cost as much as the file.
TEST(HostileStreams, ManyCandidatesCostLittleMoreThanOne) {
    const auto repeat = [](const Bytes& part) {
        Bytes bytes(4 << 20);
        for (std::size_t at = 0; at < bytes.size(); at += part.size()) {
            Write(bytes, at, part);
        }
        return bytes;
    };
    Bytes sector(512);
    const auto sectorWith = [&](const Bytes& start) {
        Write(sector, 0, start);
        return sector;
    };
    Bytes framesInARow(512);
    for (const std::size_t at : {0U, 96U, 192U, 288U, 384U}) {
        Write(framesInARow, at, {0xFF, 0xFB, 0x14, 0});
    }
    const struct {
        const char* what;
        std::int32_t index;
        Bytes bytes;
    } cases[] = {
        {"tags without frames", 22, repeat(sectorWith({'I', 'D', '3'}))},
        {"few frames", 22, repeat(framesInARow)},
        {"sync bytes everywhere", 109, Bytes(4 << 20, 0x47)},
        {"packets without table", 109, repeat([] {
             Bytes packet(188, 0x11);
             packet[0] = 0x47;
             return packet;
         }())},
        {"packs", 25, repeat({0, 0, 1, 0xBA, 0x44, 0, 0, 0, 0, 0, 0, 0, 0, 0xFA, 0, 0})},
    };
    for (const auto& tested : cases) {
        Medium medium(512, tested.bytes);
        EXPECT_EQ(Scan(tested.index, medium, 64), Finds{}) << tested.what;
        // Each fetches 32 KiB.
        EXPECT_LT(std::ssize(medium.requests), 2 * medium.SectorCount()) << tested.what;
    }
}

}  // namespace

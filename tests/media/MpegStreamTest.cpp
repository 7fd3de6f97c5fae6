#include <gtest/gtest.h>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t Vob = FileTypeIndex::Vob;
constexpr std::int32_t Mts = FileTypeIndex::Mts;

// Packets `size` bytes apart. `table` is the one with the program association table.
Bytes Packets(std::size_t count, std::size_t size, std::size_t table) {
    Bytes bytes(count * size, 0x11);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i * size] = 0x47;
        if (i == table) {
            bytes[i * size + 1] = 0xE0;
            bytes[i * size + 2] = 0;
        }
    }
    return bytes;
}
constexpr std::size_t NoTable = ~std::size_t{0};

Bytes WithByte(Bytes bytes, std::size_t offset, std::uint8_t value) {
    bytes[offset] = value;
    return bytes;
}

TEST(Mts, NeedsAProgramTableAnd18800Bytes) {
    const Bytes prefix(4, 0x22);
    const Bytes hundred = Packets(100, 188, 0);
    ExpectFiles(Mts, {
                         {"99 packets", Packets(99, 188, 0), 0},
                         {"100 packets", hundred, 18800},
                         {"in sectors of 511 bytes", hundred, 0, 0, 511},
                         {"no read inside a sector completes", hundred, 0, 0, 32769},
                         {"table in the last one", Packets(100, 188, 99), 18800},
                         {"no table", Packets(1000, 188, NoTable), 0},
                         {"identifier with a high bit", WithByte(Packets(100, 188, 5), 5 * 188 + 1, 0x10), 0},
                         {"the smaller size fits too", WithByte(Packets(100, 188, 0), 192, 0x47), 18800},
                         {"192", Packets(98, 192, 0), 18816},
                         {"204", Packets(93, 204, 0), 18972},
                         {"208", Packets(91, 208, 0), 18928},
                         {"200", Packets(100, 200, 0), 0},
                         {"time stamps", Join({prefix, Packets(100, 192, 0)}), 19204},
                         {"97 and time stamps", Join({prefix, Packets(97, 192, 0)}), 0},
                         {"first byte decides", WithByte(Join({prefix, Packets(100, 192, 0)}), 0, 0x47), 0},
                     });
}

TEST(Mts, SectorsOfTheLastReportAreRefusedUntilReset) {
    // Packets begin at the start of every 47th sector, and 4 bytes into some others.
    const Bytes stream = Packets(400, 188, 399);
    Medium medium;
    medium.Put(0, stream).Put(147, stream);
    EXPECT_EQ(Scan(Mts, medium), (Finds{{0, 75200}, {147, 75200}}));
    // The cap moves the end of the refused range: each later grid point is a stream of its own.
    EXPECT_EQ(Scan(Mts, medium, 0, 24064 + 1), (Finds{{0, 24065}, {76, 24065}, {147, 24065}, {223, 24065}}));
    EXPECT_EQ(Scan(Mts, medium, 7, 24064),
              (Finds{{0, 24064}, {47, 24064}, {94, 24064}, {147, 24064}, {194, 24064}, {241, 24064}}));
    // After the only packet with a table, there is none.
    medium.Put(0, Packets(400, 188, 0)).Put(147, Zeros(75200));
    EXPECT_EQ(Scan(Mts, medium, 7, 24064), (Finds{{0, 24064}}));
    medium.Put(0, stream);
    // A start of 0 refuses nothing; another object, or one that was reset, has no last report.
    SectorBlock block = BlockOf(medium, 0, 147);
    block.firstSector = 0;
    medium.streamShift = -Medium::StreamStart;
    RecordingSink sink;
    const TypePtr type = CreateType(Mts);
    type->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds, (Finds{{-1, 75200}, {28, 60352}}));
    type->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds.size(), 2U);
    type->Reset();
    type->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds.size(), 4U);
}

Bytes Pack(std::size_t stuffing) {
    const Bytes head{0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, static_cast<std::uint8_t>(0xF8U | stuffing)};
    return Join({head, Bytes(stuffing, 0xFF)});
}
Bytes Packet(std::size_t length, std::uint8_t id = 0xE0) {
    const Bytes head{0, 0, 1, id, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length)};
    return Join({head, Bytes(length, 0x55)});
}
Bytes Repeat(const Bytes& part, std::size_t count) {
    Bytes bytes;
    for (; count > 0; --count) {
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return bytes;
}

TEST(Vob, FollowsPacksAndPacketsOfMpeg2) {
    const Bytes ten = Repeat(Packet(150), 10);
    const Bytes whole = Join({Pack(0), ten});
    ExpectFiles(
        Vob,
        {
            {"nine packets", Join({Pack(0), Repeat(Packet(150), 9)}), 0},
            {"ten", whole, 1574},
            {"sectors of 4 bytes", whole, 1574, 0, 4},
            {"sectors of 3 bytes", whole, 0, 0, 3},
            {"a cap", whole, 1500, 1500},
            {"the walk ends with the ninth packet", whole, 0, 1417},
            {"a negative cap", whole, 0, -1},
            {"stuffing, packs between", Join({Pack(7), Repeat(Join({Packet(150), Pack(3)}), 10)}), 21 + 10 * 173},
            {"1023 bytes", Join({Pack(0), Repeat(Packet(94), 9), Packet(103)}), 0},
            {"1024 bytes", Join({Pack(0), Repeat(Packet(94), 9), Packet(104)}), 1024},
            {"a system header counts", Join({Pack(0), Packet(12, 0xBB), Repeat(Packet(150), 9)}), 14 + 18 + 9 * 156},
            {"the last identifier", Join({Pack(0), Repeat(Packet(150, 0xFF), 10)}), 1574},
            {"an end code", Join({Pack(0), ten, {0, 0, 1, 0xB9, 0, 0}, ten}), 1574},
            {"MPEG-1", Join({WithByte(Pack(0), 4, 0x21), ten}), 0},
            {"both first bits", Join({WithByte(Pack(0), 4, 0xC4), ten}), 0},
            {"a reserved bit clear", Join({WithByte(Pack(0), 13, 0xF0), ten}), 0},
            {"a bad pack behind", Join({Pack(0), ten, WithByte(Pack(0), 13, 0x78), ten}), 1574},
            {"the longest packets", Join({Pack(0), Repeat(Packet(65535), 10)}), 14 + 10 * 65541},
        });
}

TEST(Vob, StreamsThatMeetShareWhatFollows) {
    // The first one jumps over the second one, to the same long row of packs. Both have the six packets after that.
    const Bytes shared = Join({Repeat(Pack(2), 4000), Repeat(Packet(26), 6)});
    for (const std::size_t own : {3U, 4U}) {
        Medium medium;
        medium.Put(0, Join({Pack(0), Packet(2048 - 14 - 6)}));
        const Bytes packets = Repeat(Packet(26), own - 1);
        medium.Put(2, Join({Pack(0), packets, Packet(1024 - 14 - packets.size() - 6)})).Put(4, shared);
        const auto size = static_cast<std::int64_t>(1024 + shared.size());
        EXPECT_EQ(Scan(Vob, medium, 3), own == 4 ? (Finds{{2, size}}) : Finds{});
    }
}

TEST(Vob, SectorsInsideTheLastFileAreRefusedForGood) {
    Medium medium;
    medium.Put(0, Repeat(Join({Pack(0), Packet(492)}), 30));
    const SectorBlock block = BlockOf(medium);
    const SectorBlock inside = BlockOf(medium, 1, 29);
    RecordingSink sink;
    CreateType(Vob)->ScanBlock(&inside, &sink);
    CreateType(Vob)->ScanBlock(&block, &sink);
    CreateType(Vob)->ScanBlock(&inside, &sink);
    EXPECT_EQ(sink.finds, (Finds{{1, 29 * 512}, {0, 30 * 512}}));
}

// A medium without end, the same bytes over and over.
class EndlessMedium : public ISectorSource {
public:
    explicit EndlessMedium(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        const auto wanted = static_cast<std::size_t>(count) * 512;
        auto from = static_cast<std::size_t>(firstSector) * 512 % bytes_.size();
        for (std::size_t done = 0; done < wanted; from = 0) {
            const std::size_t run = std::min(wanted - done, bytes_.size() - from);
            std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(from), run, buffer + done);
            done += run;
        }
        bytesRead += static_cast<std::int64_t>(wanted);
        return 1;
    }
    std::int32_t GetGeometry(SectorGeometry* geometry) override {
        *geometry = {512, std::int64_t{1} << 50};
        return 1;
    }
    Finds ScanStart(std::int32_t index, std::int32_t sectors, std::int64_t maxSize = 0) {
        Bytes start(static_cast<std::size_t>(sectors) * 512);
        const std::int64_t first = static_cast<std::int64_t>(bytes_.size()) / 512 * 9;
        for (std::int32_t i = 0; i < sectors; i += 64) {
            ReadSectors(first + i, start.data() + static_cast<std::ptrdiff_t>(i) * 512, std::min(64, sectors - i));
        }
        bytesRead = 0;
        const SectorBlock block{first, start.data(), sectors, 512, this};
        RecordingSink sink;
        const TypePtr type = CreateType(index);
        if (maxSize != 0) {
            type->SetMaxFileSize(maxSize);
        }
        type->ScanBlock(&block, &sink);
        for (Found& found : sink.finds) {
            found.startSector -= first - Medium::StreamStart;
        }
        return sink.finds;
    }
    std::int64_t bytesRead = 0;

private:
    Bytes bytes_;
};

TEST(MpegStreams, EndlessStreamsEndAtTheirLimitAndAreWalkedOnce) {
    constexpr std::int64_t limit = std::int64_t{1} << 31;
    EndlessMedium noTable(Packets(128, 188, NoTable));
    EXPECT_EQ(noTable.ScanStart(Mts, 470), Finds{});
    EXPECT_LT(noTable.bytesRead, limit + (8 << 20));
    EndlessMedium program(Packets(128, 188, 100));
    // To the first packet at the limit or after it, and no further than the cap.
    EXPECT_EQ(program.ScanStart(Mts, 40), (Finds{{0, 0x7FFFF000}}));
    // 510 sectors.
    EndlessMedium packets(Join({Pack(0), Repeat(Packet(65535), 3), Packet(64477)}));
    // To the first packet that could make the 32-bit count wrap around.
    EXPECT_EQ(packets.ScanStart(Vob, 1100), (Finds{{0, 16447LL * 510 * 512 + 14 + 3 * 65541}}));
    EXPECT_LT(packets.bytesRead, 2 * limit + (8 << 20));
    constexpr std::int64_t cap = 16 << 20;
    EndlessMedium packs(Repeat(Pack(2), 32));
    EXPECT_EQ(packs.ScanStart(Vob, 400, cap), Finds{});
    EXPECT_LT(packs.bytesRead, cap + 400 * (128 << 10));
}

}  // namespace

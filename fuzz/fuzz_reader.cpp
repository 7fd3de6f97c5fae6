// Runs a sequence of operations on a KFileSimulator and compares what it does with what its contract says.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/contract/ISectorSource.h"
#include "frame/read/KFileSimulator.h"
#include "fuzz/Require.h"

namespace {

constexpr std::uint8_t Untouched = 0xA5;
constexpr std::uint32_t LongestRead = 3 * KFileSimulator::CacheBytes;
// Below this, no sector and no byte number comes near the end of the 64-bit range.
constexpr std::int64_t SafeNumber = std::int64_t{1} << 60;

// Every byte of the medium follows from where it stands, so that a byte from a wrong place shows.
std::uint8_t MediumByte(std::int64_t sector, std::int64_t offset) {
    const std::uint64_t place = static_cast<std::uint64_t>(sector) * 65537 + static_cast<std::uint64_t>(offset);
    return static_cast<std::uint8_t>(place * 0x9E3779B97F4A7C15ULL >> 56U);
}

void FillSectors(std::int64_t firstSector, std::int32_t sectorSize, std::int32_t count, std::uint8_t* out) {
    for (std::int32_t i = 0; i < count; ++i) {
        for (std::int32_t offset = 0; offset < sectorSize; ++offset) {
            *out++ = MediumByte(firstSector + i, offset);
        }
    }
}

class Medium : public ISectorSource {
public:
    explicit Medium(std::int32_t sectorSize) : sectorSize_(sectorSize) {}

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        Require(count >= 1 && count <= KFileSimulator::CacheBytes / sectorSize_, "a request fits the cache");
        Require(firstSector <= std::numeric_limits<std::int64_t>::max() - count, "a request stays in the numbers");
        FillSectors(firstSector, sectorSize_, count, buffer);
        return 1;
    }

    std::int32_t GetGeometry(SectorGeometry* geometry) override {
        *geometry = {static_cast<std::uint32_t>(sectorSize_), SafeNumber};
        return 1;
    }

private:
    std::int32_t sectorSize_;
};

struct Setup {
    std::int32_t sectorSize;
    std::int64_t baseSector;
    bool hasSource;
};

// The reader under test next to the position that it should have.
class CheckedReader {
public:
    CheckedReader(const Setup& setup, const SectorBlock& block) : setup_(setup), reader_(&block, setup.baseSector, 0) {}

    void Seek(std::int64_t position) {
        reader_.Seek(position);
        position_ = position;
        RequirePosition();
    }

    void Skip(std::int64_t delta) {
        Require(reader_.Skip(delta), "a skip succeeds");
        position_ =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(position_) + static_cast<std::uint64_t>(delta));
        RequirePosition();
    }

    void Read(std::uint32_t length) {
        std::vector<std::uint8_t> buffer(length, Untouched);
        const bool complete = reader_.Read(buffer.data(), length);
        const std::int64_t copied = reader_.Tell() - position_;
        Require(copied >= 0 && copied <= length, "a read advances by what it copies");
        Require(complete == (copied == length), "a read succeeds if it copies everything");
        Require(complete || !MustSucceed(), "an ordinary read succeeds");
        Require(position_ >= 0 || copied == 0, "nothing is copied from in front of the file");
        for (std::int64_t i = 0; i < length; ++i) {
            Require(buffer[static_cast<std::size_t>(i)] == (i < copied ? ByteAt(position_ + i) : Untouched),
                    "a read copies the medium's bytes");
        }
        position_ += copied;
    }

    void ReadByte() {
        const std::uint8_t byte = reader_.ReadByte();
        const bool copied = reader_.Tell() != position_;
        Require(copied || !MustSucceed(), "an ordinary read succeeds");
        Require(byte == (copied ? ByteAt(position_) : 0), "a byte is the medium's byte");
        position_ += copied ? 1 : 0;
        RequirePosition();
    }

    /// Goes on with a copy of the reader.
    void Copy() { reader_ = KFileSimulator(reader_); }

private:
    void RequirePosition() const { Require(reader_.Tell() == position_, "the position is kept"); }

    bool MustSucceed() const {
        return setup_.hasSource && setup_.sectorSize <= KFileSimulator::CacheBytes && position_ >= 0 &&
               position_ < SafeNumber && setup_.baseSector < SafeNumber;
    }

    std::uint8_t ByteAt(std::int64_t position) const {
        return MediumByte(setup_.baseSector + position / setup_.sectorSize, position % setup_.sectorSize);
    }

    const Setup& setup_;
    KFileSimulator reader_;
    std::int64_t position_ = 0;
};

std::int32_t ConsumeSectorSize(FuzzedDataProvider& input) {
    constexpr std::array<std::int32_t, 8> common{512, 512, 512, 4096, 2048, 1, 32768, 65536};
    return input.ConsumeBool() ? input.PickValueInArray(common) : input.ConsumeIntegralInRange<std::int32_t>(1, 65536);
}

std::int64_t ConsumeNumber(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            return input.ConsumeIntegral<std::int64_t>();
        case 1:
            return input.ConsumeIntegral<std::int8_t>();
        default:
            return input.ConsumeIntegralInRange<std::int64_t>(-70000, 300000);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    constexpr std::array<std::int64_t, 6> firstSectors{1, 0, 2048, 0xFFFFFFFF, SafeNumber, -5};
    const std::int32_t sectorSize = ConsumeSectorSize(input);
    const std::int64_t blockStart = input.PickValueInArray(firstSectors);
    const auto blockSectors = input.ConsumeIntegralInRange<std::int32_t>(0, std::max(2, 65536 / sectorSize));
    std::vector<std::uint8_t> blockBytes(static_cast<std::size_t>(blockSectors) * static_cast<std::size_t>(sectorSize));
    FillSectors(blockStart, sectorSize, blockSectors, blockBytes.data());

    const Setup setup{.sectorSize = sectorSize,
                      .baseSector = blockStart + input.ConsumeIntegralInRange<std::int32_t>(-3, blockSectors + 3),
                      .hasSource = input.ConsumeIntegralInRange<int>(0, 7) != 0};
    Medium medium(sectorSize);
    const SectorBlock block{blockStart, blockBytes.data(), blockSectors, sectorSize,
                            setup.hasSource ? &medium : nullptr};
    CheckedReader reader(setup, block);
    for (int operations = 0; input.remaining_bytes() > 0 && operations < 200; ++operations) {
        switch (input.ConsumeIntegralInRange<int>(0, 7)) {
            case 0:
                reader.Seek(ConsumeNumber(input));
                break;
            case 1:
                reader.Skip(ConsumeNumber(input));
                break;
            case 2:
            case 3:
                reader.ReadByte();
                break;
            case 4:
                reader.Copy();
                break;
            case 5:
                reader.Read(input.ConsumeIntegralInRange<std::uint32_t>(0, LongestRead));
                break;
            default:
                reader.Read(input.ConsumeIntegral<std::uint8_t>());
                break;
        }
    }
    return 0;
}

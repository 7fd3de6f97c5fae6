// Runs a sequence of operations on a KFileSimulator and compares the results with its contract.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/contract/ISectorSource.h"
#include "frame/read/KFileSimulator.h"
#include "fuzz/Require.h"

namespace {

constexpr std::uint8_t Untouched = 0xA5;
constexpr std::uint32_t LongestRead = 3 * KFileSimulator::CacheBytes;
// Below this, no sector number and no byte position comes near the end of the 64-bit range.
constexpr std::int64_t SafeNumber = std::int64_t{1} << 60;

// At most this many bytes are read for an input: a few long reads tell as much as hundreds.
constexpr std::int64_t MostRead = 2 * LongestRead;

// Every byte of the medium follows from its position, so that a byte from a wrong place shows. The bytes are computed
// once, in a row long enough to copy any sector from any offset in the period.
constexpr std::size_t Period = 65521;
constexpr std::size_t LargestSector = 65536;

const std::vector<std::uint8_t> Row = [] {
    std::vector<std::uint8_t> bytes(Period + LargestSector);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>((i % Period + 1) * 0x9E3779B97F4A7C15ULL >> 56U);
    }
    return bytes;
}();

const std::uint8_t* SectorBytes(std::int64_t sector) {
    return Row.data() + static_cast<std::uint64_t>(sector) * 65537 % Period;
}

void FillSectors(std::int64_t firstSector, std::int32_t sectorSize, std::int32_t count, std::uint8_t* out) {
    for (std::int32_t i = 0; i < count; ++i, out += sectorSize) {
        std::memcpy(out, SectorBytes(firstSector + i), static_cast<std::size_t>(sectorSize));
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
        read_ += length;
        std::vector<std::uint8_t> buffer(length, Untouched);
        const bool complete = reader_.Read(buffer.data(), length);
        const std::int64_t copied = reader_.Tell() - position_;
        Require(copied >= 0 && copied <= length, "a read advances by what it copies");
        Require(complete == (copied == length), "a read succeeds if it copies everything");
        Require(complete || !MustSucceed(), "an ordinary read succeeds");
        Require(position_ >= 0 || copied == 0, "nothing is copied from in front of the file");
        RequireMediumBytes(ByteSpan(buffer).first(static_cast<std::size_t>(copied)));
        Require(std::all_of(buffer.begin() + copied, buffer.end(), [](std::uint8_t byte) { return byte == Untouched; }),
                "a read leaves the rest of the buffer alone");
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

    /// How many bytes reads were asked for.
    std::int64_t BytesRead() const { return read_; }

    /// Goes on with a copy of the reader.
    void Copy() { reader_ = KFileSimulator(reader_); }

private:
    void RequirePosition() const { Require(reader_.Tell() == position_, "the position is kept"); }

    bool MustSucceed() const {
        return setup_.hasSource && setup_.sectorSize <= KFileSimulator::CacheBytes && position_ >= 0 &&
               position_ < SafeNumber && setup_.baseSector < SafeNumber;
    }

    // What a read from the position on has copied.
    void RequireMediumBytes(ByteSpan bytes) const {
        const std::int64_t size = setup_.sectorSize;
        for (std::int64_t at = position_; !bytes.empty();) {
            const std::size_t part = std::min(bytes.size(), static_cast<std::size_t>(size - at % size));
            Require(std::memcmp(bytes.data(), SectorBytes(setup_.baseSector + at / size) + at % size, part) == 0,
                    "a read copies the medium's bytes");
            at += static_cast<std::int64_t>(part);
            bytes = bytes.subspan(part);
        }
    }

    std::uint8_t ByteAt(std::int64_t position) const {
        return SectorBytes(setup_.baseSector + position / setup_.sectorSize)[position % setup_.sectorSize];
    }

    const Setup& setup_;
    KFileSimulator reader_;
    std::int64_t position_ = 0;
    std::int64_t read_ = 0;
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
    const auto blockSectors = input.ConsumeIntegralInRange<std::int32_t>(0, std::max(2, 8192 / sectorSize));
    std::vector<std::uint8_t> blockBytes(static_cast<std::size_t>(blockSectors) * static_cast<std::size_t>(sectorSize));
    FillSectors(blockStart, sectorSize, blockSectors, blockBytes.data());

    const Setup setup{.sectorSize = sectorSize,
                      .baseSector = blockStart + input.ConsumeIntegralInRange<std::int32_t>(-3, blockSectors + 3),
                      .hasSource = input.ConsumeIntegralInRange<int>(0, 7) != 0};
    Medium medium(sectorSize);
    const SectorBlock block{blockStart, blockBytes.data(), blockSectors, sectorSize,
                            setup.hasSource ? &medium : nullptr};
    CheckedReader reader(setup, block);
    for (int operations = 0; input.remaining_bytes() > 0 && operations < 200 && reader.BytesRead() < MostRead;
         ++operations) {
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

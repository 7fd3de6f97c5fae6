#include "host/volumes/volume_signatures.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace salvor {

namespace {

using namespace std::string_view_literals;

struct VolumeSignature {
    const char* name;
    /// In bytes from the volume's start.
    std::int64_t offset;
    std::string_view bytes;
};

// Tried in this order: a volume that is encrypted or part of another one may look like a file system too.
constexpr std::array VolumeSignatures{
    VolumeSignature{"BitLocker", 3, "-FVE-FS-"sv},
    // On a removable disk it also looks like a FAT with a program that unlocks it.
    VolumeSignature{"BitLocker", 424, "\x3B\xD6\x67\x49\x29\x2E\xD8\x4A\x83\x99\xF6\xA3\x39\xE3\xD0\x01"sv},
    VolumeSignature{"LUKS", 0, "LUKS\xBA\xBE"sv},
    VolumeSignature{"LVM", 512 + 24, "LVM2 001"sv},
    VolumeSignature{"Linux RAID", 4096, "\xFC\x4E\x2B\xA9"sv},
    VolumeSignature{"APFS", 32, "NXSB"sv},
    VolumeSignature{"Btrfs", 0x10040, "_BHRfS_M"sv},
    VolumeSignature{"XFS", 0, "XFSB"sv},
    VolumeSignature{"ReFS", 3, "ReFS\0\0\0\0"sv},
    VolumeSignature{"F2FS", 1024, "\x10\x20\xF5\xF2"sv},
    VolumeSignature{"ReiserFS", 0x10034, "ReIsEr"sv},
    VolumeSignature{"JFS", 0x8000, "JFS1"sv},
    VolumeSignature{"bcachefs", 4096 + 24, "\xC6\x85\x73\xF6\x66\xCE\x90\xA9"sv},
    VolumeSignature{"SquashFS", 0, "hsqs"sv},
    VolumeSignature{"EROFS", 1024, "\xE2\xE1\xF5\xE0"sv},
    VolumeSignature{"Linux swap", 4096 - 10, "SWAPSPACE2"sv},
};

}  // namespace

std::string NameBySignature(Medium& medium, std::int64_t sector) {
    const std::int64_t sectorSize = medium.SectorSize();
    std::vector<std::uint8_t> sectors(static_cast<std::size_t>(2 * sectorSize));
    for (const VolumeSignature& signature : VolumeSignatures) {
        medium.Read(sector + signature.offset / sectorSize, sectors.data(), 2);
        const auto matches = [](char expected, std::uint8_t byte) {
            return static_cast<std::uint8_t>(expected) == byte;
        };
        if (std::ranges::equal(
                signature.bytes.begin(), signature.bytes.end(), sectors.begin() + signature.offset % sectorSize,
                sectors.begin() + signature.offset % sectorSize + std::ssize(signature.bytes), matches)) {
            return signature.name;
        }
    }
    return "";
}

}  // namespace salvor

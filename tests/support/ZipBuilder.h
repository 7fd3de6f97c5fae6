#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Medium.h"

namespace test {

/// The records of a ZIP archive, one by one. Fields that no rule reads are zeros.
Bytes ZipLocal(std::string_view name, const Bytes& data, std::size_t extraBytes = 0);
Bytes ZipCentral(std::string_view name, std::uint32_t compressedSize, std::uint32_t localOffset,
                 std::size_t extraBytes = 0, std::size_t commentBytes = 0);
Bytes ZipDescriptor();
Bytes ZipEnd(std::size_t commentBytes = 0);

/// Sets the compressed size that a local header claims.
Bytes Claiming(Bytes localHeader, std::uint32_t compressedSize);

struct ZipMember {
    std::string name;
    Bytes data;
};
/// A whole archive.
Bytes ZipArchive(const std::vector<ZipMember>& members, std::size_t commentBytes = 0);

}  // namespace test

#pragma once

#include "tests/support/Medium.h"

namespace test {

/// A Jet or ACE database whose pages hold only a mark, except for the map of free pages.
struct JetPlan {
    /// 0 is Jet 3, with the smaller pages.
    std::uint8_t version = 0;
    std::size_t pages = 10;
    /// The last page in use according to the map; may differ from the file's last page.
    std::size_t lastUsed = 9;
    /// The number of bits in a map of type 0; 0 for a map of type 1, whose only page of bits is page 5.
    std::size_t inlineBits = 64;
    /// Not 0: every page but the first is encrypted.
    std::uint32_t key = 0;

    std::size_t PageBytes() const { return version == 0 ? 2048 : 4096; }
};
Bytes JetFile(const JetPlan& plan);

/// A data file of SQL Server: its first four pages and zeros.
struct DataFilePlan {
    /// As the file header says.
    std::uint32_t pages = 24;
    std::uint32_t growth = 8;
    bool growsByPercentage = false;
    std::uint16_t fileId = 1;
    /// As the map says; an extent has 8 pages.
    std::size_t extentsInUse = 3;
    /// With the marks of torn-page detection, all ones.
    bool hasTornPageMarks = false;
};
inline constexpr std::size_t DataFilePage = 8192;
Bytes DataFile(const DataFilePlan& plan);
/// A map page of the first `extentsInUse` extents.
Bytes ExtentMapPage(std::uint32_t number, std::size_t extentsInUse);

}  // namespace test

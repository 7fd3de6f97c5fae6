#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "frame/contract/IRawFileType.h"
#include "tests/support/Medium.h"

namespace test {

struct Releaser {
    void operator()(IRawFileType* type) const { type->Release(); }
};
using TypePtr = std::unique_ptr<IRawFileType, Releaser>;

/// The scanner of a factory index; null when the type has none.
TypePtr CreateType(std::int32_t index);

/// A find, with the medium's sectors counted from 0.
struct Found {
    std::int64_t startSector;
    std::int64_t size;
    bool operator==(const Found&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Found& found);
using Finds = std::vector<Found>;

class RecordingSink : public IFoundFileSink {
public:
    std::int32_t ReportFound(const FoundFile* file) override;
    std::vector<Found> finds;
};

/// The whole medium as one block, or the `count` sectors of it from `first` on.
SectorBlock BlockOf(Medium& medium);
SectorBlock BlockOf(Medium& medium, std::int64_t first, std::int64_t count);

/// Lengths in sectors of the blocks that a medium is handed out in.
using Blocks = std::vector<std::int64_t>;
Blocks EvenBlocks(const Medium& medium, std::int64_t blockSectors);
/// Cut at random: some blocks of a single sector, some of most of the medium.
Blocks RandomBlocks(const Medium& medium, Noise& noise);

/// Runs one scan over the medium with some types together, as a host does: each block goes to all of them before the
/// next. Gives what each one reported. `maxSize`, when not 0, is set after `BeginScan`. Each scan uses sector numbers
/// far beyond those of the previous one, since engines remember the last block and the last file across scans. With
/// `leaveOut`, scanners do not see the blocks that they need not see.
std::vector<std::vector<Found>> ScanTogether(std::span<IRawFileType* const> types, Medium& medium, const Blocks& blocks,
                                             std::int64_t maxSize = 0, bool leaveOut = false);

/// The same with one type; blocks of `blockSectors`, 0 for a single block.
std::vector<Found> Scan(IRawFileType& type, Medium& medium, const Blocks& blocks, std::int64_t maxSize = 0);
std::vector<Found> Scan(IRawFileType& type, Medium& medium, std::int64_t blockSectors = 0, std::int64_t maxSize = 0);
std::vector<Found> Scan(std::int32_t index, Medium& medium, std::int64_t blockSectors = 0, std::int64_t maxSize = 0);

/// The same sector by sector, and scanners forget after each sector what they remember of the bytes ahead.
std::vector<Found> ScanAlone(IRawFileType& type, Medium& medium, std::int64_t maxSize = 0);

/// Scans in blocks of 1 sector, of 2, and so on up to the whole medium, and expects the same finds every time; gives
/// them.
std::vector<Found> ScanAtEverySplit(std::int32_t index, Medium& medium);

struct FileCase {
    std::string what;
    Bytes file;
    /// The size to be reported, 0 for no find.
    std::int64_t size;
    std::int64_t maxSize = 0;
    std::int32_t sectorSize = 512;
};
/// Each file alone, in sector 2 of a medium that ends with zeros; however blocks are cut.
void ExpectFiles(std::int32_t index, const std::vector<FileCase>& cases);

}  // namespace test

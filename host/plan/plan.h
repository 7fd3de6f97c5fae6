#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/plan/size_rules.h"
#include "host/validate/sized_find.h"

namespace salvor {

/// Which finds a person wants as files.
struct PlanFilter {
    /// Factory indices, ascending.
    std::vector<std::int32_t> types;
    SizeRule minSize;
    SizeRule maxSize;
};

/// One file to write.
struct PlannedFile {
    std::int64_t startSector = 0;
    std::int64_t size = 0;
    /// Factory indices of all types that claim this range. The first names the extension: the lowest of those that say
    /// most about the file; the others ascend behind it.
    std::vector<std::int32_t> claimants;
    /// Below the output folder.
    std::string path;
    /// Who said its size, to the first claimant.
    SizeSource sizeSource = SizeSource::Reported;
    /// The size passes the medium's end.
    bool cutAtEnd = false;
    /// The size is the largest that the first claimant's files may have, so the file may go on behind it.
    bool atSizeCap = false;
};

/// Why a find became no file.
enum class NotWanted { Type, TooSmall, TooLarge, SizeUnknown, SizeNegative, BehindEnd, TextInFile };
const char* ReasonText(NotWanted reason);

struct PassedOver {
    Find find;
    NotWanted reason;
};

struct Plan {
    /// In order of their start.
    std::vector<PlannedFile> files;
    /// In the order of the finds.
    std::vector<PassedOver> passedOver;
};

/// The medium as far as a plan needs it; both in bytes.
struct MediumShape {
    std::int64_t sizeInBytes = 0;
    std::int32_t sectorSize = 512;
};

/// Decides which finds become files. Claims on one range become one file, and plain text that begins in a wanted file
/// of another type becomes none.
Plan MakePlan(const std::vector<SizedFind>& finds, const MediumShape& medium, const PlanFilter& filter);

}  // namespace salvor

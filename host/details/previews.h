#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// Where previews go, in the folder of the recovered files.
inline constexpr const char* PreviewFolder = "previews";

/// Keeps the previews that are inside files which no browser shows.
class Previews {
public:
    /// Both outlive this. Without a folder none is kept.
    Previews(const Folder* folder, const PlanFilter& filter) : folder_(folder), filter_(filter) {}

    bool AreKept() const { return folder_ != nullptr; }

    /// Writes the preview of a file into the folder, unless the filter refuses a file with these details or the
    /// previews take too much room. The preview's path below the folder of the recovered files; empty if it is not
    /// kept.
    std::string Keep(const PlannedFile& file, const FileDetails& details, const std::vector<std::uint8_t>& preview);

private:
    const Folder* folder_;
    const PlanFilter& filter_;
    // Of all previews so far.
    std::int64_t bytes_ = 0;
};

}  // namespace salvor

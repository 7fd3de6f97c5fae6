#pragma once

#include <cstdint>

#include "host/platform/folder.h"
#include "host/records/json_lines.h"
#include "host/report/report.h"

namespace salvor {

/// The list of what became no file. It is cut where it would take more than a quarter of the free space, which files
/// need more. Throws `Failure` (losses) if it cannot be written.
class SkippedList {
public:
    /// The folder outlives this.
    explicit SkippedList(const Folder& folder);

    void Add(const Json& record);
    /// The bytes that so many more lines take at most.
    std::int64_t RoomFor(std::int64_t lines) const;
    /// Reserves them.
    void KeepRoomFor(std::int64_t lines) { lines_.KeepRoom(RoomFor(lines)); }
    /// Gives the complete list its name.
    void Finish();

    bool IsCut() const { return isCut_; }

private:
    LineFile lines_;
    std::int64_t mostBytes_;
    bool isCut_ = false;
};

}  // namespace salvor

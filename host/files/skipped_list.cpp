#include "host/files/skipped_list.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

namespace salvor {

SkippedList::SkippedList(const Folder& folder) : lines_(folder, "skipped.jsonl") {
    const std::optional<FreeSpace> space = folder.Space();
    mostBytes_ = space ? space->bytes / 4 : std::numeric_limits<std::int64_t>::max();
}

void SkippedList::Add(const Json& record) {
    const std::string line = JsonLine(record);
    isCut_ = isCut_ || lines_.Size() + std::ssize(line) > mostBytes_;
    if (!isCut_) {
        lines_.Add(line);
    }
}

std::int64_t SkippedList::RoomFor(std::int64_t lines) const {
    // A bit above the average.
    constexpr std::int64_t lineBytes = 512;
    return std::clamp<std::int64_t>(mostBytes_ - lines_.Size(), 0, lines * lineBytes);
}

void SkippedList::Finish() {
    lines_.TakeName();
    lines_.ReleaseRoom();
}

}  // namespace salvor

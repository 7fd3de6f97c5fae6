#include "host/files/disk_room.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "host/report/written_before.h"
#include "host/say/size_text.h"

namespace salvor {

bool FitOntoDisk(Plan& plan, const Folder& folder, const std::string& partialSuffix, std::int64_t taken) {
    const std::optional<FreeSpace> space = folder.Space();
    if (!space) {
        return true;
    }
    // For type folders and reports.
    constexpr std::int64_t otherEntries = 256;
    // The page without files, and a file's lines in the report and on the page.
    constexpr std::int64_t pageBytes = std::int64_t{96} << 10;
    constexpr std::int64_t linesOfFile = FileLineBytes + 128;
    const std::int64_t room = space->bytes - taken - pageBytes;
    const std::int64_t entries = space->entries.value_or(std::numeric_limits<std::int64_t>::max()) - otherEntries;
    const auto blocksOf = [&](const PlannedFile& file) {
        return (file.Size() + space->blockBytes - 1) / space->blockBytes * space->blockBytes;
    };
    std::int64_t wanted = std::ssize(plan.files) * linesOfFile;
    for (const PlannedFile& file : plan.files) {
        wanted = AddSizes(wanted, blocksOf(file));
    }
    // Files of an earlier run are looked for only where it matters.
    if (wanted <= room && std::ssize(plan.files) <= entries) {
        return true;
    }
    const std::size_t planned = plan.files.size();
    const auto missingBytes = [&](const PlannedFile& file) {
        const auto there = folder.EntryBelow(file.path + partialSuffix);
        return std::max<std::int64_t>(blocksOf(file) - (there ? there->size : 0), 0);
    };
    // If the existing file turns out to have other bytes, the new one is written beside it.
    KeepBest(plan, room, NotWanted::NoRoom,
             [&](const PlannedFile& file) { return linesOfFile + (IsThere(folder, file) ? 0 : missingBytes(file)); });
    KeepBest(plan, entries, NotWanted::NoRoom, [&](const PlannedFile& file) { return IsThere(folder, file) ? 0 : 1; });
    return plan.files.size() == planned;
}

}  // namespace salvor

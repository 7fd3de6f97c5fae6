#include "host/files/disk_room.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <string>

#include "host/report/written_before.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

// Adds the folders that the path leads through.
void AddFolders(const std::string& path, std::set<std::string>& folders) {
    std::size_t slash = path.rfind('/');
    while (slash != std::string::npos && slash > 0 && folders.insert(path.substr(0, slash)).second) {
        slash = path.rfind('/', slash - 1);
    }
}

}  // namespace

bool FitOntoDisk(Plan& plan, const Folder& folder, const std::string& partialSuffix, std::int64_t taken) {
    const std::optional<FreeSpace> space = folder.Space();
    if (!space) {
        return true;
    }
    // Reports, their temporary names, and the files that are being written.
    constexpr std::int64_t otherEntries = 16;
    // The page without files, and a file's lines in the report and on the page.
    constexpr std::int64_t pageBytes = std::int64_t{96} << 10;
    constexpr std::int64_t linesOfFile = FileLineBytes + 128;
    const std::int64_t room = space->bytes - taken - pageBytes;
    const auto blocksOf = [&](const PlannedFile& file) {
        return (file.Size() + space->blockBytes - 1) / space->blockBytes * space->blockBytes;
    };
    std::set<std::string> folders;
    std::int64_t wanted = std::ssize(plan.files) * linesOfFile;
    for (const PlannedFile& file : plan.files) {
        wanted = AddSizes(wanted, blocksOf(file));
        AddFolders(file.path, folders);
    }
    const std::int64_t entries =
        space->entries.value_or(std::numeric_limits<std::int64_t>::max()) - otherEntries - std::ssize(folders);
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

#include "host/scan/segment_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

#include "host/platform/child_process.h"
#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::string_view Suffix = ".jsonl";
constexpr std::string_view DraftSuffix = ".part";

}  // namespace

SegmentStore::SegmentStore(const Folder& job, ScanKey key, ScanGrid grid)
    : folder_(job.Below(FolderName, true)), key_(std::move(key)), grid_(std::move(grid)) {
    if (!folder_.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot use the folder '{}': {}", folder_.Path().string(), folder_.Error().Text()));
    }
}

std::vector<std::string> SegmentStore::Names() const {
    std::vector<std::string> names;
    folder_.AnyEntry([&](const std::string& name) {
        names.push_back(name);
        return false;
    });
    std::ranges::sort(names);
    return names;
}

Failure SegmentStore::Failed(const std::string& why) const {
    return Failure(ExitStatus::Losses, fmt::format("cannot keep what was scanned in '{}': {}; what is there stays, and "
                                                   "the same command goes on",
                                                   folder_.Path().string(), why));
}

std::vector<SegmentScan> SegmentStore::ReadAll() const {
    std::vector<SegmentScan> segments;
    for (const std::string& name : Names()) {
        if (!name.ends_with(Suffix)) {
            continue;
        }
        File file = folder_.Read(name);
        SegmentRead read = ReadSegment(file, key_, grid_);
        if (read.segment) {
            segments.push_back(*std::move(read.segment));
        } else {
            Say("'{}' is not used: {}", (folder_.Path() / name).string(),
                file.IsOpen() ? read.why : file.Error().Text());
        }
    }
    return segments;
}

SegmentStore::Draft SegmentStore::Begin(BlockRange blocks) const {
    // Another machine may work on the same blocks.
    static const unsigned int ofThisRun = std::random_device()();
    static int count = 0;
    Draft draft{
        fmt::format("b{:010}-{:010}-{:08x}-{}{}{}", blocks.first, blocks.end, ofThisRun, ++count, Suffix, DraftSuffix),
        File(SystemError())};
    draft.file = folder_.Create(draft.name);
    if (!draft.file.IsOpen()) {
        throw Failed(draft.file.Error().Text());
    }
    return draft;
}

std::optional<SegmentScan> SegmentStore::Keep(Draft draft) const {
    File written = folder_.Read(draft.name);
    SegmentRead read = ReadSegment(written, key_, grid_);
    if (!read.segment) {
        Drop(std::move(draft));
        return std::nullopt;
    }
    if (!draft.file.Sync()) {
        throw Failed(draft.file.Error().Text());
    }
    if (const SystemError error =
            folder_.Rename(draft.name, draft.name.substr(0, draft.name.size() - DraftSuffix.size()))) {
        throw Failed(error.Text());
    }
    folder_.SyncEntries();
    return std::move(read.segment);
}

void SegmentStore::Drop(Draft draft) const { folder_.Remove(draft.name); }

void SegmentStore::Add(const SegmentScan& segment) const {
    Draft draft = Begin(segment.blocks);
    if (!WriteSegment(draft.file, key_, segment)) {
        throw Failed(draft.file.Error().Text());
    }
    Keep(std::move(draft));
}

void SegmentStore::Clear() const {
    for (const std::string& name : Names()) {
        folder_.Remove(name);
    }
}

}  // namespace salvor

#include "host/scan/segment_store.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

#include "host/platform/child_process.h"
#include "host/say/full_disk.h"
#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::string_view Suffix = ".jsonl";
constexpr std::string_view DraftSuffix = ".part";

SegmentStore::Stored WithoutSightings(std::string name, SegmentScan segment) {
    SegmentStore::Stored stored{std::move(name), std::move(segment), {}, {}};
    for (TypeScan& scan : stored.segment.scans) {
        if (!scan.finds.empty()) {
            stored.counts[scan.type] += std::ssize(scan.finds);
            // Assigning `{}` would keep the memory of a list of millions.
            scan.finds = std::vector<PlacedFind>();
        }
    }
    stored.unreadable = std::exchange(stored.segment.seen, {}).unreadable;
    return stored;
}

}  // namespace

SegmentStore::SegmentStore(const Folder& job, ScanKey key, ScanGrid grid)
    : folder_(job.Below(FolderName, /*make=*/true)), key_(std::move(key)), grid_(std::move(grid)) {
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

std::vector<std::string> SegmentStore::Journals() const {
    std::vector<std::string> names = Names();
    std::erase_if(names, [](const std::string& name) { return !name.ends_with(Suffix); });
    return names;
}

SegmentScan SegmentStore::Read(const std::string& name) const {
    File file = folder_.Read(name);
    SegmentRead read = ReadSegment(file, key_, grid_);
    if (!read.segment) {
        throw Failed(fmt::format("'{}' was there and is not any more", name));
    }
    return *std::move(read.segment);
}

std::vector<BlockRange> SegmentStore::BlocksThere() const {
    std::vector<BlockRange> blocks;
    for (const std::string& name : Journals()) {
        File file = folder_.Read(name);
        if (const auto of = ReadSegmentBlocks(file, key_, grid_)) {
            blocks.push_back(*of);
        }
    }
    return blocks;
}

Failure SegmentStore::Failed(const std::string& why) const {
    return Failure(ExitStatus::Losses, fmt::format("cannot keep what was scanned in '{}': {}; what is there stays, and "
                                                   "the same command goes on",
                                                   folder_.Path().string(), why));
}

std::vector<SegmentStore::Stored> SegmentStore::ReadAll() const {
    std::vector<Stored> segments;
    for (const std::string& name : Journals()) {
        File file = folder_.Read(name);
        SegmentRead read = ReadSegment(file, key_, grid_);
        if (read.segment) {
            segments.push_back(WithoutSightings(name, *std::move(read.segment)));
        } else {
            Say("'{}' is not used: {}", (folder_.Path() / name).string(),
                file.IsOpen() ? read.why : file.Error().Text());
        }
    }
    return segments;
}

SegmentStore::Draft SegmentStore::Begin(BlockRange blocks) const {
    // Another machine may be working on the same blocks.
    static const unsigned int ofThisRun = std::random_device()();
    static int count = 0;
    Draft draft{
        fmt::format("b{:010}-{:010}-{:08x}-{}{}{}", blocks.first, blocks.end, ofThisRun, ++count, Suffix, DraftSuffix),
        File(SystemError())};
    draft.file = folder_.Create(draft.name);
    if (!draft.file.IsOpen()) {
        throw Failed(WhyNotWritten(draft.file.Error()));
    }
    return draft;
}

std::optional<SegmentStore::Stored> SegmentStore::Keep(Draft draft) const {
    File written = folder_.Read(draft.name);
    SegmentRead read = ReadSegment(written, key_, grid_);
    if (!read.segment) {
        Drop(std::move(draft));
        return std::nullopt;
    }
    if (!draft.file.Sync()) {
        throw Failed(WhyNotWritten(draft.file.Error()));
    }
    std::string name = draft.name.substr(0, draft.name.size() - DraftSuffix.size());
    if (const SystemError error = folder_.Rename(draft.name, name)) {
        throw Failed(WhyNotWritten(error));
    }
    folder_.SyncEntries();
    return WithoutSightings(std::move(name), *std::move(read.segment));
}

void SegmentStore::Drop(Draft draft) const { folder_.Remove(draft.name); }

void SegmentStore::Add(const SegmentScan& segment) const {
    Draft draft = Begin(segment.blocks);
    if (!WriteSegment(draft.file, key_, segment)) {
        throw Failed(WhyNotWritten(draft.file.Error()));
    }
    Keep(std::move(draft));
}

void SegmentStore::Clear() const {
    for (const std::string& name : Names()) {
        folder_.Remove(name);
    }
}

}  // namespace salvor

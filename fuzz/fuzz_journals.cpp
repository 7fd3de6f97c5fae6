// Reads made-up files of a job's folder: journals of segments, a finds file, the options that a scan began with.
//
// An input is a byte that chooses the reader, and the file's bytes. A segment's journal is given a last line with a
// matching checksum here. make-seeds.py writes the same layout.

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "fuzz/Require.h"
#include "host/platform/child_process.h"
#include "host/platform/folder.h"
#include "host/say/failure.h"
#include "host/scan/journal.h"
#include "host/scan/scan_job.h"
#include "host/scan/segment_journal.h"
#include "host/scan/segment_plan.h"

namespace {

using namespace salvor;

const ScanGrid Grid{{100, 1000}, 10, {FileTypeIndex::Doc, FileTypeIndex::Png}};
const ScanKey Key{"p", "m", "o"};

// A folder that is removed when the process ends.
class JobFolder {
public:
    JobFolder() = default;
    JobFolder(const JobFolder&) = delete;
    JobFolder& operator=(const JobFolder&) = delete;
    ~JobFolder() {
        std::error_code none;
        std::filesystem::remove_all(path_, none);
    }

    void Write(const std::string& name, const std::string& text) const {
        File file = folder_.Create(name);
        Require(file.IsOpen() && file.Write(text.data(), text.size()), "a file can be written");
    }
    const Folder& Get() const { return folder_; }

private:
    std::filesystem::path path_ =
        std::filesystem::temp_directory_path() / ("salvor-fuzz-" + std::to_string(OwnProcessId()));
    Folder folder_ = (std::filesystem::create_directories(path_), Folder::Open(path_));
};

SegmentRead ReadBack(const JobFolder& folder) {
    File file = folder.Get().Read("segment");
    return ReadSegment(file, Key, Grid);
}

bool IsOrdered(const Sightings& seen, std::int64_t& lastStart, std::int64_t& textEnd) {
    for (const std::int64_t start : seen.starts) {
        if (start <= lastStart) {
            return false;
        }
        lastStart = start;
    }
    for (const SectorRange& range : seen.textStarts) {
        if (range.first < textEnd) {
            return false;
        }
        textEnd = range.first + range.count;
    }
    return true;
}

// Whatever a segment claims, planning and joining must cope with it, alone and with a segment of zeros.
void Join(const SegmentScan& segment) {
    std::vector<SegmentScan> segments{SegmentOfZeros(Grid, {0, Grid.BlockCount()}), segment};
    for (const OpenPart& part : OpenParts(Grid, {0, Grid.BlockCount()}, std::span(segments).last(1), 25)) {
        Require(part.blocks.first < part.blocks.end, "an open part has blocks");
        Require(NextSetAside(Grid, segments, part.types, part.blocks.end) <= Grid.BlockCount(),
                "walls are in the grid");
    }
    for (const std::size_t count : {1U, 2U}) {
        const auto some = std::span<const SegmentScan>(segments).last(count);
        const JoinPlan plan = PlanJoin(Grid, some);
        Require(plan.kept.size() == some.size(), "a plan knows of each segment");
        std::int64_t lastStart = -1;
        std::int64_t textEnd = 0;
        SegmentJoiner joiner(Grid);
        for (std::size_t i = 0; plan.missing.empty() && i < some.size(); ++i) {
            Require(IsOrdered(joiner.Add(some[i], plan.kept[i]), lastStart, textEnd), "sightings ascend");
        }
        joiner.Finish();
    }
}

void ReadJournalOfSegment(const JobFolder& folder, std::string text) {
    const auto sum = crc32_z(0, static_cast<const Bytef*>(static_cast<const void*>(text.data())), text.size());
    text += JsonLine({{"record", "end"}, {"crc32", sum}});
    folder.Write("segment", text);
    File first = folder.Get().Read("segment");
    const std::optional<BlockRange> blocks = ReadSegmentBlocks(first, Key, Grid);
    const SegmentRead read = ReadBack(folder);
    if (!read.segment) {
        Require(!read.why.empty(), "what is refused has a reason");
        return;
    }
    Require(blocks == read.segment->blocks, "the first line has the blocks");
    File file = folder.Get().Create("segment");
    Require(WriteSegment(file, Key, *read.segment), "a journal can be written");
    Require(ReadBack(folder).segment == read.segment, "a journal is read as it was written");
    Join(*read.segment);
}

void ReadFinds(const JobFolder& folder, const std::string& text) {
    folder.Write("finds", text);
    const Journal journal = ReadJournal(FilePlace(folder.Get(), "finds"));
    JournalWriter writer(FilePlace(folder.Get(), "again"), journal.header);
    writer.AddSightings(journal.seen);
    writer.Flush();
    const Journal again = ReadJournal(FilePlace(folder.Get(), "again"));
    Require(again.seen == journal.seen && again.damagedLines == 0, "finds are read as they were written");
    Require(HeaderToJson(again.header) == HeaderToJson(journal.header), "a header is read as it was written");
}

void ReadJob(const JobFolder& folder, const std::string& text) {
    folder.Write("scan.json", text);
    if (const auto job = ReadScanJob(folder.Get())) {
        Require(job->segmentBlocks > 0, "a segment has blocks");
        Require(ChangeOf(job->medium, job->medium).empty(), "a medium is like itself");
        WriteScanJob(folder.Get(), *job);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const JobFolder folder;
    if (size == 0) {
        return 0;
    }
    const std::string text(data + 1, data + size);
    try {
        switch (data[0] % 3) {
            case 0:
                ReadJournalOfSegment(folder, text);
                break;
            case 1:
                ReadFinds(folder, text);
                break;
            default:
                ReadJob(folder, text);
        }
    } catch (const Failure&) {
        // The error would be shown to the user.
    }
    return 0;
}

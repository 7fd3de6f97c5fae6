#include "host/report/folder_report.h"

#include <algorithm>
#include <tuple>

#include "host/records/line_log.h"

namespace salvor {

namespace {

// Throws for a record that was not written by `FileRecord`.
bool IsThere(const Folder& folder, const Json& record) {
    FolderCounts().Add(record);
    const auto there = folder.EntryBelow(record.at("path").get<std::string>());
    return there && there->size == IntegerIn(record, "size");
}

}  // namespace

FolderReport::FolderReport(const Folder& folder, bool anew, const std::optional<Piece>& piece)
    : folder_(folder), name_(ReportName + (piece ? SuffixOf(*piece) : "")), lines_(folder, name_) {
    if (!anew) {
        TakeOver();
    }
    lines_.TakeName();
}

void FolderReport::TakeOver() {
    File before = folder_.Read(name_);
    if (!before.IsOpen()) {
        return;
    }
    // The file of a line that is cut is looked at again.
    ForEachRecord(before, [this](const Json& record) {
        if (record.at("record") == "file" && IsThere(folder_, record)) {
            Add(record);
        }
    });
    earlierBytes_ = lines_.Size();
    isInOrder_ = earlierBytes_ == 0;
}

void FolderReport::Add(std::int64_t startSector, const std::string& line) {
    isInOrder_ = isInOrder_ && startSector >= lastStart_;
    lastStart_ = startSector;
    lines_.Add(line);
}

void FolderReport::Finish(const std::function<Json(const FolderCounts& earlier)>& summary) {
    const std::vector<Line> index = isInOrder_ ? std::vector<Line>() : LinesInOrder();
    FolderCounts earlier;
    for (const Line& line : index) {
        if (line.offset < earlierBytes_) {
            earlier.Add(ParseJsonLine(Text(line)));
        }
    }
    const std::string end = JsonLine(summary(earlier));
    bool isWritten = false;
    if (!isInOrder_) {
        try {
            LineFile ordered(folder_, name_);
            for (const Line& line : index) {
                ordered.Add(Text(line));
            }
            ordered.Add(end);
            ordered.TakeName();
            isWritten = true;
        } catch (const Failure&) {
            // No room for a second copy; the lines in their present order are just as true.
            folder_.Remove(name_ + ".part");
        }
    }
    if (!isWritten) {
        lines_.Add(end);
        lines_.Sync();
    }
    lines_.ReleaseRoom();
}

std::vector<FolderReport::Line> FolderReport::LinesInOrder() {
    lines_.Sync();
    File written = folder_.Read(name_);
    LineReader reader(written);
    std::vector<Line> index;
    std::int64_t offset = 0;
    for (std::string line; reader.Next(line); offset = reader.Offset()) {
        const Json record = ParseJsonLine(line);
        index.push_back({std::hash<std::string>()(record.at("path").get<std::string>()),
                         IntegerIn(record, "start_sector"), offset, static_cast<std::uint32_t>(line.size() + 1)});
    }
    std::ranges::sort(index, {}, [](const Line& line) { return std::tuple(line.pathHash, -line.offset); });
    const auto isSame = [](const Line& a, const Line& b) {
        return a.pathHash == b.pathHash;
    };
    index.erase(std::unique(index.begin(), index.end(), isSame), index.end());
    std::ranges::sort(index, {}, [](const Line& line) { return std::tuple(line.startSector, line.offset); });
    return index;
}

}  // namespace salvor

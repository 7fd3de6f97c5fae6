#include "host/report/folder_report.h"

#include <algorithm>
#include <tuple>

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
            AddLine(record, true);
        }
    });
}

void FolderReport::Add(const Json& record) { AddLine(record, false); }

void FolderReport::AddLine(const Json& record, bool isEarlier) {
    const std::string line = JsonLine(record);
    index_.push_back({std::hash<std::string>()(record.at("path").get<std::string>()), IntegerIn(record, "start_sector"),
                      lines_.Size(), static_cast<std::uint32_t>(line.size()), isEarlier});
    lines_.Add(line);
}

void FolderReport::Finish(const std::function<Json(const FolderCounts& earlier)>& summary) {
    const bool isInOrder =
        std::ranges::is_sorted(index_, {}, &Line::startSector) && std::ranges::none_of(index_, &Line::isEarlier);
    KeepLastOfEachPath();
    FolderCounts earlier;
    for (const Line& line : index_) {
        if (line.isEarlier) {
            earlier.Add(ParseJsonLine(Text(line)));
        }
    }
    const std::string end = JsonLine(summary(earlier));
    bool isWritten = false;
    if (!isInOrder) {
        try {
            LineFile ordered(folder_, name_);
            for (const Line& line : index_) {
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

void FolderReport::KeepLastOfEachPath() {
    std::ranges::sort(index_, {}, [](const Line& line) { return std::tuple(line.pathHash, -line.offset); });
    const auto isSame = [](const Line& a, const Line& b) {
        return a.pathHash == b.pathHash;
    };
    index_.erase(std::unique(index_.begin(), index_.end(), isSame), index_.end());
    std::ranges::sort(index_, {}, [](const Line& line) { return std::tuple(line.startSector, line.offset); });
}

}  // namespace salvor

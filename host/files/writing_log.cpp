#include "host/files/writing_log.h"

#include <algorithm>
#include <filesystem>

#include "host/say/failure.h"

namespace salvor {

namespace {

std::string LineOf(const std::string& path, const std::string& extents, const WritingMark& mark) {
    return JsonLine({{"record", "writing"},
                     {"path", path},
                     {"extents", ParseJsonLine(extents)},
                     {"bytes", mark.bytes},
                     {"sha256", mark.sha256},
                     {"unreadable", RangesToJson(mark.unreadable)}});
}

}  // namespace

WritingLog::WritingLog(const Folder& folder, const std::optional<Piece>& piece, bool isOfJob,
                       std::chrono::milliseconds interval)
    : folder_(folder), piece_(piece), name_(Name + (piece ? SuffixOf(*piece) : "")), interval_(interval) {
    if (!isOfJob) {
        folder_.Remove(name_);
        return;
    }
    File before = folder_.Read(name_);
    if (!before.IsOpen()) {
        return;
    }
    // Where a line is cut, the file goes on from an earlier mark.
    ForEachRecord(before, [this](const Json& record) { Take(record); });
}

void WritingLog::Take(const Json& record) {
    WritingMark mark{IntegerIn(record, "bytes"), record.at("sha256").get<std::string>(), {}};
    if (auto unreadable = RangesFromJson(record, "unreadable"); unreadable && mark.bytes > 0) {
        mark.unreadable = *std::move(unreadable);
        marks_[record.at("path").get<std::string>()] = {JsonLine(record.at("extents")), std::move(mark)};
    }
}

std::optional<WritingMark> WritingLog::Find(const PlannedFile& file) const {
    const std::lock_guard lock(mutex_);
    const auto at = marks_.find(file.path);
    const bool isOfFile = at != marks_.end() && at->second.first == JsonLine(ExtentsToJson(file.extents));
    return isOfFile && at->second.second.bytes <= file.Size() ? std::optional(at->second.second) : std::nullopt;
}

void WritingLog::Add(const PlannedFile& file, const WritingMark& mark) {
    const std::lock_guard lock(mutex_);
    marks_[file.path] = {JsonLine(ExtentsToJson(file.extents)), mark};
    if (isBroken_) {
        return;
    }
    try {
        Write(file);
    } catch (const Failure&) {
        isBroken_ = true;
    }
}

void WritingLog::Write(const PlannedFile& file) {
    const auto add = [this](const auto& entry) {
        log_->Add(LineOf(entry.first, entry.second.first, entry.second.second));
    };
    if (log_) {
        add(*marks_.find(file.path));
        log_->Sync();
        return;
    }
    log_.emplace(FilePlace(folder_, name_), "list of files under way", ".part");
    std::ranges::for_each(marks_, add);
    log_->TakeName();
}

void WritingLog::Finish() {
    const std::string draftSuffix = (piece_ ? SuffixOf(*piece_) : "") + ".part";
    for (const auto& [path, mark] : marks_) {
        const std::filesystem::path file(path);
        const Folder parent = folder_.Below(file.parent_path(), /*make=*/false);
        if (parent.IsOpen()) {
            parent.Remove(file.filename().string() + draftSuffix);
        }
    }
    folder_.Remove(name_);
    if (piece_) {
        return;
    }
    std::vector<Piece> pieces;
    folder_.AnyEntry([&](const std::string& name) {
        if (const auto piece = PieceNamed(name, Name)) {
            pieces.push_back(*piece);
        }
        return false;
    });
    for (const Piece& piece : pieces) {
        WritingLog(folder_, piece, /*isOfJob=*/true).Finish();
    }
}

}  // namespace salvor

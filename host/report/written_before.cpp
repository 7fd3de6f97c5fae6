#include "host/report/written_before.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <utility>

#include "host/records/line_log.h"

namespace salvor {

namespace {

// Does the record equal the one that would be written now? Details are left out: they may not be known yet, and they
// follow from the rest. Throws an exception of the standard library if `FileRecord` did not write the record.
bool IsOf(const PlannedFile& file, Json record, const KnownFile* known, std::int32_t sectorSize) {
    WriteResult result;
    result.sha256 = record.at("sha256").get<std::string>();
    result.unreadableBytes = IntegerIn(record, "unreadable_bytes");
    record.erase("details");
    Json expected = FileRecord(file, result, sectorSize, known);
    expected.erase("details");
    // Compared as text: bytes of a name that are not UTF-8 are replaced in both.
    return !result.sha256.empty() && JsonLine(record) == JsonLine(expected);
}

}  // namespace

bool IsThere(const Folder& folder, const PlannedFile& file) {
    const auto there = folder.EntryBelow(file.path);
    return there && there->size == file.Size();
}

void WrittenBefore::ReadAll() {
    Read(ReportName, std::nullopt);
    std::vector<std::pair<std::string, Piece>> pieces;
    folder_.AnyEntry([&](const std::string& name) {
        if (const auto piece = PieceNamed(name, ReportName)) {
            pieces.emplace_back(name, *piece);
        }
        return false;
    });
    for (const auto& [name, piece] : pieces) {
        Read(name, piece);
    }
}

void WrittenBefore::Read(const std::string& name, const std::optional<Piece>& piece) {
    Source source{folder_.Read(name), name, piece};
    if (!source.file.IsOpen()) {
        return;
    }
    const Json last = ParseJsonLine(LastLineOf(source.file));
    const bool isEnded = last.is_object() && last.value("record", Json()) == "summary";
    source.isComplete = isEnded && last.value("ended", Json()) == "complete";
    if (source.isComplete && !piece) {
        return;
    }
    if (isEnded && piece) {
        const auto ranges = RangesFromJson(last, "unreadable").value_or(std::vector<SectorRange>());
        unreadable_.insert(unreadable_.end(), ranges.begin(), ranges.end());
    }
    LineReader reader(source.file);
    std::int64_t offset = 0;
    for (std::string line; reader.Next(line); offset = reader.Offset()) {
        const Json record = ParseJsonLine(line);
        const auto path = record.find("path");
        if (path != record.end() && path->is_string()) {
            lines_.push_back({std::hash<std::string>()(path->get<std::string>()), offset,
                              static_cast<std::uint32_t>(sources_.size()), static_cast<std::uint32_t>(line.size())});
        }
    }
    sources_.push_back(std::move(source));
    std::ranges::sort(lines_, {}, &Line::pathHash);
}

std::optional<WrittenBefore::Written> WrittenBefore::Find(const PlannedFile& file, const KnownFile* known,
                                                          std::int32_t sectorSize) {
    const std::size_t hash = std::hash<std::string>()(file.path);
    for (auto line = std::ranges::lower_bound(lines_, hash, {}, &Line::pathHash);
         line != lines_.end() && line->pathHash == hash; ++line) {
        try {
            auto record = RecordAt(*line);
            if (record && IsOf(file, *record, known, sectorSize) && IsThere(folder_, file)) {
                return Written{*std::move(record), sources_[line->source].piece.has_value()};
            }
        } catch (const std::exception&) {
            // Then the file is written again.
        }
    }
    return std::nullopt;
}

std::optional<Json> WrittenBefore::RecordAt(const Line& line) {
    std::string text(line.length, ' ');
    if (!sources_[line.source].file.ReadAt(line.offset, text.data(), text.size())) {
        return std::nullopt;
    }
    return ParseJsonLine(text);
}

std::string WrittenBefore::Missing() const {
    std::vector<Piece> complete;
    std::int64_t count = 0;
    for (const Source& source : sources_) {
        if (source.piece) {
            count = source.piece->count;
        }
        if (source.piece && source.isComplete) {
            complete.push_back(*source.piece);
        }
    }
    return MissingPieces(complete, count);
}

void WrittenBefore::RemovePieces() const {
    for (const Source& source : sources_) {
        if (source.piece) {
            folder_.Remove(source.name);
        }
    }
}

}  // namespace salvor

#include "host/report/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "host/say/size_text.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

void AddMembers(Json::object_t& /*members*/) {}

template <class Value, class... Rest>
void AddMembers(Json::object_t& members, const char* name, Value&& value, Rest&&... rest) {
    members.emplace_back(name, std::forward<Value>(value));
    AddMembers(members, std::forward<Rest>(rest)...);
}

// The object with these names and values in turn. There are many files, and a list in braces makes three values of
// each member.
template <class... Members>
Json ObjectOf(Members&&... members) {
    constexpr std::size_t later = 4;
    Json object = Json::object();
    auto& list = object.get_ref<Json::object_t&>();
    list.reserve(sizeof...(Members) / 2 + later);
    AddMembers(list, std::forward<Members>(members)...);
    return object;
}

Json TypeToJson(std::int32_t type) {
    return ObjectOf("index", type, "name", FileTypeCatalog[type].name, "extension", ExtensionOf(type));
}

// The size that the scanner of the file's own type reported, else that of another; null if there is none.
Json ReportedSize(const PlannedFile& file) {
    if (file.reported.empty()) {
        return nullptr;
    }
    const auto* const own = std::ranges::find(file.reported, file.finding.type, &ReportedClaim::type);
    return own == file.reported.end() ? file.reported.front().size : own->size;
}

Json TypesOf(const PlannedFile& file) {
    Json types = Json::array();
    for (const std::int32_t type : file.Types()) {
        types.push_back(TypeToJson(type));
    }
    return types;
}

Json FlagsOf(const PlannedFile& file, const WriteResult& result) {
    Json flags = Json::array();
    if (file.cutAtEnd) {
        flags.push_back("cut at end of medium");
    }
    if (file.atSizeCap) {
        flags.push_back("size cap reached");
    }
    if (result.unreadableBytes > 0) {
        flags.push_back("unreadable sectors");
    }
    return flags;
}

// Only the details that are known.
Json DetailsRecord(const FileDetails& details) {
    Json record = Json::object();
    for (const auto& [name, text] : {std::pair("taken", &details.taken),
                                     {"title", &details.title},
                                     {"camera", &details.camera},
                                     {"preview", &details.preview}}) {
        if (!text->empty()) {
            record[name] = *text;
        }
    }
    if (details.width > 0 && details.height > 0) {
        record["width"] = details.width;
        record["height"] = details.height;
    }
    return record;
}

// "2024-02-29T12:00:00Z"; without the Z if the zone is unknown.
std::string TimeText(std::int64_t seconds, bool isLocal) {
    constexpr std::int64_t secondsOfDay = 86400;
    const std::chrono::sys_days day{
        std::chrono::days{static_cast<int>(seconds / secondsOfDay - (seconds % secondsOfDay < 0 ? 1 : 0))}};
    const std::chrono::year_month_day date{day};
    const std::int64_t inDay = seconds - std::chrono::seconds(day.time_since_epoch()).count();
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), inDay / 3600,
                       inDay / 60 % 60, inDay % 60, isLocal ? "" : "Z");
}

Json KnownToJson(const KnownFile& known) {
    Json record{{"volume", known.volume}, {"path", known.path}, {"size", known.size}, {"deleted", known.isDeleted}};
    for (const auto& [name, field] : TimeFields) {
        // Years with more or fewer than four digits are not real times of files.
        constexpr std::int64_t first = -62135596800;
        constexpr std::int64_t last = 253402300799;
        if (const auto time = known.times.*field; time && *time >= first && *time <= last) {
            record[name] = TimeText(*time, known.timesAreLocal);
        }
    }
    return record;
}

Json SkippedRecord(const Finding& finding, std::int64_t startSector, const Claims& reported) {
    Json claims = Json::array();
    for (const ReportedClaim& claim : reported) {
        claims.push_back({{"extension", ExtensionOf(claim.type)}, {"size", claim.size}});
    }
    return ObjectOf("record", "skipped", "type", TypeToJson(finding.type), "start_sector", startSector, "size",
                    finding.size, "reported", std::move(claims), "verdict", VerdictName(finding.verdict));
}

}  // namespace

LineFile::LineFile(const Folder& folder, std::string name)
    : folder_(folder), name_(std::move(name)), file_(folder.Create(name_ + ".part")) {
    Require(file_.IsOpen());
}

void LineFile::Add(const std::string& lines) {
    constexpr std::size_t pendingLimit = 1U << 16U;
    pending_ += lines;
    size_ += std::ssize(lines);
    if (pending_.size() > pendingLimit) {
        Flush();
    }
}

void LineFile::Sync() {
    Flush();
    Require(file_.Sync());
}

void LineFile::TakeName() {
    Sync();
    if (const SystemError error = folder_.Rename(name_ + ".part", name_)) {
        throw Failed(error);
    }
}

std::string LineFile::Read(std::int64_t offset, std::size_t length) {
    Flush();
    std::string lines(length, '\0');
    Require(file_.ReadAt(offset, lines.data(), length));
    return lines;
}

void LineFile::Flush() {
    Require(file_.Write(pending_.data(), pending_.size()));
    pending_.clear();
}

void LineFile::Require(bool done) const {
    if (!done) {
        throw Failed(file_.Error());
    }
}

Failure LineFile::Failed(const SystemError& error) const {
    const char* const advice = error.IsDiskFull() ? "; free some space and run the command again" : "";
    return {ExitStatus::Losses, fmt::format("cannot write the report '{}': {}{}; the recovered files stay",
                                            (folder_.Path() / name_).string(), error.Text(), advice)};
}

void FolderCounts::Add(const Json& record) {
    const auto path = record.at("path").get<std::string>();
    const auto size = IntegerIn(record, "size");
    const auto verdict = VerdictNamed(record.at("verdict").get<std::string>());
    const auto extension = record.at("extension").get<std::string>();
    if (!verdict || size < 0) {
        throw std::invalid_argument("no verdict, or no size");
    }
    const bool isText = record.at("types").at(0).at("index") == FileTypeIndex::Text;
    (isText ? text : byExtension[extension]).Add(*verdict, size);
    pieces += path.starts_with(extension + "/pieces/") ? 1 : 0;
    withUnreadable += record.value("unreadable_bytes", std::int64_t{0}) > 0 ? 1 : 0;
    bytes += size;
    ++files;
}

void FolderCounts::Add(const FolderCounts& other) {
    files += other.files;
    bytes += other.bytes;
    for (const auto& [extension, counts] : other.byExtension) {
        byExtension[extension].Add(counts);
    }
    text.Add(other.text);
    pieces += other.pieces;
    withUnreadable += other.withUnreadable;
}

Json FileRecord(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize, const KnownFile* known) {
    // Validating does not read all of a file, and a dying disk may have failed since then.
    const Finding finding = result.unreadableBytes > 0 ? WithUnreadableBytes(file.finding) : file.finding;
    Json record = ObjectOf("record", "file",                                 //
                           "path", file.path,                                //
                           "type", FileTypeCatalog[file.finding.type].name,  //
                           "extension", ExtensionOf(file.finding),           //
                           "types", TypesOf(file),                           //
                           "start_sector", file.StartSector(),               //
                           "start_byte", file.StartSector() * sectorSize,    //
                           "size", file.Size(),                              //
                           "reported_size", ReportedSize(file),              //
                           "verdict", VerdictName(finding.verdict),          //
                           "why", finding.why,                               //
                           "sha256", result.sha256,                          //
                           "unreadable_bytes", result.unreadableBytes,       //
                           "flags", FlagsOf(file, result));
    if (file.extents.size() > 1) {
        record["extents"] = ExtentsToJson(file.extents);
    }
    if (known != nullptr) {
        record["file_system"] = KnownToJson(*known);
    }
    if (!file.container.empty()) {
        record["container"] = file.container;
    }
    if (Json details = DetailsRecord(file.details); !details.empty()) {
        record["details"] = std::move(details);
    }
    for (const EmbeddedFile& one : file.embedded) {
        record["embedded"].push_back({{"start_sector", one.startSector},
                                      {"extension", ExtensionOf(one.finding)},
                                      {"size", one.finding.size},
                                      {"verdict", VerdictName(one.finding.verdict)}});
    }
    return record;
}

Json PassedOverRecord(const PassedOver& passed) {
    const Finding& finding = passed.outcome.finding;
    Json record = SkippedRecord(finding, passed.outcome.startSector, passed.outcome.reported);
    record["reason"] = ReasonText(passed.reason);
    record["why"] = finding.why;
    if (!passed.container.empty()) {
        record["container"] = passed.container;
    }
    return record;
}

Json UnwrittenRecord(const PlannedFile& file, std::string_view reason) {
    Json record = SkippedRecord(file.finding, file.StartSector(), file.reported);
    record["reason"] = reason;
    return record;
}

Json CountsToJson(const FileCounts& counts) {
    Json record{{"files", counts.files}, {"bytes", counts.bytes}};
    for (const Verdict verdict : {Verdict::Whole, Verdict::Open, Verdict::Truncated, Verdict::Damaged}) {
        record[VerdictName(verdict)] = counts.byVerdict[static_cast<std::size_t>(verdict)];
    }
    return record;
}

std::string TotalsTable(const ExtractTotals& totals, std::int64_t earlier) {
    std::string table = fmt::format("{:<10} {:>10} {:>10} {:>10} {:>10} {:>10} {:>14}\n", "extension", "files", "whole",
                                    "open", "truncated", "damaged", "size");
    const auto addLine = [&table](const std::string& name, const FileCounts& counts) {
        const auto& by = counts.byVerdict;
        table += fmt::format("{:<10} {:>10} {:>10} {:>10} {:>10} {:>10} {:>14}\n", name, counts.files, by[0], by[1],
                             by[2], by[3], FormatSize(counts.bytes));
    };
    FileCounts all;
    for (const auto& [extension, counts] : totals.there.byExtension) {
        addLine(extension, counts);
        all.Add(counts);
    }
    addLine("all", all);
    if (totals.there.text.files > 0) {
        addLine("and text", totals.there.text);
    }
    if (totals.there.pieces > 0) {
        table += fmt::format("{} of the texts begin in the middle: they are in txt/pieces\n", totals.there.pieces);
    }
    if (totals.alreadyThere > 0) {
        table += fmt::format("{} of them were there already\n", totals.alreadyThere);
    }
    if (totals.there.withUnreadable > 0) {
        table += fmt::format("{} of them hold zeros where sectors could not be read\n", totals.there.withUnreadable);
    }
    if (earlier > 0) {
        table += fmt::format("in the folder too: {} of earlier runs\n", Counted(earlier, "file"));
    }
    for (const auto& [reason, count] : totals.passedOver) {
        table += fmt::format("not written: {} ({})\n", count, reason);
    }
    return table;
}

std::string ClosingLines(const FolderCounts& counts, const std::string& folder) {
    FileCounts all = counts.text;
    for (const auto& [extension, one] : counts.byExtension) {
        all.Add(one);
    }
    const auto of = [&all](Verdict verdict) {
        return all.byVerdict[static_cast<std::size_t>(verdict)];
    };
    const std::string texts = counts.text.files > 0 ? fmt::format(", {} of them plain text", counts.text.files) : "";
    return fmt::format("Found: {}, {}{}\n", Counted(all.files, "file"), FormatSize(all.bytes), texts) +
           fmt::format("Sure:  {} are whole; {} have no declared end, {} break off or are damaged\n",
                       of(Verdict::Whole), of(Verdict::Open), of(Verdict::Truncated) + of(Verdict::Damaged)) +
           fmt::format("Look:  {}\n", folder);
}

}  // namespace salvor

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

// The object with these names and values in turn. There are many finds, and a list in braces makes three values of
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

// The value without a line break.
std::string TextOf(const Json& value) {
    std::string text = JsonLine(value);
    text.pop_back();
    return text;
}

// The size that the scanner of the file's own type reported, else that of another; null if there is none.
std::string ReportedSize(const PlannedFile& file) {
    if (file.reported.empty()) {
        return "null";
    }
    const auto* const own = std::ranges::find(file.reported, file.finding.type, &ReportedClaim::type);
    return std::to_string(own == file.reported.end() ? file.reported.front().size : own->size);
}

// The elements of an array.
void AddElement(std::string& list, std::string_view element) {
    list += list.empty() ? "" : ",";
    list += element;
}

std::string TypesOf(const PlannedFile& file) {
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> made;
        made.reserve(FileTypeCount);
        for (std::int32_t type = 0; type < FileTypeCount; ++type) {
            made.push_back(TextOf(TypeToJson(type)));
        }
        return made;
    }();
    std::string types;
    for (const std::int32_t type : file.Types()) {
        AddElement(types, texts[static_cast<std::size_t>(type)]);
    }
    return types;
}

std::string FlagsOf(const PlannedFile& file, const WriteResult& result) {
    std::string flags;
    if (file.cutAtEnd) {
        AddElement(flags, R"("cut at end of medium")");
    }
    if (file.atSizeCap) {
        AddElement(flags, R"("size cap reached")");
    }
    if (result.unreadableBytes > 0) {
        AddElement(flags, R"("unreadable sectors")");
    }
    if (result.lacksDetails) {
        AddElement(flags, R"("details not read")");
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

std::string KnownText(const KnownFile& known) {
    std::string text = fmt::format(R"({{"volume":{},"path":{},"size":{},"deleted":{})", known.volume,
                                   JsonText(known.path), known.size, known.isDeleted);
    for (const auto& [name, field] : TimeFields) {
        // Years with more or fewer than four digits are not real times of files.
        constexpr std::int64_t first = -62135596800;
        constexpr std::int64_t last = 253402300799;
        if (const auto time = known.times.*field; time && *time >= first && *time <= last) {
            text += fmt::format(R"(,"{}":"{}")", name, TimeText(*time, known.timesAreLocal));
        }
    }
    return text + '}';
}

// Validating does not read all of a file, and a dying disk may have failed since then.
Finding FindingAsWritten(const PlannedFile& file, const WriteResult& result) {
    return result.unreadableBytes > 0 ? WithUnreadableBytes(file.finding) : file.finding;
}

Json EmbeddedToJson(const std::vector<EmbeddedFile>& files) {
    Json list = Json::array();
    for (const EmbeddedFile& one : files) {
        list.push_back({{"start_sector", one.startSector},
                        {"extension", ExtensionOf(one.finding)},
                        {"size", one.finding.size},
                        {"verdict", VerdictName(one.finding.verdict)}});
    }
    return list;
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
    const auto verdict = VerdictNamed(record.at("verdict").get<std::string>());
    const auto size = IntegerIn(record, "size");
    if (!verdict || size < 0) {
        throw std::invalid_argument("no verdict, or no size");
    }
    Count({record.at("path").get<std::string>(), record.at("extension").get<std::string>(),
           record.at("types").at(0).at("index") == FileTypeIndex::Text, *verdict, size,
           record.value("unreadable_bytes", std::int64_t{0})});
}

void FolderCounts::Add(const PlannedFile& file, const WriteResult& result) {
    Count({file.path, ExtensionOf(file.finding), file.finding.type == FileTypeIndex::Text,
           FindingAsWritten(file, result).verdict, file.Size(), result.unreadableBytes});
}

void FolderCounts::Count(const CountedFile& file) {
    (file.isText ? text : byExtension[file.extension]).Add(file.verdict, file.size);
    pieces += file.path.starts_with(file.extension + "/pieces/") ? 1 : 0;
    withUnreadable += file.unreadableBytes > 0 ? 1 : 0;
    bytes += file.size;
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

// There may be millions of these lines, so that what most of them have is not put together as JSON values.
std::string FileLine(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize,
                     const KnownFile* known) {
    const Finding finding = FindingAsWritten(file, result);
    std::string line = fmt::format(
        R"({{"record":"file","path":{},"type":{},"extension":{},"types":[{}],"start_sector":{},"start_byte":{},)"
        R"("size":{},"reported_size":{},"verdict":"{}","why":{},"sha256":{},"unreadable_bytes":{},"flags":[{}])",
        JsonText(file.path), JsonText(FileTypeCatalog[file.finding.type].name), JsonText(ExtensionOf(file.finding)),
        TypesOf(file), file.StartSector(), file.StartSector() * sectorSize, file.Size(), ReportedSize(file),
        VerdictName(finding.verdict), JsonText(finding.why), JsonText(result.sha256), result.unreadableBytes,
        FlagsOf(file, result));
    const auto add = [&line](std::string_view name, std::string_view value) {
        line += fmt::format(R"(,"{}":{})", name, value);
    };
    if (file.extents.size() > 1) {
        add("extents", TextOf(ExtentsToJson(file.extents)));
    }
    if (known != nullptr) {
        add("file_system", KnownText(*known));
    }
    if (!file.container.empty()) {
        add("container", JsonText(file.container));
    }
    if (const Json details = DetailsRecord(file.details); !details.empty()) {
        add("details", TextOf(details));
    }
    if (!file.embedded.empty()) {
        add("embedded", TextOf(EmbeddedToJson(file.embedded)));
    }
    return line + "}\n";
}

Json FileRecord(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize, const KnownFile* known) {
    return ParseJsonLine(FileLine(file, result, sectorSize, known));
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

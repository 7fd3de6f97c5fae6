#include "host/report/report_reader.h"

#include <FileTypeCatalog.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <functional>
#include <iterator>
#include <string_view>
#include <utility>

#include "host/medium/medium.h"
#include "host/records/piece.h"
#include "host/report/report.h"
#include "host/say/failure.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

// No medium has more bytes or sectors than this.
constexpr std::int64_t MostBytes = std::int64_t{1} << 61U;

std::string TextAt(const Json& record, const char* key) {
    const auto field = record.find(key);
    return field != record.end() && field->is_string() ? field->get<std::string>() : "";
}

std::optional<std::int64_t> NumberAt(const Json& record, const char* key) {
    const auto field = record.find(key);
    return field != record.end() && field->is_number_integer() ? std::optional(field->get<std::int64_t>())
                                                               : std::nullopt;
}

// A number of bytes or sectors; -1 for anything else.
std::int64_t CountAt(const Json& record, const char* key) {
    const std::int64_t count = NumberAt(record, key).value_or(-1);
    return count <= MostBytes ? std::max<std::int64_t>(count, -1) : -1;
}

// The objects in a field that is a list of objects.
std::vector<Json> ObjectsAt(const Json& record, const char* key) {
    std::vector<Json> objects;
    if (const auto list = record.find(key); list != record.end() && list->is_array()) {
        std::ranges::copy_if(*list, std::back_inserter(objects), [](const Json& one) { return one.is_object(); });
    }
    return objects;
}

// "2024-02-29T12:00:00Z", or without the Z if the zone is unknown; then UTC is assumed.
std::optional<std::int64_t> TimeAt(const Json& record, const char* key) {
    const std::string text = TextAt(record, key);
    std::array<std::int64_t, 6> parts{};
    constexpr std::array<std::size_t, 6> places{0, 5, 8, 11, 14, 17};
    if (text.size() < places.back() + 2) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const char* const begin = text.data() + places[i];
        const char* const end = begin + (i == 0 ? 4 : 2);
        if (std::from_chars(begin, end, parts[i]).ptr != end) {
            return std::nullopt;
        }
    }
    const std::chrono::year_month_day date{std::chrono::year{static_cast<int>(parts[0])},
                                           std::chrono::month{static_cast<unsigned>(parts[1])},
                                           std::chrono::day{static_cast<unsigned>(parts[2])}};
    if (!date.ok()) {
        return std::nullopt;
    }
    const std::chrono::seconds days = std::chrono::sys_days(date).time_since_epoch();
    return days.count() + parts[3] * 3600 + parts[4] * 60 + parts[5];
}

OriginalEntry OriginalOf(const Json& record) {
    const auto entry = record.find("file_system");
    if (entry == record.end() || !entry->is_object()) {
        return {};
    }
    const auto deleted = entry->find("deleted");
    return {TextAt(*entry, "path"),     deleted != entry->end() && *deleted == true,
            TimeAt(*entry, "modified"), TimeAt(*entry, "accessed"),
            TimeAt(*entry, "changed"),  TimeAt(*entry, "created")};
}

FileDetails DetailsOf(const Json& record) {
    const auto details = record.find("details");
    if (details == record.end() || !details->is_object()) {
        return {};
    }
    return {TextAt(*details, "taken"),
            std::max<std::int64_t>(CountAt(*details, "width"), 0),
            std::max<std::int64_t>(CountAt(*details, "height"), 0),
            TextAt(*details, "title"),
            TextAt(*details, "camera"),
            TextAt(*details, "preview")};
}

// Empty for impossible pieces.
std::vector<Extent> ExtentsOf(const Json& record, const ReportedFile& file) {
    if (!record.contains("extents")) {
        return {{file.startSector, file.size}};
    }
    return ExtentsFromJson(record, "extents").value_or(std::vector<Extent>());
}

// The raw text of the path in a line of the report; none in an incomplete line, which replaces no other.
std::string_view RawPathOf(std::string_view line) {
    constexpr std::string_view before = R"("path":")";
    const std::size_t start = line.find(before);
    if (!line.starts_with(R"({"record":"file")") || !line.ends_with('}') || start == std::string_view::npos) {
        return {};
    }
    std::size_t end = start + before.size();
    while (end < line.size() && line[end] != '"') {
        end += line[end] == '\\' ? 2U : 1U;
    }
    return line.substr(start, std::min(end, line.size()) - start);
}

File OpenReport(const Folder& folder) {
    File file = folder.Read(ReportName);
    if (!file.IsOpen() &&
        folder.AnyEntry([](const std::string& name) { return PieceNamed(name, ReportName).has_value(); })) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("'{}' has the reports of segments only; 'salvor extract FINDS --out {}' joins them",
                                  folder.Path().string(), ShellWord(folder.Path().string())));
    }
    if (!file.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot read '{}': {}; name a folder that 'salvor recover' or 'salvor extract' has "
                                  "written",
                                  (folder.Path() / ReportName).string(), file.Error().Text()));
    }
    return file;
}

}  // namespace

std::optional<ReportedFile> FileOfRecord(const Json& record) {
    if (!record.is_object() || TextAt(record, "record") != "file") {
        return std::nullopt;
    }
    ReportedFile file;
    file.path = TextAt(record, "path");
    file.typeName = TextAt(record, "type");
    file.extension = TextAt(record, "extension");
    for (const Json& type : ObjectsAt(record, "types")) {
        const std::int64_t index = NumberAt(type, "index").value_or(-1);
        if (index >= 0 && index < FileTypeCount) {
            file.types.push_back(static_cast<std::int32_t>(index));
        }
    }
    file.startSector = CountAt(record, "start_sector");
    file.startByte = CountAt(record, "start_byte");
    file.size = CountAt(record, "size");
    file.reportedSize = NumberAt(record, "reported_size");
    file.verdict = VerdictNamed(TextAt(record, "verdict")).value_or(Verdict::NoFile);
    file.why = TextAt(record, "why");
    file.sha256 = TextAt(record, "sha256");
    file.unreadableBytes = std::max<std::int64_t>(CountAt(record, "unreadable_bytes"), 0);
    if (const auto flags = record.find("flags"); flags != record.end() && flags->is_array()) {
        for (const Json& flag : *flags) {
            file.flags.push_back(flag.is_string() ? flag.get<std::string>() : "");
        }
    }
    file.extents = ExtentsOf(record, file);
    file.container = TextAt(record, "container");
    for (const Json& one : ObjectsAt(record, "embedded")) {
        file.embedded.push_back({CountAt(one, "start_sector"), TextAt(one, "extension"), CountAt(one, "size"),
                                 VerdictNamed(TextAt(one, "verdict")).value_or(Verdict::NoFile)});
    }
    file.original = OriginalOf(record);
    file.details = DetailsOf(record);
    const bool isSound = !file.path.empty() && file.startSector >= 0 && file.startByte >= 0 && file.size >= 0 &&
                         file.verdict != Verdict::NoFile && !file.types.empty() && !file.extents.empty();
    return isSound ? std::optional(std::move(file)) : std::nullopt;
}

ReportReader::ReportReader(const Folder& folder) : file_(OpenReport(folder)), lines_(file_) {
    LookThrough(OpenReport(folder));
    if (summary_.image.empty()) {
        ReadJob(folder);
    }
}

void ReportReader::LookThrough(File file) {
    std::vector<std::pair<std::size_t, std::size_t>> paths;
    LineReader reader(file);
    for (std::string line; reader.Next(line);) {
        if (const std::string_view path = RawPathOf(line); !path.empty()) {
            paths.emplace_back(std::hash<std::string_view>()(path), holds_.size());
        } else if (line.starts_with(R"({"record":"summary")")) {
            ReadSummary(ParseJsonLine(line));
        }
        holds_.push_back(true);
    }
    std::ranges::sort(paths);
    for (std::size_t i = 1; i < paths.size(); ++i) {
        if (paths[i - 1].first == paths[i].first) {
            holds_[paths[i - 1].second] = false;
        }
    }
}

void ReportReader::ReadSummary(const Json& record) {
    if (!record.is_object()) {
        return;
    }
    summary_.image = TextAt(record, "image");
    summary_.imageFormat = ImageFormatNamed(TextAt(record, "image_format"));
    summary_.imageSize = std::max<std::int64_t>(CountAt(record, "image_size"), 0);
    const std::int64_t sectorSize = CountAt(record, "sector_size");
    summary_.sectorSize =
        sectorSize > 0 && sectorSize <= LargestSectorSize ? static_cast<std::int32_t>(sectorSize) : SmallestSectorSize;
    summary_.isComplete = TextAt(record, "ended") == "complete";
    summary_.unreadable = RangesFromJson(record, "unreadable").value_or(std::vector<SectorRange>());
    summary_.zeros = RangesFromJson(record, "known_zeros").value_or(std::vector<SectorRange>());
    std::ranges::copy(RangesFromJson(record, "zeros").value_or(std::vector<SectorRange>()),
                      std::back_inserter(summary_.zeros));
    if (const auto reasons = record.find("not_written"); reasons != record.end() && reasons->is_object()) {
        for (const auto& [reason, count] : reasons->items()) {
            summary_.notWritten[reason] = count.is_number_integer() ? count.get<std::int64_t>() : 0;
        }
    }
}

// The folder's job file has fields with the same names.
void ReportReader::ReadJob(const Folder& folder) {
    File file = folder.Read("job.json");
    if (std::string line; file.IsOpen() && LineReader(file).Next(line)) {
        ReadSummary(ParseJsonLine(line));
    }
}

bool ReportReader::Next(ReportedFile& file) {
    for (std::string line; lines_.Next(line);) {
        const std::size_t number = line_++;
        if (number < holds_.size() && !holds_[number]) {
            continue;
        }
        record_ = ParseJsonLine(line);
        if (std::optional<ReportedFile> next = FileOfRecord(record_)) {
            file = *std::move(next);
            return true;
        }
        damagedLines_ += record_.is_object() && TextAt(record_, "record") == "summary" ? 0 : 1;
    }
    return false;
}

bool SayIfDamaged(const ReportReader& reader, const Folder& folder) {
    if (reader.DamagedLines() > 0) {
        Say("passed over {} of the report in '{}'", Counted(reader.DamagedLines(), "damaged line"),
            folder.Path().string());
    }
    return reader.DamagedLines() == 0;
}

Folder OpenReportFolder(const std::string& path) {
    Folder folder = Folder::Open(path);
    if (!folder.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot open the folder '{}': {}", path, folder.Error().Text()));
    }
    return folder;
}

}  // namespace salvor

#include "host/scan/journal.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "host/records/image_record.h"
#include "host/records/json_lines.h"
#include "host/say/failure.h"
#include "host/scan/scanners.h"
#include "host/scan/space_lines.h"

namespace salvor {

namespace {

constexpr const char* FormatName = "salvor-finds";
constexpr int FormatVersion = 2;
// The first version of the format has no starts.
constexpr int FirstVersion = 1;
// The most starts, or ranges, in one line.
constexpr std::ptrdiff_t MostOfALine = 4096;

bool IsInteger(const Json& record, const char* key) {
    const auto field = record.find(key);
    return field != record.end() && field->is_number_integer();
}

void RequireFormat(const Json& value) {
    if (value.at("format") != FormatName ||
        (value.at("version") != FormatVersion && value.at("version") != FirstVersion)) {
        throw std::invalid_argument("another format");
    }
}

bool TakeStarts(const Json& record, Sightings& seen) {
    const auto sectors = record.find("sectors");
    if (sectors == record.end() || !sectors->is_array()) {
        return false;
    }
    for (const Json& sector : *sectors) {
        if (!sector.is_number_integer()) {
            return false;
        }
        seen.starts.push_back(sector.get<std::int64_t>());
    }
    return true;
}

// Adds a line for each group of a few items; `line(some)` makes it.
template <class Item, class Line>
void AddLines(std::string& text, const std::vector<Item>& items, Line&& line) {
    for (auto from = items.begin(); from != items.end();) {
        const auto to = from + std::min<std::ptrdiff_t>(items.end() - from, MostOfALine);
        text += JsonLine(line(std::vector<Item>(from, to)));
        from = to;
    }
}

ScanGrid GridFor(const JournalHeader& header) {
    return {header.ScannedRange(), std::max<std::int64_t>(header.blockSize / header.sectorSize, 1), header.types};
}

// Converts what was seen in a space, except the finds, to sectors of the medium.
Sightings OnMedium(const Sightings& seen, const Space& space) {
    Sightings there;
    for (const std::int64_t start : seen.starts) {
        there.starts.push_back(space.OnMedium(start));
    }
    there.textStarts = space.OnMedium(seen.textStarts);
    there.unreadable = space.OnMedium(seen.unreadable);
    there.zeros = space.OnMedium(seen.zeros);
    return there;
}

// The sector of the space for a sector of the medium; nothing if it is outside.
std::optional<std::int64_t> InSpace(const SpaceIndex* index, std::int64_t sector) {
    if (index == nullptr) {
        return sector;
    }
    const SectorRange found = index->StretchAt({sector, 1});
    return found.count == 0 ? std::nullopt : std::optional(found.first);
}

bool TakeSightingsOnMedium(const Json& record, const SpaceIndex* index, Sightings& seen) {
    if (index == nullptr) {
        return TakeSightings(record, seen);
    }
    Sightings some;
    if (!TakeSightings(record, some)) {
        return false;
    }
    for (const std::int64_t start : some.starts) {
        if (const auto sector = InSpace(index, start)) {
            seen.starts.push_back(*sector);
        }
    }
    std::ranges::for_each(index->InSpace(some.textStarts), [&seen](SectorRange range) { seen.AddTextStarts(range); });
    std::ranges::copy(index->InSpace(some.unreadable), std::back_inserter(seen.unreadable));
    std::ranges::for_each(index->InSpace(some.zeros), [&seen](SectorRange range) { seen.AddZeros(range); });
    return true;
}

// The parts of a block may be on separate lines; they are joined.
void AddSetAside(std::vector<BlocksSetAside>& list, BlocksSetAside aside) {
    const bool isKnown = !list.empty() && list.back().type == aside.type && list.back().why == aside.why &&
                         aside.blocks.first < list.back().blocks.end && aside.blocks.first >= list.back().blocks.first;
    if (isKnown) {
        list.back().blocks.end = std::max(list.back().blocks.end, aside.blocks.end);
    } else {
        list.push_back(std::move(aside));
    }
}

bool TakeSetAside(const Json& record, const SpaceIndex* index, Journal& journal) {
    auto ranges = RangesFromJson(record, "sectors");
    const ScanGrid grid = GridFor(journal.header);
    if (!ranges || !IsInteger(record, "type") || !record.contains("why") || !record["why"].is_string()) {
        return false;
    }
    if (index != nullptr) {
        ranges = index->InSpace(*ranges);
    }
    for (const SectorRange& range : *ranges) {
        AddSetAside(journal.setAside, {record["type"].get<std::int32_t>(),
                                       {grid.BlockOf(range.first), grid.BlockOf(range.first + range.count - 1) + 1},
                                       record["why"].get<std::string>()});
    }
    return true;
}

// False for a record that does not belong in a journal. `index` is null if everything was scanned.
bool TakeRecord(const Json& record, const SpaceIndex* index, Journal& journal) {
    if (!record.is_object() || !record.contains("record") || !record["record"].is_string()) {
        return false;
    }
    const auto kind = record["record"].get<std::string>();
    if (kind == "find") {
        if (!IsInteger(record, "type") || !IsInteger(record, "start_sector") || !IsInteger(record, "size")) {
            return false;
        }
        const auto type = record["type"].get<std::int64_t>();
        const auto start = InSpace(index, record["start_sector"].get<std::int64_t>());
        if (type < 0 || type >= FileTypeCount || !start) {
            return false;
        }
        journal.seen.finds.push_back({static_cast<std::int32_t>(type), *start, record["size"].get<std::int64_t>()});
    } else if (kind == "set_aside") {
        return TakeSetAside(record, index, journal);
    } else if (kind == "summary") {
        journal.complete = record.contains("ended") && record["ended"] == "complete";
    } else {
        return kind == "progress" || TakeSightingsOnMedium(record, index, journal.seen);
    }
    return true;
}

}  // namespace

Json HeaderToJson(const JournalHeader& header) {
    Json image = ImageSpecToJson(header.image);
    image["size"] = header.imageSize;
    Json json = {{"record", "header"},
                 {"format", FormatName},
                 {"version", FormatVersion},
                 {"program", "salvor " SALVOR_VERSION},
                 {"image", image}};
    json.update(OptionsToJson(header));
    return json;
}

JournalHeader HeaderFromJson(const Json& value) {
    JournalHeader header;
    header.image = ImageSpecFromJson(value.at("image"));
    header.imageSize = IntegerIn(value.at("image"), "size");
    const std::int64_t sectorSize = IntegerIn(value, "sector_size");
    header.sectorSize = static_cast<std::int32_t>(std::clamp<std::int64_t>(sectorSize, 0, LargestSectorSize + 1));
    header.blockSize = IntegerIn(value, "block_size");
    header.range = {IntegerIn(value.at("range"), "start"), IntegerIn(value.at("range"), "length")};
    for (const Json& type : value.at("types")) {
        header.types.push_back(static_cast<std::int32_t>(IntegerOf(type)));
    }
    for (const auto& [type, cap] : value.at("options").at("caps").items()) {
        header.caps[std::stoi(type)] = IntegerOf(cap);
    }
    const auto isSize = [](std::int64_t size) {
        return 0 <= size && size <= std::int64_t{1} << 61U;
    };
    if (header.sectorSize < SmallestSectorSize || header.sectorSize > LargestSectorSize || header.imageSize < 1 ||
        !isSize(header.blockSize) || !isSize(header.range.first) || !isSize(header.range.count)) {
        throw std::invalid_argument("impossible sizes");
    }
    return header;
}

void TakeSpace(const Json& value, LineReader& lines, JournalHeader& header) {
    if (value.contains("space")) {
        header.space = SpaceFromLines(value.at("space"), header.sectorSize, header.imageSize, lines);
    }
}

Json OptionsToJson(const JournalHeader& header) {
    Json caps = Json::object();
    for (const auto& [type, cap] : header.caps) {
        caps[std::to_string(type)] = cap;
    }
    Json options{{"sector_size", header.sectorSize},
                 {"block_size", header.blockSize},
                 {"range", {{"start", header.range.first}, {"length", header.range.count}}},
                 {"types", header.types},
                 {"options", {{"caps", caps}}}};
    if (header.space) {
        options["space"] = SpaceToJson(*header.space);
    }
    return options;
}

std::vector<Json> SetAsideToJson(const JournalHeader& header, const std::vector<BlocksSetAside>& setAside) {
    std::vector<Json> list;
    list.reserve(setAside.size());
    for (const BlocksSetAside& aside : setAside) {
        const std::vector<SectorRange> sectors{GridFor(header).SectorsOf(aside.blocks)};
        list.push_back({{"type", aside.type},
                        {"extension", aside.type == StartsType ? "" : ExtensionOf(aside.type)},
                        {"sectors", RangesToJson(header.space ? header.space->OnMedium(sectors) : sectors)},
                        {"why", aside.why}});
    }
    return list;
}

std::string SightingLines(const Sightings& seen) {
    std::string text;
    AddLines(text, seen.starts, [](const std::vector<std::int64_t>& some) {
        return Json{{"record", "starts"}, {"sectors", some}};
    });
    AddLines(text, seen.textStarts, [](const std::vector<SectorRange>& some) {
        return Json{{"record", "text_starts"}, {"sectors", RangesToJson(some)}};
    });
    AddLines(text, seen.unreadable, [](const std::vector<SectorRange>& some) {
        return Json{{"record", "unreadable"}, {"sectors", RangesToJson(some)}};
    });
    AddLines(text, seen.zeros, [](const std::vector<SectorRange>& some) {
        return Json{{"record", "zeros"}, {"sectors", RangesToJson(some)}};
    });
    return text;
}

bool TakeSightings(const Json& record, Sightings& seen) {
    const auto kind = record["record"].get<std::string>();
    if (kind == "starts") {
        return TakeStarts(record, seen);
    }
    const auto ranges = RangesFromJson(record, "sectors");
    if (!ranges || (kind != "text_starts" && kind != "unreadable" && kind != "zeros")) {
        return false;
    }
    for (const SectorRange& range : *ranges) {
        if (kind == "text_starts") {
            seen.AddTextStarts(range);
        } else if (kind == "zeros") {
            seen.AddZeros(range);
        } else {
            seen.unreadable.push_back(range);
        }
    }
    return true;
}

JournalWriter::JournalWriter(const FilePlace& place, const JournalHeader& header)
    : log_(place, "finds file"), space_(header.space) {
    log_.Add(JsonLine(HeaderToJson(header)) + (space_ ? SpaceLines(*space_) : ""));
    Flush();
}

void JournalWriter::AddFind(const Find& find) {
    ++finds_;
    log_.Add(fmt::format(R"({{"record":"find","type":{},"extension":"{}","start_sector":{},"size":{}}})"
                         "\n",
                         find.type, ExtensionOf(find.type), OnMedium(find.startSector), find.size));
}

void JournalWriter::AddStart(std::int64_t sector) {
    sighted_.starts.push_back(sector);
    if (std::ssize(sighted_.starts) == MostOfALine) {
        WriteSightings();
    }
}

void JournalWriter::AddTextStart(std::int64_t sector) {
    sighted_.AddTextStart(sector);
    if (std::ssize(sighted_.textStarts) == MostOfALine) {
        WriteSightings();
    }
}

void JournalWriter::AddLinesOf(const Sightings& seen) {
    log_.Add(space_ ? SightingLines(salvor::OnMedium(seen, *space_)) : SightingLines(seen));
}

void JournalWriter::WriteSightings() { AddLinesOf(std::exchange(sighted_, {})); }

void JournalWriter::AddSightings(const Sightings& seen) {
    std::ranges::for_each(seen.finds, [this](const Find& find) { AddFind(find); });
    AddLinesOf(seen);
}

void JournalWriter::AddSetAside(const Json& aside) {
    Json record = {{"record", "set_aside"}};
    record.update(aside);
    log_.Add(JsonLine(record));
}

void JournalWriter::AddProgress(std::int64_t nextSector) {
    WriteSightings();
    log_.Add(fmt::format(R"({{"record":"progress","next_sector":{},"finds":{}}})"
                         "\n",
                         OnMedium(nextSector), finds_));
}

void JournalWriter::AddUnreadable(const std::vector<SectorRange>& ranges) {
    Sightings seen;
    seen.unreadable = ranges;
    AddLinesOf(seen);
}

void JournalWriter::AddZeros(const std::vector<SectorRange>& ranges) {
    Sightings seen;
    seen.zeros = ranges;
    AddLinesOf(seen);
}

void JournalWriter::AddSummary(const ScanSummary& summary) {
    WriteSightings();
    Json byType = Json::array();
    for (const auto& [type, count] : summary.findsByType) {
        byType.push_back({{"type", type}, {"extension", ExtensionOf(type)}, {"finds", count}});
    }
    const double speed = summary.seconds > 0 ? static_cast<double>(summary.bytesScanned) / summary.seconds : 0;
    log_.Add(JsonLine({{"record", "summary"},
                       {"ended", summary.complete ? "complete" : "stopped"},
                       {"seconds", summary.seconds},
                       {"bytes", summary.bytesScanned},
                       {"bytes_per_second", speed},
                       {"finds", finds_},
                       {"finds_by_type", byType},
                       {"unreadable", RangesToJson(summary.unreadable)}}));
}

void JournalWriter::Flush() {
    WriteSightings();
    log_.Flush();
}

void JournalWriter::Sync() {
    WriteSightings();
    log_.Sync();
}

Journal ReadJournal(const FilePlace& place) {
    const auto fail = [&](std::string_view why) {
        return Failure(ExitStatus::NotStarted, fmt::format("cannot use the finds file '{}': {}", place.Text(), why));
    };
    File file = place.Read();
    LineReader lines(file);
    std::string line;
    if (!file.IsOpen() || !lines.Next(line)) {
        throw fail(file.Error() ? file.Error().Text() : "it is empty");
    }
    Journal journal;
    try {
        const Json header = ParseJsonLine(line);
        RequireFormat(header);
        journal.header = HeaderFromJson(header);
        TakeSpace(header, lines, journal.header);
    } catch (const std::exception&) {
        throw fail(
            "it does not begin with the header of a finds file; to recover files from an image, use 'salvor recover'");
    }
    const auto index = journal.header.space ? std::optional<SpaceIndex>(*journal.header.space) : std::nullopt;
    while (lines.Next(line)) {
        // The last line ends with a line break too; without one it is incomplete.
        if (lines.WasCut() || !TakeRecord(ParseJsonLine(line), index ? &*index : nullptr, journal)) {
            ++journal.damagedLines;
        }
    }
    SectorRangeSet unreadable;
    for (const SectorRange& range : journal.seen.unreadable) {
        unreadable.Add(range);
    }
    journal.seen.unreadable = unreadable.Ranges();
    return journal;
}

}  // namespace salvor

#include "host/validate/outcomes_file.h"

#include <FileTypeCatalog.h>
#include <fmt/format.h>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <string_view>
#include <utility>

#include "host/records/digest.h"
#include "host/records/json_lines.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

constexpr const char* FormatName = "salvor-outcomes";
constexpr int FormatVersion = 1;
constexpr std::array<Verdict, 5> Verdicts{Verdict::Whole, Verdict::Open, Verdict::Truncated, Verdict::Damaged,
                                          Verdict::NoFile};
constexpr std::array<const char*, 3> PhaseNames{"structure", "bounded", "text"};

// The fields of a finding in its record; `isFinal` leaves out those that only validating needs. There may be millions
// of these records, so that they are not put together as JSON values.
std::string FieldsOf(const Finding& finding, bool isFinal) {
    return fmt::format(R"("verdict":"{}","type":{},"extension":"{}","size":{},"why":{}{}{}{})",
                       VerdictName(finding.verdict), finding.type, finding.type < 0 ? "" : ExtensionOf(finding),
                       finding.size, JsonText(finding.why), finding.beginsInMiddle ? R"(,"begins_in_middle":true)" : "",
                       finding.isUnbroken ? R"(,"unbroken":true)" : "",
                       !isFinal && finding.isCertain ? R"(,"certain":true)" : "");
}

// The functions that read records throw an exception of the standard library for a value that makes no sense. Findings,
// which are read several times by several processes, are read as the parser has them, without JSON values in between.
using ParsedRecord = simdjson::dom::object;

std::string TextIn(const Json& record, const char* key) { return record.at(key).get<std::string>(); }
std::string TextIn(const ParsedRecord& record, const char* key) {
    return std::string(record.at_key(key).get_string().value());
}

using salvor::IntegerIn;
std::int64_t IntegerIn(const ParsedRecord& record, const char* key) { return record.at_key(key).get_int64().value(); }

// False if there is no such field.
bool FlagIn(const Json& record, const char* key) { return record.value(key, false); }
bool FlagIn(const ParsedRecord& record, const char* key) {
    const auto field = record.at_key(key);
    return field.error() == simdjson::SUCCESS && field.get_bool().value();
}

template <class Record>
std::int32_t TypeIn(const Record& record, const char* key, std::int32_t least) {
    const std::int64_t type = IntegerIn(record, key);
    if (type < least || type >= FileTypeCount) {
        throw std::invalid_argument("no such type");
    }
    return static_cast<std::int32_t>(type);
}

std::size_t IndexIn(std::span<const char* const> names, const std::string& name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (name == names[i]) {
            return i;
        }
    }
    throw std::invalid_argument("no such name");
}

// Extensions become part of file names, and the outcomes may come from anywhere.
bool IsExtension(const std::string& text) {
    constexpr std::size_t longest = 8;
    return text.size() <= longest &&
           std::ranges::all_of(text, [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); });
}

template <class Record>
Finding FindingIn(const Record& record) {
    std::array<const char*, Verdicts.size()> names{};
    std::ranges::transform(Verdicts, names.begin(), VerdictName);
    Finding finding;
    finding.verdict = Verdicts[IndexIn(names, TextIn(record, "verdict"))];
    finding.type = TypeIn(record, "type", -1);
    finding.size = IntegerIn(record, "size");
    finding.why = TextIn(record, "why");
    finding.extension = TextIn(record, "extension");
    if (!IsExtension(finding.extension) || finding.size < 0) {
        throw std::invalid_argument("no extension, or no size");
    }
    if (finding.type >= 0 && finding.extension == FileTypeCatalog[finding.type].extension) {
        finding.extension = {};
    }
    finding.beginsInMiddle = FlagIn(record, "begins_in_middle");
    finding.isUnbroken = FlagIn(record, "unbroken");
    finding.isCertain = FlagIn(record, "certain");
    return finding;
}

// True for extents that can be the outcome's: they begin where it does, and hold all of it.
bool CouldHold(const std::vector<Extent>& extents, const Outcome& outcome) {
    std::int64_t bytes = 0;
    for (const Extent& extent : extents) {
        bytes = AddSizes(bytes, extent.bytes);
    }
    return !extents.empty() && extents.front().startSector == outcome.startSector && bytes >= outcome.finding.size;
}

Outcome OutcomeIn(const Json& record) {
    Outcome outcome;
    outcome.startSector = IntegerIn(record, "start_sector");
    outcome.finding = FindingIn(record);
    if (outcome.finding.type < 0) {
        throw std::invalid_argument("no type");
    }
    for (const Json& claim : record.at("reported")) {
        outcome.reported.Add({TypeIn(claim, "type", 0), IntegerIn(claim, "size")});
    }
    if (record.contains("extents")) {
        auto extents = ExtentsFromJson(record, "extents");
        if (!extents || !CouldHold(*extents, outcome)) {
            throw std::invalid_argument("no extents");
        }
        outcome.place = SettledPlace{*std::move(extents), IntegerIn(record, "own_bytes")};
    }
    return outcome;
}

KnownFinding KnownFindingIn(const ParsedRecord& record) {
    KnownFinding known;
    known.startSector = IntegerIn(record, "start_sector");
    known.phase = static_cast<Validator::Phase>(IndexIn(PhaseNames, TextIn(record, "phase")));
    known.validator = TextIn(record, "validator");
    known.finding = FindingIn(record);
    known.countsWholeOnly = FlagIn(record, "whole_only");
    known.cost = IntegerIn(record, "cost");
    return known;
}

void TakeRecord(const Json& record, OutcomesRead& read) {
    const auto kind = record.at("record").get<std::string>();
    if (kind == "refused") {
        const auto phase = static_cast<Validator::Phase>(IndexIn(PhaseNames, record.at("phase").get<std::string>()));
        // Wraps for a list that no run has written, whose places are then never asked for.
        std::uint64_t sector = 0;
        for (const Json& step : record.at("steps")) {
            sector += static_cast<std::uint64_t>(IntegerOf(step));
            read.known.AddRefused(static_cast<std::int64_t>(sector), phase);
        }
    } else if (kind == "outcome") {
        read.validation.outcomes.push_back(OutcomeIn(record));
    } else if (kind == "walk") {
        WalkNote note{IntegerIn(record, "cost"), {}};
        std::ranges::transform(record.at("fields"), std::back_inserter(note.fields), IntegerOf);
        read.walks[{IntegerIn(record, "start_sector"), record.at("validator").get<std::string>()}] = std::move(note);
    } else if (kind == "unreadable") {
        const auto ranges = RangesFromJson(record, "sectors");
        if (!ranges) {
            throw std::invalid_argument("no ranges");
        }
        read.unreadable.insert(read.unreadable.end(), ranges->begin(), ranges->end());
    } else if (kind == "set_aside") {
        read.validation.setAside.push_back(
            {IntegerIn(record, "sector"), record.at("who").get<std::string>(), record.at("how").get<std::string>()});
    } else if (kind == "piece") {
        read.piece = {IntegerIn(record, "number"), IntegerIn(record, "count")};
    } else if (kind == "summary") {
        read.validation.complete = record.at("ended") == "complete";
    } else {
        throw std::invalid_argument("no such record");
    }
}

// How lines begin that only an incomplete file needs.
constexpr std::string_view FindingPrefix = R"({"record":"finding",)";
constexpr std::string_view RefusedPrefix = R"({"record":"refused",)";
constexpr std::string_view WalkPrefix = R"({"record":"walk",)";

// The digest in the first line; nothing if this is not an outcomes file.
std::optional<std::string> DigestIn(LineReader& lines) {
    std::string line;
    lines.Next(line);
    const Json header = ParseJsonLine(line);
    try {
        const bool isOurs = header.at("format") == FormatName && header.at("version") == FormatVersion;
        return isOurs ? std::optional(header.at("of").get<std::string>()) : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// The last line says whether all outcomes are there; the intermediate findings are then no longer needed.
bool EndsComplete(File& file) {
    const Json last = ParseJsonLine(LastLineOf(file));
    return last.is_object() && last.contains("record") && last["record"] == "summary" && last.contains("ended") &&
           last["ended"] == "complete";
}

}  // namespace

std::string DigestOf(const Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps) {
    Sha256 hash;
    const auto add = [&hash](std::int64_t number) {
        hash.Add(&number, sizeof(number));
    };
    add(medium.SizeInBytes());
    add(medium.SectorSize());
    ForEachNumber(seen, add);
    for (const auto& [type, cap] : caps) {
        add(type);
        add(cap);
    }
    return hash.Hex();
}

std::string DigestWith(const std::string& digest, const std::vector<GridStretch>& grids) {
    Sha256 hash;
    for (const auto& [sectors, grid] : grids) {
        const std::array numbers{sectors.first, sectors.count, grid.sectorsPerCluster, grid.phase};
        hash.Add(numbers.data(), sizeof(numbers));
    }
    return grids.empty() ? digest : digest + '/' + hash.Hex();
}

OutcomesWriter::OutcomesWriter(const FilePlace& place, const std::string& digest, const std::string& draftSuffix)
    : log_(place, "outcomes file", draftSuffix) {
    log_.Add(JsonLine({{"record", "header"},
                       {"format", FormatName},
                       {"version", FormatVersion},
                       {"program", "salvor " SALVOR_VERSION},
                       {"of", digest}}));
}

void ForEachNumber(const Sightings& seen, const std::function<void(std::int64_t)>& take) {
    for (const auto count :
         {std::ssize(seen.finds), std::ssize(seen.starts), std::ssize(seen.textStarts), std::ssize(seen.unreadable)}) {
        take(count);
    }
    for (const Find& find : seen.finds) {
        take(find.type);
        take(find.startSector);
        take(find.size);
    }
    std::ranges::for_each(seen.starts, take);
    for (const auto* const ranges : {&seen.textStarts, &seen.unreadable}) {
        for (const SectorRange& range : *ranges) {
            take(range.first);
            take(range.count);
        }
    }
}

Sightings SightingsFrom(const std::function<std::int64_t()>& next) {
    std::array<std::int64_t, 4> counts{};
    std::ranges::generate(counts, next);
    Sightings seen;
    seen.finds.reserve(static_cast<std::size_t>(counts[0]));
    for (std::int64_t i = 0; i < counts[0]; ++i) {
        const auto type = static_cast<std::int32_t>(next());
        const std::int64_t start = next();
        seen.finds.push_back({type, start, next()});
    }
    seen.starts.resize(static_cast<std::size_t>(counts[1]));
    std::ranges::generate(seen.starts, next);
    for (auto [count, ranges] : {std::pair(counts[2], &seen.textStarts), std::pair(counts[3], &seen.unreadable)}) {
        for (std::int64_t i = 0; i < count; ++i) {
            const std::int64_t first = next();
            ranges->push_back({first, next()});
        }
    }
    return seen;
}

std::string FindingLine(const KnownFinding& finding) {
    return fmt::format(R"({{"record":"finding","start_sector":{},"phase":"{}","validator":{},{}{},"cost":{}}})"
                       "\n",
                       finding.startSector, PhaseNames[static_cast<std::size_t>(finding.phase)],
                       JsonText(finding.validator), FieldsOf(finding.finding, /*isFinal=*/false),
                       finding.countsWholeOnly ? R"(,"whole_only":true)" : "", finding.cost);
}

// As steps from each sector to the next, which are short.
std::string RefusedLine(Validator::Phase phase, std::span<const std::int64_t> sectors) {
    std::string line =
        fmt::format(R"({{"record":"refused","phase":"{}","steps":[)", PhaseNames[static_cast<std::size_t>(phase)]);
    std::int64_t last = 0;
    for (const char* separator = ""; const std::int64_t sector : sectors) {
        fmt::format_to(std::back_inserter(line), "{}{}", std::exchange(separator, ","), sector - last);
        last = sector;
    }
    return line + "]}\n";
}

std::string WalkLine(const WalkPlace& place, const WalkNote& note) {
    return JsonLine({{"record", "walk"},
                     {"start_sector", place.first},
                     {"validator", place.second},
                     {"cost", note.cost},
                     {"fields", note.fields}});
}

std::string UnreadableLine(const std::vector<SectorRange>& sectors) {
    return JsonLine({{"record", "unreadable"}, {"sectors", RangesToJson(sectors)}});
}

std::string OutcomeLine(const Outcome& outcome) {
    std::string line = fmt::format(R"({{"record":"outcome","start_sector":{},{},"reported":[)", outcome.startSector,
                                   FieldsOf(outcome.finding, /*isFinal=*/true));
    for (const char* separator = ""; const ReportedClaim& claim : outcome.reported) {
        line += fmt::format(R"({}{{"type":{},"size":{}}})", std::exchange(separator, ","), claim.type, claim.size);
    }
    line += ']';
    if (!outcome.place->extents.empty()) {
        line += fmt::format(R"(,"extents":{},"own_bytes":{})", ExtentsToJson(outcome.place->extents).dump(),
                            outcome.place->ownBytes);
    }
    return line + "}\n";
}

std::string SetAsideLine(const SetAside& setAside) {
    return JsonLine(
        {{"record", "set_aside"}, {"sector", setAside.sector}, {"who", setAside.who}, {"how", setAside.how}});
}

std::string SummaryLine(bool isComplete, const VerdictCounts& byVerdict) {
    return JsonLine({{"record", "summary"}, {"ended", isComplete ? "complete" : "stopped"}, {"by_verdict", byVerdict}});
}

void OutcomesWriter::AddFinding(const KnownFinding& finding) { log_.Add(FindingLine(finding)); }

void OutcomesWriter::AddRefused(Validator::Phase phase, std::span<const std::int64_t> sectors) {
    constexpr std::size_t inLine = 4096;
    for (; !sectors.empty(); sectors = sectors.subspan(std::min(inLine, sectors.size()))) {
        log_.Add(RefusedLine(phase, sectors.first(std::min(inLine, sectors.size()))));
    }
}

void OutcomesWriter::AddWalk(const WalkPlace& place, const WalkNote& note) { log_.Add(WalkLine(place, note)); }

void OutcomesWriter::AddSetAside(const SetAside& setAside) { log_.Add(SetAsideLine(setAside)); }

void OutcomesWriter::AddUnreadable(const std::vector<SectorRange>& sectors) {
    if (!sectors.empty()) {
        log_.Add(UnreadableLine(sectors));
    }
}

void OutcomesWriter::Add(const Validation& validation) {
    VerdictCounts byVerdict;
    for (const Outcome& outcome : validation.outcomes) {
        log_.Add(OutcomeLine(outcome));
        ++byVerdict[VerdictName(outcome.finding.verdict)];
    }
    log_.Add(SummaryLine(validation.complete, byVerdict));
    log_.Sync();
}

void OutcomesWriter::AddPiece(const Piece& piece) {
    log_.Add(JsonLine({{"record", "piece"}, {"number", piece.number}, {"count", piece.count}}));
    log_.Sync();
}

void TakeOutcomesLine(const std::string& line, OutcomesRead& read) {
    // What the parser keeps ready is many times as large as the longest line.
    constexpr std::size_t longest = std::size_t{1} << 16U;
    if (line.starts_with(FindingPrefix) && line.size() < longest) {
        thread_local simdjson::dom::parser parser;
        read.known.Add(KnownFindingIn(parser.parse(line).get_object().value()));
    } else {
        TakeRecord(ParseJsonLine(line), read);
    }
}

bool HasAllOutcomes(const FilePlace& place, const std::string& digest) {
    File file = place.Read();
    LineReader lines(file);
    return file.IsOpen() && DigestIn(lines) == digest && EndsComplete(file);
}

std::optional<OutcomesRead> ReadOutcomes(const FilePlace& place) {
    File file = place.Read();
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    LineReader lines(file);
    const std::optional<std::string> digest = DigestIn(lines);
    if (!digest) {
        return std::nullopt;
    }
    OutcomesRead read;
    read.digest = *digest;
    const bool isComplete = EndsComplete(file);
    for (std::string line; lines.Next(line);) {
        if (isComplete &&
            (line.starts_with(FindingPrefix) || line.starts_with(RefusedPrefix) || line.starts_with(WalkPrefix))) {
            continue;
        }
        try {
            if (lines.WasCut()) {
                throw std::invalid_argument("a line that was cut");
            }
            TakeOutcomesLine(line, read);
        } catch (const std::exception&) {
            ++read.damagedLines;
        }
    }
    if (read.damagedLines > 0) {
        read.validation.complete = false;
    }
    if (!read.validation.complete) {
        read.validation.outcomes.clear();
    }
    return read;
}

}  // namespace salvor

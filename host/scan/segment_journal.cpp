#include "host/scan/segment_journal.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <span>
#include <stdexcept>
#include <utility>

#include "frame/contract/FileTypeCatalog.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"
#include "host/scan/journal.h"

namespace salvor {

namespace {

constexpr const char* FormatName = "salvor-segment";
constexpr int FormatVersion = 1;

// A fixed number of integers: the ends of a range, the fields of a find.
template <std::size_t Count>
using Row = std::array<std::int64_t, Count>;

// The cryptographic library opens files, which a worker must not do.
std::uint32_t AddToSum(std::uint32_t sum, const std::string& lines) {
    return static_cast<std::uint32_t>(
        crc32_z(sum, static_cast<const Bytef*>(static_cast<const void*>(lines.data())), lines.size()));
}

// Lines to be written to a file, and their checksum.
class SummedLines {
public:
    explicit SummedLines(File& file) : file_(file) {}

    void Add(const std::string& lines) {
        constexpr std::size_t mostPending = std::size_t{1} << 20U;
        pending_ += lines;
        if (pending_.size() > mostPending) {
            Flush();
        }
    }

    bool End() {
        Flush();
        const std::string last = JsonLine({{"record", "end"}, {"crc32", sum_}});
        return isWritten_ && file_.Write(last.data(), last.size());
    }

private:
    void Flush() {
        const std::string lines = std::exchange(pending_, {});
        sum_ = AddToSum(sum_, lines);
        isWritten_ = isWritten_ && file_.Write(lines.data(), lines.size());
    }

    File& file_;
    std::uint32_t sum_ = 0;
    std::string pending_;
    bool isWritten_ = true;
};

template <class Items, class ToRow>
void AddRows(SummedLines& lines, const char* record, const Items& items, ToRow&& toRow) {
    constexpr std::size_t mostOfALine = 4096;
    Json rows = Json::array();
    for (const auto& item : items) {
        rows.push_back(toRow(item));
        if (rows.size() == mostOfALine || &item == &items.back()) {
            lines.Add(JsonLine({{"record", record}, {"rows", rows}}));
            rows.clear();
        }
    }
}

void AddScan(SummedLines& lines, const TypeScan& scan) {
    lines.Add(JsonLine({{"record", "scan"}, {"type", scan.type}, {"rows", {{scan.blocks.first, scan.blocks.end}}}}));
    AddRows(lines, "restless", scan.restless, [](BlockRange range) { return Row<2>{range.first, range.end}; });
    AddRows(lines, "guessed", scan.guessed, [](std::int64_t block) { return Row<1>{block}; });
    AddRows(lines, "finds", scan.finds, [](const PlacedFind& placed) {
        return Row<3>{placed.part, placed.find.startSector, placed.find.size};
    });
}

// The readers below throw `std::invalid_argument` or a JSON exception for a record that makes no sense.
void Require(bool isGood) {
    if (!isGood) {
        throw std::invalid_argument("not a record of a segment journal");
    }
}

template <std::size_t Count>
std::vector<Row<Count>> RowsOf(const Json& record) {
    std::vector<Row<Count>> rows;
    for (const Json& from : record.at("rows")) {
        Require(from.is_array() && from.size() == Count);
        for (std::size_t i = 0; i < Count; ++i) {
            Require(from[i].is_number_integer());
        }
        rows.push_back(from.get<Row<Count>>());
    }
    return rows;
}

BlockRange BlocksOf(const Row<2>& row, std::int64_t blockCount) {
    Require(0 <= row[0] && row[0] < row[1] && row[1] <= blockCount);
    return {row[0], row[1]};
}

// Takes a record about the most recent scan.
void TakeOfScan(const Json& record, const ScanGrid& grid, TypeScan& scan) {
    if (record.at("record") == "restless") {
        for (const auto& [first, end] : RowsOf<2>(record)) {
            const std::int64_t behind = scan.restless.empty() ? scan.blocks.first : scan.restless.back().end;
            Require(behind < first && first < end && end <= scan.blocks.end + 1);
            scan.restless.push_back({first, end});
        }
    } else if (record.at("record") == "guessed") {
        for (const auto& [block] : RowsOf<1>(record)) {
            const std::int64_t behind = scan.guessed.empty() ? scan.blocks.first - 1 : scan.guessed.back();
            Require(behind < block && block < scan.blocks.end);
            scan.guessed.push_back(block);
        }
    } else {
        const SectorRange sectors = grid.SectorsOf(scan.blocks);
        for (const auto& [part, start, size] : RowsOf<3>(record)) {
            Require(sectors.first <= part && part < sectors.first + sectors.count);
            scan.finds.push_back({{scan.type, start, size}, part});
        }
    }
}

void TakeRecord(const Json& record, const ScanGrid& grid, SegmentScan& segment) {
    const auto kind = record.at("record").get<std::string>();
    if (kind == "scan") {
        const std::int64_t type = IntegerIn(record, "type");
        Require(0 <= type && type < FileTypeCount && RowsOf<2>(record).size() == 1);
        segment.scans.push_back({.type = static_cast<std::int32_t>(type),
                                 .blocks = BlocksOf(RowsOf<2>(record).front(), grid.BlockCount())});
    } else if (kind == "restless" || kind == "guessed" || kind == "finds") {
        Require(!segment.scans.empty());
        TakeOfScan(record, grid, segment.scans.back());
    } else if (kind == "set_aside") {
        const std::int64_t type = IntegerIn(record, "type");
        Require(StartsType <= type && type < FileTypeCount && RowsOf<2>(record).size() == 1);
        segment.setAside.push_back({static_cast<std::int32_t>(type),
                                    BlocksOf(RowsOf<2>(record).front(), grid.BlockCount()),
                                    record.at("why").get<std::string>()});
    } else {
        Require(TakeSightings(record, segment.seen));
    }
}

bool IsAscending(const std::vector<SectorRange>& ranges) {
    std::int64_t end = 0;
    return std::ranges::all_of(
        ranges, [&](SectorRange range) { return range.first >= std::exchange(end, range.first + range.count); });
}

// Joining relies on ascending order.
bool IsAscending(const Sightings& seen, SectorRange sectors) {
    std::int64_t last = sectors.first - 1;
    const bool startsAscend = std::ranges::all_of(seen.starts, [&](std::int64_t start) {
        return start > std::exchange(last, start) && start - sectors.first < sectors.count;
    });
    return startsAscend && IsAscending(seen.textStarts) && IsAscending(seen.zeros);
}

// Why the journal does not belong to this scan; empty if it does.
std::string WhyOfAnother(const Json& header, const ScanKey& key) {
    if (header.at("format") != FormatName) {
        return "it is not a segment journal";
    }
    if (header.at("version") != FormatVersion || header.at("program") != key.program) {
        return "it was written by another version of the program";
    }
    if (header.at("medium") != key.medium) {
        return "it is of another medium";
    }
    return header.at("options") == key.options ? "" : "it is of a scan with other options";
}

}  // namespace

bool WriteSegment(File& file, const ScanKey& key, const SegmentScan& segment) {
    SummedLines lines(file);
    lines.Add(JsonLine({{"record", "header"},
                        {"format", FormatName},
                        {"version", FormatVersion},
                        {"program", key.program},
                        {"medium", key.medium},
                        {"options", key.options},
                        {"with_starts", segment.withStarts},
                        {"rows", {{segment.blocks.first, segment.blocks.end}}}}));
    for (const TypeScan& scan : segment.scans) {
        AddScan(lines, scan);
    }
    for (const BlocksSetAside& aside : segment.setAside) {
        lines.Add(JsonLine({{"record", "set_aside"},
                            {"type", aside.type},
                            {"why", aside.why},
                            {"rows", {{aside.blocks.first, aside.blocks.end}}}}));
    }
    lines.Add(SightingLines(segment.seen));
    return lines.End();
}

SegmentRead ReadSegment(File& file, const ScanKey& key, const ScanGrid& grid) {
    SegmentRead damaged{std::nullopt, "it is cut or damaged"};
    LineReader lines(file);
    std::string line;
    std::uint32_t sum = 0;
    SegmentScan segment;
    bool isFirst = true;
    try {
        while (lines.Next(line) && !lines.WasCut()) {
            const Json record = ParseJsonLine(line);
            if (isFirst) {
                if (std::string why = WhyOfAnother(record, key); !why.empty()) {
                    return {std::nullopt, std::move(why)};
                }
                segment.withStarts = record.at("with_starts").get<bool>();
                segment.blocks = BlocksOf(RowsOf<2>(record).at(0), grid.BlockCount());
                isFirst = false;
            } else if (record.at("record") == "end") {
                const bool isWhole =
                    record.at("crc32") == sum && !lines.Next(line) && IsAscending(segment.seen, grid.range);
                return isWhole ? SegmentRead{std::move(segment), ""} : damaged;
            } else {
                TakeRecord(record, grid, segment);
            }
            line += '\n';
            sum = AddToSum(sum, line);
        }
    } catch (const std::exception&) {
        return damaged;
    }
    return damaged;
}

std::optional<BlockRange> ReadSegmentBlocks(File& file, const ScanKey& key, const ScanGrid& grid) {
    LineReader lines(file);
    std::string line;
    try {
        if (lines.Next(line)) {
            const Json header = ParseJsonLine(line);
            if (WhyOfAnother(header, key).empty()) {
                return BlocksOf(RowsOf<2>(header).at(0), grid.BlockCount());
            }
        }
    } catch (const std::exception&) {
        // The error is reported when the journal is read whole.
    }
    return std::nullopt;
}

}  // namespace salvor

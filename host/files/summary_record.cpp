#include "host/files/summary_record.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/device_facts.h"

namespace salvor {

namespace {

// The areas that the medium's format knows to be zeros, at the resolution of the page's map. Reads nothing.
std::vector<SectorRange> KnownZeros(Medium& medium) {
    constexpr std::size_t mostRanges = 4096;
    const std::int64_t step = std::max<std::int64_t>(medium.SectorCount() / 65536, 1);
    std::vector<SectorRange> zeros;
    for (std::int64_t sector = 0; sector < medium.SectorCount() && zeros.size() < mostRanges;) {
        const std::int64_t count = medium.ZeroSectorsFrom(sector);
        if (count >= step) {
            zeros.push_back({sector, count});
        }
        sector += std::max(count, step);
    }
    return zeros;
}

// Adds the parts of the range that could be read.
void AddReadable(SectorRange range, const SectorRangeSet& unreadable, std::vector<SectorRange>& readable) {
    const std::int64_t end = range.first + range.count;
    for (std::int64_t sector = range.first; sector < end;) {
        const SectorRange bad = unreadable.NextFrom(sector);
        const std::int64_t next = bad.count > 0 ? std::clamp(bad.first, sector, end) : end;
        if (next > sector) {
            readable.push_back({sector, next - sector});
        }
        sector = std::max(next, bad.first + bad.count);
    }
}

// The areas that the scan has read as zeros; if there are very many, the longest.
std::vector<SectorRange> ReadZeros(const std::vector<SectorRange>& zeros, const SectorRangeSet& unreadable) {
    constexpr std::ptrdiff_t mostRanges = 4096;
    std::vector<SectorRange> ranges;
    for (const SectorRange& zero : zeros) {
        AddReadable(zero, unreadable, ranges);
    }
    if (std::ssize(ranges) > mostRanges) {
        std::ranges::nth_element(ranges, ranges.begin() + mostRanges, std::ranges::greater(), &SectorRange::count);
        ranges.resize(mostRanges);
        std::ranges::sort(ranges, {}, &SectorRange::first);
    }
    return ranges;
}

// What the system knows of the disk; null for an image.
Json DeviceRecord(const std::string& path) {
    const std::optional<DeviceFacts> facts = FactsOfDevice(path);
    return facts ? Json{{"model", facts->model},
                        {"serial", facts->serial},
                        {"logical_sector_size", facts->logicalSectorSize},
                        {"physical_sector_size", facts->physicalSectorSize}}
                 : Json();
}

}  // namespace

Json SummaryRecord(const ExtractTotals& totals, const FolderCounts& earlier, Medium& medium, const FindsOrigin& origin,
                   bool complete) {
    FolderCounts all = earlier;
    all.Add(totals.there);
    Json byExtension = Json::object();
    for (const auto& [extension, counts] : all.byExtension) {
        byExtension[extension] = CountsToJson(counts);
    }
    Json text = CountsToJson(all.text);
    text["pieces"] = all.pieces;
    Json record{{"record", "summary"},
                {"ended", complete ? "complete" : "stopped"},
                {"image", origin.image.path},
                {"image_size", medium.SizeInBytes()},
                {"sector_size", medium.SectorSize()},
                {"device", DeviceRecord(origin.image.path)},
                {"scan_complete", origin.scanComplete},
                {"set_aside", origin.setAside},
                {"files", all.files},
                {"already_there", totals.alreadyThere},
                {"of_earlier_runs", earlier.files},
                {"failed", totals.failed},
                {"bytes", all.bytes},
                {"by_extension", byExtension},
                {"text", text},
                {"not_written", totals.passedOver},
                {"unreadable_sectors", medium.Unreadable().SectorCount()},
                {"unreadable", RangesToJson(medium.Unreadable().Ranges())},
                {"known_zeros", RangesToJson(KnownZeros(medium))},
                {"zeros", RangesToJson(ReadZeros(origin.zeros, medium.Unreadable()))}};
    if (origin.image.format) {
        record["image_format"] = ImageFormatWord(*origin.image.format);
    }
    return record;
}

}  // namespace salvor

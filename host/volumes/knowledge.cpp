#include "host/volumes/knowledge.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/records/json_lines.h"

namespace salvor {

namespace {

// The most ranges on one line.
constexpr std::size_t MostRanges = 1000;

bool IsOn(SectorRange range, std::int64_t sectorCount) {
    return range.first < sectorCount && range.count <= sectorCount - range.first;
}

Volume VolumeIn(const Json& record, std::int64_t sectorCount) {
    Volume volume;
    volume.number = static_cast<std::int32_t>(IntegerIn(record, "number"));
    volume.sectors = {IntegerIn(record, "first"), IntegerIn(record, "count")};
    volume.description = record.at("description").get<std::string>();
    volume.fileSystem = record.at("file_system").get<std::string>();
    volume.isReadable = record.at("readable").get<bool>();
    volume.clusterBytes = IntegerIn(record, "cluster");
    volume.firstCluster = IntegerIn(record, "first_cluster");
    if (volume.sectors.first < 0 || volume.sectors.count < 1 || !IsOn(volume.sectors, sectorCount)) {
        throw std::invalid_argument("no sectors");
    }
    return volume;
}

KnownFile FileIn(const Json& record, std::int64_t sectorCount, std::int64_t sectorSize) {
    KnownFile file;
    file.volume = static_cast<std::int32_t>(IntegerIn(record, "volume"));
    file.path = record.at("path").get<std::string>();
    file.size = IntegerIn(record, "size");
    file.isDeleted = record.at("deleted").get<bool>();
    file.isGuess = record.at("guess").get<bool>();
    file.isPacked = record.at("packed").get<bool>();
    file.isComplete = record.at("complete").get<bool>();
    file.timesAreLocal = record.at("local").get<bool>();
    for (const auto& [name, field] : TimeFields) {
        if (record.at("times").contains(name)) {
            file.times.*field = IntegerIn(record.at("times"), name);
        }
    }
    auto extents = ExtentsFromJson(record, "extents");
    if (!extents || extents->empty() || extents->front().IsHole() || file.size < 1) {
        throw std::invalid_argument("no extents");
    }
    for (const Extent& extent : *extents) {
        const bool isLast = &extent == &extents->back();
        const bool isEven = extent.bytes % sectorSize == 0;
        const bool isOn =
            extent.IsHole() || IsOn({extent.startSector, (extent.bytes + sectorSize - 1) / sectorSize}, sectorCount);
        if (!isOn || (!isEven && !isLast)) {
            throw std::invalid_argument("no extents of the medium");
        }
    }
    file.extents = *std::move(extents);
    return file;
}

void AddRanges(const Json& record, std::int64_t sectorCount, std::vector<SectorRange>& list) {
    const auto ranges = RangesFromJson(record, "sectors");
    if (!ranges || !std::ranges::all_of(*ranges, [&](SectorRange one) { return IsOn(one, sectorCount); })) {
        throw std::invalid_argument("no ranges");
    }
    list.insert(list.end(), ranges->begin(), ranges->end());
}

}  // namespace

SectorRangeSet SetOf(const std::vector<SectorRange>& ranges) {
    SectorRangeSet set;
    std::ranges::for_each(ranges, [&set](SectorRange one) { set.Add(one); });
    return set;
}

VolumeLines::VolumeLines(std::function<void(const std::string&)> take, std::function<bool()> stopRequested)
    : take_(std::move(take)), stopRequested_(std::move(stopRequested)) {}

void VolumeLines::OnVolume(const Volume& volume) {
    take_(JsonLine({{"record", "volume"},
                    {"number", volume.number},
                    {"first", volume.sectors.first},
                    {"count", volume.sectors.count},
                    {"description", volume.description},
                    {"file_system", volume.fileSystem},
                    {"readable", volume.isReadable},
                    {"cluster", volume.clusterBytes},
                    {"first_cluster", volume.firstCluster}}));
}

void VolumeLines::OnUsed(SectorRange sectors) {
    used_.push_back(sectors);
    if (used_.size() == MostRanges) {
        Flush(used_, "used");
    }
}

void VolumeLines::OnSlack(SectorRange sectors) {
    slack_.push_back(sectors);
    if (slack_.size() == MostRanges) {
        Flush(slack_, "slack");
    }
}

void VolumeLines::OnFile(const KnownFile& file) {
    std::string times;
    for (const auto& [name, field] : TimeFields) {
        if (file.times.*field) {
            times += fmt::format(R"({}"{}":{})", times.empty() ? "" : ",", name, *(file.times.*field));
        }
    }
    take_(fmt::format(R"({{"record":"known","volume":{},"path":{},"size":{},"deleted":{},"guess":{},"packed":{},)"
                      R"("complete":{},"local":{},"times":{{{}}},"extents":{}}})"
                      "\n",
                      file.volume, JsonText(file.path), file.size, file.isDeleted, file.isGuess, file.isPacked,
                      file.isComplete, file.timesAreLocal, times, ExtentsToJson(file.extents).dump()));
}

void VolumeLines::OnOutOfReach(OutOfReach files) {
    take_(JsonLine({{"record", "out_of_reach"}, {"volume", files.volume}, {"files", files.files}}));
}

void VolumeLines::End() {
    Flush(used_, "used");
    Flush(slack_, "slack");
}

void VolumeLines::Flush(std::vector<SectorRange>& ranges, const char* record) {
    if (!ranges.empty()) {
        take_(JsonLine({{"record", record}, {"sectors", RangesToJson(ranges)}}));
        ranges.clear();
    }
}

bool AddLine(const std::string& line, const Medium& medium, Knowledge& knowledge) {
    const std::int64_t sectorCount = medium.SectorCount();
    try {
        const Json record = ParseJsonLine(line);
        const auto kind = record.at("record").get<std::string>();
        if (kind == "volume") {
            knowledge.volumes.push_back(VolumeIn(record, sectorCount));
        } else if (kind == "used") {
            AddRanges(record, sectorCount, knowledge.used);
        } else if (kind == "slack") {
            AddRanges(record, sectorCount, knowledge.slack);
        } else if (kind == "known") {
            knowledge.files.push_back(FileIn(record, sectorCount, medium.SectorSize()));
        } else if (kind == "out_of_reach") {
            knowledge.outOfReach.push_back(
                {static_cast<std::int32_t>(IntegerIn(record, "volume")), IntegerIn(record, "files")});
        } else {
            return false;
        }
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

}  // namespace salvor

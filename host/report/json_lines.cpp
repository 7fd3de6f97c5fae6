#include "host/report/json_lines.h"

#include <stdexcept>

namespace salvor {

namespace {

// A list of where something begins on a medium and how long it is; nothing for numbers that no medium has.
template <class Pair>
std::optional<std::vector<Pair>> PairsFromJson(const Json& record, const char* key, const char* start,
                                               const char* length) {
    constexpr std::int64_t most = std::int64_t{1} << 61U;
    const auto list = record.find(key);
    if (list == record.end() || !list->is_array()) {
        return std::nullopt;
    }
    const auto numberIn = [](const Json& pair, const char* name) -> std::int64_t {
        const auto field = pair.is_object() ? pair.find(name) : pair.end();
        return field != pair.end() && field->is_number_integer() ? field->get<std::int64_t>() : -1;
    };
    std::vector<Pair> pairs;
    for (const Json& one : *list) {
        const std::int64_t from = numberIn(one, start);
        const std::int64_t count = numberIn(one, length);
        if (from < 0 || from > most || count < 1 || count > most) {
            return std::nullopt;
        }
        pairs.push_back({from, count});
    }
    return pairs;
}

}  // namespace

std::string JsonLine(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

Json ParseJsonLine(const std::string& line) { return Json::parse(line, nullptr, false); }

std::int64_t IntegerIn(const Json& record, const char* key) {
    const Json& value = record.at(key);
    if (!value.is_number_integer()) {
        throw std::invalid_argument("no whole number");
    }
    return value.get<std::int64_t>();
}

Json RangesToJson(const std::vector<SectorRange>& ranges) {
    Json list = Json::array();
    for (const SectorRange& range : ranges) {
        list.push_back({{"first", range.first}, {"count", range.count}});
    }
    return list;
}

Json ExtentsToJson(const std::vector<Extent>& extents) {
    Json list = Json::array();
    for (const Extent& extent : extents) {
        list.push_back({{"start_sector", extent.startSector}, {"bytes", extent.bytes}});
    }
    return list;
}

std::optional<std::vector<Extent>> ExtentsFromJson(const Json& record, const char* key) {
    return PairsFromJson<Extent>(record, key, "start_sector", "bytes");
}

std::optional<std::vector<SectorRange>> RangesFromJson(const Json& record, const char* key) {
    return PairsFromJson<SectorRange>(record, key, "first", "count");
}

}  // namespace salvor

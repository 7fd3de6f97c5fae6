#include "host/report/json_lines.h"

namespace salvor {

std::string JsonLine(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

Json ParseJsonLine(const std::string& line) { return Json::parse(line, nullptr, false); }

Json RangesToJson(const std::vector<SectorRange>& ranges) {
    Json list = Json::array();
    for (const SectorRange& range : ranges) {
        list.push_back({{"first", range.first}, {"count", range.count}});
    }
    return list;
}

std::optional<std::vector<SectorRange>> RangesFromJson(const Json& record, const char* key) {
    constexpr std::int64_t most = std::int64_t{1} << 61U;
    const auto list = record.find(key);
    if (list == record.end() || !list->is_array()) {
        return std::nullopt;
    }
    const auto numberIn = [](const Json& range, const char* name) -> std::int64_t {
        const auto field = range.is_object() ? range.find(name) : range.end();
        return field != range.end() && field->is_number_integer() ? field->get<std::int64_t>() : -1;
    };
    std::vector<SectorRange> ranges;
    for (const Json& range : *list) {
        const SectorRange sectors{numberIn(range, "first"), numberIn(range, "count")};
        if (sectors.first < 0 || sectors.first > most || sectors.count < 1 || sectors.count > most) {
            return std::nullopt;
        }
        ranges.push_back(sectors);
    }
    return ranges;
}

}  // namespace salvor

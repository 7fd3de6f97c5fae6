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

}  // namespace salvor

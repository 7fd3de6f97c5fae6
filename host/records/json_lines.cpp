#include "host/records/json_lines.h"

#include <simdjson.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "host/records/line_log.h"

namespace salvor {

namespace {

// A count that is possible for a medium; -1 for anything else.
std::int64_t NumberIn(const Json& object, const char* name) {
    constexpr std::int64_t most = std::int64_t{1} << 61U;
    const auto field = object.is_object() ? object.find(name) : object.end();
    const std::int64_t number = field != object.end() && field->is_number_integer() ? field->get<std::int64_t>() : -1;
    return number >= 0 && number <= most ? number : -1;
}

std::optional<std::int64_t> StartIn(const Json& object, const char* name) {
    const std::int64_t start = NumberIn(object, name);
    return start < 0 ? std::nullopt : std::optional(start);
}

// A list of starts and lengths on a medium; nothing for impossible numbers. `startOf` gives the start of an element.
template <class Pair, class StartOf>
std::optional<std::vector<Pair>> PairsFromJson(const Json& record, const char* key, const char* length,
                                               StartOf startOf) {
    const auto list = record.find(key);
    if (list == record.end() || !list->is_array()) {
        return std::nullopt;
    }
    std::vector<Pair> pairs;
    for (const Json& one : *list) {
        const std::int64_t count = NumberIn(one, length);
        const std::optional<std::int64_t> from = startOf(one);
        if (!from || count < 1) {
            return std::nullopt;
        }
        pairs.push_back({*from, count});
    }
    return pairs;
}

Json ValueOf(simdjson::dom::element element);

Json ObjectOf(const simdjson::dom::object& fields) {
    Json value = Json::object();
    auto& members = value.get_ref<Json::object_t&>();
    members.reserve(fields.size());
    for (const auto& [name, field] : fields) {
        members.emplace_back(std::string(name), ValueOf(field));
    }
    return value;
}

Json ArrayOf(const simdjson::dom::array& elements) {
    Json value = Json::array();
    auto& members = value.get_ref<Json::array_t&>();
    members.reserve(elements.size());
    for (const simdjson::dom::element element : elements) {
        members.push_back(ValueOf(element));
    }
    return value;
}

// The parser limits how deep values lie in each other.
Json ValueOf(simdjson::dom::element element) {
    using simdjson::dom::element_type;
    switch (element.type()) {
        case element_type::OBJECT:
            return ObjectOf(element.get_object().value());
        case element_type::ARRAY:
            return ArrayOf(element.get_array().value());
        case element_type::STRING:
            return std::string(element.get_string().value());
        case element_type::INT64:
            return element.get_int64().value();
        case element_type::UINT64:
            return element.get_uint64().value();
        case element_type::DOUBLE:
            return element.get_double().value();
        case element_type::BOOL:
            return element.get_bool().value();
        case element_type::NULL_VALUE:
            break;
    }
    return nullptr;
}

}  // namespace

std::string JsonLine(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

std::string JsonText(const std::string& text) {
    const bool isPlain =
        std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
    return isPlain ? '"' + text + '"' : Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json ParseJsonLine(const std::string& line) {
    // What the fast parser keeps ready is many times as large as the line.
    constexpr std::size_t longest = std::size_t{1} << 20U;
    if (line.size() > longest) {
        return Json::parse(line, nullptr, false);
    }
    thread_local simdjson::dom::parser parser;
    try {
        return ValueOf(parser.parse(line).value());
    } catch (const simdjson::simdjson_error&) {
        return Json(Json::value_t::discarded);
    }
}

void ForEachRecord(File& file, const std::function<void(const Json& record)>& take) {
    LineReader lines(file);
    for (std::string line; lines.Next(line);) {
        try {
            take(ParseJsonLine(line));
        } catch (const Json::exception&) {
        } catch (const std::invalid_argument&) {
        }
    }
}

std::int64_t IntegerOf(const Json& value) {
    if (!value.is_number_integer()) {
        throw std::invalid_argument("no whole number");
    }
    return value.get<std::int64_t>();
}

std::int64_t IntegerIn(const Json& record, const char* key) { return IntegerOf(record.at(key)); }

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
        // A list in braces makes three values of each member.
        auto& members = list.emplace_back(Json::object()).get_ref<Json::object_t&>();
        members.reserve(2);
        if (extent.IsHole()) {
            members.emplace_back("zeros", true);
        } else {
            members.emplace_back("start_sector", extent.startSector);
        }
        members.emplace_back("bytes", extent.bytes);
    }
    return list;
}

std::optional<std::vector<Extent>> ExtentsFromJson(const Json& record, const char* key) {
    return PairsFromJson<Extent>(record, key, "bytes", [](const Json& extent) {
        const bool isHole = extent.is_object() && extent.contains("zeros") && extent["zeros"] == true;
        return isHole ? std::optional(Extent::Nowhere) : StartIn(extent, "start_sector");
    });
}

std::optional<std::vector<SectorRange>> RangesFromJson(const Json& record, const char* key) {
    return PairsFromJson<SectorRange>(record, key, "count", [](const Json& range) { return StartIn(range, "first"); });
}

Json CapsToJson(const std::map<std::int32_t, std::int64_t>& caps) {
    Json list = Json::array();
    for (const auto& [type, cap] : caps) {
        list.push_back({type, cap});
    }
    return list;
}

std::map<std::int32_t, std::int64_t> CapsFromJson(const Json& caps) {
    std::map<std::int32_t, std::int64_t> read;
    for (const Json& cap : caps) {
        read[cap.at(0).get<std::int32_t>()] = cap.at(1).get<std::int64_t>();
    }
    return read;
}

}  // namespace salvor

#include "host/records/image_record.h"

#include <fmt/format.h>

#include <stdexcept>

namespace salvor {

namespace {

void AddPath(Json& fields, const std::string& key, const std::string& path) {
    try {
        Json(path).dump();
        fields[key] = path;
    } catch (const Json::exception&) {
        std::string digits;
        for (const char byte : path) {
            digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
        }
        fields[key + "_hex"] = digits;
    }
}

std::string PathFrom(const Json& fields, const std::string& key) {
    if (fields.contains(key)) {
        return fields.at(key).get<std::string>();
    }
    const auto digits = fields.at(key + "_hex").get<std::string>();
    std::string path;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        path += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return path;
}

}  // namespace

Json ImageSpecToJson(const ImageSpec& spec) {
    Json fields = Json::object();
    AddPath(fields, "path", spec.path);
    if (spec.format) {
        fields["format"] = ImageFormatWord(*spec.format);
    }
    if (!spec.map.empty()) {
        AddPath(fields, "map", spec.map);
    }
    return fields;
}

ImageSpec ImageSpecFromJson(const Json& fields) {
    ImageSpec spec{PathFrom(fields, "path")};
    if (fields.contains("format")) {
        spec.format = ImageFormatNamed(fields.at("format").get<std::string>());
        if (!spec.format) {
            throw std::invalid_argument("no format of images");
        }
    }
    if (fields.contains("map") || fields.contains("map_hex")) {
        spec.map = PathFrom(fields, "map");
    }
    return spec;
}

}  // namespace salvor

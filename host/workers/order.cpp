#include "host/workers/order.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "host/workers/worker_page.h"

namespace salvor {

MediumAccess AccessTo(const Medium& medium, const ImageSpec& image) {
    return {image, medium.Descriptors(), medium.SectorSize(), medium.SkipsInside(), medium.Unreadable().Ranges()};
}

std::string ToLine(const Order& order) {
    return JsonLine({{"kind", order.kind},
                     {"what", order.what},
                     {"image", ImageSpecToJson(order.medium.image)},
                     {"descriptors", order.medium.descriptors.size()},
                     {"sector_size", order.medium.sectorSize},
                     {"skip_bad", order.medium.skipBad},
                     {"unreadable", RangesToJson(order.medium.unreadable)},
                     {"memory", order.memory}});
}

Order OrderIn(const std::string& line) {
    const Json record = ParseJsonLine(line);
    Order order;
    order.kind = record.at("kind").get<std::string>();
    order.what = record.at("what");
    order.medium.image = ImageSpecFromJson(record.at("image"));
    // They were passed on as these numbers.
    const auto descriptors = std::min(record.at("descriptors").get<std::size_t>(), std::size_t{1024});
    order.medium.descriptors.resize(descriptors);
    std::iota(order.medium.descriptors.begin(), order.medium.descriptors.end(), FirstMediumDescriptor);
    order.medium.sectorSize = record.at("sector_size").get<std::int32_t>();
    order.medium.skipBad = record.at("skip_bad").get<bool>();
    const auto unreadable = RangesFromJson(record, "unreadable");
    if (!unreadable) {
        throw std::invalid_argument("no ranges");
    }
    order.medium.unreadable = *unreadable;
    order.memory = record.at("memory").get<std::int64_t>();
    return order;
}

}  // namespace salvor

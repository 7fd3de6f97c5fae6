#include "host/workers/order.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "host/records/image_record.h"
#include "host/workers/worker_page.h"

namespace salvor {

MediumAccess AccessTo(const Medium& medium, const ImageSpec& image, std::shared_ptr<const Space> space) {
    return {
        image,           medium.Descriptors(), medium.SectorSize(), medium.SkipsInside(), medium.Unreadable().Ranges(),
        std::move(space)};
}

std::string ToLine(const Order& order) {
    // Each piece takes 16 bytes, twice while it is read, plus what vectors reserve.
    constexpr std::int64_t pieceBytes = 48;
    const std::int64_t spaceBytes =
        order.medium.space ? static_cast<std::int64_t>(order.medium.space->PieceCount()) * pieceBytes : 0;
    return JsonLine({{"kind", order.kind},
                     {"what", order.what},
                     {"image", ImageSpecToJson(order.medium.image)},
                     {"descriptors", order.medium.descriptors.size()},
                     {"sector_size", order.medium.sectorSize},
                     {"skip_bad", order.medium.skipBad},
                     {"unreadable", RangesToJson(order.medium.unreadable)},
                     {"memory", order.memory + spaceBytes}});
}

Order OrderIn(const std::string& line) {
    const Json record = ParseJsonLine(line);
    Order order;
    order.kind = record.at("kind").get<std::string>();
    order.what = record.at("what");
    order.medium.image = ImageSpecFromJson(record.at("image"));
    // The descriptors were passed with these numbers.
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

#include "TiffBuilder.h"

#include <algorithm>

namespace salvor::test {

void PutNumber(Bytes& bytes, std::size_t place, std::uint32_t value, std::size_t width, ByteOrder order) {
    bytes.resize(std::max(bytes.size(), place + width));
    for (std::size_t i = 0; i < width; ++i) {
        bytes[place + (order == ByteOrder::Little ? i : width - 1 - i)] = static_cast<std::uint8_t>(value >> 8 * i);
    }
}

TiffBuilder::TiffBuilder(ByteOrder order) : order_(order) {
    Append(order == ByteOrder::Little ? 0x4949 : 0x4D4D, 2);
    Append(42, 2);
    Append(0, 4);
}

std::uint32_t TiffBuilder::Add(const std::vector<TiffField>& fields, std::uint32_t next) {
    const auto widthOf = [](const TiffField& field) {
        return std::size_t{field.type == Short ? 2U : 4U};
    };
    const auto isInline = [&](const TiffField& field) {
        return field.count != 0 || field.values.size() * widthOf(field) <= 4;
    };
    std::vector<std::uint32_t> places;
    for (const TiffField& field : fields) {
        places.push_back(Next());
        for (std::size_t i = 0; !isInline(field) && i < field.values.size(); ++i) {
            Append(field.values[i], widthOf(field));
        }
    }
    const std::uint32_t start = Next();
    Append(static_cast<std::uint32_t>(fields.size()), 2);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const TiffField& field = fields[i];
        Append(field.tag, 2);
        Append(field.type, 2);
        Append(field.count != 0 ? field.count : static_cast<std::uint32_t>(field.values.size()), 4);
        const std::size_t place = bytes_.size();
        Append(isInline(field) ? 0 : places[i], 4);
        for (std::size_t k = 0; isInline(field) && k < field.values.size(); ++k) {
            const std::size_t width = field.count != 0 ? 4 : widthOf(field);
            PutNumber(bytes_, place + k * width, field.values[k], width, order_);
        }
    }
    Append(next, 4);
    return start;
}

Bytes TiffBuilder::Finish(std::uint32_t first) {
    PutNumber(bytes_, 4, first, 4, order_);
    return bytes_;
}

}  // namespace salvor::test

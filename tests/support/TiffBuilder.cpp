#include "tests/support/TiffBuilder.h"

#include <algorithm>
#include <array>

namespace test {

namespace {

std::size_t WidthOf(std::uint16_t type) {
    // By type, from BYTE to DOUBLE and IFD; the two of rationals are given as separate values.
    constexpr std::array<std::size_t, 14> widths{1, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 4, 4};
    return type < widths.size() ? widths[type] : 1;
}

}  // namespace

TiffBuilder::TiffBuilder(bool bigEndian, const Bytes& afterHeader) : bigEndian_(bigEndian) {
    file_ = BytesOf(bigEndian ? "MM" : "II");
    Put(42, 2);
    Put(0, 4);
    file_.insert(file_.end(), afterHeader.begin(), afterHeader.end());
}

std::uint32_t TiffBuilder::Append(const Bytes& data) {
    file_.resize((file_.size() + 1) / 2 * 2);
    const auto offset = static_cast<std::uint32_t>(file_.size());
    file_.insert(file_.end(), data.begin(), data.end());
    return offset;
}

std::uint32_t TiffBuilder::Add(const std::vector<TiffField>& fields, std::uint32_t next) {
    constexpr std::size_t inlineBytes = 4;
    std::vector<std::uint32_t> offsets;
    for (const TiffField& field : fields) {
        const std::size_t width = WidthOf(field.type);
        const bool isElsewhere = field.count != 0;
        offsets.push_back(isElsewhere ? field.values[0] : Append({}));
        if (!isElsewhere && width * field.values.size() > inlineBytes) {
            std::ranges::for_each(field.values, [&](std::uint32_t value) { Put(value, width); });
        }
    }
    const std::uint32_t start = Append({});
    Put(static_cast<std::uint32_t>(fields.size()), 2);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const TiffField& field = fields[i];
        const std::size_t width = WidthOf(field.type);
        Put(field.tag, 2);
        Put(field.type, 2);
        Put(field.count != 0 ? field.count : static_cast<std::uint32_t>(field.values.size()), 4);
        const std::size_t valueField = file_.size();
        if (field.count != 0 || width * field.values.size() > inlineBytes) {
            Put(offsets[i], 4);
        } else {
            std::ranges::for_each(field.values, [&](std::uint32_t value) { Put(value, width); });
            file_.resize(valueField + inlineBytes);
        }
    }
    Put(next, 4);
    return start;
}

std::uint32_t TiffBuilder::AppendDirectory(const std::vector<TiffField>& fields) {
    const std::uint32_t start = Add(fields);
    PutNumber(file_, link_, start, 4, bigEndian_);
    link_ = file_.size() - 4;
    return start;
}

Bytes TiffBuilder::Finish(std::uint32_t first) {
    PutNumber(file_, 4, first, 4, bigEndian_);
    return file_;
}

}  // namespace test

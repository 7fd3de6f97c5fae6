// Reads made-up images through this program's own readers of image formats.
//
// An input is a byte that chooses the reader, and the bytes of an image's file, the text of a rescue map, or the name
// of a part. make-seeds.py writes the same layout.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/Require.h"
#include "host/medium/image_format.h"
#include "host/medium/part_names.h"
#include "host/medium/qcow2_image.h"
#include "host/medium/rescue_map.h"

namespace {

using Input = std::span<const std::uint8_t>;

class InputFile : public salvor::MediumSource {
public:
    explicit InputFile(Input bytes) : bytes_(bytes) {}
    std::int64_t Size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        Require(offset >= 0, "a file has no bytes in front of its first");
        const std::int64_t left = std::max<std::int64_t>(Size() - offset, 0);
        const std::size_t got = std::min(length, static_cast<std::size_t>(left));
        std::copy_n(bytes_.begin() + std::min(offset, Size()), got, buffer);
        return got;
    }

private:
    Input bytes_;
};

std::unique_ptr<salvor::MediumSource> Open(Input bytes, bool hasBelow) {
    const auto below = [&](const std::string&, std::optional<salvor::ImageFormat>) {
        return hasBelow ? std::make_unique<InputFile>(bytes) : throw std::invalid_argument("none");
    };
    try {
        return OpenQcow2Image(std::make_unique<InputFile>(bytes), below);
    } catch (const std::invalid_argument&) {
        return nullptr;
    }
}

// Areas known to be zeros must read as zeros, and areas that exist must lie on the medium.
void ReadImage(Input bytes, bool hasBelow) {
    constexpr int mostRuns = 32;
    constexpr std::int64_t mostBytes = 100000;
    const auto image = Open(bytes, hasBelow);
    std::vector<std::uint8_t> buffer(mostBytes);
    const auto read = [&](std::int64_t from, std::int64_t count) {
        return image->ReadAt(from, buffer.data(), static_cast<std::size_t>(std::min(count, mostBytes)));
    };
    std::int64_t at = 0;
    for (int run = 0; image && run < mostRuns && at < image->Size(); ++run) {
        const salvor::ByteRange data = image->NextData(at);
        Require(data.first >= at && data.count >= 0 && data.first + data.count <= image->Size(), "data lie ahead");
        Require(data.count > 0 || data.first == image->Size(), "data end with the medium");
        const std::size_t zeros = read(at, data.first - at);
        Require(std::all_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(zeros),
                            [](std::uint8_t byte) { return byte == 0; }),
                "holes are zeros");
        read(data.first, data.count);
        at = data.first + data.count;
    }
}

void ReadMap(const std::string& text) {
    constexpr std::int64_t size = 1000001;
    try {
        const auto areas = salvor::RescuedAreas(text);
        std::int64_t end = 0;
        for (const salvor::SectorRange& range : salvor::SectorsOutside(areas, size, 512)) {
            Require(range.first >= end && range.count > 0, "ranges ascend");
            end = range.first + range.count;
        }
        Require(end <= size / 512 + 1, "ranges lie on the medium");
        Require(salvor::RescuedAreas(salvor::MapOfAreas(areas, size)) == areas, "a map is read as it was written");
    } catch (const std::invalid_argument&) {
        return;
    }
}

void ReadName(const std::string& name) {
    for (const std::string& next : salvor::NextPartNames(name)) {
        Require(next != name && !salvor::FirstPartNames(name).empty(), "parts have a first one");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const Input rest(data + 1, size - 1);
    const std::string text(rest.begin(), rest.end());
    switch (data[0] % 4) {
        case 0:
            ReadImage(rest, false);
            salvor::RecogniseFormat(rest, rest.last(std::min(rest.size(), salvor::FormatTailBytes)));
            break;
        case 1:
            ReadImage(rest, true);
            break;
        case 2:
            ReadMap(text);
            break;
        default:
            ReadName(text);
    }
    return 0;
}

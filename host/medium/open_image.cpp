#include "host/medium/open_image.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include <vector>

#include "host/medium/ewf_image.h"
#include "host/medium/image_formats.h"
#include "host/medium/qcow2_image.h"
#include "host/medium/rescue_map.h"
#include "host/platform/device.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// Why the device cannot be used as an image; empty if it can.
std::string WhyNot(const std::string& path, const Device& device) {
    constexpr const char* pipe =
        "a pipe cannot be read twice, and recovery must; save it first, as in 'COMMAND > card.img', and name that file";
    if (path == "-") {
        return pipe;
    }
    switch (device.Kind()) {
        case DeviceKind::Unopened:
            return device.Error().Text();
        case DeviceKind::Folder:
            return "it is a folder; name an image file or a block device";
        case DeviceKind::Pipe:
            return pipe;
        case DeviceKind::Other:
            return "it is neither a regular file nor a block device";
        default:
            return device.Size() == 0 ? "it is empty" : "";
    }
}

FormatSigns SignsOf(const Device& device) {
    std::vector<std::uint8_t> head(FormatHeadBytes);
    head.resize(device.ReadAt(0, head.data(), head.size()));
    std::vector<std::uint8_t> tail(FormatTailBytes);
    const std::int64_t tailAt = device.Size() - static_cast<std::int64_t>(tail.size());
    tail.resize(tailAt > 0 ? device.ReadAt(tailAt, tail.data(), tail.size()) : 0);
    return RecogniseFormat(head, tail);
}

void Require(const std::string& path, const std::string& whyNot) {
    if (!whyNot.empty()) {
        throw Failure(ExitStatus::NotStarted, fmt::format("cannot read the image '{}': {}", path, whyNot));
    }
}

ImageFormat FormatOf(const ImageSpec& spec, const Device& device) {
    if (spec.format) {
        return *spec.format;
    }
    const FormatSigns signs = SignsOf(device);
    if (!signs.unreadable.empty()) {
        Require(spec.path, signs.unreadable + "; to look through the file's own bytes, pass --format raw");
    }
    const bool isSplit =
        signs.format == ImageFormat::Raw && device.Kind() == DeviceKind::File && IsPartOfSplitImage(spec.path);
    return isSplit ? ImageFormat::Split : signs.format;
}

// The path of the image that another image is based on. A hostile image may name any file on the machine, so only files
// in its own folder are read.
std::string PathBelow(const std::string& path, const std::string& name) {
    const fs::path folder = fs::weakly_canonical(fs::absolute(path)).parent_path();
    const fs::path below = fs::weakly_canonical(folder / name);
    const bool isInside = std::mismatch(folder.begin(), folder.end(), below.begin(), below.end()).first == folder.end();
    Require(path, isInside && fs::is_regular_file(below)
                      ? ""
                      : fmt::format("it needs the image '{}' below it, which is not in its folder; copy it there, or "
                                    "make a raw image of both with 'qemu-img convert -O raw'",
                                    name));
    return below.string();
}

std::unique_ptr<MediumSource> OpenAbove(const ImageSpec& spec, int imagesBelow);

std::unique_ptr<MediumSource> OpenQcow2(Device device, const std::string& path, int imagesBelow) {
    const auto openBelow = [&](const std::string& name, std::optional<ImageFormat> format) {
        // A longer chain most likely leads back to itself.
        Require(path, imagesBelow > 0 ? "" : "too many images lie below each other");
        return OpenAbove({PathBelow(path, name), format}, imagesBelow - 1);
    };
    try {
        return OpenQcow2Image(OpenRawImage(std::move(device), path), openBelow);
    } catch (const std::invalid_argument& error) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot read the image '{}' as qcow2: {}", path, error.what()));
    }
}

std::unique_ptr<MediumSource> OpenAbove(const ImageSpec& spec, int imagesBelow) {
    Device device(spec.path);
    Require(spec.path, WhyNot(spec.path, device));
    switch (const ImageFormat format = FormatOf(spec, device)) {
        case ImageFormat::Raw:
            return OpenRawImage(std::move(device), spec.path);
        case ImageFormat::Split:
            return OpenSplitImage(spec.path);
        case ImageFormat::Ewf:
            return OpenEwfImage(spec.path);
        case ImageFormat::Qcow2:
            return OpenQcow2(std::move(device), spec.path, imagesBelow);
        default:
            return OpenContainer(spec.path, format);
    }
}

}  // namespace

std::unique_ptr<MediumSource> OpenImage(const ImageSpec& spec) {
    constexpr int mostImagesBelow = 16;
    return OpenAbove(spec, mostImagesBelow);
}

std::unique_ptr<MediumSource> OpenPassedImage(const std::string& path, std::span<const int> descriptors) {
    Device device(descriptors);
    Require(path, WhyNot(path, device));
    return OpenRawImage(std::move(device), path);
}

std::unique_ptr<Medium> OpenMedium(const ImageSpec& spec, std::int32_t sectorSize, const FailurePolicy& policy) {
    auto medium = std::make_unique<Medium>(OpenImage(spec), sectorSize, policy);
    if (!spec.map.empty()) {
        medium->NoteUnreadable(SectorsNotRescued(spec.map, medium->SizeInBytes(), sectorSize));
    }
    return medium;
}

ImageSpec Absolute(const ImageSpec& spec) {
    ImageSpec absolute = spec;
    for (std::string* const path : {&absolute.path, &absolute.map}) {
        if (!path->empty()) {
            *path = std::filesystem::absolute(*path).string();
        }
    }
    return absolute;
}

}  // namespace salvor

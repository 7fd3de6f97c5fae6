#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "host/medium/image_formats.h"
#include "host/medium/part_names.h"
#include "host/say/failure.h"
#include "host/say/say.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// The first of these names that leads to a regular file beside `path`.
std::optional<std::string> FirstThere(const std::string& path, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::error_code error;
        std::string beside = fs::path(path).replace_filename(name).string();
        if (fs::is_regular_file(beside, error)) {
            return beside;
        }
    }
    return std::nullopt;
}

std::string NameOf(const std::string& path) { return fs::path(path).filename().string(); }

std::optional<std::string> FirstPart(const std::string& path) { return FirstThere(path, FirstPartNames(NameOf(path))); }

std::optional<std::string> PartBehind(const std::string& path) { return FirstThere(path, NextPartNames(NameOf(path))); }

Failure CannotRead(const std::string& path, const std::string& why) {
    return {ExitStatus::NotStarted, fmt::format("cannot read the image '{}': {}", path, why)};
}

// Throws if a part after this one is missing but later ones are there: everything after it would be shifted.
void RequireLast(const std::string& path) {
    for (const std::string& missing : NextPartNames(NameOf(path))) {
        if (const auto behind = PartBehind(fs::path(path).replace_filename(missing).string())) {
            throw CannotRead(path, fmt::format("its part '{}' is missing, but '{}' is there", missing, *behind));
        }
    }
}

class SplitImage final : public MediumSource {
public:
    explicit SplitImage(const std::string& first) {
        for (std::optional<std::string> path = first; path; path = PartBehind(*path)) {
            Device device(*path);
            if (device.Kind() != DeviceKind::File || device.Size() == 0) {
                throw CannotRead(*path, device.Kind() == DeviceKind::File ? "it is empty" : device.Error().Text());
            }
            const std::int64_t size = device.Size();
            parts_.push_back({std::move(device), *path, size_});
            size_ += size;
        }
        RequireLast(parts_.back().path);
        SayIfUneven();
    }

    std::int64_t Size() const override { return size_; }
    ImageFormat Format() const override { return ImageFormat::Split; }
    std::vector<std::string> Files() const override {
        std::vector<std::string> files;
        std::ranges::transform(parts_, std::back_inserter(files), &Part::path);
        return files;
    }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return Read(offset, buffer, length, &Device::ReadAt);
    }
    std::size_t ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return Read(offset, buffer, length, &Device::ReadUncached);
    }
    void ExpectFailures() override {
        std::ranges::for_each(parts_, [](const Part& part) { part.device.ReadOnlyWhatIsAsked(); });
    }
    ByteRange NextData(std::int64_t offset) override {
        for (auto part = PartAt(offset); part != parts_.end(); ++part) {
            const ByteRange data = part->device.NextData(std::max<std::int64_t>(offset - part->start, 0));
            if (data.count > 0) {
                return {part->start + data.first, data.count};
            }
        }
        return {size_, 0};
    }

private:
    struct Part {
        Device device;
        std::string path;
        // The part's offset on the medium.
        std::int64_t start;
    };

    std::vector<Part>::iterator PartAt(std::int64_t offset) {
        return std::prev(std::ranges::upper_bound(parts_, offset, {}, &Part::start));
    }

    std::size_t Read(std::int64_t offset, std::uint8_t* buffer, std::size_t length,
                     std::size_t (Device::*read)(std::int64_t, std::uint8_t*, std::size_t) const) {
        std::size_t done = 0;
        for (auto part = PartAt(offset); part != parts_.end() && done < length; ++part) {
            const std::int64_t inPart = offset + static_cast<std::int64_t>(done) - part->start;
            const auto left = static_cast<std::size_t>(part->device.Size() - inPart);
            const std::size_t wanted = std::min(length - done, left);
            const std::size_t got = (part->device.*read)(inPart, buffer + done, wanted);
            done += got;
            if (got < wanted) {
                break;
            }
        }
        return done;
    }

    // Programs that split images make parts of equal size.
    void SayIfUneven() const {
        const std::int64_t usual = parts_.front().device.Size();
        for (auto part = parts_.begin(); part + 1 < parts_.end(); ++part) {
            if (part->device.Size() != usual) {
                Say("'{}' has {} bytes, unlike the first part's {}: if it was cut, what follows it is out of place",
                    part->path, part->device.Size(), usual);
            }
        }
    }

    std::vector<Part> parts_;
    std::int64_t size_ = 0;
};

}  // namespace

bool IsPartOfSplitImage(const std::string& path) {
    const auto first = FirstPart(path);
    return first && PartBehind(*first);
}

std::unique_ptr<MediumSource> OpenSplitImage(const std::string& path) {
    const auto first = FirstPart(path);
    if (!first) {
        throw CannotRead(path, "its name is not that of the first part of a split image, such as 'card.001'");
    }
    if (NameOf(*first) != NameOf(path)) {
        throw CannotRead(path, fmt::format("it is a later part of a split image; name the first one, '{}'", *first));
    }
    return std::make_unique<SplitImage>(path);
}

}  // namespace salvor

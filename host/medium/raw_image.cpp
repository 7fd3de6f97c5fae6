#include <fmt/format.h>

#include "host/medium/medium_source.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

class RawImage final : public MediumSource {
public:
    template <class Origin>
    explicit RawImage(const Origin& origin) : device_(origin) {}
    const Device& Opened() const { return device_; }

    std::int64_t Size() const override { return device_.Size(); }
    std::int32_t SectorSize() const override { return device_.SectorSize(); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return device_.ReadAt(offset, buffer, length);
    }
    std::size_t ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return device_.ReadUncached(offset, buffer, length);
    }
    void ExpectFailures() override { device_.ReadOnlyWhatIsAsked(); }
    ByteRange NextData(std::int64_t offset) override { return device_.NextData(offset); }
    std::optional<int> CopySource() const override {
        return device_.Kind() == DeviceKind::File ? std::optional(device_.Descriptor()) : std::nullopt;
    }
    std::vector<int> Descriptors() const override { return device_.Descriptors(); }

private:
    Device device_;
};

// Empty for what can be read.
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

std::unique_ptr<MediumSource> Checked(const std::string& path, std::unique_ptr<RawImage> image) {
    if (const std::string why = WhyNot(path, image->Opened()); !why.empty()) {
        throw Failure(ExitStatus::NotStarted, fmt::format("cannot read the image '{}': {}", path, why));
    }
    return image;
}

}  // namespace

std::unique_ptr<MediumSource> OpenImage(const std::string& path) {
    return Checked(path, std::make_unique<RawImage>(path));
}

std::unique_ptr<MediumSource> OpenPassedImage(const std::string& path, std::span<const int> descriptors) {
    return Checked(path, std::make_unique<RawImage>(descriptors));
}

}  // namespace salvor

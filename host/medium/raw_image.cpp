#include <utility>

#include "host/medium/image_formats.h"

namespace salvor {

namespace {

class RawImage final : public MediumSource {
public:
    RawImage(Device device, std::string path) : device_(std::move(device)), path_(std::move(path)) {}

    std::int64_t Size() const override { return device_.Size(); }
    std::int32_t SectorSize() const override { return device_.SectorSize(); }
    ImageFormat Format() const override { return ImageFormat::Raw; }
    std::vector<std::string> Files() const override { return {path_}; }
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
    std::string path_;
};

}  // namespace

std::unique_ptr<MediumSource> OpenRawImage(Device device, const std::string& path) {
    return std::make_unique<RawImage>(std::move(device), path);
}

}  // namespace salvor

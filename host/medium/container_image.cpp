#include <fmt/format.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "host/medium/image_formats.h"
#include "host/medium/stored_blocks.h"
#include "host/medium/tsk_library.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

struct CloseImage {
    void operator()(TSK_IMG_INFO* image) const { TskLibrary::Get().imageClose(image); }
};
using TskImage = std::unique_ptr<TSK_IMG_INFO, CloseImage>;

TSK_IMG_TYPE_ENUM TypeOf(ImageFormat format) {
    switch (format) {
        case ImageFormat::Aff:
            return TSK_IMG_TYPE_AFF_ANY;
        case ImageFormat::Vmdk:
            return TSK_IMG_TYPE_VMDK_VMDK;
        case ImageFormat::Vhd:
        case ImageFormat::Vhdx:
            return TSK_IMG_TYPE_VHD_VHD;
        default:
            return TSK_IMG_TYPE_UNSUPP;
    }
}

// The library's last error on this thread in one line.
std::string LastError() {
    constexpr std::size_t longest = 400;
    const char* const text = TskLibrary::Get().errorGet();
    std::string line = text != nullptr ? text : "the library gives no reason";
    std::ranges::replace(line, '\n', ' ');
    line.resize(std::min(line.size(), longest));
    return line;
}

// Reads up to `length` bytes at `offset` of an image whose library fails a whole read for one bad chunk. Tries all at
// once and, if that fails, in pieces up to the first that fails. `read(done, wanted)` reads `wanted` bytes after the
// first `done` and returns how many it got.
template <class Read>
std::size_t ReadInPieces(std::int64_t offset, std::size_t length, const Read& read) {
    constexpr std::size_t pieceBytes = std::size_t{32} << 10U;
    if (read(0, length) == length) {
        return length;
    }
    std::size_t done = 0;
    while (done < length) {
        const std::size_t inPiece = (static_cast<std::size_t>(offset) + done) % pieceBytes;
        const std::size_t wanted = std::min(length - done, pieceBytes - inPiece);
        const std::size_t got = read(done, wanted);
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return done;
}

class ContainerImage final : public MediumSource {
public:
    ContainerImage(TskImage image, ImageFormat format, std::unique_ptr<StoredBlocks> stored)
        : image_(std::move(image)), format_(format), stored_(std::move(stored)) {}

    std::int64_t Size() const override { return image_->size; }
    ImageFormat Format() const override { return format_; }
    std::vector<std::string> Files() const override {
        return {image_->images, image_->images + std::max(image_->num_img, 0)};
    }

    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const std::lock_guard lock(mutex_);
        return ReadInPieces(offset, length, [&](std::size_t done, std::size_t wanted) {
            char* const to = static_cast<char*>(static_cast<void*>(buffer + done));
            const auto got =
                TskLibrary::Get().imageRead(image_.get(), offset + static_cast<std::int64_t>(done), to, wanted);
            return got > 0 ? static_cast<std::size_t>(got) : 0;
        });
    }

    ByteRange NextData(std::int64_t offset) override {
        const std::lock_guard lock(storedMutex_);
        return stored_ ? stored_->NextData(offset, Size()) : MediumSource::NextData(offset);
    }

private:
    TskImage image_;
    ImageFormat format_;
    std::unique_ptr<StoredBlocks> stored_;
    // A question about stored blocks must not wait for a read.
    std::mutex storedMutex_;
    // The libraries below keep state between reads, and not all of them lock it.
    std::mutex mutex_;
};

}  // namespace

std::unique_ptr<MediumSource> OpenContainer(const std::string& path, ImageFormat format) {
    TskLibrary::Get().errorReset();
    TskImage image(TskLibrary::Get().imageOpen(path.c_str(), TypeOf(format), 0));
    if (!image || image->size <= 0) {
        const std::string why = image ? "it is empty" : LastError();
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot read the image '{}' as {}: {}", path, ImageFormatWord(format), why));
    }
    return std::make_unique<ContainerImage>(std::move(image), format, StoredBlocks::Open(path, format));
}

}  // namespace salvor

#include "host/details/picture_details.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <exiv2/exiv2.hpp>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "frame/bytes/Bytes.h"
#include "host/details/picture_header.h"
#include "host/details/times.h"

namespace salvor {

namespace {

// The library reads TIFF, and raws like it, into memory as a whole.
constexpr std::int64_t MostInMemory = std::int64_t{64} << 20;

// Shows a source to the library, which cannot write to it.
class SourceIo final : public Exiv2::BasicIo {
public:
    explicit SourceIo(MediumSource& source) : source_(source) {}

    int open() override {
        at_ = 0;
        isAtEnd_ = false;
        return 0;
    }
    int close() override { return 0; }
    long read(Exiv2::byte* buffer, long count) override {
        const std::int64_t wanted = std::clamp<std::int64_t>(count, 0, source_.Size() - at_);
        isAtEnd_ = wanted < count;
        std::int64_t done = 0;
        while (done < wanted && FillWindow()) {
            const auto offset = static_cast<std::size_t>(at_ - windowStart_);
            const std::size_t some = std::min(windowBytes_ - offset, static_cast<std::size_t>(wanted - done));
            std::memcpy(buffer + done, window_.data() + offset, some);
            done += static_cast<std::int64_t>(some);
            at_ += static_cast<std::int64_t>(some);
        }
        return static_cast<long>(done);
    }
    Exiv2::DataBuf read(long count) override {
        const std::int64_t wanted = std::clamp<std::int64_t>(count, 0, source_.Size() - at_);
        RequireInMemory(wanted);
        Exiv2::DataBuf bytes(static_cast<long>(wanted));
        bytes.size_ = read(bytes.pData_, static_cast<long>(wanted));
        isAtEnd_ = bytes.size_ < count;
        return bytes;
    }
    int getb() override {
        Exiv2::byte one = 0;
        return read(&one, 1) == 1 ? one : EOF;
    }
    int seek(std::int64_t offset, Position from) override {
        const std::int64_t base = from == beg ? 0 : from == cur ? at_ : source_.Size();
        if (offset < -base || offset > source_.Size() - base) {
            return 1;
        }
        at_ = base + offset;
        isAtEnd_ = false;
        return 0;
    }
    Exiv2::byte* mmap(bool /*isWriteable*/) override {
        RequireInMemory(source_.Size());
        whole_.resize(static_cast<std::size_t>(source_.Size()));
        whole_.resize(source_.ReadAt(0, whole_.data(), whole_.size()));
        whole_.resize(static_cast<std::size_t>(source_.Size()));
        return whole_.data();
    }
    int munmap() override { return 0; }
    long tell() const override { return static_cast<long>(at_); }
    std::size_t size() const override { return static_cast<std::size_t>(source_.Size()); }
    bool isopen() const override { return true; }
    int error() const override { return 0; }
    bool eof() const override { return isAtEnd_; }
    std::string path() const override { return {}; }

    long write(const Exiv2::byte* /*data*/, long /*count*/) override { return 0; }
    long write(BasicIo& /*from*/) override { return 0; }
    int putb(Exiv2::byte /*data*/) override { return EOF; }
    void transfer(BasicIo& /*from*/) override { throw Exiv2::Error(Exiv2::kerTransferFailed); }

private:
    static void RequireInMemory(std::int64_t bytes) {
        if (bytes > MostInMemory) {
            throw Exiv2::Error(Exiv2::kerDataAreaValueTooLarge);
        }
    }

    // Headers are read in small pieces close to each other.
    bool FillWindow() {
        if (at_ < windowStart_ || at_ >= windowStart_ + static_cast<std::int64_t>(windowBytes_)) {
            windowStart_ = at_;
            const std::int64_t left = source_.Size() - at_;
            windowBytes_ = source_.ReadAt(at_, window_.data(),
                                          static_cast<std::size_t>(std::min<std::int64_t>(left, std::ssize(window_))));
        }
        return windowBytes_ > 0;
    }

    MediumSource& source_;
    std::int64_t at_ = 0;
    bool isAtEnd_ = false;
    std::array<std::uint8_t, std::size_t{1} << 15U> window_{};
    std::int64_t windowStart_ = 0;
    std::size_t windowBytes_ = 0;
    std::vector<std::uint8_t> whole_;
};

// Text up to a zero, without blanks at its end.
std::string Trimmed(std::string text) {
    text.resize(std::min(text.size(), text.find('\0')));
    text.resize(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

// The first of these that has a text.
std::string FirstText(const Exiv2::ExifData& data, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        if (const auto found = data.findKey(Exiv2::ExifKey(key)); found != data.end()) {
            if (std::string text = Trimmed(found->toString()); !text.empty()) {
                return text;
            }
        }
    }
    return {};
}

// The first of these that XMP data has.
std::string FirstText(const Exiv2::XmpData& data, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        if (const auto found = data.findKey(Exiv2::XmpKey(key)); found != data.end() && found->count() > 0) {
            return Trimmed(found->toString(0));
        }
    }
    return {};
}

std::string TakenOf(const Exiv2::Image& image) {
    const std::string taken = TimeIn(FirstText(
        image.exifData(), {"Exif.Photo.DateTimeOriginal", "Exif.Photo.DateTimeDigitized", "Exif.Image.DateTime"}));
    return taken.empty() ? TimeIn(FirstText(image.xmpData(), {"Xmp.exif.DateTimeOriginal", "Xmp.photoshop.DateCreated",
                                                              "Xmp.xmp.CreateDate"}))
                         : taken;
}

std::string TitleOf(const Exiv2::Image& image) {
    std::string text = FirstText(image.xmpData(), {"Xmp.dc.title"});
    // "lang="x-default" Sunset".
    if (text.starts_with("lang=")) {
        text.erase(0, std::min(text.find(' '), text.size() - 1) + 1);
    }
    if (!text.empty()) {
        return text;
    }
    const Exiv2::IptcData& iptc = image.iptcData();
    const auto name = iptc.findKey(Exiv2::IptcKey("Iptc.Application2.ObjectName"));
    text = name != iptc.end() ? Trimmed(name->toString()) : "";
    return text.empty() ? FirstText(image.exifData(), {"Exif.Image.ImageDescription"}) : text;
}

std::string CameraOf(const Exiv2::ExifData& data) {
    const std::string maker = FirstText(data, {"Exif.Image.Make"});
    const std::string model = FirstText(data, {"Exif.Image.Model"});
    // Many model names begin with the maker's name.
    const std::string firstWord = maker.substr(0, maker.find(' '));
    return maker.empty() || model.starts_with(firstWord) ? model : maker + (model.empty() ? "" : " ") + model;
}

// The smallest preview that still fills a thumbnail, else the largest.
std::vector<std::uint8_t> PreviewOf(const Exiv2::Image& image) {
    constexpr std::size_t wideEnough = 400;
    const Exiv2::PreviewManager manager(image);
    const Exiv2::PreviewPropertiesList all = manager.getPreviewProperties();
    const Exiv2::PreviewProperties* best = nullptr;
    for (const Exiv2::PreviewProperties& one : all) {
        if (one.mimeType_ == "image/jpeg" && one.size_ <= MostPreviewBytes) {
            best = &one;
            if (one.width_ >= wideEnough) {
                break;
            }
        }
    }
    if (best == nullptr) {
        return {};
    }
    const Exiv2::PreviewImage preview = manager.getPreviewImage(*best);
    return {preview.pData(), preview.pData() + preview.size()};
}

// A JPEG picture that is a piece of the file; empty if there is none or it is too large. Raw data may be packed like
// JPEG, but has no such tables in front.
std::vector<std::uint8_t> JpegAt(MediumSource& file, std::int64_t offset, std::int64_t length) {
    constexpr std::array starts{PatternOf("\xFF\xD8\xFF\xDB"), PatternOf("\xFF\xD8\xFF\xE0"),
                                PatternOf("\xFF\xD8\xFF\xE1")};
    if (length <= 0 || length > MostPreviewBytes || offset <= 0 || offset > file.Size() - length) {
        return {};
    }
    std::vector<std::uint8_t> jpeg(static_cast<std::size_t>(length));
    jpeg.resize(file.ReadAt(offset, jpeg.data(), jpeg.size()));
    const bool isJpeg = std::ranges::any_of(starts, [&jpeg](const auto& start) { return StartsWith(jpeg, start); });
    return isJpeg ? jpeg : std::vector<std::uint8_t>();
}

// DNG keeps previews in directories of their own, each as a single strip. The library takes these for TIFF pictures.
std::vector<std::uint8_t> StripPreview(const Exiv2::ExifData& data, MediumSource& file) {
    for (const std::string group : {"Image", "SubImage1", "SubImage2", "SubImage3", "SubImage4"}) {
        const auto numberOf = [&data, &group](const char* tag) {
            const auto found = data.findKey(Exiv2::ExifKey("Exif." + group + "." + tag));
            return found != data.end() && found->count() == 1 ? std::int64_t{found->toLong()} : -1;
        };
        if (auto jpeg = JpegAt(file, numberOf("StripOffsets"), numberOf("StripByteCounts")); !jpeg.empty()) {
            return jpeg;
        }
    }
    return {};
}

// RAF holds a whole JPEG picture, whose place and length stand in its header.
std::vector<std::uint8_t> RafPreview(MediumSource& file) {
    constexpr std::size_t place = 84;
    std::array<std::uint8_t, place + 8> head{};
    if (file.Size() < std::ssize(head) || file.ReadAt(0, head.data(), head.size()) != head.size() ||
        !StartsWith(ByteSpan(head), PatternOf("FUJIFILMCCD-RAW"))) {
        return {};
    }
    return JpegAt(file, LoadBig<std::uint32_t>(head, place), LoadBig<std::uint32_t>(head, place + 4));
}

// Also a preview of DNG, or else the thumbnail in the Exif data.
std::vector<std::uint8_t> AnyPreviewOf(const Exiv2::Image& image, MediumSource& file) {
    std::vector<std::uint8_t> jpeg = PreviewOf(image);
    if (jpeg.empty()) {
        jpeg = StripPreview(image.exifData(), file);
    }
    if (jpeg.empty()) {
        const Exiv2::DataBuf thumbnail = Exiv2::ExifThumbC(image.exifData()).copy();
        jpeg.assign(thumbnail.pData_, thumbnail.pData_ + thumbnail.size_);
    }
    return jpeg.size() <= static_cast<std::size_t>(MostPreviewBytes) ? jpeg : std::vector<std::uint8_t>();
}

// What was read before a damaged place is as good as in other files.
void ReadMetadata(Exiv2::Image& image) {
    try {
        image.readMetadata();
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace

// This version of the library passes pointers in a way that the language has deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

PictureDetails ReadPictureDetails(MediumSource& picture, bool withPreview) {
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    PictureDetails details;
    try {
        const auto image = Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(new SourceIo(picture)));
        // The library's readers of films may take minutes for a damaged one.
        if (image.get() != nullptr && !image->mimeType().starts_with("video/")) {
            ReadMetadata(*image);
            details.known.width = image->pixelWidth();
            details.known.height = image->pixelHeight();
            details.known.taken = TakenOf(*image);
            details.known.camera = CameraOf(image->exifData());
            details.known.title = TitleOf(*image);
            if (withPreview) {
                details.preview = AnyPreviewOf(*image, picture);
            }
        }
    } catch (const std::exception&) {
        // A value makes no sense: the file has the details that were read before it.
    }
    if (withPreview && details.preview.empty()) {
        details.preview = RafPreview(picture);
    }
    TakeHeaderDetails(picture, details.known);
    return details;
}

#pragma GCC diagnostic pop

}  // namespace salvor

#include "host/medium/ewf_image.h"

#include <fmt/format.h>
#include <libewf.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>

#include "frame/bytes/Bytes.h"
#include "host/medium/read_in_pieces.h"
#include "host/medium/sector_ranges.h"
#include "host/platform/device.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

struct FreeHandle {
    void operator()(libewf_handle_t* handle) const {
        libewf_handle_close(handle, nullptr);
        libewf_handle_free(&handle, nullptr);
    }
};
using Handle = std::unique_ptr<libewf_handle_t, FreeHandle>;

// Names of header values in the library, and what they are called here.
constexpr std::array<std::pair<std::string_view, std::string_view>, 10> Values{{
    {"case_number", "case number"},
    {"evidence_number", "evidence number"},
    {"description", "description"},
    {"examiner_name", "examiner"},
    {"notes", "notes"},
    {"acquiry_date", "acquired"},
    {"acquiry_operating_system", "acquired on"},
    {"acquiry_software_version", "acquired with"},
    {"model", "model"},
    {"serial_number", "serial number"},
}};

const std::uint8_t* BytesOf(std::string_view text) {
    return static_cast<const std::uint8_t*>(static_cast<const void*>(text.data()));
}

// Empty if there is none.
std::string HeaderValue(libewf_handle_t* handle, std::string_view name) {
    constexpr std::size_t longest = 64 << 10U;
    std::size_t size = 0;
    if (libewf_handle_get_utf8_header_value_size(handle, BytesOf(name), name.size(), &size, nullptr) != 1 ||
        size == 0 || size > longest) {
        return "";
    }
    std::string text(size, '\0');
    auto* const bytes = static_cast<std::uint8_t*>(static_cast<void*>(text.data()));
    if (libewf_handle_get_utf8_header_value(handle, BytesOf(name), name.size(), bytes, size, nullptr) != 1) {
        return "";
    }
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::string Hex(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += fmt::format("{:02x}", byte);
    }
    return digits;
}

template <std::size_t Size, class Get>
std::string DigestOf(libewf_handle_t* handle, Get get) {
    std::array<std::uint8_t, Size> digest{};
    return get(handle, digest.data(), digest.size(), nullptr) == 1 ? Hex(digest) : "";
}

// One line of the library's reason; frees it.
std::string TakeError(libewf_error_t* error) {
    constexpr std::size_t longest = 400;
    std::array<char, longest> text{};
    std::string line = "the library gives no reason";
    if (error != nullptr && libewf_error_sprint(error, text.data(), text.size()) > 0) {
        line = text.data();
        std::ranges::replace(line, '\n', ' ');
    }
    libewf_error_free(&error);
    return line;
}

Failure CannotRead(const std::string& path, const std::string& why) {
    return {ExitStatus::NotStarted, fmt::format("cannot read the image '{}' as e01: {}", path, why)};
}

// The files of the image that this one is a segment of, in the order of their names.
std::vector<std::string> SegmentsOf(const std::string& path) {
    char** names = nullptr;
    int count = 0;
    libewf_error_t* error = nullptr;
    if (libewf_glob(path.c_str(), path.size(), LIBEWF_FORMAT_UNKNOWN, &names, &count, &error) != 1) {
        throw CannotRead(path, TakeError(error));
    }
    std::vector<std::string> segments(names, names + count);
    libewf_glob_free(names, count, nullptr);
    return segments;
}

// The library takes segments in the order of their numbers, and one whose number another one has for that one.
void RequireOrder(const std::vector<std::string>& segments) {
    constexpr std::int64_t numberAt = 9;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        std::array<std::uint8_t, 2> bytes{};
        if (Device(segments[i]).ReadAt(numberAt, bytes.data(), bytes.size()) != bytes.size()) {
            throw CannotRead(segments[i], "the segment is cut");
        }
        if (const auto number = LoadLittle<std::uint16_t>(bytes, 0); number != i + 1) {
            throw CannotRead(segments[i],
                             fmt::format("it stands where segment {} belongs, but is segment {}", i + 1, number));
        }
    }
}

// Throws `Failure` (not started).
Handle OpenHandle(const std::vector<std::string>& segments) {
    // The library takes names that it could change, and does not.
    std::vector<std::string> names = segments;
    std::vector<char*> pointers;
    std::ranges::transform(names, std::back_inserter(pointers), [](std::string& name) { return name.data(); });
    libewf_handle_t* created = nullptr;
    libewf_error_t* error = nullptr;
    if (libewf_handle_initialize(&created, &error) != 1) {
        throw CannotRead(segments.front(), TakeError(error));
    }
    Handle handle(created);
    if (libewf_handle_open(handle.get(), pointers.data(), static_cast<int>(pointers.size()), LIBEWF_OPEN_READ,
                           &error) != 1) {
        throw CannotRead(segments.front(), TakeError(error));
    }
    return handle;
}

class EwfImage final : public MediumSource {
public:
    explicit EwfImage(std::vector<std::string> segments)
        : segments_(std::move(segments)), handle_(OpenHandle(segments_)) {
        size64_t size = 0;
        std::uint32_t sectorSize = 0;
        if (libewf_handle_get_media_size(handle_.get(), &size, nullptr) != 1 || size == 0 || size > LargestSize) {
            throw CannotRead(segments_.front(), "its size makes no sense");
        }
        size_ = static_cast<std::int64_t>(size);
        if (libewf_handle_get_bytes_per_sector(handle_.get(), &sectorSize, nullptr) == 1 && sectorSize == 4096) {
            sectorSize_ = 4096;
        }
    }

    std::int64_t Size() const override { return size_; }
    std::int32_t SectorSize() const override { return sectorSize_; }
    ImageFormat Format() const override { return ImageFormat::Ewf; }
    std::vector<std::string> Files() const override { return segments_; }

    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const std::lock_guard lock(mutex_);
        const std::size_t got = ReadInPieces(offset, length, [&](std::size_t done, std::size_t wanted) {
            const auto read = libewf_handle_read_random(handle_.get(), buffer + done, wanted,
                                                        offset + static_cast<std::int64_t>(done), nullptr);
            return read > 0 ? static_cast<std::size_t>(read) : 0;
        });
        NoteWrongChunks();
        const SectorRange wrong = wrong_.NextFrom(offset / sectorSize_);
        const std::int64_t right = wrong.first * sectorSize_ - offset;
        return wrong.count > 0 ? std::min(got, static_cast<std::size_t>(std::max<std::int64_t>(right, 0))) : got;
    }

private:
    static constexpr size64_t LargestSize = size64_t{1} << 62U;

    // For chunks that are missing or wrong the library gives zeros, and keeps a list of them.
    void NoteWrongChunks() {
        std::uint32_t count = 0;
        libewf_handle_get_number_of_checksum_errors(handle_.get(), &count, nullptr);
        for (std::uint32_t i = 0; i < count; ++i) {
            std::uint64_t first = 0;
            std::uint64_t sectors = 0;
            if (libewf_handle_get_checksum_error(handle_.get(), i, &first, &sectors, nullptr) == 1 &&
                first < LargestSize && sectors < LargestSize && sectors > 0) {
                wrong_.Add({static_cast<std::int64_t>(first), static_cast<std::int64_t>(sectors)});
            }
        }
    }

    std::vector<std::string> segments_;
    Handle handle_;
    std::int64_t size_ = 0;
    std::int32_t sectorSize_ = 512;
    // The library keeps the place and the chunk of the last read.
    std::mutex mutex_;
    SectorRangeSet wrong_;
};

}  // namespace

std::unique_ptr<MediumSource> OpenEwfImage(const std::string& path) {
    std::vector<std::string> segments = SegmentsOf(path);
    RequireOrder(segments);
    return std::make_unique<EwfImage>(std::move(segments));
}

EwfFacts ReadEwfFacts(const std::vector<std::string>& segments) {
    const Handle handle = OpenHandle(segments);
    EwfFacts facts;
    for (const auto& [name, label] : Values) {
        if (std::string text = HeaderValue(handle.get(), name); !text.empty()) {
            facts.acquisition.emplace_back(label, std::move(text));
        }
    }
    facts.md5 = DigestOf<16>(handle.get(), libewf_handle_get_md5_hash);
    facts.sha1 = DigestOf<20>(handle.get(), libewf_handle_get_sha1_hash);
    return facts;
}

}  // namespace salvor

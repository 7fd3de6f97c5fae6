#include "host/medium/ewf_image.h"

#include <fmt/format.h>
#include <libdeflate.h>
#include <libewf.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <string_view>

#include "frame/bytes/Bytes.h"
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

// Names of header values in the library, and their names here.
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

// Empty if there is no such value.
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

// The library's error message on one line; frees the error.
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

// The segment files of the image that this file belongs to, ordered by name. A file with another name stands alone.
std::vector<std::string> SegmentsOf(const std::string& path) {
    char** names = nullptr;
    int count = 0;
    if (libewf_glob(path.c_str(), path.size(), LIBEWF_FORMAT_UNKNOWN, &names, &count, nullptr) != 1) {
        return {path};
    }
    std::vector<std::string> segments(names, names + count);
    libewf_glob_free(names, count, nullptr);
    return segments;
}

// The library takes segments in the order of their numbers, and of two with the same number it takes either one.
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
    // The library's interface wants names that are not const, but does not change them.
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
        throw CannotRead(segments.front(), "its headers are damaged: " + TakeError(error));
    }
    return handle;
}

// Which segments are missing or cut; empty for none. Each segment ends with the header of its last section, "done" in
// the image's last segment and "next" in the others.
std::string MissingOf(const std::vector<std::string>& segments) {
    constexpr std::int64_t sectionHeaderBytes = 76;
    for (const std::string& segment : segments) {
        const Device file(segment);
        std::array<char, 5> name{};
        file.ReadAt(file.Size() - sectionHeaderBytes, static_cast<std::uint8_t*>(static_cast<void*>(name.data())),
                    name.size() - 1);
        const std::string_view last = name.data();
        const bool isLast = &segment == &segments.back();
        if (last == "next" && isLast) {
            return fmt::format("the segments after '{}'", segment);
        }
        if (last != (isLast ? "done" : "next")) {
            return fmt::format("the end of '{}'", segment);
        }
    }
    return "";
}

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

// Takes chunks from the library as they are stored. The library's own reads also check and unpack them, but take twice
// as long.
class ChunkReader {
public:
    explicit ChunkReader(const std::vector<std::string>& segments)
        : handle_(OpenHandle(segments)), decompressor_(libdeflate_alloc_decompressor()) {
        size64_t size = 0;
        size32_t chunkSize = 0;
        if (libewf_handle_get_media_size(handle_.get(), &size, nullptr) != 1 || size == 0 || size > LargestSize) {
            throw CannotRead(segments.front(), "its size makes no sense");
        }
        if (libewf_handle_get_chunk_size(handle_.get(), &chunkSize, nullptr) != 1 || chunkSize == 0 ||
            chunkSize > LargestChunk) {
            throw CannotRead(segments.front(), "the size of its chunks makes no sense");
        }
        size_ = static_cast<std::int64_t>(size);
        unpacked_.resize(chunkSize);
        // Compression makes some chunks larger.
        stored_.resize(2 * std::size_t{chunkSize} + LeastStored);
        if (!decompressor_) {
            throw std::bad_alloc();
        }
    }

    std::int64_t Size() const { return size_; }

    std::int64_t ChunkSize() const { return static_cast<std::int64_t>(unpacked_.size()); }

    bool HasSectorsOf(std::uint32_t bytes) const {
        std::uint32_t sectorSize = 0;
        return libewf_handle_get_bytes_per_sector(handle_.get(), &sectorSize, nullptr) == 1 && sectorSize == bytes;
    }

    /// The bytes of a chunk of the medium, valid until the next call; empty if it is missing or wrong.
    std::span<const std::uint8_t> Chunk(std::int64_t number) {
        if (number != number_) {
            number_ = number;
            chunk_ = Load(static_cast<std::size_t>(std::min(ChunkSize(), size_ - number * ChunkSize())));
        }
        return chunk_;
    }

private:
    static constexpr size64_t LargestSize = size64_t{1} << 62U;
    static constexpr size32_t LargestChunk = size32_t{1} << 26U;
    static constexpr std::size_t LeastStored = 4096;
    static constexpr std::size_t ChecksumBytes = 4;

    std::span<const std::uint8_t> Load(std::size_t expected) {
        std::int8_t isCompressed = 0;
        std::int8_t hasChecksum = 0;
        std::array<std::uint8_t, ChecksumBytes> storedChecksum{};
        std::uint32_t checksum = 0;
        if (libewf_handle_seek_offset(handle_.get(), number_ * ChunkSize(), SEEK_SET, nullptr) < 0) {
            return {};
        }
        const auto got = libewf_handle_read_chunk(handle_.get(), stored_.data(), stored_.size(), &isCompressed,
                                                  storedChecksum.data(), &checksum, &hasChecksum, nullptr);
        const std::span stored(stored_.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        if (isCompressed != 0) {
            std::size_t size = 0;
            const bool isRight =
                libdeflate_zlib_decompress(decompressor_.get(), stored.data(), stored.size(), unpacked_.data(),
                                           unpacked_.size(), &size) == LIBDEFLATE_SUCCESS;
            return std::span(unpacked_).first(isRight && size >= expected ? expected : 0);
        }
        // The checksum follows the bytes.
        const bool isRight = stored.size() >= expected + ChecksumBytes &&
                             libdeflate_adler32(1, stored.data(), stored.size() - ChecksumBytes) == checksum;
        return stored.first(isRight ? expected : 0);
    }

    Handle handle_;
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor_;
    std::int64_t size_ = 0;
    std::vector<std::uint8_t> stored_;
    std::vector<std::uint8_t> unpacked_;
    // The last requested chunk, in one of the two buffers.
    std::span<const std::uint8_t> chunk_;
    std::int64_t number_ = -1;
};

class EwfImage final : public MediumSource {
public:
    explicit EwfImage(std::vector<std::string> segments)
        : segments_(std::move(segments)), chunks_(segments_), sectorSize_(chunks_.HasSectorsOf(4096) ? 4096 : 512) {}

    std::int64_t Size() const override { return chunks_.Size(); }
    std::int32_t SectorSize() const override { return sectorSize_; }
    ImageFormat Format() const override { return ImageFormat::Ewf; }
    std::vector<std::string> Files() const override { return segments_; }

    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const std::lock_guard lock(mutex_);
        std::size_t done = 0;
        while (done < length) {
            const std::int64_t at = offset + static_cast<std::int64_t>(done);
            const std::span chunk = chunks_.Chunk(at / chunks_.ChunkSize());
            const auto inChunk = static_cast<std::size_t>(at % chunks_.ChunkSize());
            if (inChunk >= chunk.size()) {
                break;
            }
            const std::size_t count = std::min(length - done, chunk.size() - inChunk);
            std::memcpy(buffer + done, chunk.data() + inChunk, count);
            done += count;
        }
        return done;
    }

private:
    std::vector<std::string> segments_;
    std::mutex mutex_;
    ChunkReader chunks_;
    std::int32_t sectorSize_;
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
    facts.missing = MissingOf(segments);
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

#include "host/validators/inflate.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

namespace salvor {

namespace {

// Makes sure that zlib's state is freed.
class Stream {
public:
    explicit Stream(DeflateFormat format)
        : isOpen_(inflateInit2(&stream_, format == DeflateFormat::Raw ? -MAX_WBITS : MAX_WBITS) == Z_OK) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() {
        if (isOpen_) {
            inflateEnd(&stream_);
        }
    }

    bool IsOpen() const { return isOpen_; }
    z_stream* operator->() { return &stream_; }
    int Step() { return inflate(&stream_, Z_NO_FLUSH); }

private:
    z_stream stream_{};
    bool isOpen_;
};

}  // namespace

std::optional<Inflated> InflateAt(ByteWindow& file, std::int64_t offset, std::int64_t end, DeflateFormat format,
                                  std::int64_t mostBytes, const std::function<void(ByteSpan)>& take) {
    constexpr std::size_t outBytes = 0x10000;
    Stream stream(format);
    if (!stream.IsOpen()) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> out(outBytes);
    Inflated result;
    result.crc = static_cast<std::uint32_t>(crc32(0, nullptr, 0));
    end = std::min(end, file.Limit());
    int status = Z_OK;
    // Every round consumes bytes or fills the output.
    while (status == Z_OK) {
        const std::int64_t at = offset + result.packedSize;
        if (at >= end) {
            return std::nullopt;
        }
        ByteSpan in = file.From(at);
        if (in.empty()) {
            return std::nullopt;
        }
        in = in.first(std::min(in.size(), static_cast<std::size_t>(end - at)));
        // zlib declares its input as not constant, but does not write to it.
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
        stream->next_in = const_cast<std::uint8_t*>(in.data());
        stream->avail_in = static_cast<uInt>(in.size());
        do {
            stream->next_out = out.data();
            stream->avail_out = static_cast<uInt>(out.size());
            status = stream.Step();
            const ByteSpan made = ByteSpan(out).first(out.size() - stream->avail_out);
            result.crc = static_cast<std::uint32_t>(crc32(result.crc, made.data(), static_cast<uInt>(made.size())));
            result.size += static_cast<std::int64_t>(made.size());
            if (result.size > mostBytes) {
                return std::nullopt;
            }
            if (take && !made.empty()) {
                take(made);
            }
        } while (status == Z_OK && stream->avail_out == 0);
        const auto taken = static_cast<std::int64_t>(in.size() - stream->avail_in);
        result.packedSize += taken;
        // The output was filled exactly; nothing is left to do, which is not an error.
        if (status == Z_BUF_ERROR && taken > 0) {
            status = Z_OK;
        }
    }
    return status == Z_STREAM_END ? std::optional(result) : std::nullopt;
}

}  // namespace salvor

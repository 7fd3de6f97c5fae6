#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace salvor {

/// How an image keeps the medium's bytes.
enum class ImageFormat {
    /// As they are, in one file or device.
    Raw,
    /// As they are, in several files.
    Split,
    /// Expert Witness, E01 with its further segments.
    Ewf,
    Aff,
    Vmdk,
    Vhd,
    Vhdx,
    Qcow2,
};

/// The word for it on the command line and in records.
std::string_view ImageFormatWord(ImageFormat format);
/// In the other direction.
std::optional<ImageFormat> ImageFormatNamed(std::string_view word);
/// All words, for people.
std::string ImageFormatWords();

/// What a file's first and last bytes say about its format.
struct FormatSigns {
    /// Raw where nothing says otherwise.
    ImageFormat format = ImageFormat::Raw;
    /// Why it cannot be read, and what to do; empty if it can.
    std::string unreadable;
};

/// What `RecogniseFormat` looks at, in bytes.
inline constexpr std::size_t FormatHeadBytes = std::size_t{64} << 10U;
inline constexpr std::size_t FormatTailBytes = 512;

/// `head` are the file's first `FormatHeadBytes` and `tail` its last `FormatTailBytes`, or all that it has.
FormatSigns RecogniseFormat(std::span<const std::uint8_t> head, std::span<const std::uint8_t> tail);

}  // namespace salvor

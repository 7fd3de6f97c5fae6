#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace salvor {

/// How an image stores the medium's bytes.
enum class ImageFormat {
    /// Unchanged, in one file or device.
    Raw,
    /// Unchanged, in several files.
    Split,
    /// Expert Witness, E01 with its further segments.
    Ewf,
    Aff,
    Vmdk,
    Vhd,
    Vhdx,
    Qcow2,
};

/// The word for the format on the command line and in records.
std::string_view ImageFormatWord(ImageFormat format);
/// The format for such a word; nothing for other words.
std::optional<ImageFormat> ImageFormatNamed(std::string_view word);
/// All words, for messages.
std::string ImageFormatWords();

/// What a file's first and last bytes show about its format.
struct FormatSigns {
    /// Raw unless something shows another format.
    ImageFormat format = ImageFormat::Raw;
    /// Why it cannot be read, and what to do; empty if it can be read.
    std::string unreadable;
};

/// How many bytes `RecogniseFormat` looks at.
inline constexpr std::size_t FormatHeadBytes = std::size_t{64} << 10U;
inline constexpr std::size_t FormatTailBytes = 512;

/// `head` are the file's first `FormatHeadBytes` and `tail` its last `FormatTailBytes`, or all that it has.
FormatSigns RecogniseFormat(std::span<const std::uint8_t> head, std::span<const std::uint8_t> tail);

}  // namespace salvor

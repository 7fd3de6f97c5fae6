#include "host/medium/image_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace salvor {

namespace {

using Bytes = std::span<const std::uint8_t>;

struct FormatWord {
    ImageFormat format;
    std::string_view word;
};

constexpr std::array<FormatWord, 8> Words{{
    {ImageFormat::Raw, "raw"},
    {ImageFormat::Split, "split"},
    {ImageFormat::Ewf, "e01"},
    {ImageFormat::Aff, "aff"},
    {ImageFormat::Vmdk, "vmdk"},
    {ImageFormat::Vhd, "vhd"},
    {ImageFormat::Vhdx, "vhdx"},
    {ImageFormat::Qcow2, "qcow2"},
}};

using namespace std::string_view_literals;

struct Signature {
    std::size_t offset;
    std::string_view bytes;
    ImageFormat format;
    // For a format that cannot be read: its name, and the program that makes a raw image of it.
    std::string_view name;
    std::string_view remedy;
};

constexpr std::string_view UseQemu = "make a raw image of it with 'qemu-img convert -O raw'";

constexpr std::array Signatures{
    Signature{0, "EVF\x09\x0d\x0a\xff\x00"sv, ImageFormat::Ewf, {}, {}},
    Signature{0, "AFF10\r\n\x00"sv, ImageFormat::Aff, {}, {}},
    // What is left of the header after affcrypto has encrypted a whole image in place.
    Signature{0, "AFF\x00"sv, ImageFormat::Raw, "an encrypted AFF image without its header",
              "make it again from what it was made of"},
    Signature{0, "KDMV"sv, ImageFormat::Vmdk, {}, {}},
    Signature{0, "COWD"sv, ImageFormat::Vmdk, {}, {}},
    Signature{0, "# Disk DescriptorFile"sv, ImageFormat::Vmdk, {}, {}},
    Signature{0, "conectix"sv, ImageFormat::Vhd, {}, {}},
    Signature{0, "vhdxfile"sv, ImageFormat::Vhdx, {}, {}},
    Signature{0, "QFI\xfb\x00\x00\x00\x02"sv, ImageFormat::Qcow2, {}, {}},
    Signature{0, "QFI\xfb\x00\x00\x00\x03"sv, ImageFormat::Qcow2, {}, {}},
    Signature{0, "QFI\xfb"sv, ImageFormat::Raw, "a QCOW image of another version", UseQemu},
    Signature{64, "\x7f\x10\xda\xbe"sv, ImageFormat::Raw, "a VDI image", UseQemu},
    Signature{0, "QED\x00"sv, ImageFormat::Raw, "a QED image", UseQemu},
    Signature{0, "WithoutFreeSpace"sv, ImageFormat::Raw, "a Parallels image", UseQemu},
    Signature{0, "WithouFreSpacExt"sv, ImageFormat::Raw, "a Parallels image", UseQemu},
    Signature{0, "EVF2\x0d\x0a\x81\x00"sv, ImageFormat::Raw, "an Ex01 image",
              "export it as E01 or raw with the program that made it"},
    Signature{0, "LVF\x09\x0d\x0a\xff\x00"sv, ImageFormat::Raw, "a logical evidence file (L01), which holds files",
              "export them with the program that made it"},
    Signature{0, "LEF2\x0d\x0a\x81\x00"sv, ImageFormat::Raw, "a logical evidence file (Lx01), which holds files",
              "export them with the program that made it"},
    Signature{0, "ADCRYPT"sv, ImageFormat::Raw, "an encrypted E01 image",
              "export it decrypted with the program that made it"},
    Signature{30, "container.description"sv, ImageFormat::Raw, "an AFF4 image",
              "make a raw image of it with an AFF4 tool"},
    Signature{0, "\x1f\x8b\x08"sv, ImageFormat::Raw, "compressed", "unpack it with 'gunzip'"},
    Signature{0,
              "\xfd"
              "7zXZ\x00"sv,
              ImageFormat::Raw, "compressed", "unpack it with 'unxz'"},
    Signature{0, "\x28\xb5\x2f\xfd"sv, ImageFormat::Raw, "compressed", "unpack it with 'unzstd'"},
    Signature{0, "BZh91AY&SY"sv, ImageFormat::Raw, "compressed", "unpack it with 'bunzip2'"},
};

// A kind of image that cannot be read, though its format can. A text in its head tells.
struct Variant {
    ImageFormat format;
    std::string_view text;
    std::string_view name;
    std::string_view remedy;
};

constexpr std::array Variants{
    Variant{ImageFormat::Aff, "/aes256", "an encrypted AFF image", "decrypt it with 'affcrypto -d'"},
    Variant{ImageFormat::Aff, "aff_file_typeAFM", "an AFM image, which keeps its bytes in other files",
            "make a raw image of it with 'affconvert -r -e raw'"},
};

bool HasAt(Bytes bytes, std::size_t offset, std::string_view wanted) {
    return offset + wanted.size() <= bytes.size() &&
           std::equal(wanted.begin(), wanted.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                      [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

std::size_t Find(Bytes bytes, std::string_view wanted) {
    const auto at = std::search(bytes.begin(), bytes.end(), wanted.begin(), wanted.end(),
                                [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); });
    return static_cast<std::size_t>(at - bytes.begin());
}

FormatSigns Unreadable(std::string_view name, std::string_view remedy) {
    return {ImageFormat::Raw, fmt::format("it is {}, which Salvor does not read; {}", name, remedy)};
}

// In a VHD footer, the checksum is the one's complement of the sum of all other bytes, big-endian.
bool IsVhdFooter(Bytes footer) {
    constexpr std::size_t checksumAt = 64;
    if (footer.size() != FormatTailBytes || !HasAt(footer, 0, "conectix")) {
        return false;
    }
    std::uint32_t sum = 0;
    std::uint32_t stored = 0;
    for (std::size_t i = 0; i < footer.size(); ++i) {
        if (i >= checksumAt && i < checksumAt + 4) {
            stored = stored << 8U | footer[i];
        } else {
            sum += footer[i];
        }
    }
    return stored == ~sum;
}

// True for an image that holds only the differences from another one.
bool IsDifference(ImageFormat format, Bytes head) {
    if (format == ImageFormat::Vhd) {
        return HasAt(head, 60, "\x00\x00\x00\x04"sv);
    }
    constexpr std::string_view parent = "\nparentCID=";
    const std::size_t at = format == ImageFormat::Vmdk ? Find(head, parent) : head.size();
    return at < head.size() && !HasAt(head, at + parent.size(), "ffffffff");
}

}  // namespace

std::string_view ImageFormatWord(ImageFormat format) {
    return std::ranges::find(Words, format, &FormatWord::format)->word;
}

std::optional<ImageFormat> ImageFormatNamed(std::string_view word) {
    const auto* const found = std::ranges::find(Words, word, &FormatWord::word);
    return found == Words.end() ? std::nullopt : std::optional(found->format);
}

std::string ImageFormatWords() {
    std::string words;
    for (const FormatWord& word : Words) {
        words += fmt::format("{}{}", words.empty() ? "" : ", ", word.word);
    }
    return words;
}

FormatSigns RecogniseFormat(Bytes head, Bytes tail) {
    const auto* const sign = std::ranges::find_if(
        Signatures, [&](const Signature& signature) { return HasAt(head, signature.offset, signature.bytes); });
    if (sign == Signatures.end()) {
        if (HasAt(tail, 0, "koly\x00\x00\x00\x04"sv)) {
            return Unreadable("a DMG image", "make a raw image of it with 'dmg2img'");
        }
        return {IsVhdFooter(tail) ? ImageFormat::Vhd : ImageFormat::Raw, {}};
    }
    if (!sign->name.empty()) {
        return Unreadable(sign->name, sign->remedy);
    }
    for (const Variant& variant : Variants) {
        if (variant.format == sign->format && Find(head, variant.text) < head.size()) {
            return Unreadable(variant.name, variant.remedy);
        }
    }
    if (IsDifference(sign->format, head)) {
        return Unreadable(fmt::format("a {} image that needs another one below it", ImageFormatWord(sign->format)),
                          UseQemu);
    }
    return {sign->format, {}};
}

}  // namespace salvor

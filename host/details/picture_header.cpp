#include "host/details/picture_header.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "frame/bytes/Bytes.h"
#include "host/details/times.h"

namespace salvor {

namespace {

// The first bytes of a file; what lies behind them counts as zeros.
class Head {
public:
    explicit Head(MediumSource& file) {
        const std::int64_t there = std::min(file.Size(), std::ssize(bytes_));
        file.ReadAt(0, bytes_.data(), static_cast<std::size_t>(there));
    }

    bool Begins(std::string_view magic) const { return IsAt(0, magic); }
    bool IsAt(std::size_t at, std::string_view text) const { return TextAt(at, text.size()) == text; }
    std::string TextAt(std::size_t at, std::size_t length) const {
        const ByteSpan text = ByteSpan(bytes_).subspan(std::min(at, Length));
        return {text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(length, text.size()))};
    }
    std::uint8_t At(std::size_t at) const { return Little<std::uint8_t>(at); }
    template <class Number>
    Number Little(std::size_t at) const {
        return IsThere<Number>(at) ? LoadLittle<Number>(bytes_, at) : Number{0};
    }
    template <class Number>
    Number Big(std::size_t at) const {
        return IsThere<Number>(at) ? LoadBig<Number>(bytes_, at) : Number{0};
    }

    static constexpr std::size_t Length = 4096;

private:
    template <class Number>
    static bool IsThere(std::size_t at) {
        return at <= Length - sizeof(Number);
    }

    std::array<std::uint8_t, Length> bytes_{};
};

// The corners of the picture, which both belong to it.
void TakePcx(const Head& head, FileDetails& details) {
    const auto side = [&head](std::size_t first, std::size_t last) {
        return std::max(std::int64_t{head.Little<std::uint16_t>(last)} - head.Little<std::uint16_t>(first) + 1,
                        std::int64_t{0});
    };
    details.width = side(4, 8);
    details.height = side(6, 10);
}

// Icons and cursors: the largest picture; 0 stands for 256.
void TakeIcon(const Head& head, FileDetails& details) {
    const std::size_t count = head.Little<std::uint16_t>(4);
    for (std::size_t i = 0, at = 6; i < count && at < Head::Length; ++i, at += 16) {
        const std::int64_t width = head.At(at) == 0 ? 256 : head.At(at);
        if (width > details.width) {
            details.width = width;
            details.height = head.At(at + 1) == 0 ? 256 : head.At(at + 1);
        }
    }
}

// The fields that the picture's maker filled in, each with a mark, a number for what it is, and a length.
void TakePspMaker(const Head& head, std::size_t at, FileDetails& details) {
    constexpr std::uint16_t title = 0;
    constexpr std::uint16_t created = 1;
    constexpr std::size_t fieldHeader = 10;
    while (at < Head::Length && head.IsAt(at, std::string_view("~FL\0", 4))) {
        const auto kind = head.Little<std::uint16_t>(at + 4);
        const std::size_t length = head.Little<std::uint32_t>(at + 6);
        at += fieldHeader;
        if (kind == title) {
            const std::string text = head.TextAt(at, length);
            details.title = text.substr(0, text.find('\0'));
        } else if (kind == created) {
            details.taken = TimeOfSeconds(head.Little<std::uint32_t>(at));
        }
        at += length;
    }
}

// Blocks have a mark, a number for what they hold, in version 3 the length of their first part, and a length.
void TakePsp(const Head& head, FileDetails& details) {
    constexpr std::size_t firstBlock = 36;
    constexpr std::size_t sides = 50;
    constexpr std::uint16_t maker = 1;
    details.width = head.Little<std::uint32_t>(sides);
    details.height = head.Little<std::uint32_t>(sides + 4);
    const std::size_t blockHeader = head.Little<std::uint16_t>(32) == 3 ? 14 : 10;
    for (std::size_t at = firstBlock; at < Head::Length && head.IsAt(at, std::string_view("~BK\0", 4));) {
        if (head.Little<std::uint16_t>(at + 4) == maker) {
            TakePspMaker(head, at + blockHeader, details);
        }
        at += blockHeader + head.Little<std::uint32_t>(at + blockHeader - 4);
    }
}

}  // namespace

void TakeHeaderDetails(MediumSource& picture, FileDetails& details) {
    const Head head(picture);
    if (head.Begins("GIF8")) {
        details.width = head.Little<std::uint16_t>(6);
        details.height = head.Little<std::uint16_t>(8);
    } else if (head.Begins("BM") && head.Little<std::uint32_t>(14) == 12) {
        // The header of the first BMP files is shorter than all later ones.
        details.width = head.Little<std::uint16_t>(18);
        details.height = head.Little<std::uint16_t>(20);
    } else if (head.Begins("gimp xcf ")) {
        details.width = head.Big<std::uint32_t>(14);
        details.height = head.Big<std::uint32_t>(18);
    } else if (head.Begins("FOVb")) {
        // X3F: what is turned for showing it is stored unturned.
        details.width = head.Little<std::uint32_t>(28);
        details.height = head.Little<std::uint32_t>(32);
    } else if (head.Begins("Paint Shop Pro Image File\n\x1A")) {
        TakePsp(head, details);
    } else if (head.Begins("\x0A")) {
        TakePcx(head, details);
    } else if (head.Begins(std::string_view("\0\0\1\0", 4)) || head.Begins(std::string_view("\0\0\2\0", 4))) {
        TakeIcon(head, details);
    }
}

}  // namespace salvor

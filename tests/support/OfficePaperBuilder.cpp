#include "tests/support/OfficePaperBuilder.h"

#include <algorithm>

namespace test {

namespace {

const Bytes SectionGuid = BytesOf("\xE4\x52\x5C\x7B\x8C\xD8\xA7\x4D\xAE\xB1\x53\x78\xD0\x29\x96\xD3");

Bytes LongStart(std::uint32_t type, bool isCompound, std::uint32_t length) {
    return NumberOf(length << 17U | type << 3U | (isCompound ? 4U : 0U) | 2U, 4);
}

Bytes ShortStart(std::uint32_t type, bool isCompound, std::uint32_t length) {
    return NumberOf(length << 9U | type << 3U | (isCompound ? 4U : 0U), 2);
}

Bytes QuarkHeader(std::uint8_t version, Endian endian, std::string_view letters, std::size_t blockBytes,
                  std::size_t blocks) {
    const Bytes number = NumberOf(version, 2, endian);
    return Patched(Zeros(blockBytes * blocks), 2,
                   Join({BytesOf(endian == Endian::Big ? "MMXPR3" : "IIXPR3"), number, number, BytesOf(letters)}));
}

}  // namespace

Bytes OneSection() {
    Bytes file = Noise(1).Random(5000);
    file = Patched(std::move(file), 0, Zeros(1024));
    file = Patched(std::move(file), 0, SectionGuid);
    file = Patched(std::move(file), 48, BytesOf("\x3F\xDD\x9A\x10\x1B\x91\xF5\x49\xA5\xD0\x17\x91\xED\xC8\xAE\xD8"));
    const Bytes version = NumberOf(0x2A, 4);
    file = Patched(std::move(file), 64, Join({version, version, version, version}));
    file = Patched(std::move(file), 160, Join({NumberOf(1024, 8), NumberOf(76, 4)}));
    file = Patched(std::move(file), 172, Join({NumberOf(4000, 8), NumberOf(1000, 4)}));
    return Patched(std::move(file), 196, NumberOf(5000, 8));
}

Bytes OnePackage() {
    const Bytes guid = Noise(2).Random(16);
    return Join(
        {SectionGuid, guid, guid, BytesOf("\x2F\xE9\x8D\x63\xD4\xA6\xC1\x4B\x9A\x36\xB3\xFC\x25\x11\xA5\xB7"), Zeros(4),
         // The package, whose length leaves out the GUID.
         LongStart(0x7A, true, 17), Bytes{0x0C}, Noise(3).Random(16), guid,
         // A package of elements with one short element, which holds a long object and one with a length after
         // its header: 1200 in two bytes.
         ShortStart(0x15, true, 1), Bytes{0}, ShortStart(1, true, 40), Noise(4).Random(40), LongStart(0x80, false, 100),
         Noise(5).Random(100), LongStart(0x81, true, 0x7FFF), NumberOf(1200U << 2U | 2U, 2), Noise(6).Random(1200),
         NumberOf(0x81U << 2U | 3U, 2), Bytes{1U << 2U | 1U}, Bytes{0x15U << 2U | 1U}, Bytes{0xEB, 0x01}});
}

Bytes QuarkDocument(std::uint8_t version, Endian endian, std::string_view letters) {
    constexpr std::size_t blockBytes = 256;
    constexpr std::size_t blocks = 20;
    Bytes file = QuarkHeader(version, endian, letters, blockBytes, blocks);
    const auto link = [&](std::size_t lastBlock, std::int32_t next) {
        const auto value = static_cast<std::uint32_t>(next);
        file = Patched(std::move(file), lastBlock * blockBytes - 4, NumberOf(value, 4, endian));
    };
    link(3, version == 0x42 ? 1000 : 4);
    link(4, 5);
    link(5, -7);
    file = Patched(std::move(file), 6 * blockBytes, NumberOf(4, 2, endian));
    link(10, 11);
    for (std::int32_t block = 11; block < 20; ++block) {
        link(static_cast<std::size_t>(block), block + 1);
    }
    return file;
}

Bytes QuarkProject(Endian endian, std::string_view letters) {
    constexpr std::size_t blockBytes = 1024;
    const auto number = [&](std::uint32_t value) {
        return NumberOf(value, 4, endian);
    };
    Bytes file = QuarkHeader(0x44, endian, letters, blockBytes, 12);
    file = Patched(std::move(file), blockBytes,
                   Join({number(3), number(0), number(4), number(0), number(0), number(16), number(8), number(16),
                         number(0), number(0), number(2), number(3), number(4), number(6)}));
    file = Patched(std::move(file), 2 * blockBytes, BytesOf(endian == Endian::Big ? "IISTLM" : "IIMLTS"));
    file = Patched(std::move(file), 3 * blockBytes - 4, number(5));
    file = Patched(std::move(file), 4 * blockBytes - 4, number(static_cast<std::uint32_t>(-10)));
    return Patched(std::move(file), 9 * blockBytes, NumberOf(3, 2, endian));
}

Bytes SmartDrawing() {
    const auto field = [](std::uint16_t value) {
        return NumberOf(value, 2);
    };
    const auto record = [&](std::uint16_t code, const Bytes& data) {
        return Join({field(code), NumberOf(data.size(), 4), data});
    };
    const Bytes version = Join({field(0x29), field(1), field(1), field(0x20), field(300), field(100), Zeros(4)});
    Bytes file = Join({BytesOf("SMARTDRW"), record(0x8001, version), record(0x8002, Bytes(4, 7)), field(0x4002)});
    for (std::uint64_t i = 0; i < 20; ++i) {
        file = Join({file, record(0x10, Noise(i).Random(44))});
    }
    return Join({file, field(0x4001)});
}

namespace {

Bytes WordPerfectHeader(std::uint32_t area, std::uint8_t fileType, std::uint8_t major, Endian endian = Endian::Little) {
    const Bytes head = Join({BytesOf("\xFFWPC"), NumberOf(area, 4, endian), Bytes{1, fileType, major, 1}});
    return Patched(Zeros(area), 0, head);
}

// 900 bytes: text with as many of the functions as it has room for, and text at the end.
Bytes AreaOf(const Bytes& function, const Bytes& longFunction) {
    const Bytes text = BytesOf("The quick brown fox jumps over the lazy dog. ");
    const Bytes piece = Join({text, function, text, longFunction});
    Bytes area;
    while (area.size() + piece.size() < 800) {
        area = Join({area, piece});
    }
    return Join({area, Bytes(900 - area.size(), 'y')});
}

// Zeros and foreign codes, which only the function's own length leads over.
Bytes FunctionData() { return Join({Zeros(20), Bytes(80, 0xD4)}); }

Bytes VariableFunction(Endian endian) {
    const Bytes count = NumberOf(104, 2, endian);
    return Join({Bytes{0xD1, 2}, count, FunctionData(), count, Bytes{2, 0xD1}});
}

}  // namespace

Bytes WordPerfect5() {
    const Bytes index = Join({NumberOf(0xFFFB, 2), NumberOf(5, 2), NumberOf(50, 2), NumberOf(0, 4), NumberOf(8, 2),
                              NumberOf(20, 4), NumberOf(70, 4)});
    return Join({Patched(WordPerfectHeader(100, 0x0A, 0), 16, index),
                 AreaOf(Bytes{0xC0, 0, 4, 0xC0}, VariableFunction(Endian::Little))});
}

Bytes WordPerfect6(bool hasLength) {
    const Bytes length = NumberOf(107, 2);
    const Bytes function = Join({Bytes{0xD1, 2}, length, FunctionData(), length, Bytes{0xD1}});
    Bytes file = Join({WordPerfectHeader(600, 0x0A, 2), AreaOf(Bytes{0xF1, 0, 0, 0, 0xF1}, function)});
    return hasLength ? Patched(std::move(file), 14, Join({NumberOf(0x200, 2), Bytes{5}, Zeros(3), NumberOf(1500, 4)}))
                     : file;
}

Bytes WordPerfectMacintosh(Endian endian) {
    return Join({WordPerfectHeader(512, 0x2C, 3, endian),
                 AreaOf(Bytes{0xC1, 1, 2, 3, 4, 5, 6, 0xC1}, VariableFunction(Endian::Big))});
}

}  // namespace test

#include "tests/support/DrawingBuilder.h"

#include "tests/support/ZipBuilder.h"

namespace test {

using namespace std::string_literals;

namespace {

Bytes Words(std::initializer_list<std::uint32_t> values) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        bytes = Join({bytes, Little(value)});
    }
    return bytes;
}

Bytes FixedSections(bool isRelease11) {
    Bytes file = Patched(Zeros(0x480), 0x14, Words({0x200, 0x300, 0x300, 0x40000100, 0x400, 0x80000080}));
    const Bytes auxiliaryEnd = BytesOf("\xD6\x72\x2E\xB6\x56\x8C\xE0\x15\x66\x21\xCD\x06\xB2\xF5\x1F\xE6");
    return isRelease11 ? Join({file, Zeros(0xBA - 16), auxiliaryEnd}) : file;
}

Bytes Located() {
    constexpr std::uint32_t records[][2] = {{0x60, 0x100}, {0x160, 0x40}, {0x1A0, 0x60}, {0, 0}, {0x240, 4}};
    Bytes table = Little(std::uint32_t{5});
    for (std::uint8_t number = 0; number < 5; ++number) {
        table = Join({table, {number}, Words({records[number][0], records[number][1]})});
    }
    table = Join({table, Zeros(2), BytesOf("\x95\xA0\x4E\x28\x99\x82\x1A\xE5\x5E\x41\xE0\x5F\x9D\x3A\x4D\0"s)});
    Bytes file = Patched(Zeros(0x2A4), 0x15, table);
    file = Patched(file, 0x230, BytesOf("\x2B\x84\xDE\x31\xD7\x6C\x60\x40\xAC\xDB\xBF\xF6\xED\xC3\x55\xFE"));
    const Bytes previewStart = BytesOf("\x1F\x25\x6D\x07\xD4\x36\x28\x28\x9D\x57\xCA\x3F\x9D\x44\x10\x2B");
    file = Patched(file, 0x260, Join({previewStart, Words({0x20})}));
    return Patched(file, 0x0D, Words({0x260}));
}

Bytes WithSecondCopy() {
    Bytes header = Patched(Zeros(0x6C), 0, BytesOf("AcFssFcAJMB"));
    header = Patched(header, 0x34, Words({0x400}));
    std::uint32_t state = 1;
    for (std::uint8_t& byte : header) {
        state = state * 0x343FD + 0x269EC3;
        byte = static_cast<std::uint8_t>(byte ^ (state >> 16U));
    }
    return Patched(Patched({}, 0x80, header), 0x400, header);
}

Bytes WithFileSize() {
    constexpr std::uint32_t size = 0x1200;
    const Bytes compressed = Join({{8},  // 16 literals: the second 8 come first
                                   Words({size, 0, 0x70, 0}),
                                   {0x0F, 0, 0x80},  // 50 times the last byte
                                   {0x60, 0},        // and 6 times, written in another way
                                   {0},              // 8 literals
                                   Words({size - 0x880, 0})});
    Bytes joined = Patched(Zeros(717), 24, Words({static_cast<std::uint32_t>(compressed.size())}));
    joined = Patched(joined, 32, compressed);
    Bytes file = Zeros(size);
    for (std::size_t i = 0; i < joined.size(); ++i) {
        file[0x80 + i % 239 * 3 + i / 239] = joined[i];
    }
    return file;
}

}  // namespace

Bytes DwgFile(std::string_view release) {
    const Bytes file = release == "AC1015"   ? Located()
                       : release == "AC1021" ? WithFileSize()
                       : release >= "AC1018" ? WithSecondCopy()
                                             : FixedSections(release == "AC1009");
    return Patched(file, 0, BytesOf(release));
}

Bytes CamFile() {
    const auto area = [](std::uint16_t id, std::uint32_t length) {
        return Join({Big(id), Big(length), Zeros(10)});
    };
    return Join({BytesOf("\x07\x20MM"), Big(std::uint16_t{2}), area(4, 1000), area(1, 30),
                 Patched(Zeros(1000), 0, BytesOf("\xFF\xD8\xFF\xE0")), Bytes(30, 'c')});
}

Bytes PspFile(std::uint16_t majorVersion) {
    Bytes file = Join({BytesOf("Paint Shop Pro Image File\n\x1A\0\0\0\0\0"s), Little(majorVersion), Zeros(2)});
    constexpr std::uint32_t blocks[][2] = {{0, 46}, {1, 20}, {3, 700}};
    for (const auto& [id, length] : blocks) {
        file = Join({file, BytesOf("~BK\0"s), Little(static_cast<std::uint16_t>(id)),
                     majorVersion == 3 ? Words({24}) : Bytes(), Words({length}), Bytes(length, 0x5A)});
    }
    return file;
}

Bytes OciFile() {
    return Join({BytesOf("OPIM"), Words({0x30}), Zeros(0x30), BytesOf("OLYR"), Words({600}), Zeros(600),
                 BytesOf("OEND"), Words({0})});
}

Bytes MbFile(bool isLong) {
    const auto group = [isLong](std::string_view type, const Bytes& content) {
        const auto length = static_cast<std::uint32_t>(content.size() + 4);
        return Join({BytesOf(isLong ? "FOR8" : "FOR4"),
                     isLong ? Join({BytesOf("\x72\x86\0\x01"s), Big(std::uint64_t{length})}) : Big(length),
                     BytesOf(type), content});
    };
    return group("Maya", Join({group("HEAD", Join({BytesOf("VERS"), Zeros(36)})), group("PLUG", Zeros(300)),
                               group("CONN", Zeros(36))}));
}

Bytes CdrFile() {
    const Bytes chunks = Join({BytesOf("CDRDvrsn"), Words({2}), Little(std::uint16_t{1300}), BytesOf("LIST"),
                               Words({301}), Zeros(302), BytesOf("sumi"), Words({60}), Zeros(60)});
    return Join({BytesOf("RIFF"), Words({static_cast<std::uint32_t>(chunks.size())}), chunks});
}

Bytes CdrPackage(ZipSizes sizes, std::string_view mediaType) {
    // Holds what looks like the record after it.
    const Bytes data = Patched(Zeros(700), 300, BytesOf("PK\x03\x04PK\x07\x08PK\x01\x02"));
    const Bytes sum = Zeros(4);
    const Bytes size = Words({static_cast<std::uint32_t>(data.size())});
    Bytes member = ZipLocal("content/root.dat", data);
    if (sizes != ZipSizes::InHeader) {
        member = Patched(Claiming(member, 0), 6, {8});
        member = Join({member, sizes == ZipSizes::InDescriptor ? BytesOf("PK\x07\x08") : Bytes(), sum, size, size});
    }
    const Bytes first = ZipLocal("mimetype", BytesOf(mediaType));
    return Join({first, member, ZipCentral("mimetype", static_cast<std::uint32_t>(mediaType.size()), 0),
                 ZipCentral("content/root.dat", 700, static_cast<std::uint32_t>(first.size()), 4, 3), ZipEnd()});
}

Bytes CrwFile(std::size_t rawBytes) {
    const auto entry = [](std::uint16_t tag, std::size_t size, std::size_t offset) {
        return Join({Little(tag), Words({static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(offset)})});
    };
    const Bytes directory = Join(
        {Little(std::uint16_t{3}), entry(0x2005, rawBytes, 0), entry(0x300A, 60, rawBytes), entry(0x580B, 77, 88)});
    const std::size_t place = rawBytes + 60;
    Noise noise(rawBytes);
    const Bytes raw = Patched(noise.Random(rawBytes), rawBytes / 2, Join({directory, Words({12})}));
    return Join({BytesOf("II\x1A\0\0\0HEAPCCDR"s), Words({0x10002}), Zeros(8), raw, noise.Random(60), directory,
                 Words({static_cast<std::uint32_t>(place)})});
}

Bytes XcfWithEffects() {
    const auto numbers = [](std::initializer_list<std::uint32_t> values) {
        Bytes bytes;
        for (const std::uint32_t value : values) {
            bytes = Join({bytes, Big(value)});
        }
        return bytes;
    };
    const auto pointer = [](std::size_t value) {
        return Big(std::uint64_t{value});
    };
    const Bytes name = Join({numbers({4}), BytesOf("abc\0"s)});
    const Bytes noProperties = Zeros(8);
    // One byte a pixel, of one tile of 5 x 4: a run, a long literal and a short one.
    const auto pixels = [&](std::size_t at) {
        const std::size_t level = at + 12 + 2 * 8;
        return Join({numbers({5, 4, 1}), pointer(level), Zeros(8), numbers({5, 4}), pointer(level + 24), Zeros(8),
                     BytesOf("\x07x\x80\0\x0B"s), Bytes(11, 'y'), BytesOf("\xFFz")});
    };
    const auto channel = [&](std::size_t at) {
        const std::size_t own = 8 + name.size() + noProperties.size() + 8;
        return Join({numbers({5, 4}), name, noProperties, pointer(at + own), pixels(at + own)});
    };
    Bytes file = Join({BytesOf("gimp xcf v023\0"s), numbers({5, 4, 0, 150}), numbers({17, 1}), {1}, noProperties});
    const std::size_t lists = file.size();
    const std::size_t layer = lists + 5 * 8;
    const std::size_t hierarchy = layer + 12 + name.size() + noProperties.size() + 4 * 8;
    const std::size_t effect = hierarchy + pixels(0).size();
    const std::size_t mask = effect + 4 * name.size() + noProperties.size() + 8;
    const std::size_t path = mask + channel(0).size();
    return Join({file,
                 pointer(layer),
                 Zeros(8),
                 Zeros(8),
                 pointer(path),
                 Zeros(8),
                 numbers({5, 4, 2}),
                 name,
                 noProperties,
                 pointer(hierarchy),
                 Zeros(8),
                 pointer(effect),
                 Zeros(8),
                 pixels(hierarchy),
                 name,
                 name,
                 name,
                 name,
                 noProperties,
                 pointer(mask),
                 channel(mask),
                 name,
                 numbers({40}),
                 Zeros(40)});
}

}  // namespace test

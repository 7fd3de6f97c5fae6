#include "tests/support/HelpBuilder.h"

#include <algorithm>

namespace test {

Bytes HelpFile() {
    constexpr std::size_t pageBytes = 1024;
    constexpr std::size_t treeBytes = 38 + pageBytes;
    Bytes file = Join({BytesOf("?_\x03"), Zeros(2000), BytesOf("Contents")});
    const auto set = [&](std::size_t offset, std::uint64_t value, std::size_t width) {
        PutNumber(file, offset, value, width);
    };
    set(4, HelpDirectory, 4);
    set(8, 0xFFFFFFFF, 4);
    set(12, file.size(), 4);
    set(HelpDirectory, treeBytes + 9, 4);
    set(HelpDirectory + 4, treeBytes, 4);
    set(HelpDirectory + 8, 4, 1);
    const std::size_t tree = HelpDirectory + 9;
    set(tree, 0x293B, 2);
    set(tree + 2, 0x0402, 2);
    set(tree + 4, pageBytes, 2);
    set(tree + 28, 0xFFFF, 2);
    set(tree + 30, 1, 2);
    set(tree + 32, 1, 2);
    return file;
}

Bytes CompiledHelpFile(std::uint32_t version) {
    const std::size_t headerBytes = version == 2 ? 0x58 : 0x60;
    const std::size_t directory = headerBytes + 0x18;
    constexpr std::size_t directoryBytes = 0x1054;
    Bytes file = Zeros(directory + directoryBytes + 700);
    const auto set = [&](std::size_t offset, std::uint64_t value) {
        PutNumber(file, offset, value, 8);
    };
    std::ranges::copy(BytesOf("ITSF"), file.begin());
    PutNumber(file, 4, version, 4);
    set(8, headerBytes);
    for (const std::size_t guid : {0x18U, 0x28U}) {
        set(guid, 0x11D07BAA7C01FD10 + (guid == 0x28 ? 1 : 0));
        set(guid + 8, 0xECE622C9A0000C9E);
    }
    set(0x38, headerBytes);
    set(0x40, 0x18);
    set(0x48, directory);
    set(0x50, directoryBytes);
    if (version != 2) {
        set(0x58, directory + directoryBytes);
    }
    set(headerBytes, 0x1FE);
    set(headerBytes + 8, file.size());
    std::ranges::copy(BytesOf("ITSP"), file.begin() + static_cast<std::ptrdiff_t>(directory));
    return file;
}

}  // namespace test

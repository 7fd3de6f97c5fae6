#include "tests/support/MailBuilder.h"

#include <string>

namespace test {

namespace {

void Append32(Bytes& bytes, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

Bytes FilledUpTo(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

}  // namespace

Bytes PersonalFolders(std::uint32_t shortEnd, std::uint32_t longEnd) {
    Bytes bytes = FilledUpTo(BytesOf("!BDN"), 168);
    Append32(bytes, shortEnd);
    bytes.resize(184);
    Append32(bytes, longEnd);
    return bytes;
}

Bytes ExpressFolder(std::uint32_t lastSegment) {
    Bytes bytes =
        FilledUpTo(BytesOf("\xCF\xAD\x12\xFE\xC5\xFD\x74\x6F\x66\xE3\xD1\x11\x9A\x4E" + std::string("\0\xC0", 2)), 124);
    Append32(bytes, lastSegment);
    return bytes;
}

Bytes StoredMessage(std::size_t chained, std::size_t own) {
    using namespace std::string_literals;
    Bytes bytes = FilledUpTo(BytesOf("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"), 512);
    bytes = FilledUpTo(Join({bytes, BytesOf("R\0o\0o\0t\0 \0E\0n\0t\0r\0y\0"s)}), 1024);
    bytes.resize(5 * 512, 's');
    for (std::uint32_t entry = 1; entry <= chained; ++entry) {
        Append32(bytes, entry);
    }
    Append32(bytes, 0xFFFFFFFE);
    for (std::size_t i = 0; i < own; ++i) {
        Append32(bytes, 0xFFFFFFFD);
    }
    do {
        Append32(bytes, 0xFFFFFFFF);
    } while (bytes.size() % 512 != 0);
    return bytes;
}

}  // namespace test

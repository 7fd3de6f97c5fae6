#include "tests/support/ZipBuilder.h"

#include <algorithm>

namespace test {

namespace {

void Put(Bytes& record, std::size_t offset, std::size_t width, std::uint64_t value) {
    for (std::size_t i = 0; i < width; ++i) {
        record[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

Bytes Record(std::string_view signature, std::size_t bytes) {
    Bytes record = BytesOf(signature);
    record.resize(bytes);
    return record;
}

}  // namespace

Bytes ZipLocal(std::string_view name, const Bytes& data, std::size_t extraBytes) {
    Bytes header = Record("PK\x03\x04", 30);
    Put(header, 26, 2, name.size());
    Put(header, 28, 2, extraBytes);
    return Join({Claiming(header, static_cast<std::uint32_t>(data.size())), BytesOf(name), Zeros(extraBytes), data});
}

Bytes ZipCentral(std::string_view name, std::uint32_t compressedSize, std::uint32_t localOffset, std::size_t extraBytes,
                 std::size_t commentBytes) {
    Bytes header = Record("PK\x01\x02", 46);
    Put(header, 20, 4, compressedSize);
    Put(header, 28, 2, name.size());
    Put(header, 30, 2, extraBytes);
    Put(header, 32, 2, commentBytes);
    Put(header, 42, 4, localOffset);
    return Join({header, BytesOf(name), Bytes(extraBytes + commentBytes, '#')});
}

Bytes ZipDescriptor() { return Record("PK\x07\x08", 16); }

Bytes ZipEnd(std::size_t commentBytes) {
    Bytes record = Record("PK\x05\x06", 22);
    Put(record, 20, 2, commentBytes);
    return Join({record, Bytes(commentBytes, '#')});
}

Bytes Claiming(Bytes localHeader, std::uint32_t compressedSize) {
    Put(localHeader, 18, 4, compressedSize);
    return localHeader;
}

Bytes ZipArchive(const std::vector<ZipMember>& members, std::size_t commentBytes) {
    Bytes archive;
    Bytes directory;
    for (const ZipMember& member : members) {
        const auto offset = static_cast<std::uint32_t>(archive.size());
        directory = Join({directory, ZipCentral(member.name, static_cast<std::uint32_t>(member.data.size()), offset)});
        archive = Join({archive, ZipLocal(member.name, member.data)});
    }
    return Join({archive, directory, ZipEnd(commentBytes)});
}

}  // namespace test

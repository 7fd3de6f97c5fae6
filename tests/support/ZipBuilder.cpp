#include "tests/support/ZipBuilder.h"
#include "tests/support/Numbers.h"

namespace test {

namespace {

Bytes Record(std::string_view signature, std::size_t bytes) {
    Bytes record = BytesOf(signature);
    record.resize(bytes);
    return record;
}

}  // namespace

Bytes ZipLocal(std::string_view name, const Bytes& data, std::size_t extraBytes) {
    Bytes header = Record("PK\x03\x04", 30);
    PutNumber(header, 26, name.size(), 2);
    PutNumber(header, 28, extraBytes, 2);
    return Join({Claiming(header, static_cast<std::uint32_t>(data.size())), BytesOf(name), Zeros(extraBytes), data});
}

Bytes ZipCentral(std::string_view name, std::uint32_t compressedSize, std::uint32_t localOffset, std::size_t extraBytes,
                 std::size_t commentBytes) {
    Bytes header = Record("PK\x01\x02", 46);
    PutNumber(header, 20, compressedSize, 4);
    PutNumber(header, 28, name.size(), 2);
    PutNumber(header, 30, extraBytes, 2);
    PutNumber(header, 32, commentBytes, 2);
    PutNumber(header, 42, localOffset, 4);
    return Join({header, BytesOf(name), Bytes(extraBytes + commentBytes, '#')});
}

Bytes ZipDescriptor() { return Record("PK\x07\x08", 16); }

Bytes ZipEnd(std::size_t commentBytes) {
    Bytes record = Record("PK\x05\x06", 22);
    PutNumber(record, 20, commentBytes, 2);
    return Join({record, Bytes(commentBytes, '#')});
}

Bytes Claiming(Bytes localHeader, std::uint32_t compressedSize) {
    PutNumber(localHeader, 18, compressedSize, 4);
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

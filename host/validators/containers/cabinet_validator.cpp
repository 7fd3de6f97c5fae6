#include <algorithm>
#include <optional>
#include <vector>

#include "frame/bytes/FieldReader.h"
#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view Signature = "MSCF\0\0\0\0"sv;

// Source: [MS-CAB], section 2.
constexpr std::size_t HeaderBytes = 36;
constexpr std::uint16_t HasPrevious = 1;
constexpr std::uint16_t HasNext = 2;
constexpr std::uint16_t HasReserve = 4;
constexpr std::size_t SignerBytes = 20;

struct Header {
    std::int64_t size = 0;
    std::int64_t firstFile = 0;
    std::uint16_t folders = 0;
    std::uint16_t files = 0;
    std::uint16_t flags = 0;
    std::uint8_t folderReserve = 0;
    std::uint8_t dataReserve = 0;
    // Where the folders begin.
    std::int64_t end = 0;
    // The end of a signature that follows the cabinet; 0 if there is none.
    std::int64_t signedEnd = 0;
};

bool Begins(ByteSpan head) {
    return head.size() >= HeaderBytes &&
           std::ranges::equal(head.first(Signature.size()), Signature, {}, {},
                              [](char c) { return static_cast<std::uint8_t>(c); }) &&
           head[25] == 1 && head[24] <= 3 && LoadLittle<std::uint32_t>(head, 8) >= HeaderBytes &&
           LoadLittle<std::uint32_t>(head, 16) >= HeaderBytes &&
           LoadLittle<std::uint32_t>(head, 16) <= LoadLittle<std::uint32_t>(head, 8) &&
           LoadLittle<std::uint16_t>(head, 30) <= (HasPrevious | HasNext | HasReserve);
}

void SkipText(FieldReader& reader) {
    constexpr int longest = 512;
    for (int i = 0; i < longest && !reader.IsBroken(); ++i) {
        if (reader.Byte() == 0) {
            return;
        }
    }
    reader.Break();
}

std::optional<Header> ReadHeader(Place& file) {
    FieldReader reader(file, 8);
    Header header;
    header.size = reader.Little<std::uint32_t>();
    reader.Skip(4);
    header.firstFile = reader.Little<std::uint32_t>();
    reader.Skip(6);
    header.folders = reader.Little<std::uint16_t>();
    header.files = reader.Little<std::uint16_t>();
    header.flags = reader.Little<std::uint16_t>();
    reader.Skip(4);
    if ((header.flags & HasReserve) != 0) {
        const auto reserve = reader.Little<std::uint16_t>();
        header.folderReserve = reader.Byte();
        header.dataReserve = reader.Byte();
        const std::int64_t place = reader.Position();
        reader.Skip(reserve);
        // Signing tools store offset and length of the signature here.
        const ByteSpan signer = reserve == SignerBytes ? file.At(place, SignerBytes) : ByteSpan();
        if (!signer.empty() && LoadLittle<std::uint32_t>(signer, 4) == header.size) {
            header.signedEnd = header.size + LoadLittle<std::uint32_t>(signer, 8);
        }
    }
    for (const std::uint16_t flag : {HasPrevious, HasNext}) {
        if ((header.flags & flag) != 0) {
            SkipText(reader);
            SkipText(reader);
        }
    }
    header.end = reader.Position();
    return reader.IsBroken() ? std::nullopt : std::optional(header);
}

struct Folder {
    std::int64_t firstBlock = 0;
    std::uint16_t blocks = 0;
};

std::vector<Folder> ReadFolders(Place& file, const Header& header) {
    std::vector<Folder> folders;
    FieldReader reader(file, header.end);
    for (std::uint16_t i = 0; i < header.folders; ++i) {
        Folder folder;
        folder.firstBlock = reader.Little<std::uint32_t>();
        folder.blocks = reader.Little<std::uint16_t>();
        reader.Skip(2U + header.folderReserve);
        folders.push_back(folder);
    }
    return reader.IsBroken() ? std::vector<Folder>() : folders;
}

// The entries of the files lie between the folders and the data, each with a name.
bool AreFilesRight(Place& file, const Header& header) {
    FieldReader reader(file, header.firstFile);
    for (std::uint16_t i = 0; i < header.files; ++i) {
        reader.Skip(8);
        const auto folder = reader.Little<std::uint16_t>();
        reader.Skip(6);
        SkipText(reader);
        // From this value on, the file continues from the previous cabinet or into the next.
        constexpr std::uint16_t goesOn = 0xFFFD;
        if (reader.IsBroken() || (folder >= header.folders && folder < goesOn) || reader.Position() > header.size) {
            return false;
        }
    }
    return true;
}

// Exclusive or of the 32-bit words; the bytes left over are taken highest first.
std::uint32_t Checksum(ByteSpan bytes, std::uint32_t seed) {
    std::uint32_t sum = seed;
    std::size_t at = 0;
    for (; at + 4 <= bytes.size(); at += 4) {
        sum ^= LoadLittle<std::uint32_t>(bytes, at);
    }
    std::uint32_t rest = 0;
    for (; at < bytes.size(); ++at) {
        rest = rest << 8U | bytes[at];
    }
    return sum ^ rest;
}

// The end of the block; nothing if it is damaged. Many writers leave its checksum 0.
std::optional<std::int64_t> EndOfBlock(Place& file, std::int64_t at, const Header& header) {
    constexpr std::size_t blockHeader = 8;
    // A block unpacks to at most this many bytes.
    constexpr std::uint16_t mostUnpacked = 0x8000;
    std::vector<std::uint8_t> block(blockHeader + header.dataReserve);
    if (!file.Copy(at, block)) {
        return std::nullopt;
    }
    const auto crc = LoadLittle<std::uint32_t>(block, 0);
    const std::size_t packed = LoadLittle<std::uint16_t>(block, 4);
    const std::int64_t data = at + static_cast<std::int64_t>(block.size());
    if (LoadLittle<std::uint16_t>(block, 6) > mostUnpacked || data + static_cast<std::int64_t>(packed) > header.size) {
        return std::nullopt;
    }
    if (crc != 0) {
        std::vector<std::uint8_t> bytes(packed);
        if (!file.Copy(data, bytes)) {
            return std::nullopt;
        }
        const std::uint32_t sum = Checksum(bytes, 0);
        // Writers disagree on whether the checksum covers the reserved bytes.
        if (Checksum(ByteSpan(block).subspan(4, 4), sum) != crc && Checksum(ByteSpan(block).subspan(4), sum) != crc) {
            return std::nullopt;
        }
    }
    return data + static_cast<std::int64_t>(packed);
}

Finding Validate(Place& file) {
    const std::optional<Header> header = ReadHeader(file);
    const std::vector<Folder> folders = header ? ReadFolders(file, *header) : std::vector<Folder>();
    if (!header || (folders.empty() && header->folders != 0) || !AreFilesRight(file, *header)) {
        return {.why = "its header is damaged"};
    }
    for (const Folder& folder : folders) {
        std::int64_t at = folder.firstBlock;
        for (std::uint16_t i = 0; i < folder.blocks; ++i) {
            const std::optional<std::int64_t> next = EndOfBlock(file, at, *header);
            if (!next) {
                return BrokenAt(file, std::min(at, header->size), header->size, FileTypeIndex::Cab,
                                "a block of data is damaged");
            }
            at = *next;
        }
    }
    if (header->size > file.Limit()) {
        return BrokenAt(file, header->size, header->size, FileTypeIndex::Cab, "the cabinet");
    }
    // A signature is DER: a sequence with a two-byte length.
    static constexpr auto sequence = PatternOf("\x30\x82");
    if (header->signedEnd > header->size && StartsWith(file.At(header->size, sequence.size()), sequence)) {
        if (header->signedEnd > file.Limit()) {
            return BrokenAt(file, header->size, header->signedEnd, FileTypeIndex::Cab, "its signature");
        }
        return {
            Verdict::Whole, header->signedEnd, FileTypeIndex::Cab, {}, "blocks of data and a signature behind them"};
    }
    return {Verdict::Whole, header->size, FileTypeIndex::Cab, {}, "all blocks of its folders lie inside"};
}

constexpr StartSignature Starts[] = {{Signature}};

constexpr std::int32_t Types[] = {FileTypeIndex::Cab};

}  // namespace

extern const Validator CabinetValidator;
const Validator CabinetValidator{
    .name = "cabinet", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor

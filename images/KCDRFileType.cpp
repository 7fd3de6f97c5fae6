#include "images/KCDRFileType.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "formats/ZipMembers.h"

namespace {

bool BeginsWith(ByteSpan bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::ranges::equal(bytes.first(text.size()), text);
}

// ---- RIFF ----

constexpr std::size_t FormOffset = RiffHeaderBytes;
constexpr std::int64_t FirstChunk = 12;
constexpr std::size_t ChunkHeaderBytes = 8;
// The header, and the first chunk up to its version number.
constexpr std::size_t RiffPrefixBytes = 22;
constexpr std::uint32_t SmallestRiff = 256;
constexpr int MostChunks = 0x100000;

bool IsForm(ByteSpan form) {
    const std::uint8_t version = form[3];
    const bool isVersion = version == ' ' || (version >= '3' && version <= '9') || (version >= 'A' && version <= 'Z');
    // A right-to-left edition writes it in lower case.
    return BeginsWith(form, "cdr8") || (isVersion && (BeginsWith(form, "CDR") || BeginsWith(form, "CDT")));
}

bool IsTag(ByteSpan bytes) {
    return std::ranges::all_of(bytes.first(4), [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
}

// The first chunk of each version. Version 3 may begin with anything but the contents of clip art.
bool IsFirstChunk(ByteSpan chunk, bool isVersion3) {
    const auto length = LoadLittle<std::uint32_t>(chunk, 4);
    if (BeginsWith(chunk, "vrsn")) {
        // The version times 100.
        const auto version = LoadLittle<std::uint16_t>(chunk, ChunkHeaderBytes);
        return length == 2 && version >= 300 && version <= 1399;
    }
    if (BeginsWith(chunk, "fver")) {
        return length == 16;
    }
    return isVersion3 && IsTag(chunk) && !BeginsWith(chunk, "cont");
}

bool OpensRiff(ByteSpan sector) {
    if (sector.size() < RiffPrefixBytes || !IsForm(sector.subspan(FormOffset))) {
        return false;
    }
    return LoadLittle<std::uint32_t>(sector, RiffSizeOffset) >= SmallestRiff &&
           IsFirstChunk(sector.subspan(FirstChunk), sector[FormOffset + 3] == ' ');
}

// The chunks lead to the end, or break off after those that every drawing has.
bool ChunksLeadTo(FileWindow& file, std::int64_t end) {
    bool hasVersion = false;
    bool hasList = false;
    std::int64_t at = FirstChunk;
    for (int chunks = 0; chunks < MostChunks && at < end; ++chunks) {
        const ByteSpan chunk = file.At(at, ChunkHeaderBytes);
        if (chunk.empty() || !IsTag(chunk)) {
            return hasVersion && hasList;
        }
        const std::int64_t length = LoadLittle<std::uint32_t>(chunk, 4);
        hasVersion = hasVersion || BeginsWith(chunk, "vrsn") || BeginsWith(chunk, "fver");
        hasList = hasList || BeginsWith(chunk, "LIST");
        at += static_cast<std::int64_t>(ChunkHeaderBytes) + length + length % 2;
    }
    // The last pad byte may be left out.
    return at == end || at == end + 1;
}

std::optional<std::int64_t> EndOfRiff(FileWindow& file) {
    const ByteSpan header = file.At(0, FormOffset);
    if (header.empty()) {
        return std::nullopt;
    }
    const std::int64_t end = RiffHeaderBytes + LoadLittle<std::uint32_t>(header, RiffSizeOffset);
    return end <= file.Limit() && ChunksLeadTo(file, end) ? std::optional(end) : std::nullopt;
}

// ---- ZIP ----

constexpr auto LocalMark = PatternOf("PK\x03\x04");
// A data descriptor: checksum and sizes, after an optional signature.
constexpr std::int64_t DescriptorBytes = 12;
constexpr std::int64_t SignatureBytes = 4;
constexpr std::size_t ZipPrefixBytes = 100;
constexpr int MostRecords = 0x20000;
// The cost of looking at a record, counted in bytes read.
constexpr std::int64_t RecordCost = 1024;

bool OpensPackage(ByteSpan sector) {
    if (sector.size() < ZipPrefixBytes) {
        return false;
    }
    const std::size_t nameBytes = LoadLittle<std::uint16_t>(sector, ZipLocalHeader::NameLength);
    const std::size_t extraBytes = LoadLittle<std::uint16_t>(sector, ZipLocalHeader::ExtraLength);
    const ByteSpan name = sector.subspan(ZipLocalHeader::Bytes);
    // Packages of version X4, the first to write them, have no media type.
    constexpr std::string_view drawing = "content/riffData.cdr";
    if (nameBytes == drawing.size()) {
        return BeginsWith(name, drawing);
    }
    constexpr std::string_view mediaType = "mimetype";
    const std::size_t contentOffset = mediaType.size() + extraBytes;
    const bool isStored = LoadLittle<std::uint16_t>(sector, ZipLocalHeader::Method) == 0;
    if (nameBytes != mediaType.size() || !isStored || !BeginsWith(name, mediaType) || contentOffset > name.size()) {
        return false;
    }
    constexpr std::array<std::string_view, 4> drawings{
        "application/x-vnd.corel.draw.document+zip", "application/x-vnd.corel.zcf.draw.document+zip",
        "application/x-vnd.corel.draw.template+zip", "application/x-vnd.corel.zcf.draw.template+zip"};
    const ByteSpan content = name.subspan(contentOffset);
    return std::ranges::any_of(drawings, [content](std::string_view type) { return BeginsWith(content, type); });
}

std::optional<std::int64_t> EndOfMember(FileWindow& file, std::int64_t start) {
    const ByteSpan header = file.At(start, ZipLocalHeader::Bytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const bool hasDescriptor = (LoadLittle<std::uint16_t>(header, ZipLocalHeader::Flags) & ZipHasDescriptor) != 0;
    const std::int64_t dataBytes = LoadLittle<std::uint32_t>(header, ZipLocalHeader::CompressedSize);
    const std::int64_t data = start + static_cast<std::int64_t>(ZipLocalHeader::Bytes) +
                              LoadLittle<std::uint16_t>(header, ZipLocalHeader::NameLength) +
                              LoadLittle<std::uint16_t>(header, ZipLocalHeader::ExtraLength);
    if (!hasDescriptor) {
        return data + dataBytes;
    }
    if (dataBytes == 0) {
        return EndOfDescribedZipData(file, data, file.Limit());
    }
    const bool hasSignature = ZipSignatureAt(file, data + dataBytes) == ZipSignature::DataDescriptor;
    return data + dataBytes + DescriptorBytes + (hasSignature ? SignatureBytes : 0);
}

std::optional<std::int64_t> EndOfPackage(FileWindow& file) {
    std::optional<std::int64_t> at = 0;
    for (int records = 0; records < MostRecords && at && !file.IsExhausted(); ++records) {
        file.Charge(RecordCost);
        const std::uint32_t signature = ZipSignatureAt(file, *at);
        if (signature == ZipSignature::EndOfDirectory) {
            const ByteSpan record = file.At(*at, ZipEndRecord::Bytes);
            return record.empty() ? std::nullopt
                                  : std::optional(*at + static_cast<std::int64_t>(ZipEndRecord::Bytes) +
                                                  LoadLittle<std::uint16_t>(record, ZipEndRecord::CommentLength));
        }
        if (signature == ZipSignature::LocalHeader) {
            at = EndOfMember(file, *at);
        } else if (signature == ZipSignature::CentralHeader) {
            at = EndOfZipEntry(file, *at);
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

bool KCDRFileType::IsHeader(ByteSpan sector) {
    if (StartsWith(sector, RiffSignature)) {
        return OpensRiff(sector);
    }
    return StartsWith(sector, LocalMark) && OpensPackage(sector);
}

std::optional<std::int64_t> KCDRFileType::Walk(FileWindow& file) {
    return StartsWith(file.At(0, RiffSignature.size()), RiffSignature) ? EndOfRiff(file) : EndOfPackage(file);
}

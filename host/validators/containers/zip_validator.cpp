#include <algorithm>

#include <FileTypeCatalog.h>
#include "formats/ZipRecords.h"
#include "host/validators/broken.h"
#include "host/validators/containers/zip_archive.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view EmptyArchive = "PK\5\6\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv;

// True if the first member has a version and a method that exist, and a name. Without a name it has neither a checksum
// nor a size: Android's build tools fill the place of a removed member so, and what was packed from a pipe has them
// after its data.
bool IsLocalHeader(ByteSpan head) {
    if (head.size() <= ZipLocalHeader::Bytes || LoadLittle<std::uint32_t>(head, 0) != ZipSignature::LocalHeader) {
        return false;
    }
    const auto method = LoadLittle<std::uint16_t>(head, ZipLocalHeader::Method);
    const auto nameBytes = LoadLittle<std::uint16_t>(head, ZipLocalHeader::NameLength);
    if (nameBytes == 0) {
        const auto packedSize = LoadLittle<std::uint32_t>(head, ZipLocalHeader::CompressedSize);
        return (method == ZipStored || method == ZipDeflated) &&
               LoadLittle<std::uint32_t>(head, ZipLocalHeader::Crc) == 0 &&
               (packedSize == 0 || packedSize == 0xFFFFFFFF);
    }
    constexpr std::uint8_t newestVersion = 99;
    return head[4] <= newestVersion && (method <= 20 || (method >= 93 && method <= 99)) && nameBytes <= 4096 &&
           head[ZipLocalHeader::Bytes] >= ' ';
}

bool Begins(ByteSpan head) {
    if (head.size() < EmptyArchive.size()) {
        return false;
    }
    const auto first = LoadLittle<std::uint32_t>(head, 0);
    constexpr std::uint32_t splitMark = 0x30304B50;
    if (first == ZipSignature::DataDescriptor || first == splitMark) {
        return IsLocalHeader(head.subspan(4));
    }
    return IsLocalHeader(head) || std::ranges::equal(head.first(EmptyArchive.size()), EmptyArchive, {}, {},
                                                     [](char c) { return static_cast<std::uint8_t>(c); });
}

Finding Validate(Place& file) {
    ZipArchive archive(file, [&file](std::int64_t offset) { return file.NextStart(offset); });
    const PackageKind kind = archive.Kind();
    Finding finding;
    if (!archive.End()) {
        // A single header without anything else of an archive proves nothing.
        const bool isAlone = archive.LastHeader() <= 4 && archive.BrokenAt() <= file.Limit();
        if (isAlone) {
            return {.why = "its first member leads nowhere"};
        }
        finding = BrokenAt(file, archive.LastHeader(), archive.BrokenAt(), kind.type, "its members break off");
        finding.extension = kind.extension;
        return finding;
    }
    finding.type = kind.type;
    finding.extension = kind.extension;
    finding.size = std::min(*archive.End(), file.Limit());
    const std::string fault = archive.MembersFault();
    const std::int64_t next = file.NextStart(archive.Comment());
    if (next < finding.size) {
        finding.verdict = Verdict::Truncated;
        finding.size = next;
        finding.why = "another file begins in its comment";
    } else if (*archive.End() > file.Limit()) {
        finding.verdict = Verdict::Truncated;
        finding.why = "its comment goes on past the medium's end";
    } else if (!fault.empty()) {
        finding.verdict = Verdict::Damaged;
        finding.why = fault;
    } else {
        finding.verdict = Verdict::Whole;
        finding.why = "the directory agrees with its members, and their CRC-32 is right";
    }
    return finding;
}

constexpr StartSignature Starts[] = {
    {"PK\3\4"sv},
    {EmptyArchive},
    {"PK\7\10PK\3\4"sv},
    {"PK00PK\3\4"sv},
};

constexpr std::int32_t Types[] = {FileTypeIndex::Docx, FileTypeIndex::Xlsx, FileTypeIndex::Pptx, FileTypeIndex::Odt,
                                  FileTypeIndex::Ods,  FileTypeIndex::Odp,  FileTypeIndex::Odg,  FileTypeIndex::Odb,
                                  FileTypeIndex::Zip,  FileTypeIndex::Odf,  FileTypeIndex::Jar,  FileTypeIndex::Pxl};

}  // namespace

extern const Validator ZipValidator;
const Validator ZipValidator{.name = "zip", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor

#include "formats/ZipMembers.h"

#include "formats/ZipRecords.h"

namespace {

constexpr BytePattern RecordMark = BytePatternOf<"PK">();
constexpr std::int64_t SignatureBytes = 4;
constexpr std::int64_t CrcBytes = 4;

// The cost of looking at a record, counted in bytes read.
constexpr std::int64_t RecordCost = 1024;

// Compressed data contain the first two bytes of a record once in 64 KiB by chance; with far more it is not one member.
constexpr std::int64_t FreeMarks = 256;
constexpr std::int64_t BytesPerMark = 1024;

// A checksum and both sizes, after a signature that may be missing.
constexpr std::int64_t DescriptorBytes(bool isLong) { return CrcBytes + (isLong ? 16 : 8); }

// True if the descriptor of `dataBytes` bytes is there, after its signature if it has one.
bool HasDescriptor(ByteWindow& file, std::int64_t offset, std::int64_t dataBytes, bool isLong) {
    const ByteSpan size = file.At(offset + CrcBytes, isLong ? 8 : 4);
    if (size.empty()) {
        return false;
    }
    return isLong ? LoadLittle<std::uint64_t>(size, 0) == static_cast<std::uint64_t>(dataBytes)
                  : LoadLittle<std::uint32_t>(size, 0) == dataBytes;
}

}  // namespace

std::uint32_t ZipSignatureAt(ByteWindow& file, std::int64_t offset) {
    const ByteSpan bytes = file.At(offset, SignatureBytes);
    return bytes.empty() ? 0 : LoadLittle<std::uint32_t>(bytes, 0);
}

std::optional<std::int64_t> EndOfDescribedZipData(ByteWindow& file, std::int64_t start, std::int64_t limit,
                                                  bool isLong) {
    std::int64_t at = start;
    for (std::int64_t marks = 0; marks < FreeMarks + (at - start) / BytesPerMark; ++marks, ++at) {
        const std::optional<std::int64_t> found = file.Find(RecordMark, at, limit);
        if (!found) {
            return std::nullopt;
        }
        at = *found;
        file.Charge(RecordCost);
        const std::uint32_t signature = ZipSignatureAt(file, at);
        const bool isNext = signature == ZipSignature::LocalHeader || signature == ZipSignature::CentralHeader;
        if (signature == ZipSignature::DataDescriptor && HasDescriptor(file, at + SignatureBytes, at - start, isLong)) {
            return at + SignatureBytes + DescriptorBytes(isLong);
        }
        const std::int64_t data = at - DescriptorBytes(isLong) - start;
        if (isNext && data >= 0 && HasDescriptor(file, at - DescriptorBytes(isLong), data, isLong)) {
            return at;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> EndOfZipEntry(ByteWindow& file, std::int64_t start) {
    const ByteSpan entry = file.At(start, ZipCentralHeader::Bytes);
    if (entry.empty()) {
        return std::nullopt;
    }
    std::int64_t end = start + static_cast<std::int64_t>(ZipCentralHeader::Bytes);
    for (const std::size_t offset :
         {ZipCentralHeader::NameLength, ZipCentralHeader::ExtraLength, ZipCentralHeader::CommentLength}) {
        end += LoadLittle<std::uint16_t>(entry, offset);
    }
    return end;
}

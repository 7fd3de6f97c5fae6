#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/broken.h"
#include "host/validators/crc32.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto Signature = PatternOf("7z\xBC\xAF\x27\x1C");

// The start header, which points to the header proper. Source: 7zFormat.txt.
constexpr std::size_t StartHeaderBytes = 32;
constexpr std::size_t StartCrc = 8;
constexpr std::size_t CheckedBytes = 12;
constexpr std::size_t NextOffset = 12;
constexpr std::size_t NextSize = 20;
constexpr std::size_t NextCrc = 28;

bool Begins(ByteSpan head) {
    return head.size() >= StartHeaderBytes && StartsWith(head, Signature) &&
           LoadLittle<std::uint32_t>(head, StartCrc) ==
               Crc32Of(head.subspan(CheckedBytes, StartHeaderBytes - CheckedBytes));
}

Finding Validate(Place& file) {
    const ByteSpan head = file.At(0, StartHeaderBytes);
    constexpr std::uint64_t most = std::uint64_t{1} << 60U;
    const auto offset = LoadLittle<std::uint64_t>(head, NextOffset);
    const auto size = LoadLittle<std::uint64_t>(head, NextSize);
    if (offset > most || size > most) {
        return {.why = "its header lies nowhere"};
    }
    const auto crc = LoadLittle<std::uint32_t>(head, NextCrc);
    const auto header = static_cast<std::int64_t>(StartHeaderBytes + offset);
    const std::int64_t end = header + static_cast<std::int64_t>(size);
    if (end > file.Limit()) {
        return BrokenAt(file, StartHeaderBytes, end, FileTypeIndex::SevenZip, "its header");
    }
    if (size != 0 && Crc32Of(file, header, end) != crc) {
        Finding finding = BrokenAt(file, StartHeaderBytes, end, FileTypeIndex::SevenZip, "its header is damaged");
        if (finding.verdict == Verdict::Damaged) {
            finding.size = end;
        }
        return finding;
    }
    return {Verdict::Whole, end, FileTypeIndex::SevenZip, {}, "the header at its end is right"};
}

constexpr StartSignature Starts[] = {{"7z\xBC\xAF\x27\x1C"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::SevenZip};

}  // namespace

extern const Validator SevenZipValidator;
const Validator SevenZipValidator{
    .name = "7z", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor

#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>

#include "frame/bytes/FieldReader.h"
#include "host/validate/broken.h"
#include "host/validate/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto StartOfPicture = PatternOf("\xFF\xD8\xFF");

// Sensor data from `start` on, which only the header's numbers measure: they end where another whole file begins.
Finding Measured(Place& file, std::int64_t start, std::int64_t end, std::int32_t type) {
    const std::int64_t next = file.NextWhole(start);
    if (next < std::min(end, file.Limit())) {
        return {Verdict::Truncated, next, type, {}, "another whole file begins in the sensor's data"};
    }
    if (end > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), type, {}, "goes on behind the medium's end"};
    }
    return {Verdict::Whole, end, type, {}, "all that the header names is there"};
}

// Minolta: blocks of metadata, of which the first tells the sensor's dimensions, then the sensor's data.
constexpr auto MrwMark = PatternOf("\0MRM");
constexpr auto DimensionsMark = PatternOf("\0PRD");
constexpr std::int64_t MrwBlockHead = 8;
constexpr std::size_t MrwHeaderBytes = 34;

bool BeginsMrw(ByteSpan head) {
    return head.size() >= MrwHeaderBytes && StartsWith(head, MrwMark) && HasPatternAt(head, 8, DimensionsMark);
}

Finding ValidateMrw(Place& file) {
    std::array<std::uint8_t, MrwHeaderBytes> header{};
    if (!file.Copy(0, header)) {
        return {};
    }
    const std::int64_t data = MrwBlockHead + LoadBig<std::uint32_t>(header, 4);
    const std::int64_t pixels = std::int64_t{LoadBig<std::uint16_t>(header, 24)} * LoadBig<std::uint16_t>(header, 26);
    const std::int64_t bits = header[32];
    if (pixels == 0 || bits < 8 || bits > 16) {
        return {};
    }
    // The blocks tile what is in front of the sensor's data.
    std::int64_t at = MrwBlockHead;
    for (int blocks = 0; at < data && blocks < 64; ++blocks) {
        const ByteSpan block = file.At(at, static_cast<std::size_t>(MrwBlockHead));
        if (block.empty() || block[0] != 0) {
            break;
        }
        at += MrwBlockHead + std::int64_t{LoadBig<std::uint32_t>(block, 4)};
    }
    if (at != data) {
        return BrokenAt(file, std::min(at, data), std::min(at, data), FileTypeIndex::Mrw, "blocks of the header");
    }
    return Measured(file, data + 1, data + (pixels * bits + 7) / 8, FileTypeIndex::Mrw);
}

// Fujifilm: a header that lists offset and length of the pieces, big-endian.
constexpr auto RafMark = PatternOf("FUJIFILMCCD-RAW ");
constexpr std::size_t RafHeaderBytes = 136;
constexpr std::size_t RafPreview = 84;
constexpr std::size_t RafMetadata = 92;
constexpr std::size_t RafSensorData = 100;
// Of the data of cameras with two sensors. Shorter headers have the preview there.
constexpr std::array<std::size_t, 2> RafSecondSensor{120, 128};

bool BeginsRaf(ByteSpan head) { return StartsWith(head, RafMark); }

Finding ValidateRaf(Place& file) {
    std::array<std::uint8_t, RafHeaderBytes> header{};
    if (!file.Copy(0, header)) {
        return {};
    }
    const auto number = [&header](std::size_t place) {
        return std::int64_t{LoadBig<std::uint32_t>(header, place)};
    };
    std::int64_t end = 0;
    const auto take = [&](std::size_t place) {
        const std::int64_t start = number(place);
        const std::int64_t length = number(place + 4);
        const bool isPiece = start > static_cast<std::int64_t>(RafSensorData) && length > 0 && start < file.Limit();
        end = isPiece ? std::max(end, start + length) : end;
        return isPiece;
    };
    if (!take(RafSensorData)) {
        return {};
    }
    const bool hasPreview = take(RafPreview);
    take(RafMetadata);
    for (const std::size_t place : RafSecondSensor) {
        if (number(RafPreview) >= static_cast<std::int64_t>(place + 8)) {
            take(place);
        }
    }
    if (hasPreview && !StartsWith(file.At(number(RafPreview), StartOfPicture.size()), StartOfPicture)) {
        return {Verdict::Damaged, static_cast<std::int64_t>(RafHeaderBytes), FileTypeIndex::Raf, {}, "no preview"};
    }
    return Measured(file, std::max(number(RafSensorData), number(RafPreview)) + 1, end, FileTypeIndex::Raf);
}

// Sigma: sections, and behind them their directory; the last four bytes say where that begins.
constexpr auto X3fMark = PatternOf("FOVb");
constexpr BytePattern X3fDirectoryMark = BytePatternOf<"SECd">();
constexpr std::size_t X3fHeadBytes = 12;
constexpr std::size_t X3fEntryBytes = 12;
constexpr std::uint32_t MostX3fEntries = 1024;

bool BeginsX3f(ByteSpan head) { return StartsWith(head, X3fMark); }

// The end of the file if its directory begins at `start`: all sections lie in front of it.
std::optional<std::int64_t> BehindX3fDirectory(Place& file, std::int64_t start) {
    const ByteSpan head = file.At(start, X3fHeadBytes);
    const std::uint32_t count = head.empty() ? 0 : LoadLittle<std::uint32_t>(head, 8);
    if (count < 1 || count > MostX3fEntries) {
        return std::nullopt;
    }
    const std::size_t bytes = count * X3fEntryBytes + 4;
    const ByteSpan table = file.At(start + static_cast<std::int64_t>(X3fHeadBytes), bytes);
    if (table.empty() || LoadLittle<std::uint32_t>(table, bytes - 4) != start) {
        return std::nullopt;
    }
    for (std::size_t at = 0; at + 4 < bytes; at += X3fEntryBytes) {
        if (std::int64_t{LoadLittle<std::uint32_t>(table, at)} + LoadLittle<std::uint32_t>(table, at + 4) > start) {
            return std::nullopt;
        }
    }
    return start + static_cast<std::int64_t>(X3fHeadBytes + bytes);
}

Finding ValidateX3f(Place& file) {
    const std::int64_t most = FileTypeCatalog[FileTypeIndex::X3f].largestSize;
    std::int64_t from = 0;
    while (const auto mark = file.Find(X3fDirectoryMark, from, std::min(file.Limit(), most))) {
        if (const auto end = BehindX3fDirectory(file, *mark)) {
            return {Verdict::Whole, *end, FileTypeIndex::X3f, {}, "the directory at its end is sound"};
        }
        from = *mark + 1;
    }
    const std::int64_t next = file.NextWhole(0);
    return {Verdict::Truncated, std::min(next, most), FileTypeIndex::X3f, {}, "its directory is not there"};
}

// Photoshop's brushes since version 6: a version and blocks.
constexpr auto BrushBlockMark = PatternOf("8BIM");
constexpr auto BrushSamples = PatternOf("samp");
constexpr auto BrushDescription = PatternOf("desc");

bool BeginsAbr(ByteSpan head) {
    return head.size() >= 16 && LoadBig<std::uint16_t>(head, 0) >= 6 && LoadBig<std::uint16_t>(head, 0) <= 10 &&
           LoadBig<std::uint16_t>(head, 2) <= 2 && HasPatternAt(head, 4, BrushBlockMark);
}

Finding ValidateAbr(Place& file) {
    constexpr std::int64_t headBytes = 12;
    constexpr int mostBlocks = 1024;
    std::int64_t at = 4;
    std::int64_t end = at;
    bool hasBrushes = false;
    bool hasDescription = false;
    for (int blocks = 0; blocks < mostBlocks; ++blocks) {
        ByteSpan head = file.At(at, static_cast<std::size_t>(headBytes));
        // Lengths that are no multiple of 4 are filled up by some writers.
        if (!StartsWith(head, BrushBlockMark) && blocks > 0) {
            at = (end + 3) / 4 * 4;
            head = file.At(at, static_cast<std::size_t>(headBytes));
        }
        if (!StartsWith(head, BrushBlockMark)) {
            break;
        }
        hasBrushes = hasBrushes || HasPatternAt(head, 4, BrushSamples);
        hasDescription = hasDescription || HasPatternAt(head, 4, BrushDescription);
        const std::int64_t next = at + headBytes + LoadBig<std::uint32_t>(head, 8);
        if (next > file.Limit()) {
            return BrokenAt(file, at, next, FileTypeIndex::Abr, "a block");
        }
        at = end = next;
    }
    if (!hasBrushes && !hasDescription) {
        return {};
    }
    const bool isWhole = hasBrushes && hasDescription;
    return {isWhole ? Verdict::Whole : Verdict::Open, end, FileTypeIndex::Abr, {}, "blocks of brushes"};
}

constexpr StartSignature MrwStarts[] = {{"\0MRM"sv}};
constexpr StartSignature RafStarts[] = {{"FUJIFILMCCD-RAW "}};
constexpr StartSignature X3fStarts[] = {{"FOVb"}};
constexpr StartSignature AbrStarts[] = {{"8BIM", 4}};
constexpr std::int32_t MrwTypes[] = {FileTypeIndex::Mrw};
constexpr std::int32_t RafTypes[] = {FileTypeIndex::Raf};
constexpr std::int32_t X3fTypes[] = {FileTypeIndex::X3f};

}  // namespace

/// Minolta's raws. No document describes the format.
extern const Validator MrwValidator;
const Validator MrwValidator{.name = "mrw",
                             .phase = Validator::Phase::Bounded,
                             .starts = MrwStarts,
                             .begins = BeginsMrw,
                             .validate = ValidateMrw,
                             .types = MrwTypes};

/// Fujifilm's raws. No document describes the format.
extern const Validator RafValidator;
const Validator RafValidator{.name = "raf",
                             .phase = Validator::Phase::Bounded,
                             .starts = RafStarts,
                             .begins = BeginsRaf,
                             .validate = ValidateRaf,
                             .types = RafTypes};

/// Sigma's raws. Source: Foveon, X3F RAW File Format, version 2.2.
extern const Validator X3fValidator;
const Validator X3fValidator{
    .name = "x3f", .starts = X3fStarts, .begins = BeginsX3f, .validate = ValidateX3f, .types = X3fTypes};

/// Photoshop's brushes since version 6. Source: Adobe Photoshop File Formats Specification, image resource blocks.
extern const Validator AbrValidator;
const Validator AbrValidator{.name = "abr", .starts = AbrStarts, .begins = BeginsAbr, .validate = ValidateAbr};

}  // namespace salvor

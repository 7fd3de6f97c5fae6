#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "formats/CanonHeap.h"
#include "formats/CanonTrailer.h"
#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/images/sensor_data.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto StartOfPicture = PatternOf("\xFF\xD8\xFF");

// Sensor data from `start` on, measured only by the header's numbers: they end where another whole file begins.
Finding Measured(Place& file, std::int64_t start, std::int64_t end, std::int32_t type) {
    const std::int64_t next = file.NextWhole(start);
    if (next < std::min(end, file.Limit())) {
        return {Verdict::Truncated, next, type, {}, "another whole file begins in the sensor's data"};
    }
    const std::int64_t shown = std::min(end, file.Limit());
    if (const std::int64_t zeros = StartOfZeros(file, start, shown); zeros < shown) {
        return {Verdict::Truncated, zeros, type, {}, "the sensor's data give way to zeros"};
    }
    if (end > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), type, {}, "goes on past the medium's end"};
    }
    return {Verdict::Whole, end, type, {}, "all that the header names is there"};
}

// Minolta: blocks of metadata, the first of which gives the sensor's dimensions, then the sensor data.
constexpr auto MrwMark = PatternOf("\0MRM");
constexpr auto DimensionsMark = PatternOf("\0PRD");
constexpr std::int64_t MrwBlockHead = 8;
constexpr std::size_t MrwHeaderBytes = 34;

bool BeginsMrw(ByteSpan head) {
    return head.size() >= MrwHeaderBytes && StartsWith(head, MrwMark) && HasPatternAt(head, 8, DimensionsMark);
}

// For big-endian samples of 16 bits, of which the camera uses only the low ones: the start of the sector with the first
// sample that is too large, or `end`.
std::int64_t EndOfSamples(Place& file, std::int64_t start, std::int64_t end, unsigned usedBits) {
    const auto unused = static_cast<std::uint8_t>(0xFFU << (usedBits - 8));
    for (std::int64_t at = start; at + 1 < end;) {
        const ByteSpan shown = file.From(at, 2);
        const auto count = std::min(shown.size() / 2 * 2, static_cast<std::size_t>(end - at) / 2 * 2);
        for (std::size_t i = 0; i < count; i += 2) {
            if ((shown[i] & unused) != 0) {
                const std::int64_t sample = at + static_cast<std::int64_t>(i);
                return std::max(start, sample / file.SectorSize() * file.SectorSize());
            }
        }
        if (count == 0) {
            return at;
        }
        at += static_cast<std::int64_t>(count);
    }
    return end;
}

// For samples of 12 bits, two in three bytes. Neighbours of one colour are two samples apart. In any other bytes they
// differ on average by a third of the range, in pictures by far less. Gives the start of the first stretch of such
// other bytes, or `end`.
std::int64_t EndOfPackedSamples(Place& file, std::int64_t start, std::int64_t end) {
    constexpr std::size_t pairBytes = 3;
    constexpr std::size_t pairs = 2048;
    constexpr auto step = static_cast<std::int64_t>(pairBytes * pairs);
    constexpr std::size_t foreignDifference = 1000;
    for (std::int64_t at = start;; at += step) {
        const ByteSpan bytes = end - at < step ? ByteSpan() : file.At(at, pairBytes * pairs);
        if (bytes.empty()) {
            return end;
        }
        std::size_t difference = 0;
        int before = bytes[0] << 4 | bytes[1] >> 4;
        for (std::size_t i = pairBytes; i < bytes.size(); i += pairBytes) {
            const int sample = bytes[i] << 4 | bytes[i + 1] >> 4;
            difference += static_cast<std::size_t>(std::abs(sample - before));
            before = sample;
        }
        if (difference > pairs * foreignDifference) {
            return at;
        }
    }
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
    // The blocks must fill everything before the sensor data.
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
    const std::int64_t end = data + (pixels * bits + 7) / 8;
    const std::int64_t shown = std::min(end, file.Limit());
    const unsigned sampleBits = header[33];
    const bool isPacked = bits == 12;
    const bool hasUnusedBits = bits == 16 && sampleBits >= 8 && sampleBits < 16;
    const std::int64_t right = isPacked        ? EndOfPackedSamples(file, data, shown)
                               : hasUnusedBits ? EndOfSamples(file, data, shown, sampleBits)
                                               : shown;
    if (right < std::min(shown, file.NextWhole(data))) {
        return {Verdict::Truncated, right, FileTypeIndex::Mrw, {}, "the sensor's data give way to other bytes"};
    }
    return Measured(file, data, end, FileTypeIndex::Mrw);
}

// Canon before CR2: the outer directory, which ends the file, and the heaps inside the outer heap.
bool BeginsCrw(ByteSpan head) { return StartsWith(head, CanonHeap::Signature); }

// Does a heap's own directory stand at its end, with all values before it? Heaps in it are pushed on `waiting`.
using HeapExtent = std::pair<std::int64_t, std::int64_t>;
bool IsHeapSound(Place& file, const HeapExtent& heap, std::vector<HeapExtent>& waiting) {
    constexpr auto ownOffsetBytes = static_cast<std::int64_t>(CanonHeap::OwnOffsetBytes);
    const auto [start, end] = heap;
    FieldReader own(file, end - ownOffsetBytes);
    const std::int64_t directory = own.Little<std::uint32_t>();
    FieldReader fields(file, start + directory);
    const auto count = fields.Little<std::uint16_t>();
    const auto bytes = static_cast<std::int64_t>(CanonHeap::DirectoryBytes(count));
    if (own.IsBroken() || fields.IsBroken() || start + directory + bytes > end) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        const ByteSpan entryBytes = fields.Take(CanonHeap::EntryBytes);
        if (entryBytes.empty()) {
            return false;
        }
        const CanonHeap::Entry entry = CanonHeap::EntryAt(entryBytes, 0);
        if (!entry.IsInHeap()) {
            continue;
        }
        const std::int64_t valueEnd = std::int64_t{entry.offset} + entry.size;
        if (valueEnd > directory) {
            return false;
        }
        if (entry.IsHeap()) {
            waiting.emplace_back(start + entry.offset, start + valueEnd);
        }
    }
    return true;
}

// Inner heaps are smaller, but two entries may point to the same one.
bool AreHeapsSound(Place& file, std::int64_t end) {
    constexpr int mostHeaps = 256;
    std::vector<HeapExtent> waiting{{CanonHeap::Start, end}};
    for (int heaps = 0; !waiting.empty(); ++heaps) {
        const HeapExtent heap = waiting.back();
        waiting.pop_back();
        if (heaps == mostHeaps || !IsHeapSound(file, heap, waiting)) {
            return false;
        }
    }
    return true;
}

Finding ValidateCrw(Place& file) {
    // The cameras write 2 to 12 MiB a picture.
    const std::int64_t searched = std::min(file.Limit(), std::int64_t{64} << 20);
    // A directory may straddle two pieces.
    constexpr auto step = static_cast<std::int64_t>(ByteWindow::PieceBytes - CanonHeap::MostDirectoryBytes);
    const auto accepts = [](const CanonHeap::Contents& contents) {
        return contents.hasProperties && (contents.hasPicture || contents.hasThumbnail);
    };
    for (std::int64_t at = 0; at < searched && !file.IsExhausted(); at += step) {
        const ByteSpan bytes = file.From(at, ByteWindow::PieceBytes);
        const auto root = CanonHeap::FindRoot(bytes, at, accepts, [] {});
        if (!root) {
            continue;
        }
        const std::int64_t heapEnd = at + static_cast<std::int64_t>(root->end);
        const std::int64_t end = CanonTrailer::EndAfterPadded(file, heapEnd);
        return AreHeapsSound(file, heapEnd)
                   ? Finding{Verdict::Whole, end, FileTypeIndex::Crw, {}, "its directories are sound"}
                   : Finding{Verdict::Damaged, end, FileTypeIndex::Crw, {}, "the camera's settings are overwritten"};
    }
    return {Verdict::Truncated, std::min(file.NextWhole(0), searched), FileTypeIndex::Crw, {}, "no directory ends it"};
}

// Rollei: lines of text that give the place and size of a thumbnail of 16 bits a pixel, and of the sensor data of 10
// bits, which follow it.
constexpr auto RdcMark = PatternOf("DSC-Image");
constexpr BytePattern RdcHeaderEnd = BytePatternOf<"EOHD">();
constexpr std::size_t LongestRdcHeader = 0x1000;

bool BeginsRdc(ByteSpan head) { return StartsWith(head, RdcMark); }

// The number of the line "name=number"; 0 if there is none.
std::int64_t RdcNumber(std::string_view header, std::string_view name) {
    for (std::size_t at = header.find(name); at != std::string_view::npos; at = header.find(name, at + 1)) {
        std::string_view line = header.substr(at + name.size());
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        const char before = at == 0 ? '\n' : header[at - 1];
        if ((before != '\n' && before != '\r') || !line.starts_with('=')) {
            continue;
        }
        line.remove_prefix(1);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        std::uint32_t number = 0;
        std::from_chars(line.data(), line.data() + line.size(), number);
        return number;
    }
    return 0;
}

Finding ValidateRdc(Place& file) {
    const ByteSpan bytes = file.From(0, LongestRdcHeader);
    const auto most = static_cast<std::int64_t>(std::min(bytes.size(), LongestRdcHeader));
    const std::optional<std::int64_t> headerEnd = file.Find(RdcHeaderEnd, 0, most);
    if (!headerEnd) {
        return {.why = "its header has no end"};
    }
    const ByteSpan headerBytes = file.At(0, static_cast<std::size_t>(*headerEnd));
    const std::string header(headerBytes.begin(), headerBytes.end());
    constexpr std::int64_t longestSide = 0x4000;
    const std::int64_t thumbnail = RdcNumber(header, "HDR");
    const std::int64_t thumbnailWidth = RdcNumber(header, "TX");
    const std::int64_t thumbnailHeight = RdcNumber(header, "TY");
    const std::int64_t width = RdcNumber(header, "X");
    const std::int64_t height = RdcNumber(header, "Y");
    const bool isPicture = width >= 1 && width <= longestSide && height >= 1 && height <= longestSide;
    if (thumbnail <= *headerEnd || !isPicture || thumbnailWidth > width || thumbnailHeight > height) {
        return {Verdict::Damaged, *headerEnd, FileTypeIndex::Rdc, {}, "its header names no picture"};
    }
    const std::int64_t sensor = thumbnail + thumbnailWidth * thumbnailHeight * 2;
    return Measured(file, thumbnail, sensor + width * height * 10 / 8, FileTypeIndex::Rdc);
}

// Fujifilm: a header with offsets and lengths of the parts, big-endian.
constexpr auto RafMark = PatternOf("FUJIFILMCCD-RAW ");
constexpr std::size_t RafHeaderBytes = 136;
constexpr std::size_t RafPreview = 84;
constexpr std::size_t RafMetadata = 92;
constexpr std::size_t RafSensorData = 100;
// For cameras with two sensors. In shorter headers the preview is there.
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

// Sigma: sections, followed by their directory; the last four bytes are its offset.
constexpr auto X3fMark = PatternOf("FOVb");
constexpr BytePattern X3fDirectoryMark = BytePatternOf<"SECd">();
constexpr std::size_t X3fHeadBytes = 12;
constexpr std::size_t X3fEntryBytes = 12;
constexpr std::uint32_t MostX3fEntries = 1024;

bool BeginsX3f(ByteSpan head) { return StartsWith(head, X3fMark); }

// The end of the file if its directory begins at `start`: all sections lie before it.
std::optional<std::int64_t> EndOfX3fDirectory(Place& file, std::int64_t start) {
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
        if (const auto end = EndOfX3fDirectory(file, *mark)) {
            return {Verdict::Whole, *end, FileTypeIndex::X3f, {}, "the directory at its end is sound"};
        }
        from = *mark + 1;
    }
    const std::int64_t next = file.NextWhole(0);
    return {Verdict::Truncated, std::min(next, most), FileTypeIndex::X3f, {}, "its directory is not there"};
}

constexpr StartSignature CrwStarts[] = {{"HEAPCCDR", 6}};
constexpr StartSignature RdcStarts[] = {{"DSC-Image"}};
constexpr StartSignature MrwStarts[] = {{"\0MRM"sv}};
constexpr StartSignature RafStarts[] = {{"FUJIFILMCCD-RAW "}};
constexpr StartSignature X3fStarts[] = {{"FOVb"}};
constexpr std::int32_t CrwTypes[] = {FileTypeIndex::Crw};
constexpr std::int32_t RdcTypes[] = {FileTypeIndex::Rdc};
constexpr std::int32_t MrwTypes[] = {FileTypeIndex::Mrw};
constexpr std::int32_t RafTypes[] = {FileTypeIndex::Raf};
constexpr std::int32_t X3fTypes[] = {FileTypeIndex::X3f};

}  // namespace

/// Canon's raws from before CR2. Source: Canon, CIFF Specification on Image Data File, version 1.0.
extern const Validator CrwValidator;
const Validator CrwValidator{.name = "crw",
                             .phase = Validator::Phase::Bounded,
                             .starts = CrwStarts,
                             .begins = BeginsCrw,
                             .validate = ValidateCrw,
                             .types = CrwTypes};

/// Rollei's raws. No document describes the format.
extern const Validator RdcValidator;
const Validator RdcValidator{.name = "rdc",
                             .phase = Validator::Phase::Bounded,
                             .starts = RdcStarts,
                             .begins = BeginsRdc,
                             .validate = ValidateRdc,
                             .types = RdcTypes};

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

}  // namespace salvor

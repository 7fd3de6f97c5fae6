#include <FileTypeCatalog.h>

#include <algorithm>

#include "formats/MarkupReader.h"
#include "formats/PictureWalks.h"
#include "host/validators/text/markup.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto LastValue = PatternOf("EOF");
constexpr std::uint8_t DosEnd = 0x1A;

bool IsMacintosh(ByteSpan head) { return !DxfDrawing::IsHeader(head) && DxfDrawing::IsHeader(head, '\r'); }

// True if the line before `at` is the code 0 alone.
bool FollowsZero(Place& file, std::int64_t at, std::uint8_t lineEnd) {
    constexpr std::int64_t longest = 16;
    const std::int64_t from = std::max<std::int64_t>(at - longest, 0);
    const ByteSpan bytes = file.At(from, static_cast<std::size_t>(at - from));
    if (bytes.empty() || bytes.back() != lineEnd) {
        return false;
    }
    const auto isBlank = [](std::uint8_t byte) {
        return byte == ' ' || byte == '\t' || byte == '\r';
    };
    const auto rest = std::find_if_not(bytes.rbegin() + 1, bytes.rend(), isBlank);
    if (rest == bytes.rend() || *rest != '0') {
        return false;
    }
    const auto before = std::find_if_not(rest + 1, bytes.rend(), isBlank);
    return before == bytes.rend() || *before == lineEnd;
}

Finding Whole(std::int64_t size) { return {Verdict::Whole, size, FileTypeIndex::Dxf, {}, "pairs up to the last one"}; }

// After the last pair, which ends at `end`, there may be empty lines or a comment; other text is foreign. So, most
// likely, is a line end of one byte before anything but zeros.
std::int64_t EndOfLastLine(Place& file, std::int64_t end) {
    const ByteSpan last = file.At(end - 1, 1);
    if (last.empty() || last[0] == 0 || last[0] == DosEnd) {
        return end;
    }
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const std::int64_t documentEnd = EndOfDocument(file, text, end, u"999");
    const ByteSpan next = file.At(documentEnd, 1);
    return documentEnd == end + 1 && !next.empty() && next[0] != 0 ? end : documentEnd;
}

Finding Validate(Place& file) {
    const std::uint8_t lineEnd = IsMacintosh(file.From(0, DxfDrawing::LeastHead)) ? '\r' : DxfDrawing::LineEnd;
    const std::optional<WalkedFile> walked = DxfDrawing::Walk(file, lineEnd);
    if (!walked || walked->size <= 0) {
        return {};
    }
    if (!walked->isComplete) {
        // A file may end right after its last word; foreign bytes then follow on the same line.
        const bool hasLastValue = StartsWith(file.At(walked->size, LastValue.size()), LastValue);
        return hasLastValue && FollowsZero(file, walked->size, lineEnd)
                   ? Whole(walked->size + static_cast<std::int64_t>(LastValue.size()))
                   : Finding{Verdict::Open, walked->size, FileTypeIndex::Dxf, {}, "pairs, but no last one"};
    }
    return Whole(EndOfLastLine(file, walked->size));
}

// Signatures for files that are smaller than the least size that scanners report.
constexpr StartSignature Starts[] = {{"  0\r\nSECTION"},
                                     {"  0\nSECTION"},
                                     {"0\r\nSECTION"},
                                     {"0\nSECTION"},
                                     {" 0\r\nSECTION"},
                                     {" 0\nSECTION"},
                                     {"  0\rSECTION"},
                                     {"0\rSECTION"},
                                     {" 0\rSECTION"},
                                     {"999"},
                                     {"  999"},
                                     {"\xEF\xBB\xBF"
                                      "0"},
                                     {"\xEF\xBB\xBF  0"},
                                     {"AutoCAD Binary DXF\r\n\x1A\0"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::Dxf};

}  // namespace

/// AutoCAD exchange files. Source: Autodesk, DXF Reference, releases 12 to 2018.
extern const Validator DxfValidator;
const Validator DxfValidator{.name = "dxf",
                             .starts = Starts,
                             .begins = [](ByteSpan head) { return DxfDrawing::IsHeader(head) || IsMacintosh(head); },
                             .validate = Validate,
                             .types = Types};

}  // namespace salvor

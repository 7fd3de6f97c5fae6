#include <FileTypeCatalog.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "formats/PdfWalk.h"
#include "formats/PostScriptWalk.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr StartSignature Starts[] = {{.bytes = "%!PS-Adobe-"sv}};

constexpr auto PrivateMark = PatternOf("%AI9_PrintingDataEnd");
constexpr BytePattern PrivateStart = BytePatternOf<"%AI9_PrivateDataBegin">();
constexpr BytePattern PrivateEnd = BytePatternOf<"%AI9_PrivateDataEnd">();

// All versions of the conventions; the library's scanner wants 2.0 or 3.0.
bool Begins(ByteSpan head) {
    constexpr std::size_t major = 11;
    return StartsWith(head, PatternOf("%!PS-Adobe-")) && head.size() > major + 2 && IsDigit(head[major]) &&
           head[major + 1] == '.' && IsDigit(head[major + 2]);
}

// Illustrator from version 9 on appends its own drawing to an encapsulated one, after the last comment. The end of
// that, or `end` if there is none.
std::int64_t EndOfPrivateData(Place& file, std::int64_t end) {
    constexpr std::int64_t within = 4096;
    if (!StartsWith(file.From(end, PrivateMark.size()), PrivateMark)) {
        return end;
    }
    const std::int64_t textEnd = FollowText(file, end).printableEnd;
    const auto start = file.Find(PrivateStart, end, std::min(end + within, textEnd));
    const auto mark = start ? file.Find(PrivateEnd, *start, textEnd) : std::nullopt;
    return mark ? EndOfLastLine(file, *mark + static_cast<std::int64_t>(PrivateEnd.size()), file.SectorSize()) : end;
}

// Drawings by other programs count as text.
Finding DocumentOf(Place& file, Verdict verdict, std::int64_t size, const char* why, bool hasPrivateData = false) {
    const bool isDrawing = IsIllustratorDrawing(file) && !hasPrivateData;
    return {verdict, size, isDrawing ? FileTypeIndex::Ai : FileTypeIndex::Text,
            isDrawing ? "" : PostScriptExtension(file.From(0, 32)), why};
}

// A trailer without an end comment goes on up to bytes that are not text. A few that seem to be text, on a line of
// their own, are the first of these bytes.
std::int64_t WithoutBrokenLine(Place& file, std::int64_t end) {
    constexpr std::int64_t shortest = 8;
    const ByteSpan line = file.At(end - shortest, static_cast<std::size_t>(shortest) + 1);
    if (line.empty() || line.back() == 0) {
        return end;
    }
    for (std::int64_t cut = 0; cut < shortest; ++cut) {
        const std::uint8_t last = line[static_cast<std::size_t>(shortest - 1 - cut)];
        if (last == '\n' || last == '\r') {
            return end - cut;
        }
    }
    return end;
}

Finding Validate(Place& file) {
    const PostScriptExtent text = FindPostScriptEnd(file, file.SectorSize(), /*endsAtBinary=*/true);
    if (!text.isClosed && !IsIllustratorDrawing(file)) {
        // Where it ends, only the text can tell.
        return {};
    }
    if (text.end && (!text.binaryAt || *text.binaryAt >= *text.end)) {
        const std::int64_t end = text.binaryAt == text.end ? WithoutBrokenLine(file, *text.end) : *text.end;
        if (!text.isClosed) {
            return DocumentOf(file, Verdict::Open, end, "the text of its trailer, without a last comment");
        }
        const std::int64_t privateEnd = EndOfPrivateData(file, end);
        return DocumentOf(file, Verdict::Whole, privateEnd, "closed by its last comment",
                          /*hasPrivateData=*/privateEnd > end);
    }
    if (!text.binaryAt) {
        return DocumentOf(file, Verdict::Truncated, FollowText(file, 0).end, "no last comment");
    }
    // Raw image data may belong to it, unless another file begins there.
    const PostScriptExtent all = FindPostScriptEnd(file, file.SectorSize(), /*endsAtBinary=*/false);
    if (all.end && file.NextStart(*text.binaryAt) >= *all.end) {
        return DocumentOf(file, Verdict::Open, *all.end, "binary data in front of its last comment");
    }
    return DocumentOf(file, Verdict::Damaged, FollowText(file, 0).end, "binary data and no last comment");
}

}  // namespace

extern const Validator PostScriptValidator;
const Validator PostScriptValidator{.name = "postscript", .starts = Starts, .begins = Begins, .validate = Validate};

}  // namespace salvor

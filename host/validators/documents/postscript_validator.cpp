#include <FileTypeCatalog.h>

#include <cstdint>

#include "formats/PostScriptWalk.h"
#include "host/validators/text/text_run.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr StartSignature Starts[] = {{.bytes = "%!PS-Adobe-"sv}};

// Drawings by other programs count as text.
Finding DocumentOf(Place& file, Verdict verdict, std::int64_t size, const char* why) {
    const bool isDrawing = IsIllustratorDrawing(file);
    constexpr auto encapsulated = PatternOf(" EPSF");
    constexpr std::size_t versionEnd = 14;
    const bool isEncapsulated = HasPatternAt(file.From(0, 32), versionEnd, encapsulated);
    return {verdict, size, isDrawing ? FileTypeIndex::Ai : FileTypeIndex::Text,
            isDrawing        ? ""
            : isEncapsulated ? "eps"
                             : "ps",
            why};
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
    if (text.end && (!text.binaryAt || *text.binaryAt >= *text.end)) {
        const std::int64_t end = text.binaryAt == text.end ? WithoutBrokenLine(file, *text.end) : *text.end;
        return DocumentOf(file, Verdict::Whole, end, "closed by its last comment");
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
const Validator PostScriptValidator{
    .name = "postscript", .starts = Starts, .begins = IsPostScriptHeader, .validate = Validate};

}  // namespace salvor

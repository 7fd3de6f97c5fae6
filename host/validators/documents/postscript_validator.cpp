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

Finding Validate(Place& file) {
    const PostScriptExtent text = FindPostScriptEnd(file, file.SectorSize(), true);
    if (text.end && (!text.binaryAt || *text.binaryAt >= *text.end)) {
        return DocumentOf(file, Verdict::Whole, *text.end, "closed by its last comment");
    }
    if (!text.binaryAt) {
        return DocumentOf(file, Verdict::Truncated, FollowText(file, 0).end, "no last comment");
    }
    // Raw image data may belong to it, unless another file begins there.
    const PostScriptExtent all = FindPostScriptEnd(file, file.SectorSize(), false);
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

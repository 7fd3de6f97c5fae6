#include <FileTypeCatalog.h>

#include <cstdint>

#include "formats/MarkupReader.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr std::u16string_view Header = u"<!doctype netscape-bookmark-file-1>";

bool Begins(ByteSpan head) {
    constexpr auto start = PatternOf("<!");
    return HasPatternAt(head, TextForm::Of(head).markBytes, start);
}

// The lists of a bookmark file are nested; it ends with the outermost one.
Finding Validate(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    if (!text.Take(Header, LetterCase::Any)) {
        return {};
    }
    std::int64_t depth = 0;
    while (text.SkipToTag()) {
        const bool isEnd = text.Take(u"</dl>", LetterCase::Any);
        if (!isEnd) {
            depth += text.IsAtName(u"<dl", LetterCase::Any) ? 1 : 0;
            text.Next();
        } else if (--depth <= 0) {
            std::int64_t end = text.At();
            for (const std::u16string_view tag : {u"<p>", u"</body>", u"</html>"}) {
                text.SkipWhite();
                end = text.Take(tag, LetterCase::Any) ? text.At() : end;
                text.GoTo(end);
            }
            return {Verdict::Whole,
                    EndOfDocument(file, text, end),
                    FileTypeIndex::Bookmarks,
                    {},
                    "the outer list is closed"};
        }
    }
    const TextRun run = FollowText(file, static_cast<std::int64_t>(text.Form().markBytes));
    return {run.behind == TextRun::Behind::Binary ? Verdict::Damaged : Verdict::Truncated,
            run.end,
            FileTypeIndex::Bookmarks,
            {},
            "the outer list is not closed"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Bookmarks};

}  // namespace

bool IsBookmarkFile(Place& file) {
    return MarkupReader(file, MarkupReader::AnyDocuments).Take(Header, LetterCase::Any);
}

extern const Validator BookmarkValidator;
const Validator BookmarkValidator{.name = "bookmarks",
                                  .phase = Validator::Phase::Text,
                                  .starts = {},
                                  .begins = Begins,
                                  .validate = Validate,
                                  .types = Types};

}  // namespace salvor

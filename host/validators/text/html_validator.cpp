#include <FileTypeCatalog.h>

#include <optional>
#include <string_view>

#include "formats/PageStart.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/text/text_seams.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using Word = std::u16string_view;

Finding PageOf(Verdict verdict, std::int64_t size, bool isXml, const char* why) {
    return {verdict, size, FileTypeIndex::Html, isXml ? "html" : "", why};
}

// Looks for the end of a page outside comments and scripts.
class PageEnd {
public:
    PageEnd(MarkupReader& text, const PageStart& start) : text_(text), start_(start) {}

    /// The start of another document before this one's end.
    std::optional<std::int64_t> Next() const { return next_; }

    std::optional<std::int64_t> Find() {
        while (text_.SkipToTag()) {
            if (const std::optional<std::int64_t> next = NextPage()) {
                next_ = next;
                return std::nullopt;
            }
            if (text_.Take(start_.endTag, LetterCase::Any)) {
                if (const std::optional<std::int64_t> end = TakeEnd()) {
                    return end;
                }
                continue;
            }
            hasRoot_ = hasRoot_ || text_.IsAtName(u"<html", LetterCase::Any);
            PassTag();
        }
        return std::nullopt;
    }

private:
    // Elements whose content is not markup.
    struct Raw {
        Word start;
        Word end;
    };
    static constexpr Raw Raws[] = {{u"<!--", u"-->"},
                                   {u"<script", u"</script"},
                                   {u"<style", u"</style"},
                                   {u"<textarea", u"</textarea"},
                                   {u"<title", u"</title"}};

    void PassTag() {
        for (std::size_t i = 0; i < std::size(Raws); ++i) {
            const bool isComment = i == 0;
            if (isEndless_[i] ||
                !(isComment ? text_.IsAt(Raws[i].start) : text_.IsAtName(Raws[i].start, LetterCase::Any))) {
                continue;
            }
            const std::int64_t at = text_.At();
            const bool isPassed = isComment
                                      ? text_.TakeRemark().value_or(false)
                                      : text_.TakeTag() == MarkupReader::Tag::Empty || TakeRawText(text_, Raws[i].end);
            if (isPassed) {
                return;
            }
            // Further elements of this kind cannot have an end either.
            isEndless_[i] = true;
            text_.GoTo(at);
            break;
        }
        text_.Next();
    }

    std::optional<std::int64_t> NextPage() {
        const std::optional<std::int64_t> start = text_.FileStartHere();
        const bool isNext = start.value_or(0) > 0 && (IsAtHtmlDoctype(text_) || IsAtXmlDeclaration(text_) ||
                                                      (hasRoot_ && text_.IsAtName(u"<html", LetterCase::Any)));
        return isNext ? start : std::nullopt;
    }

    // Call after the tag's name. A quoted tag is a string in a script.
    std::optional<std::int64_t> TakeEnd() {
        text_.SkipWhite();
        if (!text_.Take(u">")) {
            return std::nullopt;
        }
        const bool isQuoted = Word(u"\"'\\;)+,").find(text_.Peek()) != Word::npos;
        return isQuoted ? std::nullopt : std::optional(text_.At());
    }

    MarkupReader& text_;
    const PageStart& start_;
    bool hasRoot_ = false;
    bool isEndless_[std::size(Raws)] = {};
    std::optional<std::int64_t> next_;
};

// The end of the comments and scripts that servers append to a page.
std::int64_t EndOfComments(MarkupReader& text, std::int64_t end) {
    const auto takeOne = [&text] {
        if (text.IsAt(u"<!--")) {
            return text.TakeRemark().value_or(false);
        }
        return text.IsAtName(u"<script", LetterCase::Any) &&
               (text.TakeTag() == MarkupReader::Tag::Empty || TakeRawText(text, u"</script"));
    };
    text.GoTo(end);
    text.SkipWhite();
    while (takeOne()) {
        end = text.At();
        text.SkipWhite();
    }
    return end;
}

Finding Validate(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const std::optional<PageStart> start = TakePageStart(text);
    if (!start) {
        return {};
    }
    text.GoTo(static_cast<std::int64_t>(text.Form().markBytes));
    text.SkipWhite();
    const bool isXml = IsAtXmlDeclaration(text);
    PageEnd search(text, *start);
    if (const std::optional<std::int64_t> end = search.Find()) {
        return PageOf(Verdict::Whole, EndOfDocument(file, text, EndOfComments(text, *end), u"<"), isXml,
                      "closed by its end tag");
    }
    if (search.Next()) {
        return PageOf(Verdict::Truncated, *search.Next(), isXml, "no end tag in front of another page");
    }
    const TextForm form = text.Form();
    const auto from = static_cast<std::int64_t>(form.markBytes);
    TextRun run = form.width == 1 ? FollowText(file, from) : FollowUtf16(file, from, form.isBigEndian);
    if (form.width == 1) {
        EndAtSeam(file, from, run, /*isPiece=*/false);
    }
    if (run.behind == TextRun::Behind::Binary) {
        return PageOf(Verdict::Damaged, run.end, isXml, "no end tag in front of binary data");
    }
    return PageOf(Verdict::Open, run.end, isXml, "text up to its end, without an end tag");
}

constexpr std::int32_t Types[] = {FileTypeIndex::Html};

}  // namespace

bool IsPage(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    return TakePageStart(text).has_value();
}

extern const Validator HtmlValidator;
const Validator HtmlValidator{.name = "html",
                              .phase = Validator::Phase::Text,
                              .starts = {},
                              .begins = BeginsWithMarkup,
                              .validate = Validate,
                              .types = Types};

}  // namespace salvor

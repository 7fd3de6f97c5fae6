#include "host/validators/text/markup.h"

#include <limits>
#include <optional>

#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_run.h"
#include "host/validators/text/text_seams.h"

namespace salvor {

namespace {

// The last line end before `end` is "\r\n", as probably all others of the text are.
bool HasReturns(Place& file, std::int64_t end, const TextForm& form) {
    constexpr std::int64_t looked = 4096;
    const std::int64_t from = std::max(end - looked, static_cast<std::int64_t>(form.markBytes));
    const ByteSpan tail = file.At(from, static_cast<std::size_t>(end - from));
    for (std::size_t at = tail.size() - tail.size() % form.width; at >= 2 * form.width; at -= form.width) {
        if (form.CharAt(tail, at - form.width) == '\n') {
            return form.CharAt(tail, at - 2 * form.width) == '\r';
        }
    }
    return false;
}

// The end of at most `most` lines that are blank from `end` on.
std::int64_t EndOfLines(MarkupReader& text, std::int64_t end, bool haveReturns, int most) {
    text.Forget();
    text.GoTo(end);
    for (int line = 0; line < most; ++line) {
        while (text.Take(u" ") || text.Take(u"\t")) {
        }
        if (!text.Take(u"\r\n") && (haveReturns || !text.Take(u"\n"))) {
            break;
        }
        end = text.At();
    }
    return end;
}

// The end of text before zeros in the page in which a document ends.
std::optional<std::int64_t> EndOfAppendix(Place& file, MarkupReader& text, std::int64_t end) {
    constexpr std::int64_t page = 0x1000;
    const std::int64_t pageEnd = (end / page + 1) * page;
    while (text.At() < pageEnd && text.Next() != MarkupReader::End) {
    }
    return text.At() < pageEnd && IsZeroFilled(file, text.At()) ? std::optional(text.At()) : std::nullopt;
}

}  // namespace

bool IsTextAt(Place& file, std::int64_t at) {
    constexpr std::size_t least = 4;
    const ByteSpan bytes = file.At(at, least);
    return bytes.size() == least && EndOfUtf8(bytes, 0) == least;
}

bool BeginsWithMarkup(ByteSpan head) {
    const TextForm form = TextForm::Of(head);
    std::size_t at = form.markBytes;
    while (at + form.width <= head.size() && IsWhite(form.CharAt(head, at))) {
        at += form.width;
    }
    if (at + 2 * form.width > head.size() || form.CharAt(head, at) != '<') {
        return false;
    }
    const char16_t next = form.CharAt(head, at + form.width);
    return next == '!' || next == '?' || next == '_' || next >= 0x80 ||
           (next < 0x80 && IsLetter(static_cast<std::uint8_t>(next)));
}

std::int64_t EndOfDocument(Place& file, MarkupReader& text, std::int64_t end, std::u16string_view appendix) {
    text.GoTo(end);
    text.SkipWhite();
    if (text.Peek() == MarkupReader::End && IsZeroFilled(file, text.At())) {
        return text.At();
    }
    if (!appendix.empty() && text.Take(appendix)) {
        if (const auto appendixEnd = EndOfAppendix(file, text, end)) {
            return *appendixEnd;
        }
    }
    return EndOfLines(text, end, HasReturns(file, end, text.Form()), std::numeric_limits<int>::max());
}

std::int64_t EndOfMessage(Place& file, std::int64_t end) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    text.GoTo(end);
    const auto appendixEnd = file.IsSlackClean() ? EndOfAppendix(file, text, end) : std::nullopt;
    return appendixEnd.value_or(EndOfDocument(file, text, end));
}

std::int64_t EndOfData(Place& file, MarkupReader& text, std::int64_t end) {
    const std::int64_t lines = EndOfDocument(file, text, end);
    // Few texts begin with several empty lines, and few have lines that end with "\r\n". A small letter rarely begins a
    // line, but often the rest of one.
    const ByteSpan behind = file.At(lines, 1);
    const bool isInLine = !behind.empty() && behind[0] >= 'a' && behind[0] <= 'z';
    const bool mayBeForeign = !isInLine && IsTextAt(file, lines) && !HasReturns(file, end, text.Form());
    return mayBeForeign && EndOfLines(text, end, /*haveReturns=*/false, 2) == lines
               ? EndOfLines(text, end, /*haveReturns=*/false, 1)
               : lines;
}

Finding UnclosedText(Place& file, std::int32_t type, const char* extension, const char* why) {
    const TextForm form = TextForm::Of(file.From(0, 4));
    const auto from = static_cast<std::int64_t>(form.markBytes);
    TextRun run = form.width == 1 ? FollowText(file, from) : FollowUtf16(file, from, form.isBigEndian);
    if (form.width == 1) {
        EndAtSeam(file, from, run, /*isPiece=*/false);
    }
    const bool isCut = run.behind == TextRun::Behind::MediumEnd || run.behind == TextRun::Behind::OtherFile;
    return {isCut ? Verdict::Truncated : Verdict::Damaged, run.end, type, extension, why};
}

}  // namespace salvor

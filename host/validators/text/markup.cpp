#include "host/validators/text/markup.h"

#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_run.h"

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

}  // namespace

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
    constexpr std::int64_t page = 0x1000;
    text.GoTo(end);
    text.SkipWhite();
    if (text.Peek() == MarkupReader::End && IsZeroFilled(file, text.At())) {
        return text.At();
    }
    const std::int64_t pageEnd = (end / page + 1) * page;
    if (!appendix.empty() && text.Take(appendix)) {
        while (text.At() < pageEnd && text.Next() != MarkupReader::End) {
        }
        if (text.At() < pageEnd && IsZeroFilled(file, text.At())) {
            return text.At();
        }
    }
    const bool hasReturns = HasReturns(file, end, text.Form());
    text.Forget();
    text.GoTo(end);
    std::int64_t lineEnd = end;
    for (;;) {
        while (text.Take(u" ") || text.Take(u"\t")) {
        }
        if (!text.Take(u"\r\n") && (hasReturns || !text.Take(u"\n"))) {
            return lineEnd;
        }
        lineEnd = text.At();
    }
}

}  // namespace salvor

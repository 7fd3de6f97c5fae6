#include "documents/KHTMLFileType.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "formats/PageStart.h"

namespace {

using Word = std::u16string_view;

// How much may be appended after the root's end, in bytes.
constexpr std::int64_t AppendedLimit = 0x10000;
// In characters.
constexpr int LeadingWhite = 64;

bool IsOneOf(Word name, std::span<const Word> names) { return std::ranges::find(names, name) != names.end(); }

class PageWalk {
public:
    PageWalk(MarkupReader& text, const PageStart& start) : text_(text), start_(start) {}

    // Continues after markup that was followed for an earlier page and has no page end in it.
    void ContinueAt(std::int64_t at) {
        text_.GoTo(at);
        hasRoot_ = true;
    }

    // Where Run() saw what ends the page, or stopped looking.
    std::int64_t DecidedAt() const { return decidedAt_; }

    // The page's length.
    std::optional<std::int64_t> Run() {
        while (SkipToNext()) {
            decidedAt_ = text_.At();
            text_.Next();
            // The next character of everything that is looked for: end tags, the root, and the first tags of a page.
            const char16_t kind = FoldLetter(text_.Peek());
            if (Word(u"/h!?").find(kind) == Word::npos) {
                continue;
            }
            text_.GoTo(decidedAt_);
            if (kind != '/' && (kind != 'h' || hasRoot_) && !text_.MayStartFile()) {
                text_.Next();
                continue;
            }
            if (const std::optional<std::int64_t> next = NextFile()) {
                return EndOfText(*next);
            }
            if (kind == '/' && TakeEndTag()) {
                return EndAfterRoot();
            }
            // After an end tag that does not count.
            const bool isBehind = text_.At() > decidedAt_;
            hasRoot_ = hasRoot_ || ((kind == 'h' || isBehind) && text_.IsAtName(u"<html", LetterCase::Any));
            hasBody_ = hasBody_ || ((kind == '/' || isBehind) && text_.IsAtName(u"</body", LetterCase::Any));
            text_.Next();
        }
        decidedAt_ = text_.At();
        return decidedAt_ < KHTMLFileType::WalkLimit ? EndOfText(decidedAt_) : std::nullopt;
    }

private:
    // Moves to the next tag that may decide something, or one before it.
    bool SkipToNext() {
        if (hasRoot_) {
            text_.PassInnerTags();
        }
        return text_.SkipToTag();
    }

    // The page's end if the text ends, or the next page begins, before a certain end tag.
    std::optional<std::int64_t> EndOfText(std::int64_t end) {
        if (text_.At() == end && !text_.IsZeroUpTo(SectorEnd(end))) {
            // The slack of the sector is not this page's, and may begin like the rest of a string.
            if (stringEnd_) {
                return EndOfWhite(text_, *stringEnd_);
            }
            if (end < SectorEnd(1)) {
                return std::nullopt;
            }
        }
        return start_.isSure || hasBody_ ? std::optional(end) : std::nullopt;
    }

    bool IsAtDocument() {
        return IsAtHtmlDoctype(text_) || IsAtXmlDeclaration(text_) || text_.IsAtName(u"<html", LetterCase::Any);
    }

    // Where another page begins before this one's end. The root's tag may come at any place after a document type.
    std::optional<std::int64_t> NextFile() {
        const std::optional<std::int64_t> start = text_.FileStartHere();
        const bool isNext =
            start.value_or(0) > 0 && IsAtDocument() && (hasRoot_ || !text_.IsAtName(u"<html", LetterCase::Any));
        return isNext ? start : std::nullopt;
    }

    // True for the root's end tag, unless it is inside a script's string or a comment.
    bool TakeEndTag() {
        if (!text_.Take(start_.endTag, LetterCase::Any)) {
            return false;
        }
        text_.SkipWhite();
        if (!text_.Take(u">")) {
            return false;
        }
        const std::int64_t end = text_.At();
        if (Word(u"\"'\\;)+,").find(text_.Peek()) != Word::npos) {
            stringEnd_ = end;
            return false;
        }
        text_.SkipWhite();
        const bool isComment = text_.IsAt(u"-->");
        text_.GoTo(end);
        return !isComment;
    }

    // The reader is after the root's end tag.
    std::int64_t EndAfterRoot() {
        if (const std::optional<std::int64_t> end = EndInSector()) {
            return *end;
        }
        std::int64_t end = text_.At();
        std::int64_t itemEnd = end;
        text_.EndAt(end + AppendedLimit);
        for (;;) {
            const std::int64_t whiteEnd = EndOfWhite(text_, itemEnd);
            if (text_.Peek() == MarkupReader::End) {
                // Appended markup must be whole. Elements left open belong to something else.
                const bool isWhole = (open_ == 0 || !hasInnerText_) && text_.At() < text_.Limit();
                return isWhole ? whiteEnd : EndOfWhite(text_, end);
            }
            if (text_.Peek() == '<' ? IsAtDocument() : open_ == 0) {
                // Markup up to the end of a sector is this file's; the next sector has another file.
                return open_ == 0 && SectorEnd(whiteEnd) == whiteEnd ? whiteEnd : EndOfWhite(text_, end);
            }
            if (TakeEndTag()) {
                end = text_.At();
                text_.EndAt(end + AppendedLimit);
            } else if (!TakeAppended()) {
                return EndOfWhite(text_, end);
            }
            itemEnd = text_.At();
        }
    }

    // The end of whatever follows the root, if the sector's slack is zeros.
    std::optional<std::int64_t> EndInSector() {
        const std::int64_t from = text_.At();
        const std::int64_t to = SectorEnd(from);
        while (text_.At() < to && text_.Next() != MarkupReader::End) {
        }
        const std::int64_t end = text_.At();
        const bool isFilledUp = end < to && text_.IsZeroUpTo(to);
        text_.GoTo(from);
        return isFilledUp ? std::optional(end) : std::nullopt;
    }

    bool TakeAppended() {
        if (text_.Peek() != '<') {
            hasInnerText_ = true;
            text_.SkipToTag();
            return true;
        }
        if (const std::optional<bool> remark = text_.TakeRemark()) {
            return *remark;
        }
        text_.Next();
        const bool isEnd = text_.Take(u"/");
        const bool isDeclaration = text_.Take(u"!");
        const std::u16string name = TakeTagName(text_);
        const MarkupReader::Tag tag = name.empty() ? MarkupReader::Tag::Broken : text_.TakeTag();
        if (isEnd) {
            open_ = std::max<std::int64_t>(open_ - 1, 0);
        } else if (name == u"script" || name == u"style") {
            return tag != MarkupReader::Tag::Broken && TakeRawText(text_, u"</" + name);
        } else if (tag == MarkupReader::Tag::Open && !isDeclaration && !IsVoid(name)) {
            ++open_;
        }
        return tag != MarkupReader::Tag::Broken;
    }

    static bool IsVoid(Word name) {
        constexpr Word names[] = {u"area", u"base",  u"br",   u"col",   u"embed", u"hr",  u"img",
                                  u"link", u"input", u"meta", u"param", u"track", u"wbr", u"source"};
        return IsOneOf(name, names);
    }

    MarkupReader& text_;
    const PageStart& start_;
    bool hasRoot_ = false;
    bool hasBody_ = false;
    std::int64_t decidedAt_ = 0;
    // The end of the last end tag that looks like part of a string.
    std::optional<std::int64_t> stringEnd_;
    // In the appended markup: how many elements are open, and whether one has text.
    std::int64_t open_ = 0;
    bool hasInnerText_ = false;
};

// Whether enough bytes at the start of the sector are text.
bool BeginsWithText(ByteSpan sector, const TextForm& form) {
    constexpr std::size_t minText = 64;
    std::size_t at = form.markBytes;
    while (at < minText && at + form.width <= sector.size() && IsTextChar(form.CharAt(sector, at))) {
        at += form.width;
    }
    return at >= minText;
}

}  // namespace

bool KHTMLFileType::IsHeader(ByteSpan sector) {
    constexpr std::size_t minHeaderBytes = 64;
    if (sector.size() < minHeaderBytes) {
        return false;
    }
    const TextForm form = TextForm::Of(sector);
    std::size_t at = form.markBytes;
    for (int i = 0; i < LeadingWhite && at + 2 * form.width <= sector.size() && IsWhite(form.CharAt(sector, at)); ++i) {
        at += form.width;
    }
    if (at + 2 * form.width > sector.size() || form.CharAt(sector, at) != '<') {
        return false;
    }
    return IsFirstLetter(form.CharAt(sector, at + form.width)) && BeginsWithText(sector, form);
}

std::int32_t KHTMLFileType::Reset() {
    followed_ = {};
    return WalkingScanner::Reset();
}

bool KHTMLFileType::RestsAt(std::int64_t nextSector) const {
    return OffsetOf(nextSector) >= followed_.End() && WalkingScanner::RestsAt(nextSector);
}

std::int64_t KHTMLFileType::OffsetOf(std::int64_t sector) const {
    const std::uint64_t sectors =
        static_cast<std::uint64_t>(sector) - static_cast<std::uint64_t>(followed_.startSector);
    const bool isNear = sectors <= static_cast<std::uint64_t>(WalkLimit);
    return isNear ? static_cast<std::int64_t>(sectors) * sectorSize_ : MarkupReader::NoLimit;
}

std::optional<std::int64_t> KHTMLFileType::Measure(const Candidate& candidate) {
    startSector_ = candidate.startSector;
    sectorSize_ = candidate.block.sectorSize;
    offset_ = OffsetOf(startSector_);
    return WalkingScanner::Measure(candidate);
}

std::optional<std::int64_t> KHTMLFileType::Walk(FileWindow& file) {
    MarkupReader text(file, MarkupReader::FewDocuments, &memory_);
    const std::optional<PageStart> start = TakePageStart(text);
    const bool isInPage = offset_ < followed_.End();
    if (!start || (isInPage && !start->isSure)) {
        return std::nullopt;
    }
    PageWalk walk(text, *start);
    if (offset_ < followed_.to && followed_.form.IsLike(text.Form())) {
        if (followed_.size) {
            return *followed_.size - offset_;
        }
        walk.ContinueAt(std::max(followed_.to - offset_, text.At()));
    }
    const std::optional<std::int64_t> size = walk.Run();
    if (!isInPage || offset_ + walk.DecidedAt() > followed_.to) {
        followed_ = {.startSector = startSector_, .form = text.Form(), .to = walk.DecidedAt(), .size = size};
    }
    return size;
}

#include <FileTypeCatalog.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/MarkupReader.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/text/mail_fields.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/text/text_seams.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

// Limits in bytes.
constexpr std::size_t LineBytes = 4096;
constexpr std::size_t ValueBytes = 4096;
constexpr std::int64_t HeadBytes = std::int64_t{1} << 20;
// How far after the start of binary data to look for a boundary.
constexpr std::int64_t BinaryPartBytes = std::int64_t{64} << 20;

char Lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }

std::string LoweredText(ByteSpan bytes) {
    std::string text(bytes.begin(), bytes.end());
    std::ranges::transform(text, text.begin(), Lowered);
    return text;
}

bool Holds(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

// The header of a message or of one of its parts.
struct MailHead {
    // The number of known fields.
    int known = 0;
    // It has an addressee.
    bool isSent = false;
    // Servers have relayed it.
    bool isDelivered = false;
    // It gives the address that a saved page came from.
    bool hasLocation = false;
    bool isSavedPage = false;
    // The value of Content-Type, unchanged and in lower case, and that of the encoding in lower case.
    std::string content;
    std::string contentKind;
    std::string encoding;
    // The body's length according to the mailbox; negative if not given.
    std::int64_t bodyBytes = -1;
    std::int64_t bodyStart = 0;
};

class HeadReader {
public:
    HeadReader(Place& file, std::int64_t at) : file_(file), at_(at), limit_(at + HeadBytes) {}

    // Nothing unless the lines are fields up to an empty line.
    std::optional<MailHead> Read() {
        while (at_ < limit_) {
            const ByteSpan bytes = file_.From(at_, LineBytes);
            const TextLine line = FirstLineOf(bytes);
            if (!line.hasEnd || !IsText(bytes, line.text.size())) {
                return std::nullopt;
            }
            at_ += static_cast<std::int64_t>(line.length);
            if (line.text.empty()) {
                Finish();
                head_.bodyStart = at_;
                return head_;
            }
            if (line.text[0] == ' ' || line.text[0] == '\t') {
                Append(line.text);
                continue;
            }
            Finish();
            const std::size_t name = FieldNameLength(line.text);
            // Mailboxes quote lines that look like the start of a message.
            if (name == 0 && !StartsWith(line.text, PatternOf(">From "))) {
                return std::nullopt;
            }
            name_ = LoweredText(line.text.first(name));
            head_.known += IsKnownField(line.text.first(name)) ? 1 : 0;
            value_.clear();
            Append(line.text.subspan(name));
        }
        return std::nullopt;
    }

private:
    // True if none of the first `length` bytes is a control. The bytes of many lines are tested at once.
    bool IsText(ByteSpan bytes, std::size_t length) {
        const std::int64_t end = at_ + static_cast<std::int64_t>(length);
        if (end > textEnd_) {
            textEnd_ = at_ + static_cast<std::int64_t>(EndOfAnyText(bytes, 0));
        }
        return end <= textEnd_;
    }

    void Append(ByteSpan text) {
        const std::size_t most = ValueBytes - std::min(value_.size(), ValueBytes);
        value_.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(std::min(text.size(), most)));
    }

    void Finish() {
        std::string lowered = value_;
        std::ranges::transform(lowered, lowered.begin(), Lowered);
        if (name_ == "content-type:") {
            head_.content = value_;
            head_.contentKind = lowered.substr(std::min(lowered.find_first_not_of(" \t"), lowered.size()));
        } else if (name_ == "content-transfer-encoding:") {
            head_.encoding = lowered;
        } else if (name_ == "content-length:") {
            const std::size_t digits = lowered.find_first_not_of(" \t");
            const char* const first = lowered.data() + std::min(digits, lowered.size());
            std::from_chars(first, lowered.data() + lowered.size(), head_.bodyBytes);
        } else if (name_ == "content-location:") {
            head_.hasLocation = true;
        } else if (name_ == "snapshot-content-location:" || (name_ == "from:" && Holds(lowered, "saved by ")) ||
                   (name_ == "x-mimeole:" && Holds(lowered, "mhtml"))) {
            head_.isSavedPage = true;
        } else if (name_ == "received:" || name_ == "return-path:") {
            head_.isSent = true;
            head_.isDelivered = true;
        } else if (name_ == "to:" || name_ == "message-id:") {
            head_.isSent = true;
        }
        name_.clear();
    }

    Place& file_;
    std::int64_t at_;
    std::int64_t limit_;
    // Up to here, no control byte.
    std::int64_t textEnd_ = 0;
    MailHead head_;
    // The field that is being read.
    std::string name_;
    std::string value_;
};

// The boundary between the parts of a message; empty if the field has none.
std::string BoundaryOf(const MailHead& head) {
    std::string lowered = head.content;
    std::ranges::transform(lowered, lowered.begin(), Lowered);
    constexpr std::string_view name = "boundary=";
    const std::size_t found = lowered.find(name);
    if (!head.contentKind.starts_with("multipart/") || found == std::string::npos) {
        return {};
    }
    std::string value = head.content.substr(found + name.size());
    const bool isQuoted = value.starts_with('"');
    value.erase(0, isQuoted ? 1 : 0);
    return value.substr(0, value.find_first_of(isQuoted ? "\"" : "; \t\r\n"));
}

struct MailEnd {
    Verdict verdict = Verdict::Open;
    std::int64_t end = 0;
    const char* why = "";
    bool hasPageParts = false;
};

// Follows the parts of a message to the boundary that closes it.
class PartWalk {
public:
    PartWalk(Place& file, const MailHead& head) : file_(file), at_(head.bodyStart), mark_{'-', '-'} {
        const std::string boundary = BoundaryOf(head);
        mark_.insert(mark_.end(), boundary.begin(), boundary.end());
    }

    MailEnd Run() {
        for (;;) {
            const TextRun run = FollowText(file_, at_);
            if (const std::optional<std::int64_t> end = FindClosing(run.printableEnd)) {
                return {Verdict::Whole, *end, "closed by its outer boundary", hasPageParts_};
            }
            const std::optional<std::int64_t> next =
                run.behind == TextRun::Behind::MediumEnd || !isBinary_ ? std::nullopt : NextMark(run.printableEnd);
            if (!next || file_.IsExhausted()) {
                return Broken(run);
            }
            at_ = *next;
        }
    }

private:
    ByteSpan Mark() const { return mark_; }

    std::optional<std::int64_t> NextMark(std::int64_t from) {
        const std::int64_t limit = std::min(file_.NextWhole(from), from + BinaryPartBytes);
        return file_.Find(BytePattern(Mark()), from, std::min(limit, file_.Limit()));
    }

    // The end, before `to`, of the mark that closes the message.
    std::optional<std::int64_t> FindClosing(std::int64_t to) {
        const BytePattern pattern{Mark()};
        while (const std::optional<std::int64_t> found = file_.Find(pattern, at_, to)) {
            at_ = *found + static_cast<std::int64_t>(mark_.size());
            const ByteSpan behind = file_.From(at_, 4);
            if (StartsWith(behind, PatternOf("--"))) {
                return at_ + 2;
            }
            if (behind.empty() || (behind[0] != '\r' && behind[0] != '\n' && behind[0] != ' ')) {
                continue;
            }
            const TextLine rest = FirstLineOf(file_.From(at_, LineBytes));
            if (const auto part = HeadReader(file_, at_ + static_cast<std::int64_t>(rest.length)).Read()) {
                isBinary_ = Holds(part->encoding, "binary");
                hasPageParts_ = hasPageParts_ || part->hasLocation;
                at_ = part->bodyStart;
            }
        }
        return std::nullopt;
    }

    MailEnd Broken(const TextRun& run) const {
        switch (run.behind) {
            case TextRun::Behind::MediumEnd:
            case TextRun::Behind::OtherFile:
                return {Verdict::Truncated, run.end, "the closing boundary is missing", hasPageParts_};
            case TextRun::Behind::Zeros:
                return {Verdict::Open, run.end, "text up to zeros, without a closing boundary", hasPageParts_};
            case TextRun::Behind::Binary:
                break;
        }
        return {Verdict::Damaged, run.end, "binary data in front of the closing boundary", hasPageParts_};
    }

    Place& file_;
    std::int64_t at_;
    std::vector<std::uint8_t> mark_;
    // The part that is being read has binary data.
    bool isBinary_ = false;
    bool hasPageParts_ = false;
};

bool IsBase64Line(ByteSpan line) {
    const auto isDigit = [](std::uint8_t byte) {
        return IsLetter(byte) || IsDigit(byte) || byte == '+' || byte == '/' || byte == '=';
    };
    return !line.empty() && line.size() % 4 == 0 && std::ranges::all_of(line, isDigit);
}

// The end of lines of base64, which all have the same length except the last.
std::int64_t EndOfBase64(Place& file, std::int64_t at) {
    std::size_t length = 0;
    for (;;) {
        const TextLine line = FirstLineOf(file.From(at, LineBytes));
        const bool isLine = IsBase64Line(line.text) && (length == 0 || line.text.size() <= length);
        if (!isLine || (!line.hasEnd && line.text.size() != length)) {
            return at;
        }
        at += static_cast<std::int64_t>(line.length);
        if (line.text.size() < length || !line.hasEnd) {
            return at;
        }
        length = line.text.size();
    }
}

std::optional<std::int64_t> EndOfPage(Place& file, std::int64_t from, std::int64_t to) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    text.GoTo(from);
    text.EndAt(to);
    while (text.SkipToTag()) {
        if (text.Take(u"</html>", LetterCase::Any)) {
            return text.At();
        }
        text.Next();
    }
    return std::nullopt;
}

// The body's end according to the header, if a line of the text ends there.
std::optional<std::int64_t> ToldEnd(Place& file, const MailHead& head, const TextRun& run) {
    const std::int64_t end = head.bodyBytes <= run.printableEnd ? head.bodyStart + head.bodyBytes : 0;
    if (end <= head.bodyStart || end > run.printableEnd) {
        return std::nullopt;
    }
    return file.At(end - 1, 1)[0] == '\n' ? std::optional(end) : std::nullopt;
}

MailEnd EndOfLetter(Place& file, const MailHead& head) {
    if (!BoundaryOf(head).empty()) {
        return PartWalk(file, head).Run();
    }
    if (Holds(head.encoding, "base64")) {
        const std::int64_t end = EndOfBase64(file, head.bodyStart);
        if (end > head.bodyStart) {
            return {Verdict::Whole, end, "the last line of its base64"};
        }
    }
    TextRun run = FollowText(file, head.bodyStart);
    if (const auto end = ToldEnd(file, head, run)) {
        return {Verdict::Whole, *end, "its body has the length that its head tells"};
    }
    if (head.contentKind.starts_with("text/html") && !Holds(head.encoding, "base64")) {
        if (const auto end = EndOfPage(file, head.bodyStart, run.printableEnd)) {
            return {Verdict::Whole, *end, "the page in it is closed"};
        }
    }
    EndAtSeam(file, head.bodyStart, run, /*isPiece=*/false);
    return {Verdict::Open, std::max(run.end, head.bodyStart), "text as far as it goes"};
}

constexpr auto Envelope = PatternOf("From ");
constexpr BytePattern NextEnvelope = BytePatternOf<"\nFrom ">();

// A line "From sender date" with a time of day. Patches formatted as mail have a commit's name in place of the sender.
bool IsEnvelope(ByteSpan bytes) {
    const TextLine line = FirstLineOf(bytes.first(std::min(bytes.size(), LineBytes)));
    if (!StartsWith(line.text, Envelope) || !line.hasEnd) {
        return false;
    }
    const ByteSpan sender = line.text.subspan(Envelope.size());
    // Some writers leave out the sender and the date.
    const auto isFiller = [](std::uint8_t byte) {
        return byte == ' ' || byte == '-';
    };
    if (sender.size() <= 2 && std::ranges::all_of(sender, isFiller)) {
        return true;
    }
    const auto senderEnd = std::ranges::find(sender, std::uint8_t{' '});
    constexpr std::size_t versionDigits = 40;
    if (static_cast<std::size_t>(senderEnd - sender.begin()) == versionDigits &&
        std::ranges::count(sender.first(versionDigits), '@') == 0) {
        return false;
    }
    for (std::size_t at = 0; at + 5 <= sender.size(); ++at) {
        if (IsDigit(sender[at]) && IsDigit(sender[at + 1]) && sender[at + 2] == ':' && IsDigit(sender[at + 3])) {
            return true;
        }
    }
    return false;
}

std::optional<MailHead> ReadLetterHead(Place& file, std::int64_t at) {
    const ByteSpan start = file.From(at, LineBytes);
    const std::size_t skipped = IsEnvelope(start) ? FirstLineOf(start).length : 0;
    return HeadReader(file, at + static_cast<std::int64_t>(skipped)).Read();
}

// A mailbox ends where its last message does.
std::int64_t LastLetter(Place& file) {
    const TextRun run = FollowText(file, 0);
    std::int64_t last = 0;
    std::int64_t from = 0;
    while (const std::optional<std::int64_t> found = file.Find(NextEnvelope, from, run.printableEnd)) {
        from = *found + 1;
        if (IsEnvelope(file.From(from, LineBytes))) {
            last = from;
        }
    }
    return last;
}

bool IsWebArchive(const MailHead& head, const MailEnd& end) {
    const bool isRelated = head.contentKind.starts_with("multipart/related");
    const bool hasParts = isRelated || (head.contentKind.starts_with("multipart/") && end.hasPageParts);
    // A page may be saved as a message that was never sent.
    const bool isLetterOfAPage = isRelated && end.hasPageParts && !head.isDelivered;
    return hasParts && (head.isSavedPage || !head.isSent || isLetterOfAPage);
}

bool Begins(ByteSpan head) {
    const ByteSpan line = head.subspan(StartsWith(head, Utf8Mark) ? Utf8Mark.size() : 0);
    // The properties of cards and calendars look like fields.
    return StartsWith(line, Envelope) ? IsEnvelope(line) : FieldNameLength(line) > 0 && !IsCard(head);
}

std::optional<MailHead> FirstHead(Place& file) {
    const bool isMarked = StartsWith(file.From(0, Utf8Mark.size()), Utf8Mark);
    std::optional<MailHead> head = ReadLetterHead(file, isMarked ? std::int64_t{Utf8Mark.size()} : 0);
    return head && head->known >= 2 ? head : std::nullopt;
}

Finding Validate(Place& file) {
    std::optional<MailHead> head = FirstHead(file);
    if (!head) {
        return {};
    }
    const bool isMailbox = IsEnvelope(file.From(0, LineBytes));
    if (isMailbox) {
        const std::int64_t last = LastLetter(file);
        const std::optional<MailHead> lastHead = last > 0 ? ReadLetterHead(file, last) : std::nullopt;
        head = lastHead ? lastHead : head;
    }
    const MailEnd end = EndOfLetter(file, *head);
    const bool isArchive = !isMailbox && IsWebArchive(*head, end);
    const std::int64_t size = end.verdict == Verdict::Whole ? EndOfMessage(file, end.end) : end.end;
    return {end.verdict, size, isArchive ? FileTypeIndex::Mht : FileTypeIndex::Eml, isMailbox ? "mbox" : "", end.why};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Eml, FileTypeIndex::Mht};

}  // namespace

bool IsLetter(Place& file) { return FirstHead(file).has_value(); }

extern const Validator MailValidator;
const Validator MailValidator{.name = "mail",
                              .phase = Validator::Phase::Text,
                              .starts = {},
                              .begins = Begins,
                              .validate = Validate,
                              .types = Types};

}  // namespace salvor

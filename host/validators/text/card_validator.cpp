#include <FileTypeCatalog.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "frame/bytes/BytePattern.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr std::string_view CardStart = "BEGIN:VCARD";
constexpr std::string_view CalendarStart = "BEGIN:VCALENDAR";
constexpr std::size_t LongestMark = 16;
// Where a calendar tells its version.
constexpr std::size_t HeadBytes = 512;
constexpr BytePattern OldVersion = BytePatternOf<"\nVERSION:1.0">();

// Names of properties are in any letter case; `text` is in upper case.
bool StartsWithUpper(ByteSpan bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::ranges::equal(bytes.first(text.size()), text, {}, [](std::uint8_t byte) {
               return static_cast<char>(byte >= 'a' && byte <= 'z' ? byte - 0x20 : byte);
           });
}

std::int64_t MarkBytes(ByteSpan head) { return StartsWith(head, Utf8Mark) ? std::int64_t{Utf8Mark.size()} : 0; }

std::string_view StartOf(ByteSpan head) {
    const ByteSpan bytes = head.subspan(static_cast<std::size_t>(MarkBytes(head)));
    return StartsWithUpper(bytes, CardStart) ? CardStart : StartsWithUpper(bytes, CalendarStart) ? CalendarStart : "";
}

// Components are nested in lines BEGIN:name and END:name. A file has one outer component after the other.
class ComponentWalk {
public:
    ComponentWalk(Place& file, std::string_view start)
        : file_(file), start_(start), at_(MarkBytes(file.From(0, LongestMark))) {}

    // The end of the last outer component, without its line end; nothing if the first is not closed.
    std::optional<std::int64_t> End() {
        std::optional<std::int64_t> end;
        while (!file_.IsExhausted()) {
            const ByteSpan line = file_.From(at_, LongestMark);
            if (depth_ == 0 && !StartsWithUpper(line, start_)) {
                break;
            }
            depth_ += StartsWithUpper(line, "BEGIN:") ? 1 : StartsWithUpper(line, "END:") ? -1 : 0;
            if (depth_ > 0) {
                if (!PassLine()) {
                    break;
                }
                continue;
            }
            constexpr std::string_view closing = "END:";
            const std::string_view name = start_.substr(std::string_view("BEGIN:").size());
            if (!StartsWithUpper(line.subspan(closing.size()), name)) {
                break;
            }
            end = at_ + std::ssize(closing) + std::ssize(name);
            if (!PassLine()) {
                break;
            }
            PassBlankLines();
        }
        return end;
    }

private:
    // False if the text ends in this line.
    bool PassLine() {
        for (;;) {
            const ByteSpan bytes = file_.From(at_);
            const auto feed = std::ranges::find(bytes, std::uint8_t{'\n'});
            const ByteSpan line(bytes.begin(), feed);
            if (bytes.empty() || EndOfAnyText(line, 0) < line.size()) {
                return false;
            }
            at_ += std::ssize(line);
            if (feed != bytes.end()) {
                ++at_;
                return true;
            }
        }
    }

    void PassBlankLines() {
        constexpr int most = 16;
        for (int i = 0; i < most; ++i) {
            const ByteSpan bytes = file_.From(at_, 2);
            const bool isBlank = !bytes.empty() && (bytes[0] == '\n' || StartsWith(bytes, PatternOf("\r\n")));
            at_ += isBlank ? (bytes[0] == '\n' ? 1 : 2) : 0;
        }
    }

    Place& file_;
    std::string_view start_;
    std::int64_t at_;
    std::int64_t depth_ = 0;
};

// Calendars of version 1.0 have an extension of their own.
const char* ExtensionFor(Place& file, std::string_view start) {
    if (start == CardStart) {
        return "vcf";
    }
    const ByteSpan head = file.From(0, HeadBytes);
    return OldVersion.FindIn(head.first(std::min(head.size(), HeadBytes))) ? "vcs" : "ics";
}

Finding Validate(Place& file) {
    const std::string_view start = StartOf(file.From(0, HeadBytes));
    const char* const extension = ExtensionFor(file, start);
    const std::optional<std::int64_t> end = ComponentWalk(file, start).End();
    if (!end) {
        return UnclosedText(file, FileTypeIndex::Text, extension, "the outer component is not closed");
    }
    MarkupReader text(file, MarkupReader::AnyDocuments);
    return {Verdict::Whole, EndOfDocument(file, text, *end), FileTypeIndex::Text, extension,
            "the outer component is closed"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Text};

}  // namespace

bool IsCard(ByteSpan head) { return !StartOf(head).empty(); }

/// Sources: RFC 6350 (vCard), RFC 5545 (iCalendar).
extern const Validator CardValidator;
const Validator CardValidator{.name = "card",
                              .phase = Validator::Phase::Text,
                              .starts = {},
                              .begins = IsCard,
                              .validate = Validate,
                              .types = Types};

}  // namespace salvor

#include <FileTypeCatalog.h>

#include <optional>

#include "host/validators/text/markup.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto Start = PatternOf("{\\rtf");
constexpr auto BinaryWord = PatternOf("\\bin");

// Groups in braces are nested; a document is one group.
class GroupWalk {
public:
    explicit GroupWalk(Place& file) : file_(file) {}

    // The end of the outermost group; nothing if bytes that are not text come first.
    std::optional<std::int64_t> End() {
        while (!isBroken_) {
            // The last bytes in view are taken together with those after them.
            const ByteSpan bytes = file_.From(at_, LongestWord);
            if (bytes.empty() || file_.IsExhausted()) {
                break;
            }
            const bool isLast = at_ + std::ssize(bytes) >= file_.Limit();
            const std::size_t stop = isLast || bytes.size() <= LongestWord ? bytes.size() : bytes.size() - LongestWord;
            std::size_t taken = 0;
            while (taken < stop && !isBroken_) {
                taken += Take(bytes.subspan(taken));
                if (depth_ == 0) {
                    return at_ + static_cast<std::int64_t>(taken);
                }
            }
            at_ += static_cast<std::int64_t>(taken);
        }
        return std::nullopt;
    }

private:
    static constexpr std::size_t LongestWord = 32;

    // The length of what comes next.
    std::size_t Take(ByteSpan bytes) {
        const std::uint8_t byte = bytes[0];
        if (byte == '\\') {
            // What follows a backslash is no brace. Control words go on as other letters do.
            return StartsWith(bytes, BinaryWord) ? TakeBinary(bytes) : std::min<std::size_t>(2, bytes.size());
        }
        depth_ += byte == '{' ? 1 : byte == '}' ? -1 : 0;
        isBroken_ = IsControlByte(byte);
        return 1;
    }

    // \binN, a blank and N bytes of any kind.
    static std::size_t TakeBinary(ByteSpan bytes) {
        // Longer than any file; the sum with a place in one does not overflow.
        constexpr std::int64_t most = std::int64_t{1} << 48U;
        std::size_t at = BinaryWord.size();
        std::int64_t length = 0;
        while (at < std::min(bytes.size(), LongestWord) && IsDigit(bytes[at]) && length < most) {
            length = length * 10 + (bytes[at++] - '0');
        }
        at += at < bytes.size() && bytes[at] == ' ' ? 1U : 0U;
        return at + static_cast<std::size_t>(length);
    }

    Place& file_;
    std::int64_t at_ = 0;
    std::int64_t depth_ = 0;
    bool isBroken_ = false;
};

Finding Validate(Place& file) {
    const std::optional<std::int64_t> end = GroupWalk(file).End();
    if (!end || *end > file.Limit()) {
        return UnclosedText(file, FileTypeIndex::Text, "rtf", "the outer group is not closed");
    }
    MarkupReader text(file, MarkupReader::AnyDocuments);
    return {Verdict::Whole, EndOfDocument(file, text, *end), FileTypeIndex::Text, "rtf", "the outer group is closed"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Text};

}  // namespace

bool IsRichText(ByteSpan head) { return StartsWith(head, Start); }

/// Source: Microsoft, Rich Text Format Specification 1.9.1.
extern const Validator RichTextValidator;
const Validator RichTextValidator{.name = "rtf",
                                  .phase = Validator::Phase::Text,
                                  .starts = {},
                                  .begins = IsRichText,
                                  .validate = Validate,
                                  .types = Types};

}  // namespace salvor

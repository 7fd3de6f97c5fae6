#include <FileTypeCatalog.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "formats/MarkupReader.h"
#include "host/validators/text/markup.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

bool Begins(ByteSpan head) {
    const TextForm form = TextForm::Of(head);
    std::size_t at = form.markBytes;
    const auto takeWhite = [&head, &form, &at] {
        while (at + form.width <= head.size() && IsWhite(form.CharAt(head, at))) {
            at += form.width;
        }
        return at + form.width <= head.size();
    };
    if (!takeWhite()) {
        return false;
    }
    const char16_t opener = form.CharAt(head, at);
    at += form.width;
    if ((opener != '{' && opener != '[') || !takeWhite()) {
        return false;
    }
    const char16_t next = form.CharAt(head, at);
    return next == '"' || (opener == '[' && (next == '{' || next == '['));
}

// Follows a value of JSON (RFC 8259) to its last closing bracket. A comma before that bracket is allowed, since people
// write one there.
class JsonReader {
public:
    explicit JsonReader(MarkupReader& text) : text_(text) {}

    /// Takes an object or an array with all that is in it; false where it breaks.
    bool TakeDocument() {
        if (!TakeOpener()) {
            return false;
        }
        for (;;) {
            text_.SkipWhite();
            if (!TakeCloser()) {
                if (isObject_.back() && !TakeName()) {
                    return false;
                }
                if (TakeOpener()) {
                    continue;
                }
                if (!TakeString() && !TakeWord()) {
                    return false;
                }
            }
            if (isObject_.empty()) {
                return true;
            }
            text_.SkipWhite();
            if (!text_.Take(u",") && text_.Peek() != Closer()) {
                return false;
            }
        }
    }

private:
    static constexpr std::size_t Deepest = 1000;

    char16_t Closer() const { return isObject_.back() ? u'}' : u']'; }

    bool TakeOpener() {
        const char16_t opener = text_.Peek();
        if ((opener != '{' && opener != '[') || isObject_.size() == Deepest) {
            return false;
        }
        text_.Next();
        isObject_.push_back(opener == '{');
        return true;
    }

    bool TakeCloser() {
        if (text_.Peek() != Closer()) {
            return false;
        }
        text_.Next();
        isObject_.pop_back();
        return true;
    }

    bool TakeName() {
        if (!TakeString()) {
            return false;
        }
        text_.SkipWhite();
        if (!text_.Take(u":")) {
            return false;
        }
        text_.SkipWhite();
        return true;
    }

    bool TakeString() {
        if (!text_.Take(u"\"")) {
            return false;
        }
        for (;;) {
            const char16_t c = text_.Next();
            if (c == '"') {
                return true;
            }
            if (c == MarkupReader::End || c == '\n' || (c == '\\' && text_.Next() == MarkupReader::End)) {
                return false;
            }
        }
    }

    // A number, true, false or null.
    bool TakeWord() {
        constexpr std::u16string_view signs = u"0123456789+-.Eaeflnrstu";
        std::size_t length = 0;
        while (text_.Peek() != MarkupReader::End && signs.find(text_.Peek()) != std::u16string_view::npos) {
            text_.Next();
            ++length;
        }
        return length > 0;
    }

    MarkupReader& text_;
    // For each open bracket whether it is an object's, the innermost last.
    std::vector<bool> isObject_;
};

Finding Validate(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    text.SkipWhite();
    std::int64_t end = 0;
    // Line-delimited data have a document in each line.
    for (const char16_t opener = text.Peek(); text.Peek() == opener && JsonReader(text).TakeDocument();) {
        end = text.At();
        text.SkipWhite();
        if (text.At() == end) {
            break;
        }
    }
    if (end == 0) {
        return {};
    }
    return {Verdict::Whole, EndOfData(file, text, end), FileTypeIndex::Text, "json", "the outermost bracket is closed"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Text};

}  // namespace

extern const Validator JsonValidator;
const Validator JsonValidator{.name = "json",
                              .phase = Validator::Phase::Text,
                              .starts = {},
                              .begins = Begins,
                              .validate = Validate,
                              .types = Types};

}  // namespace salvor

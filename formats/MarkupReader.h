#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "frame/bytes/ByteWindow.h"
#include "frame/bytes/Bytes.h"

/// The fewest bytes of a sector that can begin an XML document.
inline constexpr std::size_t MinXmlSector = 32;

/// True if a sector of at least that size begins with an XML declaration, up to its name.
bool BeginsXml(ByteSpan sector);

/// How bytes form characters: one each, in any code page, or in pairs after a byte-order mark.
struct TextForm {
    /// Bytes per character: 1 or 2.
    std::size_t width = 1;
    bool isBigEndian = false;
    /// Length of the byte-order mark before the text, in bytes.
    std::size_t markBytes = 0;

    static TextForm Of(ByteSpan start);
    /// Both have the same width and byte order.
    bool IsLike(const TextForm& other) const { return width == other.width && isBigEndian == other.isBigEndian; }

    /// The character at an offset with at least `width` bytes left.
    char16_t CharAt(ByteSpan bytes, std::size_t offset) const {
        if (width == 1) {
            return bytes[offset];
        }
        return isBigEndian ? LoadBig<std::uint16_t>(bytes, offset) : LoadLittle<std::uint16_t>(bytes, offset);
    }
};

/// Blanks, tabs, line ends and form feeds.
constexpr bool IsWhite(char16_t c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f'; }

/// Text has no control characters but white space and ESC, with which Japanese pages switch their character set.
constexpr bool IsTextChar(char16_t c) { return c >= 0x20 ? c < 0xFFFE : IsWhite(c) || c == 0x1B; }

/// Whether the character ends the name of a tag.
constexpr bool IsNameEnd(char16_t c) { return IsWhite(c) || c == '>' || c == '/'; }

/// How the letters of a word are compared. `Any` folds those of ASCII.
enum class LetterCase : std::uint8_t { Exact, Any };

constexpr char16_t FoldLetter(char16_t c) { return c >= 'A' && c <= 'Z' ? static_cast<char16_t>(c + 0x20) : c; }

/// In bytes.
inline constexpr std::int64_t SmallestSector = 512;

class DeclarationWalk;
class MarkupMemory;

/// Reads a candidate file as the characters of markup, forwards from the byte-order mark. The text ends at the first
/// character that is not text, where nothing can be read, and where the medium is full of other documents.
class MarkupReader {
public:
    /// What `Peek` and `Next` give at the end of the text.
    static constexpr char16_t End = 0;
    static constexpr std::int64_t NoLimit = std::numeric_limits<std::int64_t>::max();

    /// At most this many XML documents may begin at sector starts inside a file; with more, the medium is full of them.
    static constexpr int FewDocuments = 6;
    static constexpr int AnyDocuments = std::numeric_limits<int>::max();

    /// The window outlives the reader, and so does the memory, if there is one: of the walk through this window.
    explicit MarkupReader(ByteWindow& file, int mostDocuments = FewDocuments, MarkupMemory* memory = nullptr);
    MarkupReader(const MarkupReader&) = delete;
    MarkupReader& operator=(const MarkupReader&) = delete;

    const TextForm& Form() const { return form_; }

    /// Offset of the next character in the file, in bytes.
    std::int64_t At() const { return start_ + static_cast<std::int64_t>(index_ * form_.width); }
    void GoTo(std::int64_t at);

    /// Moves forward to an offset, past characters that are known to be text, and counts the documents on the way;
    /// false, and stays, if the text ends before it.
    bool PassTo(std::int64_t to);

    /// Ends the text at this offset at the latest.
    void EndAt(std::int64_t limit);
    std::int64_t Limit() const { return limit_; }

    char16_t Peek() {
        if (index_ == view_.size() && !Fill(1)) {
            return End;
        }
        const char16_t c = CharAt(index_);
        return IsTextChar(c) ? c : End;
    }
    /// The next character, and moves past it; at the end of the text the reader stays.
    char16_t Next() {
        const char16_t c = Peek();
        index_ += c == End ? 0 : 1;
        return c;
    }

    /// True if these characters come next. For any case, they must have no upper case letters.
    bool IsAt(std::u16string_view word, LetterCase letterCase = LetterCase::Exact);
    bool IsAtName(std::u16string_view tag, LetterCase letterCase = LetterCase::Exact);
    /// The same, and moves past them.
    bool Take(std::u16string_view word, LetterCase letterCase = LetterCase::Exact);

    /// Moves to the next occurrence of the character; false at the end of the text.
    bool SkipTo(char16_t c) { return Peek() == c || Seek(c); }
    bool SkipToTag() { return SkipTo(u'<'); }
    void SkipWhite();
    /// Moves past a row of an ASCII character, eight at a time, as far as they are in view.
    void SkipRow(char16_t c);
    /// Moves past the next occurrence of the mark; false at the end of the text.
    bool TakePast(std::u16string_view mark);

    /// A name of at most `most` characters, in ASCII letters, digits, other signs of names and all beyond ASCII; empty
    /// if none begins here or it is longer.
    std::u16string TakeName(std::size_t most);

    /// The characters between '<' and '>' if a tag without quotes begins here and is in view, and moves past it;
    /// nothing, and stays, for other markup and where characters of two bytes go beyond ASCII.
    std::optional<ByteSpan> TakePlainTag();

    /// Moves forward in view, at most to the next end tag, to the next place where a file may start, or to the end of
    /// the text. Stays where a file may start.
    void PassInnerTags();

    /// Moves past a comment of a few characters, or a processing instruction whose name does not begin with an 'x', if
    /// it begins here and is in view; false, and stays, otherwise.
    bool TakeShortRemark();
    /// Moves past as many of them as follow each other in view.
    void PassShortRemarks() {
        while (TakeShortRemark()) {
        }
    }

    /// Moves past a declaration without quotes and without other markup in it, if one begins here and is in view.
    bool TakePlainDeclaration();

    enum class Tag : std::uint8_t { Broken, Open, Empty };
    /// Moves past the '>' that ends the current tag, outside quotes.
    Tag TakeTag();

    /// Skips a comment or processing instruction. Nothing if neither begins here, false if its end is missing.
    std::optional<bool> TakeRemark();
    /// Moves past the '>' that ends a declaration such as a document type, with the declarations inside it.
    bool TakeDeclaration();

    /// Makes the reader load the bytes at the current place again, after other code has used the window.
    void Forget();

    /// Whether this is the start of a sector, or behind a byte-order mark there: the places of `FileStartHere`.
    bool MayStartFile() const {
        const std::int64_t inSector = At() % SmallestSector;
        return inSector == 0 || inSector == MarkBytes();
    }
    /// The offset at which another file of the same encoding may begin: this place, or the byte-order mark right in
    /// front of it.
    std::optional<std::int64_t> FileStartHere();

    /// True if all bytes from here to an offset at most a sector away are zero.
    bool IsZeroUpTo(std::int64_t to);

private:
    // How many characters of two bytes are in view at once.
    static constexpr std::size_t WideView = 512;
    // In the view of such characters, all beyond ASCII.
    static constexpr std::uint8_t Beyond = 0x80;

    // The length of the mark before a text of this form.
    std::int64_t MarkBytes() const { return form_.width == 1 ? 3 : 2; }
    char16_t CharAt(std::size_t index) const {
        const std::uint8_t byte = view_[index];
        return form_.width == 1 || byte != Beyond ? byte : form_.CharAt(bytes_, index * form_.width);
    }
    bool Seek(char16_t c);
    // Moves on in view to the first place before `end` where `isStop(place)` holds. The same places have the
    // `difference(place)` 0; see `FindPlace`.
    template <class IsStop, class Difference>
    void PassInView(std::size_t end, const IsStop& isStop, const Difference& difference);
    // Moves on in view to where the mark may be, to what is no text, or to where the mark no longer fits.
    void PassUpTo(std::u16string_view mark);
    // How many characters in view, from a place on, mean nothing inside a tag.
    std::size_t CountPlain(std::size_t from) const;
    // Moves past a value in quotes if it is in view.
    bool PassQuoted();
    // Moves past plain characters and past values in quotes, as far as they are in view. Gives the new place in the
    // view.
    std::size_t PassValues();
    // Moves past the '>' that leaves no more declarations open than `depth`.
    bool FollowDeclaration(DeclarationWalk& walk, std::int64_t depth);
    // The place of the next character, for the memory.
    std::int64_t Place() const;
    // Brings that many characters into view if they can be read, or at least one.
    bool Fill(std::size_t characters);
    // Looks for the starts of further documents in the loaded bytes.
    void CountDocuments();
    // Turns characters of two bytes into a view of one byte each.
    void ShowWide();

    ByteWindow& file_;
    int mostDocuments_;
    MarkupMemory* memory_;
    TextForm form_;
    // The bytes that were loaded, and the characters at their start as one byte each.
    ByteSpan bytes_;
    ByteSpan view_;
    std::array<std::uint8_t, WideView> wide_;
    // Offset of the view in the file in bytes, and of the next character in the view.
    std::int64_t start_ = 0;
    std::size_t index_ = 0;
    std::int64_t limit_ = NoLimit;
    // Starts of other XML documents at sector starts, as far as they were looked for. One may be quoted text; with
    // many, this file ends before the last.
    int documents_ = 0;
    std::int64_t documentsSoughtTo_ = 0;
    std::int64_t stop_ = NoLimit;
};

/// The end of the sector at an offset, in bytes from the file's start. Counts in the smallest sectors, of which larger
/// ones are made up.
constexpr std::int64_t SectorEnd(std::int64_t offset) {
    return (offset + SmallestSector - 1) / SmallestSector * SmallestSector;
}

/// The end of the white space at `from`. Where no zeros follow, a file's own ends with a line at the latest in this
/// sector; blanks after that are as likely by chance. Leaves the reader after the white space.
std::int64_t EndOfWhite(MarkupReader& text, std::int64_t from);

/// The part of an XML document before its content.
struct XmlProlog {
    bool isHtml;
    /// The root element's name, which the reader has passed; empty if the document type says HTML already.
    std::u16string root;
};

/// True if an XML declaration begins here.
bool IsAtXmlDeclaration(MarkupReader& text);
/// The declaration and all up to the root element.
std::optional<XmlProlog> TakeXmlProlog(MarkupReader& text);

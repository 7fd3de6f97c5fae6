#include "host/validators/containers/compound_content.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "host/validators/containers/compound_pictures.h"
#include "host/validators/crc32.h"

namespace salvor {

namespace {

// ---- Workbooks: [MS-XLS], section 2.1.4; records of a type and a length, 16 bits each ----

constexpr std::uint16_t BookStart8 = 0x0809;
constexpr std::uint16_t BookEnd = 0x000A;
constexpr std::uint16_t SheetName = 0x0085;
constexpr std::uint16_t LongestRecord = 8228;

bool HoldsBookRecords(CompoundStream& book) {
    ByteSpan record = book.At(0, 4);
    // In older books the parts need not be adjacent.
    if (record.empty() || LoadLittle<std::uint16_t>(record, 0) != BookStart8) {
        return !record.empty() && (LoadLittle<std::uint16_t>(record, 0) & 0xF9FFU) == 0x0009;
    }
    int depth = 0;
    std::int64_t parts = 0;
    std::int64_t sheets = 0;
    for (std::int64_t at = 0; at < book.Limit();) {
        record = book.At(at, 4);
        const auto type = record.empty() ? std::uint16_t{0} : LoadLittle<std::uint16_t>(record, 0);
        if (depth == 0 && type != BookStart8) {
            // Anything may fill the stream after the last sheet.
            return parts > sheets;
        }
        const std::uint16_t length = record.empty() ? LongestRecord : LoadLittle<std::uint16_t>(record, 2);
        at += 4 + std::int64_t{length};
        if (record.empty() || length > LongestRecord || at > book.Limit()) {
            return false;
        }
        parts += depth == 0 ? 1 : 0;
        sheets += type == SheetName ? 1 : 0;
        depth += type == BookStart8 ? 1 : type == BookEnd ? -1 : 0;
    }
    return depth == 0 && parts > sheets;
}

// ---- Text in 8 or 16 bits ----

// No writer uses these characters in text; those next to them switch alphabets in some encodings.
bool IsOddControl(std::uint32_t unit) {
    return (unit >= 0x10 && unit <= 0x12) || (unit >= 0x16 && unit <= 0x19) || unit == 0x1C;
}

// Random bytes have many units that no text has; text of another code page, or a picture's mark in it, has few.
bool IsText(ByteWindow& stream, std::int64_t from, std::int64_t bytes, std::size_t width) {
    constexpr std::int64_t part = 1024;
    const std::int64_t end = from + bytes;
    for (std::int64_t at = from; at < end; at += part) {
        const ByteSpan shown = stream.At(at, static_cast<std::size_t>(std::min(part, end - at)));
        if (shown.empty()) {
            return false;
        }
        int odd = 0;
        bool isHigh = false;
        for (std::size_t i = 0; i + width <= shown.size(); i += width) {
            const std::uint32_t unit = width == 1 ? shown[i] : LoadLittle<std::uint16_t>(shown, i);
            const bool isLow = width == 2 && (unit & 0xFC00U) == 0xDC00;
            odd += IsOddControl(unit) || isLow != isHigh ? 1 : 0;
            isHigh = width == 2 && (unit & 0xFC00U) == 0xD800;
        }
        constexpr int mostOdd = 8;
        if (odd > mostOdd * (width == 1 ? 2 : 1)) {
            return false;
        }
    }
    return true;
}

// ---- Slides: [MS-PPT], section 2.3.1; records of a version, a type and a length, which may hold records ----

struct SlideRecord {
    bool isContainer;
    std::uint16_t instance;
    std::uint16_t type;
    std::int64_t length;
};

std::optional<SlideRecord> SlideRecordAt(CompoundStream& stream, std::int64_t at, std::int64_t end) {
    const ByteSpan header = stream.At(at, 8);
    if (header.empty()) {
        return std::nullopt;
    }
    const SlideRecord record{(header[0] & 0xFU) == 0xF,
                             static_cast<std::uint16_t>(LoadLittle<std::uint16_t>(header, 0) >> 4U),
                             LoadLittle<std::uint16_t>(header, 2), std::int64_t{LoadLittle<std::uint32_t>(header, 4)}};
    const bool isKnown = record.type < 0x3000 || record.type >= 0xF000;
    return isKnown && record.length <= end - at - 8 ? std::optional(record) : std::nullopt;
}

bool AreZeros(CompoundStream& stream, std::int64_t at) {
    for (ByteSpan bytes = stream.From(at); !bytes.empty(); bytes = stream.From(at)) {
        for (const std::uint8_t byte : bytes) {
            if (byte != 0) {
                return false;
            }
        }
        at += static_cast<std::int64_t>(bytes.size());
    }
    return true;
}

bool HoldsSlideRecords(CompoundStream& stream) {
    constexpr std::size_t deepest = 64;
    std::vector<std::int64_t> ends{stream.Limit()};
    for (std::int64_t at = 0; at < stream.Limit();) {
        while (ends.size() > 1 && at == ends.back()) {
            ends.pop_back();
        }
        const std::optional<SlideRecord> record = SlideRecordAt(stream, at, ends.back());
        if (!record) {
            return ends.size() == 1 && at > 0 && AreZeros(stream, at);
        }
        at += 8;
        if (record->isContainer && ends.size() < deepest) {
            ends.push_back(at + record->length);
        } else {
            at += record->length;
        }
    }
    return true;
}

// Pictures that slides show, one record each: [MS-ODRAW], section 2.2.23.
bool HoldsPictures(CompoundStream& stream) {
    for (std::int64_t at = 0; at < stream.Limit();) {
        const std::optional<SlideRecord> record = SlideRecordAt(stream, at, stream.Limit());
        if (!record || record->type < 0xF007 || record->type > 0xF117) {
            return at > 0 && AreZeros(stream, at);
        }
        const std::int64_t end = at + 8 + record->length;
        if (!IsDrawnPictureRight(stream, record->type, record->instance, at + 8, end)) {
            return false;
        }
        at = end;
    }
    return true;
}

// The records of one picture fill `place` to `end`.
bool IsInlinePictureRight(CompoundStream& stream, std::int64_t place, std::int64_t end) {
    constexpr std::uint16_t entry = 0xF007;
    constexpr std::size_t entryBytes = 36;
    constexpr std::size_t nameBytes = 33;
    while (place < end) {
        std::optional<SlideRecord> record = SlideRecordAt(stream, place, end);
        if (record && record->type == entry) {
            const ByteSpan bytes = stream.At(place + 8, entryBytes);
            place += 8 + static_cast<std::int64_t>(entryBytes) + (bytes.empty() ? 0 : bytes[nameBytes]);
            if (place >= end) {
                return true;
            }
            record = SlideRecordAt(stream, place, end);
        }
        if (!record) {
            return false;
        }
        const std::int64_t behind = place + 8 + record->length;
        if (!IsDrawnPictureRight(stream, record->type, record->instance, place + 8, behind)) {
            return false;
        }
        place = behind;
    }
    return true;
}

// Pictures in the text of a document: [MS-DOC], section 2.9.192. Each begins with its length; other data lie
// between them, at which this check stops.
bool HoldsInlinePictures(CompoundStream& stream) {
    constexpr std::int64_t headerBytes = 68;
    constexpr std::uint16_t drawing = 0x64;
    constexpr std::uint16_t linkedDrawing = 0x66;
    for (std::int64_t at = 0; at + headerBytes <= stream.Limit();) {
        const ByteSpan header = stream.At(at, 8);
        const std::int64_t length = header.empty() ? 0 : std::int64_t{LoadLittle<std::uint32_t>(header, 0)};
        const std::int64_t end = at + length;
        if (length < headerBytes || end > stream.Limit() || LoadLittle<std::uint16_t>(header, 4) != headerBytes) {
            return true;
        }
        const auto mode = LoadLittle<std::uint16_t>(header, 6);
        std::int64_t place = at + headerBytes;
        if (mode == linkedDrawing) {
            const ByteSpan name = stream.At(place, 1);
            place += name.empty() ? 0 : 1 + std::int64_t{name[0]};
        }
        const bool isDrawing = mode == drawing || mode == linkedDrawing;
        if (isDrawing && !IsInlinePictureRight(stream, place, end)) {
            return false;
        }
        at = end;
    }
    return true;
}

// ---- Documents: [MS-DOC], section 2.5; formatted pages of 512 bytes lie between the text ----

constexpr std::uint16_t Word97 = 0x00C1;
constexpr std::int64_t PageBytes = 512;

struct PageTable {
    // Where the FIB has the table's offset and length.
    std::size_t field;
    std::uint8_t mostRuns;
};
constexpr PageTable CharacterPages{0xFA, 101};
constexpr PageTable ParagraphPages{0x102, 29};

// True if the page's runs begin where the table says and follow one another.
bool IsPage(CompoundStream& text, std::int64_t position, std::uint32_t firstCharacter, std::uint8_t mostRuns) {
    const ByteSpan page = text.At(position, PageBytes);
    const std::uint8_t runs = page.empty() ? std::uint8_t{0} : page[PageBytes - 1];
    if (runs == 0 || runs > mostRuns || LoadLittle<std::uint32_t>(page, 0) != firstCharacter) {
        return false;
    }
    for (std::size_t i = 0; i < runs; ++i) {
        if (LoadLittle<std::uint32_t>(page, i * 4) > LoadLittle<std::uint32_t>(page, i * 4 + 4)) {
            return false;
        }
    }
    return true;
}

bool HoldsPages(CompoundStream& text, CompoundStream& tables, std::int64_t place, std::int64_t length,
                std::uint8_t mostRuns) {
    // First characters, one more than there are pages, then the pages; 4 bytes each.
    const std::int64_t count = (length - 4) / 8;
    for (std::int64_t i = 0; i < count; ++i) {
        std::array<std::uint8_t, 4> first{};
        std::array<std::uint8_t, 4> page{};
        if (!tables.Copy(place + i * 4, first) || !tables.Copy(place + (count + 1 + i) * 4, page)) {
            return false;
        }
        const std::int64_t number = LoadLittle<std::uint32_t>(page, 0) & 0x3FFFFFU;
        if (!IsPage(text, number * PageBytes, LoadLittle<std::uint32_t>(first, 0), mostRuns)) {
            return false;
        }
    }
    return true;
}

// The pieces of the text: 8 bytes each, after their first characters. Properties come before and are stepped
// over.
bool HoldsPieces(CompoundStream& text, CompoundStream& tables, std::int64_t place, std::int64_t length) {
    constexpr std::uint8_t properties = 1;
    constexpr std::uint8_t pieces = 2;
    const std::int64_t end = place + length;
    while (place < end) {
        std::array<std::uint8_t, 5> head{};
        if (!tables.Copy(place, head) || (head[0] != properties && head[0] != pieces)) {
            return false;
        }
        if (head[0] == properties) {
            place += 3 + std::int64_t{LoadLittle<std::uint16_t>(head, 1)};
            continue;
        }
        const std::int64_t count = (std::int64_t{LoadLittle<std::uint32_t>(head, 1)} - 4) / 12;
        std::int64_t allowance = 2 * text.Limit();
        for (std::int64_t i = 0; i < count; ++i) {
            std::array<std::uint8_t, 8> characters{};
            std::array<std::uint8_t, 4> position{};
            if (!tables.Copy(place + 5 + i * 4, characters) ||
                !tables.Copy(place + 5 + (count + 1) * 4 + i * 8 + 2, position)) {
                return false;
            }
            constexpr std::uint32_t isNarrow = 0x40000000;
            const auto word = LoadLittle<std::uint32_t>(position, 0);
            const std::size_t width = (word & isNarrow) != 0 ? 1 : 2;
            const std::int64_t from = width == 1 ? (word & ~isNarrow) / 2 : word;
            const std::int64_t bytes =
                static_cast<std::int64_t>(width) *
                (std::int64_t{LoadLittle<std::uint32_t>(characters, 4)} - LoadLittle<std::uint32_t>(characters, 0));
            allowance -= bytes;
            if (bytes < 0 || from + bytes > text.Limit() || allowance < 0 || !IsText(text, from, bytes, width)) {
                return false;
            }
        }
        return true;
    }
    return true;
}

std::string DocumentFault(CompoundFile& file, CompoundStream& text) {
    constexpr std::size_t fibBytes = 0x1AA;
    const ByteSpan shown = text.From(0, fibBytes);
    const auto magic = shown.size() < 12 ? std::uint16_t{0} : LoadLittle<std::uint16_t>(shown, 0);
    if (magic != 0xA5EC && magic != 0xA5DC) {
        return "the document's first block is not one";
    }
    const auto flags = LoadLittle<std::uint16_t>(shown, 10);
    const bool isEncrypted = (flags & 0x0100U) != 0;
    if (magic != 0xA5EC || LoadLittle<std::uint16_t>(shown, 2) < Word97 || isEncrypted || shown.size() < fibBytes) {
        return {};
    }
    const std::vector<std::uint8_t> fib(shown.begin(), shown.begin() + fibBytes);
    const CompoundNode* const node = file.Stream((flags & 0x0200U) != 0 ? "1Table" : "0Table");
    if (node == nullptr) {
        return "the document's tables are missing";
    }
    CompoundStream tables(file, *node);
    for (const PageTable& table : {CharacterPages, ParagraphPages}) {
        const std::int64_t place = LoadLittle<std::uint32_t>(fib, table.field);
        const std::int64_t length = LoadLittle<std::uint32_t>(fib, table.field + 4);
        if (length != 0 &&
            (place + length > tables.Limit() || !HoldsPages(text, tables, place, length, table.mostRuns))) {
            return "a page of the document's formats is damaged";
        }
    }
    const std::int64_t pieces = LoadLittle<std::uint32_t>(fib, 0x1A2);
    const std::int64_t pieceBytes = LoadLittle<std::uint32_t>(fib, 0x1A6);
    if (pieceBytes != 0 && !HoldsPieces(text, tables, pieces, pieceBytes)) {
        return "the document's text is damaged";
    }
    if (const CompoundNode* const data = file.Stream("Data"); data != nullptr && data->size != 0) {
        CompoundStream pictures(file, *data);
        return HoldsInlinePictures(pictures) ? "" : "a picture in the document is damaged";
    }
    return {};
}

// ---- Messages: [MS-OXMSG], section 2.2; a stream's name ends with the property's number and kind ----

// [MS-OXRTFCP], section 2.1.3.1.
bool IsPackedTextRight(CompoundStream& stream) {
    constexpr std::uint32_t isPacked = 0x75465A4C;
    constexpr std::int64_t headerBytes = 16;
    const ByteSpan header = stream.At(0, headerBytes);
    if (header.empty() || LoadLittle<std::uint32_t>(header, 8) != isPacked) {
        return true;
    }
    const std::int64_t end = std::int64_t{LoadLittle<std::uint32_t>(header, 0)} + 4;
    const auto crc = LoadLittle<std::uint32_t>(header, 12);
    return end <= stream.Limit() && PlainCrc32Of(stream, headerBytes, end) == crc;
}

// Only a few kinds of properties can be checked.
bool IsPropertyRight(CompoundStream& stream, std::string_view property) {
    if (property == "10090102") {
        return IsPackedTextRight(stream);
    }
    // An attached file.
    if (property == "37010102") {
        return IsPictureRight(stream, 0, stream.Limit());
    }
    // A page, in 8 bits.
    if (property == "10130102") {
        return IsText(stream, 0, stream.Limit(), 1);
    }
    return !property.ends_with("001F") || IsText(stream, 0, stream.Limit(), 2);
}

std::string MessageFault(CompoundFile& file) {
    constexpr std::string_view prefix = "__substg1.0_";
    for (const std::uint32_t number : file.Streams()) {
        const CompoundNode& node = file.Nodes()[number];
        if (node.size == 0 || !node.name.starts_with(prefix)) {
            continue;
        }
        CompoundStream content(file, node);
        if (!IsPropertyRight(content, std::string_view(node.name).substr(prefix.size()))) {
            return "stream \"" + node.name + "\" is damaged";
        }
    }
    return {};
}

// ---- Others ----

bool HoldsDrawing(CompoundStream& stream) {
    static constexpr auto title = PatternOf("Visio (TM) Drawing\r\n");
    return StartsWith(stream.At(0, title.size()), title);
}

// A scene's chunks have 16 bits for their kind and 32 for their length with the header, of which the upper one marks
// chunks that hold chunks; a length of 0 means that 64 bits follow.
bool HoldsChunks(CompoundStream& stream) {
    constexpr std::size_t deepest = 256;
    std::vector<std::int64_t> ends{stream.Limit()};
    for (std::int64_t at = 0; at < stream.Limit();) {
        while (ends.size() > 1 && at == ends.back()) {
            ends.pop_back();
        }
        std::array<std::uint8_t, 14> header{};
        const bool isShort = stream.Copy(at, std::span(header).first(6));
        std::int64_t length = LoadLittle<std::uint32_t>(header, 2) & 0x7FFFFFFFU;
        bool holdsChunks = (header[5] & 0x80U) != 0;
        std::int64_t headerBytes = 6;
        if (isShort && LoadLittle<std::uint32_t>(header, 2) == 0) {
            if (!stream.Copy(at, header)) {
                return false;
            }
            length = static_cast<std::int64_t>(LoadLittle<std::uint64_t>(header, 6) & 0x7FFFFFFFFFFFFFFFU);
            holdsChunks = (header[13] & 0x80U) != 0;
            headerBytes = 14;
        }
        if (!isShort || length < headerBytes || length > ends.back() - at) {
            return false;
        }
        if (holdsChunks && ends.size() < deepest) {
            ends.push_back(at + length);
            at += headerBytes;
        } else {
            at += length;
        }
    }
    return true;
}

// With a password, only the headers of a presentation's last records are readable. Source: [MS-PPT], section 2.3.2.
bool IsPresentationEncrypted(CompoundFile& file) {
    constexpr std::uint32_t encrypted = 0xF3D1C4DF;
    const CompoundNode* const user = file.Stream("Current User");
    if (user == nullptr || file.Stream("PowerPoint Document") == nullptr) {
        return false;
    }
    CompoundStream stream(file, *user);
    const ByteSpan token = stream.At(12, 4);
    return !token.empty() && LoadLittle<std::uint32_t>(token, 0) == encrypted;
}

struct StreamCheck {
    const char* name;
    bool (*isRight)(CompoundStream&);
};
constexpr StreamCheck StreamChecks[] = {
    {"Workbook", HoldsBookRecords}, {"Book", HoldsBookRecords},      {"PowerPoint Document", HoldsSlideRecords},
    {"Pictures", HoldsPictures},    {"VisioDocument", HoldsDrawing}, {"Scene", HoldsChunks},
};

}  // namespace

std::string CompoundContentFault(CompoundFile& file) {
    if (const CompoundNode* const node = file.Stream("WordDocument")) {
        CompoundStream text(file, *node);
        return DocumentFault(file, text);
    }
    if (file.Stream("__properties_version1.0") != nullptr) {
        return MessageFault(file);
    }
    for (const std::uint32_t number : file.Streams()) {
        // The pictures of publications lie in a storage of their own.
        const CompoundNode& node = file.Nodes()[number];
        if (node.name != "EscherDelayStm") {
            continue;
        }
        CompoundStream pictures(file, node);
        if (!HoldsPictures(pictures)) {
            return "the records of stream \"" + node.name + "\" do not follow one another";
        }
    }
    if (IsPresentationEncrypted(file)) {
        return {};
    }
    for (const StreamCheck& check : StreamChecks) {
        const CompoundNode* const node = file.Stream(check.name);
        if (node == nullptr || node->size == 0) {
            continue;
        }
        CompoundStream stream(file, *node);
        if (!check.isRight(stream)) {
            return "the records of stream \"" + node->name + "\" do not follow one another";
        }
    }
    return {};
}

}  // namespace salvor

#include <algorithm>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

// Length of the header. Its fields are known only from examining files.
constexpr std::size_t HeaderBytes = 0x24BC;
constexpr std::size_t VariableBytes = 0x1C;
constexpr std::size_t LastSegment = 0x7C;
constexpr std::size_t TreeRoot = 0xE4;
constexpr std::int64_t SegmentBytes = 0x10000;

// A node of the tree: its own offset, the child before all entries, the number of entries, and the entries, each with
// an object and the child after it.
constexpr std::size_t NodeHeaderBytes = 24;
constexpr std::size_t FirstChild = 8;
constexpr std::size_t EntryCount = 17;
constexpr std::size_t EntryBytes = 12;

// The classes of messages, folders and identifiers, which differ in one byte, and that of offline changes.
bool Begins(ByteSpan head) {
    static constexpr auto mark = PatternOf("\xCF\xAD\x12\xFE");
    static constexpr auto common = PatternOf("\xFD\x74\x6F\x66\xE3\xD1\x11\x9A\x4E\x00\xC0\x4F\xA3\x09\xD4");
    static constexpr auto offline = PatternOf("\x9D\xFE\x26\x8F\x1A\xD2\x11\xAA\xBF\x00\x60\x97\xD4\x74\xC4");
    return StartsWith(head, mark) && (HasPatternAt(head, 5, common) || HasPatternAt(head, 5, offline));
}

// Every object begins with its own offset. Children are pushed on `waiting`.
bool IsNodeRight(Place& file, std::int64_t at, std::int64_t end, std::vector<std::uint32_t>& waiting) {
    const ByteSpan header = file.At(at, NodeHeaderBytes);
    if (header.empty() || at >= end || LoadLittle<std::uint32_t>(header, 0) != at) {
        return false;
    }
    const std::size_t count = header[EntryCount];
    const auto first = LoadLittle<std::uint32_t>(header, FirstChild);
    if (first != 0) {
        waiting.push_back(first);
    }
    std::vector<std::uint8_t> entries(count * EntryBytes);
    if (!entries.empty() && !file.Copy(at + static_cast<std::int64_t>(NodeHeaderBytes), entries)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const auto object = LoadLittle<std::uint32_t>(entries, i * EntryBytes);
        const auto child = LoadLittle<std::uint32_t>(entries, i * EntryBytes + 4);
        const ByteSpan own = file.At(object, 4);
        if (object >= end || own.empty() || LoadLittle<std::uint32_t>(own, 0) != object) {
            return false;
        }
        if (child != 0) {
            waiting.push_back(child);
        }
    }
    return true;
}

Finding Validate(Place& file) {
    const ByteSpan header = file.At(0, HeaderBytes);
    if (header.empty()) {
        return {.why = "its header is cut"};
    }
    const std::int64_t base = std::int64_t{HeaderBytes} + LoadLittle<std::uint32_t>(header, VariableBytes);
    const std::int64_t last = LoadLittle<std::uint32_t>(header, LastSegment);
    const auto root = LoadLittle<std::uint32_t>(header, TreeRoot);
    if (last < base) {
        return {.why = "its header is damaged"};
    }
    const std::int64_t end = base + (last - base + SegmentBytes - 1) / SegmentBytes * SegmentBytes;
    // A node takes far more bytes than this. With more nodes than that allows, the tree has a loop.
    constexpr std::int64_t leastNode = 0x200;
    const std::int64_t mostNodes = std::min(end, file.Limit()) / leastNode + 1;
    std::int64_t nodes = 0;
    std::vector<std::uint32_t> waiting;
    if (root != 0) {
        waiting.push_back(root);
    }
    while (!waiting.empty()) {
        const std::int64_t at = waiting.back();
        waiting.pop_back();
        if (++nodes > mostNodes || std::ssize(waiting) > mostNodes || !IsNodeRight(file, at, end, waiting)) {
            return BrokenAt(file, std::min(end, file.Limit()), end, FileTypeIndex::Dbx,
                            "its tree of messages is damaged");
        }
    }
    if (end > file.Limit()) {
        return BrokenAt(file, file.Limit(), end, FileTypeIndex::Dbx, "its segments");
    }
    return {Verdict::Whole, end, FileTypeIndex::Dbx, {}, "all of its tree, and its last segment"};
}

constexpr StartSignature Starts[] = {{"\xCF\xAD\x12\xFE"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::Dbx};

}  // namespace

extern const Validator DbxValidator;
const Validator DbxValidator{.name = "dbx", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor

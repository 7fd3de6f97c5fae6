#include "formats/PictureWalks.h"

#include <algorithm>

#include "frame/bytes/FieldReader.h"

namespace {

constexpr std::size_t TagBytes = 4;

struct Layout {
    Pattern<TagBytes> group;
    // Offset of the length from the start of its group. Between tag and length is uninitialised memory.
    std::size_t lengthOffset;
    std::size_t lengthBytes;

    std::size_t HeaderBytes() const { return lengthOffset + lengthBytes; }
    // The outer group's header and type, the first inner group's header and type, and the first chunk's tag.
    std::size_t PrefixBytes() const { return 2 * (HeaderBytes() + TagBytes) + TagBytes; }
    std::uint64_t Length(ByteSpan header) const {
        return lengthBytes == sizeof(std::uint64_t) ? LoadBig<std::uint64_t>(header, lengthOffset)
                                                    : LoadBig<std::uint32_t>(header, lengthOffset);
    }
};

constexpr Layout Short{PatternOf("FOR4"), 4, 4};
constexpr Layout Long{PatternOf("FOR8"), 8, 8};

constexpr std::uint64_t MinLength = 256;
// After this many sound groups the end in the header is believed, even if a later group is damaged.
constexpr int EnoughGroups = 3;
constexpr int MostGroups = 0x1000000;
// The cost of looking at a group, counted in bytes read.
constexpr std::int64_t GroupCost = 1024;

const Layout* LayoutOf(ByteSpan bytes) {
    if (StartsWith(bytes, Long.group)) {
        return &Long;
    }
    return StartsWith(bytes, Short.group) ? &Short : nullptr;
}

bool IsTag(ByteSpan bytes) {
    return std::ranges::all_of(bytes.first(TagBytes), [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
}

// How many groups were intact, and whether they lead to the end.
struct GroupWalk {
    int groups = 0;
    bool leadsToEnd = false;
};

GroupWalk WalkGroups(ByteWindow& file, const Layout& layout, std::int64_t end) {
    auto at = static_cast<std::int64_t>(layout.HeaderBytes() + TagBytes);
    int groups = 0;
    for (; groups < MostGroups && at != end; ++groups) {
        file.Charge(GroupCost);
        const ByteSpan header = file.At(at, layout.HeaderBytes());
        const std::int64_t left = end - at - static_cast<std::int64_t>(layout.HeaderBytes());
        if (header.empty() || left < 0 || !IsTag(header) || layout.Length(header) > static_cast<std::uint64_t>(left)) {
            return {groups, false};
        }
        at += static_cast<std::int64_t>(layout.HeaderBytes() + layout.Length(header));
    }
    return {groups, at == end};
}

}  // namespace

bool MayaScene::IsHeader(ByteSpan sector) {
    const Layout* const layout = LayoutOf(sector);
    if (layout == nullptr || sector.size() < layout->PrefixBytes()) {
        return false;
    }
    const ByteSpan content = sector.subspan(layout->HeaderBytes());
    const ByteSpan head = content.subspan(TagBytes);
    const bool isScene = StartsWith(content, PatternOf("Maya")) || StartsWith(content, PatternOf("MAYA"));
    if (!isScene || !StartsWith(head, layout->group) ||
        !HasPatternAt(head, layout->HeaderBytes(), PatternOf("HEADVERS"))) {
        return false;
    }
    const std::uint64_t length = layout->Length(sector);
    const std::uint64_t besideHead = layout->HeaderBytes() + TagBytes;
    return length >= MinLength && layout->Length(head) <= length - besideHead;
}

std::optional<WalkedFile> MayaScene::Walk(ByteWindow& file) {
    const ByteSpan start = file.At(0, Long.HeaderBytes());
    const Layout* const layout = LayoutOf(start);
    if (layout == nullptr) {
        return std::nullopt;
    }
    const std::uint64_t length = layout->Length(start);
    const auto most = file.Limit() - static_cast<std::int64_t>(layout->HeaderBytes());
    if (most < 0 || length > static_cast<std::uint64_t>(most)) {
        return std::nullopt;
    }
    const auto end = static_cast<std::int64_t>(layout->HeaderBytes() + length);
    const GroupWalk walk = WalkGroups(file, *layout, end);
    if (!walk.leadsToEnd && walk.groups < EnoughGroups) {
        return std::nullopt;
    }
    return WalkedFile{end, walk.leadsToEnd};
}

#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <string>

#include "host/validators/broken.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

// Element identifiers with their length marker, as in the file.
namespace id {
constexpr std::uint32_t DocumentType = 0x4282;
constexpr std::uint32_t Segment = 0x18538067;
constexpr std::uint32_t Info = 0x1549A966;
constexpr std::uint32_t Tracks = 0x1654AE6B;
constexpr std::uint32_t Cluster = 0x1F43B675;
constexpr std::uint32_t Void = 0xEC;
constexpr std::uint32_t Checksum = 0xBF;
}  // namespace id

constexpr std::array<std::uint32_t, 10> InSegment{id::Info,   id::Tracks, id::Cluster, 0x114D9B74, 0x1C53BB6B,
                                                  0x1941A469, 0x1043A770, 0x1254C367,  id::Void,   id::Checksum};
constexpr std::array<std::uint32_t, 9> InCluster{0xE7, 0x5854, 0xA7, 0xAB, 0xA3, 0xA0, 0xAF, id::Void, id::Checksum};
// In a cluster: its time, its position and the size of the previous cluster.
constexpr std::array<std::uint32_t, 3> Numbers{0xE7, 0xA7, 0xAB};

constexpr auto Signature = PatternOf("\x1A\x45\xDF\xA3");

struct Element {
    std::uint32_t id;
    std::int64_t data;
    /// Nothing if the size is unknown.
    std::optional<std::int64_t> size;

    std::int64_t End() const { return data + size.value_or(0); }
};

template <std::size_t N>
bool IsOneOf(const std::array<std::uint32_t, N>& ids, std::uint32_t id) {
    return std::ranges::find(ids, id) != ids.end();
}

// Nothing if no element can begin here.
std::optional<Element> ReadElement(Place& file, std::int64_t offset) {
    constexpr std::size_t mostBytes = 12;
    const ByteSpan bytes = file.From(offset, mostBytes);
    if (bytes.empty()) {
        return std::nullopt;
    }
    const auto idBytes = static_cast<std::size_t>(std::countl_zero(bytes[0])) + 1;
    if (idBytes > 4 || bytes.size() <= idBytes) {
        return std::nullopt;
    }
    Element element{.id = 0, .data = 0, .size = {}};
    for (const std::uint8_t byte : bytes.first(idBytes)) {
        element.id = element.id << 8U | byte;
    }
    const auto sizeBytes = static_cast<std::size_t>(std::countl_zero(bytes[idBytes])) + 1;
    if (sizeBytes > 8 || bytes.size() < idBytes + sizeBytes) {
        return std::nullopt;
    }
    std::uint64_t size = bytes[idBytes] & (0xFFU >> sizeBytes);
    for (const std::uint8_t byte : bytes.subspan(idBytes + 1, sizeBytes - 1)) {
        size = size << 8U | byte;
    }
    element.data = offset + static_cast<std::int64_t>(idBytes + sizeBytes);
    // All ones: the size was unknown when this was written.
    if (size != (std::uint64_t{1} << (7 * sizeBytes)) - 1) {
        const auto largest = static_cast<std::uint64_t>(file.Limit());
        element.size = static_cast<std::int64_t>(std::min(size, largest + 1));
    }
    return element;
}

// Bytes after a recording may look like an element, but rarely like one with a plausible size.
bool IsOfFittingSize(const Element& element) {
    constexpr std::int64_t checksumBytes = 4;
    constexpr std::int64_t longestNumber = 8;
    const std::int64_t size = element.size.value_or(0);
    return element.id == id::Checksum ? size == checksumBytes : !IsOneOf(Numbers, element.id) || size <= longestNumber;
}

// One of the header's elements names the format of what follows.
std::string DocumentTypeOf(Place& file, const Element& header) {
    constexpr std::int64_t mostCharacters = 64;
    for (std::int64_t at = header.data; at < header.End();) {
        const std::optional<Element> element = ReadElement(file, at);
        if (!element || !element->size || element->End() > header.End()) {
            break;
        }
        if (element->id == id::DocumentType && *element->size <= mostCharacters) {
            const ByteSpan text = file.At(element->data, static_cast<std::size_t>(*element->size));
            return {text.begin(), std::ranges::find(text, 0)};
        }
        at = element->End();
    }
    return {};
}

class SegmentWalk {
public:
    SegmentWalk(Place& file, std::int32_t type) : file_(file), type_(type) {}

    Finding Run(const Element& segment) {
        const std::int64_t end = segment.size ? segment.End() : file_.Limit();
        end_ = segment.data;
        GoOnFromNote(file_, *this);
        while (end_ < end) {
            NoteWalk(file_, *this);
            const std::optional<Element> element = ReadElement(file_, end_);
            const bool isKnown = element && IsOneOf(InSegment, element->id) && IsOfFittingSize(*element);
            // An unknown element can be skipped only if it has a size.
            const bool isForeign = element && !isKnown && segment.size && element->size && element->End() <= end;
            if (!isKnown && !isForeign) {
                return segment.size ? Broken(end, "an element of the segment") : EndedOpen();
            }
            if (std::optional<Finding> broken = Take(*element, end)) {
                return *broken;
            }
        }
        if (!segment.size) {
            return EndedOpen();
        }
        if (!hasTracks_) {
            return {};
        }
        if (!insideIsRight_) {
            return {Verdict::Damaged, end_, type_, {}, "its parts tile it, the blocks in one of them do not"};
        }
        return {Verdict::Whole, end_, type_, {}, "its parts tile the segment"};
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        fields.Flag(hasTracks_);
        fields.Flag(insideIsRight_);
    }

private:
    // Steps over a part of the segment and checks its blocks. Gives a finding if something is wrong.
    std::optional<Finding> Take(const Element& element, std::int64_t end) {
        if (!element.size) {
            if (element.id != id::Cluster) {
                return Broken(end_ + 1, "an element of unknown size");
            }
            return WalkOpenCluster(element.data) ? std::nullopt : std::optional(Broken(file_.Limit() + 1, "a block"));
        }
        if (element.End() > std::min(end, file_.Limit())) {
            return Broken(element.End(), "an element of the segment");
        }
        hasTracks_ = hasTracks_ || element.id == id::Tracks;
        if (element.id == id::Cluster) {
            insideIsRight_ = insideIsRight_ && BlocksTile(element.data, element.End());
        }
        end_ = element.End();
        return std::nullopt;
    }

    // Steps to the first element that does not belong in a cluster; false if one passes the medium's end.
    bool WalkOpenCluster(std::int64_t from) {
        end_ = from;
        for (;;) {
            const std::optional<Element> element = ReadElement(file_, end_);
            if (!element || !IsOneOf(InCluster, element->id) || !element->size || !IsOfFittingSize(*element)) {
                return true;
            }
            if (element->End() > file_.Limit()) {
                return false;
            }
            end_ = element->End();
        }
    }

    bool BlocksTile(std::int64_t at, std::int64_t end) {
        while (at < end) {
            const std::optional<Element> element = ReadElement(file_, at);
            if (!element || !element->size || element->End() > end || !IsOneOf(InCluster, element->id)) {
                return false;
            }
            at = element->End();
        }
        return true;
    }

    Finding Broken(std::int64_t wanted, const char* why) {
        return hasTracks_ ? BrokenAt(file_, end_, wanted, type_, why) : Finding{};
    }

    Finding EndedOpen() const {
        if (!hasTracks_) {
            return {};
        }
        return Unbroken({Verdict::Open, end_, type_, {}, "recorded without its length; its last block ends there"});
    }

    Place& file_;
    std::int32_t type_;
    std::int64_t end_ = 0;
    bool hasTracks_ = false;
    bool insideIsRight_ = true;
};

Finding ValidateEbml(Place& file) {
    constexpr std::int64_t longestHeader = 0x1000;
    constexpr std::int64_t mostVoid = 0x100000;
    const std::optional<Element> header = ReadElement(file, 0);
    if (!header || !header->size || *header->size > longestHeader) {
        return {};
    }
    const std::string documentType = DocumentTypeOf(file, *header);
    if (documentType != "webm" && !documentType.starts_with("matroska")) {
        return {};
    }
    std::optional<Element> segment = ReadElement(file, header->End());
    if (segment && segment->id == id::Void && segment->size && *segment->size <= mostVoid) {
        segment = ReadElement(file, segment->End());
    }
    if (!segment || segment->id != id::Segment) {
        return {};
    }
    return SegmentWalk(file, documentType == "webm" ? FileTypeIndex::Webm : FileTypeIndex::Mkv).Run(*segment);
}

bool BeginsEbml(ByteSpan head) { return StartsWith(head, Signature); }

constexpr StartSignature Starts[] = {{"\x1A\x45\xDF\xA3"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Mkv, FileTypeIndex::Webm};

}  // namespace

/// Matroska and WebM. Sources: RFC 8794, sections 4 to 6; RFC 9559, section 5.
extern const Validator EbmlValidator;
const Validator EbmlValidator{
    .name = "ebml", .starts = Starts, .begins = BeginsEbml, .validate = ValidateEbml, .types = Types};

}  // namespace salvor

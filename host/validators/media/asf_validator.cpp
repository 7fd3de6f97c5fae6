#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <optional>

#include "host/validators/broken.h"
#include "host/validators/media/asf_object.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr Guid DataObject = PatternOf("\x36\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C");
constexpr Guid StreamProperties = PatternOf("\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65");
constexpr Guid ExtensionObject = PatternOf("\xB5\x03\xBF\x5F\x2E\xA9\xCF\x11\x8E\xE3\x00\xC0\x0C\x20\x53\x65");
constexpr Guid AudioMedia = PatternOf("\x40\x9E\x69\xF8\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");
constexpr Guid VideoMedia = PatternOf("\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B");
// After the data: simple index, index, media object index, timecode index.
constexpr std::array<Guid, 4> Indexes{
    PatternOf("\x90\x08\x00\x33\xB1\xE5\xCF\x11\x89\xF4\x00\xA0\xC9\x03\x49\xCB"),
    PatternOf("\xD3\x29\xE2\xD6\xDA\x35\xD1\x11\x90\x34\x00\xA0\xC9\x03\x49\xBE"),
    PatternOf("\xF8\x03\xB1\xFE\xAD\x12\x64\x4C\x84\x0F\x2A\x1D\x2F\x7A\xD4\x8C"),
    PatternOf("\xD0\x3F\xB7\x3C\x4A\x0C\x03\x48\x95\x3D\xED\xF7\xB6\x22\x8F\x0C"),
};

// A GUID and a 64-bit size that counts both.
constexpr std::size_t ObjectHeaderBytes = 24;
constexpr std::int64_t DataStartBytes = 50;
constexpr std::uint32_t MostObjects = 4096;
constexpr std::int64_t LargestHeader = 0x4000000;

struct Properties {
    bool isBroadcast = false;
    std::uint32_t packetBytes = 0;
    bool hasAudio = false;
    bool hasVideo = false;
    bool hasOtherVideo = false;

    std::int32_t Type() const {
        if (hasOtherVideo) {
            return FileTypeIndex::Asf;
        }
        return hasVideo ? FileTypeIndex::Wmv : hasAudio ? FileTypeIndex::Wma : FileTypeIndex::Asf;
    }
};

class AsfWalk {
public:
    explicit AsfWalk(Place& file) : file_(file) {}

    Finding Run() {
        if (!ReadHeader()) {
            return {};
        }
        const std::optional<AsfObject> data = ReadAsfObject(file_, end_);
        if (!data || data->guid != DataObject) {
            return BrokenAt(file_, end_, end_ + 1, properties_.Type(), "no data after the header");
        }
        const auto limit = static_cast<std::uint64_t>(file_.Limit());
        const bool isDeclared = data->size >= static_cast<std::uint64_t>(DataStartBytes) && !properties_.isBroadcast;
        const std::int64_t first = end_ + DataStartBytes;
        if (!isDeclared) {
            return TakeBroadcast(first);
        }
        const std::int64_t end = end_ + static_cast<std::int64_t>(std::min(data->size, limit + 1));
        const std::int64_t lastRight = PacketsFrom(first, std::min(end, file_.Limit()));
        if (end > file_.Limit() || (lastRight < end && file_.NextStart(lastRight) < end)) {
            return BrokenAt(file_, lastRight, end, properties_.Type(), "the packets");
        }
        const bool packetsAreRight = lastRight == end;
        end_ = end;
        TakeIndexes();
        if (!packetsAreRight) {
            return {Verdict::Damaged, end_, properties_.Type(), {}, "a packet does not begin as packets do"};
        }
        return {Verdict::Whole, end_, properties_.Type(), {}, "packets tile its data object"};
    }

private:
    bool ReadHeader() {
        const ByteSpan start = file_.At(0, static_cast<std::size_t>(AsfHeaderStartBytes));
        if (start.empty()) {
            return false;
        }
        const auto size = LoadLittle<std::uint64_t>(start, 16);
        const auto count = LoadLittle<std::uint32_t>(start, 24);
        if (size > static_cast<std::uint64_t>(LargestHeader) || count > MostObjects) {
            return false;
        }
        const auto end = static_cast<std::int64_t>(size);
        TakeObjects(AsfHeaderStartBytes, end);
        end_ = end;
        return properties_.packetBytes != 0 && end <= file_.Limit();
    }

    // Calls `take` for each object between two places, with its own place.
    template <class Take>
    void ForEachObject(std::int64_t at, std::int64_t end, Take take) {
        for (std::uint32_t i = 0; i < MostObjects && at < end; ++i) {
            const std::optional<AsfObject> object = ReadAsfObject(file_, at);
            if (!object || object->size < ObjectHeaderBytes || object->size > static_cast<std::uint64_t>(end - at)) {
                return;
            }
            take(*object, at);
            at += static_cast<std::int64_t>(object->size);
        }
    }

    void TakeObject(const AsfObject& object, std::int64_t at) {
        if (object.guid == AsfFileProperties) {
            TakeFileProperties(at);
        } else if (object.guid == StreamProperties) {
            const ByteSpan kind = file_.At(at + static_cast<std::int64_t>(ObjectHeaderBytes), AudioMedia.size());
            properties_.hasAudio = properties_.hasAudio || StartsWith(kind, AudioMedia);
            if (StartsWith(kind, VideoMedia)) {
                TakeVideo(at);
            }
        }
    }

    // The header extension may describe streams too.
    void TakeObjects(std::int64_t from, std::int64_t end) {
        constexpr std::int64_t extensionStart = 46;
        const auto take = [this](const AsfObject& object, std::int64_t at) {
            TakeObject(object, at);
        };
        ForEachObject(from, end, [&](const AsfObject& object, std::int64_t at) {
            take(object, at);
            if (object.guid == ExtensionObject) {
                ForEachObject(at + extensionStart, at + static_cast<std::int64_t>(object.size), take);
            }
        });
    }

    // Video in codecs other than Windows Media's gets the container's extension.
    void TakeVideo(std::int64_t at) {
        constexpr std::int64_t codec = 105;
        const ByteSpan name = file_.At(at + codec, 4);
        const bool isWindowsMedia = StartsWith(name, PatternOf("WM")) || StartsWith(name, PatternOf("WV")) ||
                                    StartsWith(name, PatternOf("wm")) || StartsWith(name, PatternOf("MSS"));
        properties_.hasVideo = true;
        properties_.hasOtherVideo = properties_.hasOtherVideo || !isWindowsMedia;
    }

    void TakeFileProperties(std::int64_t at) {
        constexpr std::size_t bytes = 104;
        constexpr std::uint32_t broadcast = 1;
        const ByteSpan object = file_.At(at, bytes);
        if (object.empty()) {
            return;
        }
        properties_.isBroadcast = (LoadLittle<std::uint32_t>(object, 88) & broadcast) != 0;
        const auto smallest = LoadLittle<std::uint32_t>(object, 92);
        const auto largest = LoadLittle<std::uint32_t>(object, 96);
        properties_.packetBytes = smallest == largest ? smallest : 0;
    }

    // Packets begin with their error correction: 82h, then usually two zeros. Packets without it have a clear first
    // bit, and a second byte that is the same in all of them. Gives the offset of the first packet that begins in
    // another way than the first one, or `end`.
    std::int64_t PacketsFrom(std::int64_t at, std::int64_t end) {
        constexpr std::uint8_t correction = 0x82;
        const ByteSpan first = file_.At(at, 2);
        const bool isCorrected = !first.empty() && first[0] == correction;
        const std::uint8_t second = first.empty() || isCorrected ? 0 : first[1];
        while (at < end) {
            const ByteSpan start = file_.At(at, 2);
            const bool isPacket = !start.empty() && start[1] == second &&
                                  (isCorrected ? start[0] == correction : (start[0] & 0x80U) == 0) &&
                                  at + properties_.packetBytes <= end;
            if (!isPacket) {
                return at;
            }
            at += properties_.packetBytes;
        }
        return at;
    }

    // A packet without error correction that gives its length without padding in two bytes. The second byte, the form
    // of each payload's numbers, is the same in all files.
    bool IsBarePacket(ByteSpan start) const {
        constexpr unsigned formBits = 0xE0;
        constexpr unsigned shortLength = 0x40;
        constexpr std::uint8_t payloadNumbers = 0x5D;
        return (start[0] & formBits) == shortLength && start[1] == payloadNumbers &&
               LoadLittle<std::uint16_t>(start, 2) <= properties_.packetBytes;
    }

    // A live recording has no size and no number of packets, or wrong ones.
    Finding TakeBroadcast(std::int64_t first) {
        std::int64_t at = first;
        while (at + properties_.packetBytes <= file_.Limit()) {
            const ByteSpan start = file_.At(at, 4);
            if (start.empty() || !(StartsWith(start, PatternOf("\x82\0\0")) || IsBarePacket(start))) {
                break;
            }
            at += properties_.packetBytes;
        }
        end_ = at;
        if (at == first) {
            return {};
        }
        TakeIndexes();
        // Ends a stream that was saved as it was broadcast.
        constexpr auto endMark = PatternOf("\x24\x45\x08\x00");
        constexpr std::int64_t endMarkBytes = 12;
        end_ += StartsWith(file_.At(end_, static_cast<std::size_t>(endMarkBytes)), endMark) ? endMarkBytes : 0;
        return Unbroken({Verdict::Open, end_, properties_.Type(), {}, "recorded live; its last packet ends there"});
    }

    void TakeIndexes() {
        while (const std::optional<AsfObject> object = ReadAsfObject(file_, end_)) {
            const bool isIndex = std::ranges::find(Indexes, object->guid) != Indexes.end();
            if (!isIndex || object->size < ObjectHeaderBytes ||
                object->size > static_cast<std::uint64_t>(file_.Limit() - end_)) {
                return;
            }
            end_ += static_cast<std::int64_t>(object->size);
        }
    }

    Place& file_;
    Properties properties_;
    std::int64_t end_ = 0;
};

bool BeginsAsf(ByteSpan head) { return StartsWith(head, AsfHeaderObject); }

constexpr StartSignature Starts[] = {
    {std::string_view("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16)}};

constexpr std::int32_t Types[] = {FileTypeIndex::Asf, FileTypeIndex::Wma, FileTypeIndex::Wmv};

}  // namespace

/// ASF with Windows Media sound and film. Source: Advanced Systems Format (ASF) Specification, sections 3 to 6.
extern const Validator AsfValidator;
const Validator AsfValidator{.name = "asf",
                             .starts = Starts,
                             .begins = BeginsAsf,
                             .validate = [](Place& file) { return AsfWalk(file).Run(); },
                             .types = Types};

}  // namespace salvor

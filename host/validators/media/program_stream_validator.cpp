#include <FileTypeCatalog.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "formats/ProgramStream.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

using namespace ProgramStream;

// The last bytes of packets' start codes.
constexpr std::uint8_t NavigationCode = 0xBF;
constexpr std::uint8_t FirstSoundCode = 0xC0;
constexpr std::uint8_t LastPictureCode = 0xEF;

// The largest step of the clock from one pack to the next.
constexpr std::int64_t LongestJump = std::int64_t{30} * 90000;

// Scanners accept packs with wrong marker bits; here these bits distinguish a pack from other bytes.
std::optional<Pack> ReadSoundPack(ByteSpan bytes) {
    const std::optional<Pack> pack = ReadPack(bytes);
    return pack && pack->hasMarkers ? pack : std::nullopt;
}

class ProgramWalk {
public:
    explicit ProgramWalk(Place& file) : file_(file) {}

    Finding Run() {
        GoOnFromNote(file_, *this);
        while (!file_.IsExhausted() && Step()) {
            NoteWalk(file_, *this);
        }
        if (packets_ < LeastPackets || !hasMedia_) {
            return {};
        }
        TakeLastPadding();
        if (wanted_ > file_.Limit()) {
            return Say(Verdict::Truncated, file_.Limit(), "its last packet goes on past the medium's end");
        }
        if (hasGap_) {
            return Say(Verdict::Damaged, end_, "bytes in the middle are not packets");
        }
        if (hasEnded_) {
            return Say(Verdict::Whole, end_, "packets tile it to its end code");
        }
        if (const std::int64_t next = file_.NextStart(last_ + 1); next < end_) {
            return Say(Verdict::Truncated, next, "another file begins in its last packet");
        }
        return Unbroken(Say(Verdict::Open, end_, "packs tile it; nothing says which is the last"));
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        for (std::int64_t* const number : {&pack_, &last_, &packDistance_, &clock_, &wanted_, &packets_}) {
            fields.Number(*number);
        }
        for (bool* const flag : {&isMpeg2_, &hasMedia_, &hasNavigation_, &isFilledUp_, &hasEnded_, &hasGap_}) {
            fields.Flag(*flag);
        }
    }

private:
    static constexpr std::int64_t LeastPackets = 4;
    static constexpr std::int64_t LongestGap = 0x80000;

    // Steps over the next pack or packet; false if the stream does not go on.
    bool Step() {
        const ByteSpan bytes = file_.From(end_, 16);
        if (bytes.size() < StartCodeBytes || !StartsWith(bytes, StartCodePrefix)) {
            return SkipPadding() || Resume();
        }
        const std::uint8_t code = bytes[3];
        if (code == PackCode) {
            return TakePack(bytes);
        }
        if (code == EndCode && packets_ > 0) {
            hasEnded_ = true;
            end_ += static_cast<std::int64_t>(StartCodeBytes);
            return true;
        }
        return code > PackCode && !hasEnded_ ? TakePacket(bytes) : Resume();
    }

    bool TakePack(ByteSpan bytes) {
        const std::optional<Pack> pack = ReadSoundPack(bytes);
        // After an end code, a pack at a sector's start begins another file; elsewhere, films were joined.
        if (!pack || (packets_ > 0 && pack->isMpeg2 != isMpeg2_) || (hasEnded_ && end_ % file_.SectorSize() == 0)) {
            return !hasEnded_ && Resume();
        }
        isMpeg2_ = pack->isMpeg2;
        clock_ = pack->clock;
        hasEnded_ = false;
        packDistance_ = end_ - pack_;
        pack_ = end_;
        end_ += pack->bytes;
        return true;
    }

    bool TakePacket(ByteSpan bytes) {
        if (bytes.size() < PacketHeaderBytes + 2) {
            return false;
        }
        const std::uint8_t code = bytes[3];
        const std::int64_t length = LoadBig<std::uint16_t>(bytes, StartCodeBytes);
        const bool isMedia = code >= FirstSoundCode && code <= LastPictureCode;
        // In MPEG-2 a packet's header continues with the bits 10.
        if (length == 0 || pack_ < 0 || (isMedia && isMpeg2_ && bytes[6] >> 6U != 2)) {
            return Resume();
        }
        const std::int64_t end = end_ + static_cast<std::int64_t>(PacketHeaderBytes) + length;
        if (end > file_.Limit()) {
            wanted_ = end;
            return false;
        }
        constexpr std::int64_t presentationBytes = 0x3D4;
        hasNavigation_ = hasNavigation_ || (code == NavigationCode && length == presentationBytes);
        hasMedia_ = hasMedia_ || isMedia || code == 0xBD;
        last_ = end_;
        end_ = end;
        ++packets_;
        return true;
    }

    // Video CDs pad their packs with zeros, and some films the last sectors before another pack. Zeros up to a sector
    // start may be the slack after the file.
    bool SkipPadding() {
        constexpr std::size_t longest = 2352;
        if (hasEnded_ || packets_ == 0) {
            return false;
        }
        const ByteSpan bytes = file_.From(end_, longest + StartCodeBytes);
        const auto* const firstSet = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != 0; }).base();
        const std::int64_t zeros = firstSet - bytes.data();
        const std::int64_t next = end_ + zeros - 2;
        if (zeros < 3 || zeros > static_cast<std::int64_t>(longest) || !IsNextPack(next)) {
            return false;
        }
        if (next % file_.SectorSize() == 0 && next - pack_ != packDistance_) {
            return false;
        }
        isFilledUp_ = next - pack_ == packDistance_;
        end_ = next;
        return true;
    }

    // The last pack is padded like those before it.
    void TakeLastPadding() {
        const std::int64_t end = pack_ + packDistance_;
        const ByteSpan padding =
            isFilledUp_ && end > end_ ? file_.At(end_, static_cast<std::size_t>(end - end_)) : ByteSpan();
        if (!padding.empty() && std::ranges::count(padding, 0) == std::ssize(padding)) {
            end_ = end;
        }
    }

    // True for a pack whose clock goes on from the last one.
    bool IsNextPack(std::int64_t offset) {
        const std::optional<Pack> pack = ReadSoundPack(file_.From(offset, Mpeg2PackBytes));
        return pack && pack->isMpeg2 == isMpeg2_ && pack->clock >= clock_ && pack->clock - clock_ < LongestJump;
    }

    bool Resume() {
        if (hasEnded_ || packets_ < LeastPackets) {
            return false;
        }
        constexpr BytePattern mark(PackSignature);
        const std::int64_t stop = std::min(end_ + LongestGap, file_.Limit());
        for (std::optional<std::int64_t> at = file_.Find(mark, end_ + 1, stop); at;
             at = file_.Find(mark, *at + 1, stop)) {
            if (IsNextPack(*at)) {
                end_ = *at;
                hasGap_ = true;
                return true;
            }
        }
        return false;
    }

    Finding Say(Verdict verdict, std::int64_t size, const std::string& why) const {
        return {verdict, size, FileTypeIndex::Vob, hasNavigation_ ? "" : "mpg", why};
    }

    Place& file_;
    std::int64_t end_ = 0;
    // The starts of the last pack and the last packet.
    std::int64_t pack_ = -1;
    std::int64_t last_ = 0;
    // The distance from the pack before the last to the last.
    std::int64_t packDistance_ = 0;
    std::int64_t clock_ = 0;
    std::int64_t wanted_ = 0;
    std::int64_t packets_ = 0;
    bool isMpeg2_ = false;
    bool hasMedia_ = false;
    bool hasNavigation_ = false;
    bool isFilledUp_ = false;
    bool hasEnded_ = false;
    bool hasGap_ = false;
};

constexpr std::string_view PackMark("\0\0\1\xBA", 4);
constexpr StartSignature Starts[] = {{PackMark}};

constexpr std::int32_t Types[] = {FileTypeIndex::Vob};

}  // namespace

/// MPEG program streams and the system streams of MPEG-1. Source: ISO/IEC 13818-1, section 2.5.3; ISO/IEC 11172-1,
/// section 2.4.3.
extern const Validator ProgramStreamValidator;
const Validator ProgramStreamValidator{.name = "program",
                                       .starts = Starts,
                                       .begins = [](ByteSpan head) { return ReadSoundPack(head).has_value(); },
                                       .validate = [](Place& file) { return ProgramWalk(file).Run(); },
                                       .types = Types};

}  // namespace salvor

#include <FileTypeCatalog.h>

#include <algorithm>
#include <optional>

#include "formats/MpegAudioHeader.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/broken.h"
#include "host/validators/media/audio_tags.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

constexpr std::size_t HeaderBytes = 4;
// The longest frame of any layer, bit rate and sampling rate, even with a free bit rate that decoders still accept.
constexpr std::int32_t LongestFrame = 8192;

// The two kinds of streams differ in the length of a frame and in which bits of the first 4 bytes all frames share.

struct LayeredStream {
    static constexpr std::uint32_t SteadyBits = MpegAudioHeader::SteadyBits;
    static constexpr std::size_t HeaderBytes = 4;
    // How many frames prove a stream that no tag or table confirms.
    static constexpr std::int64_t LeastFrames = 10;
    // Each agrees with the first one in 16 bits or more.
    static constexpr std::int64_t FramesBeyondChance = 24;

    // No encoder writes Layer I at a free bit rate, but numbers in tables look like it.
    static bool IsValid(ByteSpan bytes) {
        const MpegAudioHeader header{LoadBig<std::uint32_t>(bytes, 0)};
        return header.IsValid() && (header.LayerCode() != MpegAudioHeader::LayerI || header.BitRateIndex() != 0);
    }
    static std::int32_t FrameBytes(ByteSpan bytes, std::int32_t freeLength) {
        return MpegAudioHeader{LoadBig<std::uint32_t>(bytes, 0)}.FrameBytes(freeLength);
    }
    static bool IsFree(ByteSpan bytes) { return MpegAudioHeader{LoadBig<std::uint32_t>(bytes, 0)}.BitRateIndex() == 0; }
};

// ISO/IEC 13818-7, section 6.2.
struct AdtsStream {
    // Sync word, version, layer and checksum; profile, sampling rate and channels.
    static constexpr std::uint32_t SteadyBits = 0xFFFFFDC0U;
    static constexpr std::size_t HeaderBytes = 7;
    static constexpr std::int64_t LeastFrames = 4;
    // Each agrees with the first one in 25 bits.
    static constexpr std::int64_t FramesBeyondChance = 12;

    static bool IsValid(ByteSpan bytes) {
        const auto bits = LoadBig<std::uint32_t>(bytes, 0);
        constexpr std::uint32_t rates = 13;
        return (bits & 0xFFF60000U) == 0xFFF00000U && (bits >> 10U & 0xFU) < rates &&
               FrameBytes(bytes, 0) > static_cast<std::int32_t>(HeaderBytes);
    }
    static std::int32_t FrameBytes(ByteSpan bytes, std::int32_t /*freeLength*/) {
        return static_cast<std::int32_t>((bytes[3] & 3U) << 11U | unsigned{bytes[4]} << 3U | unsigned{bytes[5]} >> 5U);
    }
    static bool IsFree(ByteSpan /*bytes*/) { return false; }
};

// What a silent first frame says about the stream. Source: Xing's VBR header SDK; Fraunhofer's VBRI tag.
struct StreamTable {
    std::uint32_t frames = 0;
    // Counted from this frame's start; 0 if not given.
    std::uint32_t bytes = 0;
};

std::optional<StreamTable> TableIn(ByteSpan frame) {
    if (frame.size() < HeaderBytes) {
        return std::nullopt;
    }
    const MpegAudioHeader header{LoadBig<std::uint32_t>(frame, 0)};
    if (header.LayerCode() != MpegAudioHeader::LayerIII) {
        return std::nullopt;
    }
    const bool isMpeg1 = header.VersionCode() == MpegAudioHeader::Mpeg1;
    const std::size_t sideBytes = isMpeg1 ? (header.IsMono() ? 17 : 32) : (header.IsMono() ? 9 : 17);
    for (const std::size_t checksumBytes : {std::size_t{0}, std::size_t{2}}) {
        const std::size_t at = HeaderBytes + sideBytes + checksumBytes;
        if (frame.size() < at + 16 ||
            !(HasPatternAt(frame, at, PatternOf("Xing")) || HasPatternAt(frame, at, PatternOf("Info")))) {
            continue;
        }
        const auto flags = LoadBig<std::uint32_t>(frame, at + 4);
        const bool hasFrames = (flags & 1U) != 0;
        return StreamTable{.frames = hasFrames ? LoadBig<std::uint32_t>(frame, at + 8) : 0,
                           .bytes = (flags & 2U) != 0 ? LoadBig<std::uint32_t>(frame, at + (hasFrames ? 12 : 8)) : 0};
    }
    constexpr std::size_t fraunhofer = 36;
    if (HasPatternAt(frame, fraunhofer, PatternOf("VBRI")) && frame.size() >= fraunhofer + 18) {
        return StreamTable{.frames = LoadBig<std::uint32_t>(frame, fraunhofer + 14),
                           .bytes = LoadBig<std::uint32_t>(frame, fraunhofer + 10)};
    }
    return std::nullopt;
}

// Whether a Layer III frame needs bytes of those before it.
bool NeedsEarlierBytes(ByteSpan frame) {
    if (frame.size() < HeaderBytes) {
        return false;
    }
    const MpegAudioHeader header{LoadBig<std::uint32_t>(frame, 0)};
    const std::size_t at = HeaderBytes + (header.HasChecksum() ? 2 : 0);
    if (header.LayerCode() != MpegAudioHeader::LayerIII || frame.size() < at + 2) {
        return false;
    }
    // The number has 9 bits in MPEG-1 and 8 in the others.
    const bool isMpeg1 = header.VersionCode() == MpegAudioHeader::Mpeg1;
    return frame[at] != 0 || (isMpeg1 && (frame[at + 1] & 0x80U) != 0);
}

template <class Stream>
class AudioWalk {
public:
    AudioWalk(Place& file, std::int64_t first) : file_(file), first_(first), end_(first) {}

    /// True if `count` frames follow each other from the first on, or fewer up to the medium's end.
    bool Begins(int count) { return Enter(first_) && CountFrom(first_, count) == count; }

    Finding Run(bool hasTag) {
        const ByteSpan frame = FrameAt(first_);
        const std::optional<StreamTable> table = IsLayered ? TableIn(frame) : std::nullopt;
        const bool isPiece = IsLayered && !hasTag && !table && NeedsEarlierBytes(frame);
        Walk();
        const bool isVouchedFor = hasTag || table;
        if (frames_ < (isVouchedFor ? 1 : Stream::LeastFrames) || (isPiece && end_ - first_ < LeastPiece) ||
            (!isVouchedFor && (isOfFilm_ || IsTable()))) {
            return {};
        }
        if (isPiece) {
            return Say(Verdict::Damaged, "its first frame needs the sound of frames that are not there");
        }
        return Judge(table.value_or(StreamTable{}));
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        for (std::int64_t* const number : {&last_, &frames_, &gaps_}) {
            fields.Number(*number);
        }
        fields.Flag(hasEndTag_);
    }

private:
    static constexpr bool IsLayered = Stream::HeaderBytes == HeaderBytes;
    static constexpr std::int64_t LeastPiece = 0x10000;
    // After bytes that are not frames, this many frames prove that the stream goes on.
    static constexpr int ResumingFrames = 4;
    static constexpr std::int64_t LongestGap = 0x2000;
    static constexpr std::int64_t MostGaps = 8;
    static constexpr std::int64_t FramesPerGap = 256;

    // Adopts the format of the frame at `offset`.
    bool Enter(std::int64_t offset) {
        const ByteSpan bytes = file_.At(offset, Stream::HeaderBytes);
        if (bytes.empty() || !Stream::IsValid(bytes)) {
            return false;
        }
        steady_ = LoadBig<std::uint32_t>(bytes, 0) & Stream::SteadyBits;
        return !Stream::IsFree(bytes) || FindFreeLength(offset);
    }

    // Finds the distance of frames with a free bit rate.
    bool FindFreeLength(std::int64_t offset) {
        const auto padding = [this](std::int64_t at) -> std::int32_t {
            return Stream::FrameBytes(file_.At(at, Stream::HeaderBytes), 0);
        };
        const ByteSpan bytes = file_.From(offset, LongestFrame + HeaderBytes);
        constexpr std::size_t shortest = 24;
        std::int32_t found = 0;
        for (std::size_t at = shortest; at + HeaderBytes <= std::min<std::size_t>(bytes.size(), LongestFrame); ++at) {
            const auto bits = LoadBig<std::uint32_t>(bytes, at);
            if ((bits & Stream::SteadyBits) == steady_ && Stream::IsFree(bytes.subspan(at))) {
                found = static_cast<std::int32_t>(at);
                break;
            }
        }
        freeLength_ = found == 0 ? 0 : found - padding(offset);
        return freeLength_ > 0;
    }

    // 0 if no frame of this stream begins there.
    std::int32_t FrameBytesAt(std::int64_t offset) {
        const ByteSpan bytes = file_.At(offset, Stream::HeaderBytes);
        if (bytes.empty() || (LoadBig<std::uint32_t>(bytes, 0) & Stream::SteadyBits) != steady_ ||
            !Stream::IsValid(bytes) || (Stream::IsFree(bytes) && freeLength_ == 0)) {
            return 0;
        }
        const std::int32_t length = Stream::FrameBytes(bytes, freeLength_);
        return length > static_cast<std::int32_t>(Stream::HeaderBytes) && length <= LongestFrame ? length : 0;
    }

    ByteSpan FrameAt(std::int64_t offset) {
        const std::int32_t length = FrameBytesAt(offset);
        return length == 0 ? ByteSpan() : file_.At(offset, static_cast<std::size_t>(length));
    }

    int CountFrom(std::int64_t offset, int most) {
        int count = 0;
        while (count < most) {
            const std::int32_t length = FrameBytesAt(offset);
            if (length == 0 || offset + length > file_.Limit()) {
                break;
            }
            offset += length;
            ++count;
        }
        return count;
    }

    // True if a table or a tag shows that another sound file begins at this sector.
    bool IsNextFile(std::int64_t offset) {
        if (offset == first_ || offset % file_.SectorSize() != 0) {
            return false;
        }
        return TagBytesAt(file_, offset) != 0 || (IsLayered && TableIn(FrameAt(offset)).has_value());
    }

    // Machine code and tables repeat numbers that look like a frame's start at short distances.
    bool IsTable() {
        constexpr int chance = 2;
        const ByteSpan frame = FrameAt(first_);
        int repeated = 0;
        for (std::size_t at = 1; at + HeaderBytes <= frame.size() && repeated < chance; ++at) {
            repeated += (LoadBig<std::uint32_t>(frame, at) & Stream::SteadyBits) == steady_ ? 1 : 0;
        }
        return repeated == chance;
    }

    void Walk() {
        GoOnFromNote(file_, *this);
        while (!file_.IsExhausted()) {
            NoteWalk(file_, *this);
            const std::int32_t length = FrameBytesAt(end_);
            if (length != 0 && !IsNextFile(end_)) {
                if (end_ + length > file_.Limit()) {
                    isCut_ = true;
                    return;
                }
                last_ = end_;
                hasEndTag_ = false;
                end_ += length;
                ++frames_;
                continue;
            }
            if (length != 0 || (!TakeTags() && !Resume())) {
                return;
            }
        }
    }

    // Takes the tags after the last frame, or inside it if its end is missing.
    bool TakeTags() {
        if (const std::int64_t behind = EndOfTags(file_, end_); behind > end_) {
            end_ = behind;
            hasEndTag_ = true;
            return true;
        }
        // A tag may be anywhere within one frame's length from the last one's start.
        const std::int64_t searchEnd = std::min(end_ + LongestTagGap, file_.Limit());
        const std::optional<std::int64_t> tag = hasEndTag_ ? std::nullopt : FindEndTag(file_, last_ + 4, searchEnd);
        if (!tag) {
            return false;
        }
        end_ = EndOfTags(file_, *tag);
        hasEndTag_ = true;
        return true;
    }

    // Finds where the stream goes on after bytes that are not frames. The sound of a film does so again and again,
    // between the pictures; that is not a file.
    bool Resume() {
        if (gaps_ > MostGaps + frames_ / FramesPerGap) {
            isOfFilm_ = true;
            return false;
        }
        // Another sound may begin inside the last frame, if that lost its end.
        const std::int64_t next = file_.NextStart(last_ + 1);
        if (frames_ > 0 && next <= end_ && IsNextFile(next)) {
            end_ = next;
            isOverrun_ = true;
            return false;
        }
        const ByteSpan broken = file_.From(end_);
        constexpr std::size_t padding = 64;
        const ByteSpan some = broken.first(std::min(broken.size(), padding));
        if (some.size() < padding || std::ranges::count(some, 0) == padding) {
            return false;
        }
        const std::int64_t stop = std::min(end_ + LongestGap, file_.NextStart(end_));
        for (std::int64_t at = end_; at < stop; ++at) {
            const ByteSpan bytes = file_.From(at);
            if (bytes.empty()) {
                return false;
            }
            const auto* const sync = std::ranges::find(bytes, 0xFF).base();
            at += sync - bytes.data();
            if (at >= stop) {
                return false;
            }
            if (FrameBytesAt(at) != 0 && CountFrom(at, ResumingFrames) == ResumingFrames && !IsNextFile(at)) {
                gaps_ += hasEndTag_ ? 0 : 1;
                end_ = at;
                return true;
            }
        }
        return false;
    }

    Finding Judge(const StreamTable& table) {
        const std::int64_t declaredEnd = first_ + table.bytes;
        if (gaps_ > 0) {
            return Say(Verdict::Damaged, "bytes in the middle are not frames");
        }
        if (isCut_) {
            end_ = file_.Limit();
            return Say(Verdict::Truncated, "its last frame goes on past the medium's end");
        }
        // The table does not count its own frame.
        if (table.frames > frames_) {
            if (table.bytes != 0 && declaredEnd > last_ && declaredEnd <= file_.Limit() && declaredEnd <= end_) {
                end_ = hasEndTag_ ? end_ : declaredEnd;
                return Say(Verdict::Whole, "frames tile it to the length in its first frame");
            }
            const Finding broken = BrokenAt(file_, end_, std::max(declaredEnd, end_ + 1), FileTypeIndex::Mp3,
                                            "its first frame tells of more frames");
            return broken.verdict == Verdict::Truncated && broken.size < end_ + LongestFrame
                       ? Say(Verdict::Truncated, broken.why)
                       : Say(Verdict::Damaged, "its first frame tells of more frames");
        }
        if (hasEndTag_) {
            return Say(Verdict::Whole, "frames tile it to its tag");
        }
        if (table.frames != 0 && frames_ <= std::int64_t{table.frames} + 1) {
            // The encoder may have been stopped inside the last frame.
            const bool endsInLast = table.bytes != 0 && declaredEnd > last_ && declaredEnd < end_;
            end_ = endsInLast ? declaredEnd : end_;
            return Say(Verdict::Whole, "it has as many frames as its first one tells");
        }
        if (const std::int64_t next = file_.NextStart(last_ + 1); isOverrun_ || next < end_) {
            end_ = std::min(end_, next);
            return Say(Verdict::Truncated, "another file begins in its last frame");
        }
        Finding finding = Unbroken(Say(Verdict::Open, "frames tile it; nothing says which is the last"));
        finding.isCertain = frames_ >= Stream::FramesBeyondChance && freeLength_ == 0;
        return finding;
    }

    Finding Say(Verdict verdict, const std::string& why) const {
        const char* extension = "aac";
        if constexpr (IsLayered) {
            const std::uint32_t layer = MpegAudioHeader{steady_}.LayerCode();
            extension = layer == MpegAudioHeader::LayerIII ? "" : layer == MpegAudioHeader::LayerII ? "mp2" : "mp1";
        }
        return {verdict, end_, FileTypeIndex::Mp3, extension, why};
    }

    static constexpr std::int64_t LongestTagGap = 1440;

    Place& file_;
    std::int64_t first_;
    std::int64_t end_;
    // The start of the last frame.
    std::int64_t last_ = 0;
    std::int64_t frames_ = 0;
    std::uint32_t steady_ = 0;
    std::int32_t freeLength_ = 0;
    bool hasEndTag_ = false;
    std::int64_t gaps_ = 0;
    bool isOfFilm_ = false;
    bool isCut_ = false;
    bool isOverrun_ = false;
};

// How many frames must follow each other if no tag or table confirms them.
constexpr int CheckedFrames = 4;

std::optional<Finding> StreamAt(Place& file, std::int64_t offset, bool hasTag) {
    AudioWalk<LayeredStream> layered(file, offset);
    if (layered.Begins(hasTag ? 1 : CheckedFrames) || (offset == 0 && layered.Begins(1))) {
        return layered.Run(hasTag);
    }
    AudioWalk<AdtsStream> adts(file, offset);
    if (adts.Begins(hasTag ? 1 : CheckedFrames)) {
        return adts.Run(hasTag);
    }
    return std::nullopt;
}

template <class Stream>
std::optional<Finding> LongStreamAt(Place& file, std::int64_t offset) {
    AudioWalk<Stream> walk(file, offset);
    return walk.Begins(CheckedFrames) ? std::optional(walk.Run(true)) : std::nullopt;
}

// Some writers miscount the tag's padding, and some encoders begin with part of a frame. `stop` is the last place
// where the stream may begin.
std::optional<Finding> StreamBehindTag(Place& file, std::int64_t tagEnd, std::int64_t stop) {
    constexpr std::int64_t mostBytes = 0x1000;
    std::int64_t filled = 0;
    for (std::int64_t at = tagEnd; at <= stop && filled < mostBytes; ++at) {
        const ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            break;
        }
        filled += bytes[0] != 0 ? 1 : 0;
        if (bytes[0] != 0xFF) {
            continue;
        }
        std::optional<Finding> found = LongStreamAt<LayeredStream>(file, at);
        found = found ? found : LongStreamAt<AdtsStream>(file, at);
        if (found) {
            return found;
        }
    }
    return std::nullopt;
}

Finding ValidateMpegAudio(Place& file) {
    const std::int64_t tagEnd = EndOfTags(file, 0);
    if (tagEnd > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), FileTypeIndex::Mp3, {}, "its tag goes on past the medium's end"};
    }
    if (tagEnd == 0) {
        return StreamAt(file, 0, /*hasTag=*/false).value_or(Finding{});
    }
    // The rest of another frame behind the tag may look like a first frame. Without one there, the first frame may be
    // at a sector start and look like a file of its own.
    constexpr std::int64_t mostPadding = 0x10000;
    const bool hasFrame =
        AudioWalk<LayeredStream>(file, tagEnd).Begins(1) || AudioWalk<AdtsStream>(file, tagEnd).Begins(1);
    const std::int64_t stop = std::min(file.NextStart(tagEnd), tagEnd + mostPadding) - (hasFrame ? 1 : 0);
    const std::optional<Finding> found = StreamBehindTag(file, tagEnd, stop);
    return found ? *found : StreamAt(file, tagEnd, /*hasTag=*/true).value_or(Finding{});
}

bool BeginsMpegAudio(ByteSpan head) {
    if (IsTagStart(head)) {
        return true;
    }
    if (head.size() < AdtsStream::HeaderBytes || head[0] != 0xFF) {
        return false;
    }
    const auto goesOn = [head](std::size_t length, std::uint32_t steadyBits) {
        return length + HeaderBytes > head.size() ||
               ((LoadBig<std::uint32_t>(head, length) ^ LoadBig<std::uint32_t>(head, 0)) & steadyBits) == 0;
    };
    if (LayeredStream::IsValid(head)) {
        const std::int32_t length = LayeredStream::FrameBytes(head, 0);
        // Bitmaps can begin like frames of a free bit rate, but no sound follows.
        constexpr std::size_t looked = 64;
        const ByteSpan behind = head.subspan(HeaderBytes).first(std::min(looked, head.size() - HeaderBytes));
        const bool isSilent = std::ranges::all_of(behind, [](std::uint8_t byte) { return byte == 0; });
        return (LayeredStream::IsFree(head) && !isSilent) ||
               (length > 4 && goesOn(static_cast<std::size_t>(length), LayeredStream::SteadyBits));
    }
    return AdtsStream::IsValid(head) &&
           goesOn(static_cast<std::size_t>(AdtsStream::FrameBytes(head, 0)), AdtsStream::SteadyBits);
}

// Tags, or a sync word of 11 bits.
constexpr StartSignature Starts[] = {{"ID3"}, {"APETAGEX"}, {"\xFF\xE0", 0, "\xFF\xE0"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Mp3};

}  // namespace

/// MPEG audio of all layers, and AAC in ADTS frames, which the catalogue has no type for. Source: ISO/IEC 11172-3,
/// section 2.4; ISO/IEC 13818-7, section 6.2; ID3 tag version 2.4.0; APE tag version 2.
extern const Validator MpegAudioValidator;
const Validator MpegAudioValidator{
    .name = "mpegaudio", .starts = Starts, .begins = BeginsMpegAudio, .validate = ValidateMpegAudio, .types = Types};

}  // namespace salvor

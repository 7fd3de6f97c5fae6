#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "formats/Riff.h"
#include "host/validators/broken.h"
#include "host/validators/hole_of_zeros.h"
#include "host/validators/media/open_sound.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using Name = Pattern<4>;

constexpr std::size_t ChunkHeaderBytes = 8;
constexpr std::size_t FormHeaderBytes = 12;
// Written when the size was still unknown, and never updated.
constexpr std::uint32_t UnknownSize = 0xFFFFFFFF;

// Writers to pipes declare as much as they can, some less a header or a page.
bool IsUnknown(std::uint32_t size) {
    constexpr std::uint32_t half = 0x80000000;
    constexpr std::uint32_t header = 0x100;
    constexpr std::uint32_t page = 0x1000;
    return size == 0 || size >= UnknownSize - header || (size >= half - header && size <= half + header) ||
           (size >= half - page && size <= half - page + header);
}

bool IsName(ByteSpan bytes) {
    return std::all_of(bytes.begin(), bytes.begin() + 4, [](int c) { return c >= ' ' && c <= '~'; });
}

// The form in which the outermost chunk gives its size.
enum class Frame : std::uint8_t { None, Little, Big, Long };

Frame FrameOf(ByteSpan head) {
    if (head.size() < FormHeaderBytes || !IsName(head.subspan(RiffFormOffset))) {
        return Frame::None;
    }
    if (StartsWith(head, PatternOf("RIFF"))) {
        return Frame::Little;
    }
    if (StartsWith(head, PatternOf("RIFX")) || StartsWith(head, PatternOf("FORM"))) {
        return Frame::Big;
    }
    return StartsWith(head, PatternOf("RF64")) || StartsWith(head, PatternOf("BW64")) ? Frame::Long : Frame::None;
}

struct Form {
    std::string_view name;
    std::int32_t type;
    /// A file of this form must have these chunks, or lists of this kind.
    std::array<std::string_view, 2> wanted;
    /// Set if it is not the type's own.
    std::string_view extension = {};
};

constexpr Form Forms[] = {
    {"WAVE", FileTypeIndex::Wav, {"fmt ", "data"}},        {"AVI ", FileTypeIndex::Avi, {"hdrl", "movi"}},
    {"ACON", FileTypeIndex::Ani, {"anih", "anih"}},        {"WEBP", FileTypeIndex::Webp, {"VP8", "VP8"}},
    {"AIFF", FileTypeIndex::Aif, {"COMM", "COMM"}},        {"AIFC", FileTypeIndex::Aif, {"COMM", "COMM"}},
    {"RMID", FileTypeIndex::Mid, {"data", "data"}, "rmi"},
};

const Form* FormOf(ByteSpan head) {
    const auto* const form = std::ranges::find_if(Forms, [head](const Form& known) {
        return std::equal(known.name.begin(), known.name.end(), head.begin() + RiffFormOffset);
    });
    return form != std::end(Forms) ? form : nullptr;
}

bool BeginsRiff(ByteSpan head) { return FrameOf(head) != Frame::None && FormOf(head) != nullptr; }

// Walks the chunks of one file.
class ChunkTiling {
public:
    explicit ChunkTiling(Place& file) : file_(file) {}

    Finding Run() {
        std::array<std::uint8_t, FormHeaderBytes> head{};
        if (!file_.Copy(0, head)) {
            return {};
        }
        frame_ = FrameOf(head);
        form_ = FormOf(head);
        if (frame_ == Frame::None || form_ == nullptr) {
            return {};
        }
        const std::uint32_t declared = Number(head, RiffSizeOffset);
        // Less than any first chunk takes.
        constexpr std::uint32_t least = 20;
        isOpen_ = declared < least || (IsUnknown(declared) && frame_ != Frame::Long);
        const std::int64_t end = isOpen_ ? file_.Limit() : EndOfOutermost(declared);
        std::optional<Finding> broken = WalkChunks(static_cast<std::int64_t>(FormHeaderBytes), end);
        if (!broken && form_->type == FileTypeIndex::Avi && !isOpen_) {
            broken = WalkFurtherSegments();
        }
        if (!HasWanted()) {
            return {};
        }
        if (!broken) {
            TakeAppended();
            TakePadding();
        }
        return broken ? *broken : Ended();
    }

private:
    // Writers that miscount the chunks' headers are off by less than this.
    static constexpr std::int64_t CountedHeaders = 36;

    std::uint32_t Number(ByteSpan bytes, std::size_t offset) const {
        return frame_ == Frame::Big ? LoadBig<std::uint32_t>(bytes, offset) : LoadLittle<std::uint32_t>(bytes, offset);
    }

    // RF64 keeps the 64-bit sizes of the file and of the sound in its first chunk.
    std::int64_t EndOfOutermost(std::uint32_t declared) {
        constexpr std::int64_t sizes = 20;
        std::uint64_t size = declared;
        const ByteSpan first = file_.At(static_cast<std::int64_t>(FormHeaderBytes), 4);
        if (frame_ == Frame::Long && StartsWith(first, PatternOf("ds64"))) {
            const ByteSpan fields = file_.At(sizes, 16);
            size = fields.empty() ? size : LoadLittle<std::uint64_t>(fields, 0);
            longDataBytes_ = fields.empty() ? 0 : LoadLittle<std::uint64_t>(fields, 8);
        }
        const auto largest = static_cast<std::uint64_t>(file_.Limit()) + 1;
        return static_cast<std::int64_t>(std::min(size, largest)) + RiffHeaderBytes;
    }

    // Nothing if all is well; `end_` is then the end of the last chunk.
    std::optional<Finding> WalkChunks(std::int64_t at, std::int64_t end) {
        end_ = at;
        while (end_ < end) {
            std::array<std::uint8_t, FormHeaderBytes> chunk{};
            const bool hasHeader = file_.Copy(end_, std::span(chunk).first(ChunkHeaderBytes));
            if (!hasHeader || !IsName(chunk)) {
                return AtNoChunk(end);
            }
            const std::int64_t data = end_ + static_cast<std::int64_t>(ChunkHeaderBytes);
            const std::int64_t size = DataBytes(chunk);
            if (HasSound() && data + size > file_.Limit() && !MayFollowSound(chunk)) {
                return AtNoChunk(end);
            }
            Note(chunk, data);
            const bool isUnknown = IsUnknown(static_cast<std::uint32_t>(size));
            if (isOpen_ && IsSound(chunk) && (isUnknown || data + size > file_.Limit())) {
                end_ = EndOfOpenSound(file_, data);
                return Ended();
            }
            if (isOpen_ && isUnknown && IsListOf(chunk, data, "movi")) {
                // The medium may end in the last one.
                end_ = std::min(EndOfFrames(data + 4, file_.Limit(), IsFrameName), file_.Limit());
                continue;
            }
            const std::int64_t behind = data + size + (size & 1);
            // The last chunk may lack its pad byte.
            if (data + size > end || data + size > file_.Limit()) {
                return isOpen_ ? Ended() : Cut(data, size, end);
            }
            CheckInside(chunk, data, size);
            end_ = std::min(behind, std::max(end, data + size));
        }
        return std::nullopt;
    }

    // Notes what is wrong inside a chunk.
    void CheckInside(ByteSpan chunk, std::int64_t data, std::int64_t size) {
        if (form_->type == FileTypeIndex::Avi && IsListOf(chunk, data, "movi")) {
            insideIsRight_ = insideIsRight_ && FramesTile(data + 4, data + size);
        }
        if (StartsWith(chunk, PatternOf("VP8 ")) || StartsWith(chunk, PatternOf("VP8L"))) {
            hasHole_ = hasHole_ || HasHoleOfZeros(file_, data, data + size);
        }
    }

    std::int64_t DataBytes(ByteSpan chunk) const {
        const std::uint32_t size = Number(chunk, 4);
        if (frame_ == Frame::Long && size == UnknownSize && IsSound(chunk)) {
            const auto most = static_cast<std::uint64_t>(file_.Limit());
            return static_cast<std::int64_t>(std::min(longDataBytes_, most));
        }
        return size;
    }

    // The bytes before the declared end are not a chunk. Writers that count the outermost header are eight bytes off;
    // others pad.
    Finding AtNoChunk(std::int64_t end) {
        if (isOpen_ || end - end_ == RiffHeaderBytes) {
            return Ended();
        }
        if (end - end_ < RiffHeaderBytes) {
            end_ = end;
            return Ended();
        }
        if (HasSound() && end - end_ < CountedHeaders && IsSoundUpTo(end)) {
            end_ = end;
            return Say(Verdict::Open, end_, "the sound goes on up to the size in the header");
        }
        if (HasSound()) {
            return Say(Verdict::Open, end_, "its header declares more than its chunks hold");
        }
        if (end > file_.Limit()) {
            return BrokenAt(file_, end_, end, form_->type, "the chunks");
        }
        const std::int64_t next = file_.NextStart(end_);
        if (next < end) {
            return Say(Verdict::Truncated, next, "no chunk stands there, another file begins");
        }
        return Say(Verdict::Damaged, end, "no chunk follows the intact ones");
    }

    // Do samples continue after the last chunk, followed by zeros from `end` on?
    bool IsSoundUpTo(std::int64_t end) {
        const auto length = static_cast<std::size_t>(end - end_);
        const ByteSpan bytes = file_.At(end_, 2 * length);
        return !bytes.empty() && bytes[length - 1] != 0 && IsZeroFrom(bytes, length);
    }

    Finding Cut(std::int64_t data, std::int64_t size, std::int64_t end) {
        const bool isSound = HasSound();
        if (isSound && end <= data && data + size <= file_.Limit()) {
            end_ = data + size;
            return Say(Verdict::Whole, end_, "its sound ends as declared; the size in front was never filled in");
        }
        if (end <= file_.Limit() && data + size > end && isSound) {
            // Except for writers that miscount the chunks' headers, the outermost size is right more often than the
            // size of a sound that was cut short.
            end_ = data + size < end + CountedHeaders && data + size <= file_.Limit() ? data + size : end;
            return Say(Verdict::Open, end_, "the sound's size passes the size in the header");
        }
        return BrokenAt(file_, end_, std::max(data + size, end), form_->type, "a chunk");
    }

    void Note(ByteSpan chunk, std::int64_t data) {
        ++chunks_;
        std::copy_n(chunk.begin(), lastName_.size(), lastName_.begin());
        const bool isList = StartsWith(chunk, PatternOf("LIST"));
        const ByteSpan kind = isList ? file_.At(data, 4) : chunk.first(4);
        for (std::size_t i = 0; i < form_->wanted.size(); ++i) {
            const std::string_view name = form_->wanted[i];
            hasWanted_[i] =
                hasWanted_[i] || (kind.size() >= name.size() && std::equal(name.begin(), name.end(), kind.begin()));
        }
    }

    bool HasWanted() const { return hasWanted_[0] && hasWanted_[1]; }

    // The sound is the last chunk so far.
    bool HasSound() const { return HasWanted() && IsSound(lastName_); }

    // Programs append these chunks after the sound. Other names may be text of another file.
    static bool MayFollowSound(ByteSpan chunk) {
        constexpr std::string_view names[] = {"PEAK", "LIST", "id3 ", "ID3 ", "bext", "iXML", "cue ", "smpl",
                                              "fact", "NAME", "AUTH", "ANNO", "MARK", "INST", "APPL", "COMT"};
        return std::ranges::any_of(
            names, [chunk](std::string_view name) { return std::equal(name.begin(), name.end(), chunk.begin()); });
    }

    static bool IsSound(ByteSpan name) {
        return StartsWith(name, PatternOf("data")) || StartsWith(name, PatternOf("SSND"));
    }

    bool IsListOf(ByteSpan chunk, std::int64_t data, std::string_view kind) {
        const ByteSpan name = file_.At(data, 4);
        return StartsWith(chunk, PatternOf("LIST")) && !name.empty() &&
               std::equal(kind.begin(), kind.end(), name.begin());
    }

    // The pictures and sounds of a film are small chunks, or lists of them. Gives the end of the last one that has a
    // name and begins before `end`.
    std::int64_t EndOfFrames(std::int64_t at, std::int64_t end, bool (*isName)(ByteSpan)) {
        while (at + static_cast<std::int64_t>(ChunkHeaderBytes) <= end) {
            const ByteSpan chunk = file_.At(at, ChunkHeaderBytes);
            if (chunk.empty() || !isName(chunk)) {
                break;
            }
            const bool isRecord = StartsWith(chunk, PatternOf("LIST"));
            const std::int64_t size = isRecord ? 4 : std::int64_t{Number(chunk, 4)};
            at += static_cast<std::int64_t>(ChunkHeaderBytes) + size + (size & 1);
        }
        return at;
    }

    bool FramesTile(std::int64_t at, std::int64_t end) {
        const std::int64_t last = EndOfFrames(at, end, IsName);
        return last >= end && last <= end + 1;
    }

    // A stream's number and two letters, or one of the few other names among them, with a size that pictures have: the
    // bytes after the last frame may be those of another file.
    static bool IsFrameName(ByteSpan chunk) {
        constexpr std::uint32_t largest = std::uint32_t{64} << 20U;
        if (LoadLittle<std::uint32_t>(chunk, 4) > largest) {
            return false;
        }
        const auto isDigit = [](std::uint8_t c) {
            return c >= '0' && c <= '9';
        };
        return (isDigit(chunk[0]) && isDigit(chunk[1])) || StartsWith(chunk, PatternOf("ix")) ||
               StartsWith(chunk, PatternOf("LIST")) || StartsWith(chunk, PatternOf("JUNK"));
    }

    // Films above 1 GiB continue in further segments.
    std::optional<Finding> WalkFurtherSegments() {
        for (;;) {
            const ByteSpan head = file_.At(end_, FormHeaderBytes);
            if (!StartsWith(head, RiffSignature) || !HasPatternAt(head, RiffFormOffset, PatternOf("AVIX"))) {
                return std::nullopt;
            }
            const std::int64_t start = end_;
            const std::int64_t end = start + RiffHeaderBytes + Number(head, RiffSizeOffset);
            if (std::optional<Finding> broken = WalkChunks(start + static_cast<std::int64_t>(FormHeaderBytes), end)) {
                return broken;
            }
        }
    }

    // The header's size may not include what was appended.
    void TakeAppended() {
        for (;;) {
            std::array<std::uint8_t, ChunkHeaderBytes> chunk{};
            const bool isKnown = file_.Copy(end_, chunk) && MayFollowSound(chunk);
            const std::int64_t size = isKnown ? Number(chunk, 4) : 0;
            if (!isKnown || size == 0 || end_ + static_cast<std::int64_t>(ChunkHeaderBytes) + size > file_.Limit() ||
                end_ % file_.SectorSize() == 0) {
                return;
            }
            end_ += static_cast<std::int64_t>(ChunkHeaderBytes) + size + (size & 1);
        }
    }

    // A FORM of odd length is padded too, which its size does not include. Few writers of RIFF files do so, nor does
    // Java's library, whose FORM has only the two chunks it must have. Before zeros this cannot be seen; before other
    // bytes a single zero is the padding.
    void TakePadding() {
        const ByteSpan behind = end_ % 2 == 0 ? ByteSpan() : file_.From(end_, 2);
        const bool isZero = !behind.empty() && behind[0] == 0;
        constexpr std::int64_t fewest = 2;
        const bool isUsual = form_->type == FileTypeIndex::Aif && chunks_ > fewest;
        if (isZero && (isUsual || (behind.size() > 1 && behind[1] != 0))) {
            ++end_;
        }
    }

    // The bytes that identify a form cannot be a coincidence.
    Finding Say(Verdict verdict, std::int64_t end, const char* why) const {
        Finding finding{verdict, end, form_->type, std::string(form_->extension), why};
        finding.isCertain = verdict == Verdict::Open && HasWanted();
        return finding;
    }

    Finding Ended() const {
        if (isOpen_) {
            const Finding open = Say(Verdict::Open, end_, "its writer ended before it knew the size");
            return form_->type == FileTypeIndex::Avi ? Unbroken(open) : open;
        }
        if (!insideIsRight_) {
            return Say(Verdict::Damaged, end_, "chunks tile it, pictures and sounds inside do not");
        }
        if (hasHole_) {
            return Say(Verdict::Damaged, end_, "zeros stand where coded data should be");
        }
        return Say(Verdict::Whole, end_, "chunks tile it to the size in its header");
    }

    Place& file_;
    Frame frame_ = Frame::None;
    const Form* form_ = nullptr;
    bool isOpen_ = false;
    std::uint64_t longDataBytes_ = 0;
    std::int64_t end_ = 0;
    Name lastName_{};
    std::array<bool, 2> hasWanted_{};
    std::int64_t chunks_ = 0;
    bool insideIsRight_ = true;
    bool hasHole_ = false;
};

constexpr StartSignature Starts[] = {{"RIFF"}, {"RIFX"}, {"RF64"}, {"BW64"}, {"FORM"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Wav, FileTypeIndex::Avi, FileTypeIndex::Webp, FileTypeIndex::Aif,
                                  FileTypeIndex::Ani};

}  // namespace

/// RIFF and its likes. Sources: Multimedia Programming Interface and Data Specifications 1.0, on RIFF; EBU
/// Tech 3306, on RF64; OpenDML AVI File Format Extensions 1.02; Audio Interchange File Format AIFF-C, on FORM.
extern const Validator RiffValidator;
const Validator RiffValidator{.name = "riff",
                              .starts = Starts,
                              .begins = BeginsRiff,
                              .validate = [](Place& file) { return ChunkTiling(file).Run(); },
                              .types = Types};

}  // namespace salvor

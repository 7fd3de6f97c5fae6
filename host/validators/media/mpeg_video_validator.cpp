#include <FileTypeCatalog.h>

#include <algorithm>
#include <optional>

#include "formats/ProgramStream.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

using ProgramStream::StartCodeBytes;
using ProgramStream::StartCodePrefix;

// The last byte of a start code.
constexpr std::uint8_t PictureCode = 0x00;
constexpr std::uint8_t LastSliceCode = 0xAF;
constexpr std::uint8_t UserDataCode = 0xB2;
constexpr std::uint8_t SequenceCode = 0xB3;
constexpr std::uint8_t ErrorCode = 0xB4;
constexpr std::uint8_t ExtensionCode = 0xB5;
constexpr std::uint8_t EndCode = 0xB7;
constexpr std::uint8_t GroupCode = 0xB8;

constexpr std::size_t SequenceHeaderBytes = 12;

// Width and height of 12 bits each, shape and rate of 4 bits each, then 18 bits of bit rate and a marker bit.
bool IsSequenceHeader(ByteSpan bytes) {
    constexpr unsigned lastShape = 14;
    constexpr unsigned lastRate = 8;
    if (bytes.size() < SequenceHeaderBytes || !StartsWith(bytes, StartCodePrefix) || bytes[3] != SequenceCode) {
        return false;
    }
    const auto size = LoadBig<std::uint32_t>(bytes, 4);
    const unsigned shape = size >> 4U & 0xFU;
    const unsigned rate = size & 0xFU;
    return size >> 20U != 0 && (size >> 8U & 0xFFFU) != 0 && shape >= 1 && shape <= lastShape && rate >= 1 &&
           rate <= lastRate && (LoadBig<std::uint32_t>(bytes, 8) & 0x2000U) != 0;
}

// Follows the start codes of one stream of pictures. Nothing between them looks like a start code.
class VideoWalk {
public:
    explicit VideoWalk(Place& file) : file_(file) {}

    Finding Run() {
        GoOnFromNote(file_, *this);
        while (!hasEnded_ && Step()) {
            NoteWalk(file_, *this);
        }
        if (slices_ < LeastSlices || file_.IsExhausted()) {
            return {};
        }
        return hasEnded_ ? Say(Verdict::Whole, "pictures up to the end code")
                         : Say(Verdict::Damaged, "no end code behind its pictures");
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        fields.Number(slices_);
        fields.Flag(hasPicture_);
        fields.Flag(hasEnded_);
    }

private:
    static constexpr std::int64_t LeastSlices = 4;
    // No slice is longer, even in the largest picture.
    static constexpr std::int64_t LongestPart = 0x100000;

    // Passes one start code and what follows it; false where the stream does not go on.
    bool Step() {
        const ByteSpan bytes = file_.From(end_, SequenceHeaderBytes);
        if (bytes.size() < StartCodeBytes || !Accepts(bytes)) {
            return false;
        }
        const std::int64_t behind = end_ + static_cast<std::int64_t>(StartCodeBytes);
        if (bytes[3] == EndCode) {
            hasEnded_ = true;
            end_ = behind;
            return true;
        }
        constexpr BytePattern mark(StartCodePrefix);
        const std::optional<std::int64_t> next =
            file_.Find(mark, behind, std::min(behind + LongestPart, file_.Limit()));
        end_ = next.value_or(behind);
        return next.has_value();
    }

    // Sequences hold groups or pictures, and pictures hold slices.
    bool Accepts(ByteSpan bytes) {
        const std::uint8_t code = bytes[3];
        switch (code) {
            case SequenceCode:
                hasPicture_ = false;
                return IsSequenceHeader(bytes);
            case UserDataCode:
            case ErrorCode:
            case ExtensionCode:
                return end_ > 0;
            case GroupCode:
                hasPicture_ = false;
                return end_ > 0;
            case PictureCode:
                hasPicture_ = true;
                return end_ > 0;
            case EndCode:
                return slices_ > 0;
            default:
                ++slices_;
                return hasPicture_ && code <= LastSliceCode;
        }
    }

    Finding Say(Verdict verdict, const char* why) const { return {verdict, end_, FileTypeIndex::Vob, "mpg", why}; }

    Place& file_;
    std::int64_t end_ = 0;
    std::int64_t slices_ = 0;
    bool hasPicture_ = false;
    bool hasEnded_ = false;
};

constexpr StartSignature Starts[] = {{std::string_view("\0\0\1\xB3", 4)}};

}  // namespace

/// Films of MPEG-1 and MPEG-2 without packets and sound, which the catalogue has no type for. Source: ISO/IEC 11172-2,
/// section 2.4.2; ISO/IEC 13818-2, section 6.2.
extern const Validator MpegVideoValidator;
const Validator MpegVideoValidator{
    .name = "mpegvideo", .starts = Starts, .begins = IsSequenceHeader, .validate = [](Place& file) {
        return VideoWalk(file).Run();
    }};

}  // namespace salvor

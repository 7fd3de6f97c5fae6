#include <FileTypeCatalog.h>

#include <algorithm>
#include <string_view>

#include "formats/CanonTrailer.h"
#include "formats/TiffWalk.h"
#include "frame/bytes/BytePattern.h"
#include "host/validators/broken.h"
#include "host/validators/images/sensor_data.h"
#include "host/validators/inflate.h"
#include "host/validators/lzw.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto Cr2Mark = PatternOf("CR\2");
constexpr std::size_t Cr2MarkOffset = 8;
constexpr auto StartOfPicture = PatternOf("\xFF\xD8\xFF");

// Follows the header in Phase One's files; next, the number that Panasonic's have in place of 42.
constexpr auto PhaseOneMark = PatternOf("IIII");
constexpr std::size_t PhaseOneMarkOffset = 8;
constexpr std::uint8_t PanasonicNumber = 0x55;

constexpr std::uint16_t LzwCompression = 5;
constexpr std::uint16_t JpegCompression = 7;
constexpr std::uint16_t LossyJpegCompression = 34892;
constexpr std::uint16_t DeflateCompression = 8;
constexpr std::uint16_t OldDeflateCompression = 32946;

struct Kind {
    std::int32_t type;
    const char* extension = "";
    // Its writer pads the file to an even length.
    bool isPadded = false;
};

constexpr Kind PhaseOne{FileTypeIndex::Tiff, "iiq", true};

struct Maker {
    std::string_view name;
    Kind kind;
};

// By the start of the maker's name, in capitals. Raws without a type of their own still get their extension.
constexpr Maker Makers[] = {
    {"NIKON", {FileTypeIndex::Nef}},
    {"PENTAX", {FileTypeIndex::Pef}},
    {"RICOH", {FileTypeIndex::Pef}},
    {"SONY", {FileTypeIndex::Arw}},
    {"EASTMAN KODAK", {FileTypeIndex::Dcr}},
    {"KODAK", {FileTypeIndex::Dcr}},
    {"OLYMPUS", {FileTypeIndex::Orf}},
    {"SAMSUNG", {FileTypeIndex::Tiff, "srw"}},
    {"SEIKO EPSON", {FileTypeIndex::Tiff, "erf"}},
    {"HASSELBLAD", {FileTypeIndex::Tiff, "3fr"}},
    {"MAMIYA", {FileTypeIndex::Tiff, "mef"}},
    {"LEAF", {FileTypeIndex::Tiff, "mos"}},
    {"PHASE ONE", PhaseOne},
};

// Makers changed their format, and its name, between lines of cameras.
Kind KindOfModel(Kind kind, std::string_view model) {
    const auto isAnyOf = [model](std::initializer_list<std::string_view> names) {
        return std::ranges::any_of(
            names, [model](std::string_view name) { return model.find(name) != std::string_view::npos; });
    };
    if (kind.type == FileTypeIndex::Arw && isAnyOf({"DSC-F828", "DSC-V3"})) {
        return {FileTypeIndex::Srf};
    }
    if (kind.type == FileTypeIndex::Dcr && isAnyOf({"EASYSHARE", "ZOOM DIGITAL", "DC50", "DC120"})) {
        return {FileTypeIndex::Dcr, "kdc"};
    }
    return kind;
}

Kind KindOf(ByteSpan head, const TiffFile& tiff) {
    if (HasPatternAt(head, Cr2MarkOffset, Cr2Mark)) {
        return {FileTypeIndex::Cr2};
    }
    if (tiff.isDng) {
        return {FileTypeIndex::Dng};
    }
    // Letters in place of the number 42.
    if (head[2] == 'R' || head[3] == 'R') {
        return {FileTypeIndex::Orf};
    }
    if (head[2] == PanasonicNumber) {
        return {FileTypeIndex::Tiff, "rw2"};
    }
    if (HasPatternAt(head, PhaseOneMarkOffset, PhaseOneMark)) {
        return PhaseOne;
    }
    // Without sensor data, a camera's TIFF is just a TIFF.
    if (tiff.hasSensorData) {
        std::string make = tiff.make;
        std::ranges::transform(make, make.begin(),
                               [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
        for (const Maker& maker : Makers) {
            if (make.starts_with(maker.name)) {
                return KindOfModel(maker.kind, tiff.model);
            }
        }
    }
    return {FileTypeIndex::Tiff};
}

// What the extents prove about the file.
struct Proof {
    // The end of the last valid extent.
    std::int64_t end = 0;
    // The offset at which an extent runs into another file or the medium's end.
    std::optional<std::int64_t> stoppedAt = std::nullopt;
    bool hasPicture = false;
    // There is something else in place of a picture.
    bool missesPicture = false;
};

// Previews may begin anywhere; other whole files show that foreign bytes follow.
bool IsPicture(Place& file, std::int64_t offset) {
    return StartsWith(file.At(offset, StartOfPicture.size()), StartOfPicture);
}

// The first whole file between two places that is not part of this one. With `mayHoldPreviews`, pictures count as part
// of it.
std::optional<std::int64_t> ForeignFile(Place& file, std::int64_t from, std::int64_t to, bool mayHoldPreviews) {
    for (std::int64_t at = file.NextWhole(from); at < to && at < file.Limit(); at = file.NextWhole(at + 1)) {
        if (!mayHoldPreviews || !IsPicture(file, at)) {
            return at;
        }
    }
    return std::nullopt;
}

bool IsJpeg(Place& file, std::int64_t offset) {
    return StartsWith(file.At(offset, StartOfPicture.size()), StartOfPicture);
}

Proof Prove(Place& file, const TiffFile& tiff) {
    std::vector<TiffFile::Extent> extents = tiff.extents;
    std::ranges::sort(extents, {}, &TiffFile::Extent::start);
    Proof proof;
    for (const TiffFile::Extent& extent : extents) {
        const bool isPicture = extent.kind == TiffFile::Kind::Picture;
        const bool isCut = extent.length > file.Limit() - std::min(extent.start, file.Limit());
        // Entries of unknown makers may point anywhere.
        if (isCut && !isPicture) {
            continue;
        }
        // So may those of a picture that was removed.
        const bool isJpeg = extent.compression == JpegCompression || extent.compression == LossyJpegCompression;
        if (isJpeg && extent.End() > proof.end && !IsJpeg(file, extent.start)) {
            proof.missesPicture = true;
            continue;
        }
        if (proof.end > 0 && extent.start > proof.end) {
            // A gap with a preview that only the maker knows does not cast doubt on what follows it.
            if (ForeignFile(file, proof.end, std::min(extent.start + 1, extent.End()), true)) {
                proof.stoppedAt = isPicture ? std::optional(proof.end) : proof.stoppedAt;
                break;
            }
        }
        const std::int64_t end = std::min(extent.End(), file.Limit());
        if (const auto foreign = ForeignFile(file, extent.start + 1, end, !isPicture)) {
            proof.stoppedAt = std::max(proof.end, *foreign);
            break;
        }
        proof.hasPicture = proof.hasPicture || isPicture;
        proof.end = std::max(proof.end, end);
        if (isCut) {
            proof.stoppedAt = proof.end;
        }
    }
    return proof;
}

bool AreCodesSound(Place& file, const TiffFile::Extent& strip) {
    // The first writers stored codes in reverse bit order.
    constexpr std::uint8_t firstByte = 0x80;
    const ByteSpan first = file.At(strip.start, 1);
    if (first.empty() || first[0] != firstByte) {
        return true;
    }
    LzwWalk codes(LzwWalk::Variant::Tiff, 8);
    for (std::int64_t at = strip.start; at < strip.End() && !codes.HasEnded() && !codes.IsBroken();) {
        const ByteSpan shown = file.From(at);
        if (shown.empty()) {
            return false;
        }
        const auto left = static_cast<std::size_t>(strip.End() - at);
        codes.Take(shown.first(std::min(shown.size(), left)));
        at += static_cast<std::int64_t>(std::min(shown.size(), left));
    }
    return !codes.IsBroken();
}

// A JPEG that was cut goes over into other bytes. Writers pad it.
bool EndsAsJpeg(Place& file, const TiffFile::Extent& extent) {
    constexpr std::int64_t mostPadding = 16;
    static constexpr BytePattern endOfImage = BytePatternOf<"\xFF\xD9">();
    return file.Find(endOfImage, std::max(extent.start, extent.End() - mostPadding), extent.End()).has_value();
}

// Overwritten bytes show up in compressed data and their checksums.
bool AreStripsSound(Place& file, const TiffFile& tiff) {
    constexpr std::int64_t mostUnpacked = std::int64_t{1} << 30;
    return std::ranges::all_of(tiff.extents, [&file](const TiffFile::Extent& extent) {
        if (extent.kind != TiffFile::Kind::Picture || extent.End() > file.Limit()) {
            return true;
        }
        switch (extent.compression) {
            case LzwCompression:
                return AreCodesSound(file, extent);
            case JpegCompression:
            case LossyJpegCompression:
                return EndsAsJpeg(file, extent);
            case DeflateCompression:
            case OldDeflateCompression:
                return InflateAt(file, extent.start, extent.End(), DeflateFormat::Zlib, mostUnpacked).has_value();
            default:
                return true;
        }
    });
}

// Each page of such a file is a TIFF file of its own, at a multiple of 16 bytes.
constexpr std::int64_t JoinedUnit = 16;
bool IsJoined(Place& file, const TiffFile& tiff) {
    constexpr std::int64_t headerBytes = 8;
    return std::ranges::any_of(tiff.extents, [&file](const TiffFile::Extent& extent) {
        const std::int64_t header = extent.start - headerBytes;
        if (extent.kind != TiffFile::Kind::Directory || header <= 0 || header % JoinedUnit != 0) {
            return false;
        }
        const ByteSpan bytes = file.At(header, static_cast<std::size_t>(headerBytes));
        const std::optional<Endian> endian = TiffEndianOf(bytes);
        return endian && LoadAs<std::uint32_t>(bytes, 4, *endian) == headerBytes;
    });
}

// Some writers put the same values behind the directory of every page, but all directories point to the first copy.
std::int64_t EndOfCopies(Place& file, const TiffFile& tiff, std::int64_t end) {
    constexpr std::int64_t longest = 4096;
    std::int64_t last = -1;
    std::int64_t before = -1;
    for (const TiffFile::Extent& extent : tiff.extents) {
        if (extent.kind == TiffFile::Kind::Directory) {
            last = extent.End() == end ? extent.start : last;
            before = extent.End() < end ? std::max(before, extent.End()) : before;
        }
    }
    const std::int64_t length = last - before;
    if (before < 0 || length <= 0 || length > longest) {
        return end;
    }
    const ByteSpan copy = file.At(before, static_cast<std::size_t>(length));
    const std::vector<std::uint8_t> values(copy.begin(), copy.end());
    const bool isThere = std::ranges::any_of(values, [](std::uint8_t byte) { return byte != 0; }) &&
                         std::ranges::equal(values, file.At(end, static_cast<std::size_t>(length)));
    return isThere ? end + length : end;
}

std::int64_t Padded(const TiffFile& tiff, const Kind& kind, Place& file, std::int64_t end) {
    // Other programs that keep Photoshop's resources write the directory anew, behind the picture.
    constexpr std::int64_t firstDirectory = 8;
    std::int64_t unit = 1;
    const bool endsWithPicture = std::ranges::any_of(tiff.extents, [end](const TiffFile::Extent& extent) {
        return extent.kind == TiffFile::Kind::Picture && extent.End() == end;
    });
    end = EndOfCopies(file, tiff, end);
    if (IsJoined(file, tiff)) {
        unit = JoinedUnit;
    } else if (tiff.hasPhotoshopResources && tiff.extents.front().start == firstDirectory) {
        unit = 4;
    } else if (tiff.isDng || (tiff.isLaidOutAnew && endsWithPicture) || kind.isPadded) {
        unit = 2;
    }
    return std::min((end + unit - 1) / unit * unit, file.Limit());
}

bool BeginsTiff(ByteSpan head) { return TiffEndianOf(head).has_value(); }

// The end of everything that ends before `end`.
std::int64_t EndOfOthers(const TiffFile& tiff, std::int64_t end) {
    std::int64_t others = 0;
    for (const TiffFile::Extent& extent : tiff.extents) {
        others = extent.End() < end ? std::max(others, extent.End()) : others;
    }
    return others;
}

Finding ValidateTiff(Place& file) {
    const std::optional<TiffFile> tiff = WalkTiff(file);
    if (!tiff) {
        return {};
    }
    const Kind kind = KindOf(file.At(0, TiffHeaderBytes), *tiff);
    const Proof proof = Prove(file, *tiff);
    const std::int64_t shown = proof.stoppedAt.value_or(proof.end);
    const std::int64_t zeros =
        tiff->hasSensorData || proof.stoppedAt ? StartOfZeros(file, EndOfOthers(*tiff, shown), shown) : shown;
    if (proof.stoppedAt || zeros < shown) {
        return {Verdict::Truncated, zeros, kind.type, kind.extension,
                "directories name data past the end of this file"};
    }
    if (proof.missesPicture) {
        return {Verdict::Truncated, Padded(*tiff, kind, file, proof.end), kind.type, kind.extension,
                "a picture is not where a directory names it"};
    }
    std::int64_t end = Padded(*tiff, kind, file, proof.end);
    if (kind.type == FileTypeIndex::Cr2) {
        end = CanonTrailer::EndAfter(file, end);
    }
    if (tiff->missesDirectory) {
        return {Verdict::Damaged, end, kind.type, kind.extension, "a directory is not where another one names it"};
    }
    if (!proof.hasPicture) {
        return {Verdict::Damaged, end, kind.type, kind.extension, "directories without a picture"};
    }
    if (!AreStripsSound(file, *tiff)) {
        return {Verdict::Damaged, end, kind.type, kind.extension, "a strip's compressed data are wrong"};
    }
    return {Verdict::Whole, end, kind.type, kind.extension, "all that the directories name is there"};
}

constexpr StartSignature Starts[] = {{"II*\0"sv},
                                     {"MM\0*"sv},
                                     {"IIRO"},
                                     {"IIRS"},
                                     {"MMOR"},
                                     {"IIU\0\x18\0\0\0"sv},
                                     {"IIU\0\x08\0\0\0"sv},
                                     {"II+\0\x08\0\0\0"sv},
                                     {"MM\0+\0\x08\0\0"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::Tiff, FileTypeIndex::Dng, FileTypeIndex::Nef,
                                  FileTypeIndex::Pef,  FileTypeIndex::Arw, FileTypeIndex::Srf,
                                  FileTypeIndex::Dcr,  FileTypeIndex::Orf, FileTypeIndex::Cr2};

}  // namespace

/// TIFF and the camera raws built on it. Sources: Adobe, TIFF Revision 6.0; Adobe, DNG Specification.
extern const Validator TiffValidator;
const Validator TiffValidator{.name = "tiff",
                              .phase = Validator::Phase::Bounded,
                              .starts = Starts,
                              .begins = BeginsTiff,
                              .validate = ValidateTiff,
                              .types = Types};

}  // namespace salvor

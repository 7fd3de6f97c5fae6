#include <FileTypeCatalog.h>

#include <algorithm>
#include <vector>

#include "formats/IconDirectory.h"
#include "formats/PictureWalks.h"
#include "host/validators/broken.h"
#include "host/validators/images/picture_trailers.h"
#include "host/validators/inflate.h"
#include "host/validators/lzw.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

// GIMP may compress the last tile: the file ends where its compressed data do.
std::optional<std::int64_t> EndOfCompressedTile(Place& file, const WalkedFile& walked) {
    const std::int64_t start = walked.size - walked.undecodedBytes;
    const auto tile = InflateAt(file, start, file.Limit(), DeflateFormat::Zlib, walked.undecodedBytes);
    return tile ? std::optional(start + tile->packedSize) : std::nullopt;
}

// The finding for a walk that the scanners make as well. `unfinished` is the verdict if the walk did not reach an end
// that the file declares.
Finding FindingOf(Place& file, const std::optional<WalkedFile>& walked, std::int32_t type, Verdict unfinished) {
    if (!walked || walked->size <= 0) {
        return {};
    }
    if (walked->undecodedBytes > 0) {
        const auto end = EndOfCompressedTile(file, *walked);
        return end ? Finding{Verdict::Whole, *end, type, {}, "all parts are there"}
                   : Finding{
                         Verdict::Damaged, walked->size - walked->undecodedBytes, type, {}, "the last tile is wrong"};
    }
    if (walked->size > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), type, {}, "goes on past the medium's end"};
    }
    if (!walked->isComplete) {
        return {unfinished, walked->size, type, {}, "the structure leads no further"};
    }
    return {Verdict::Whole, walked->size, type, {}, "the structure leads to its end"};
}

// A format whose walk the scanners and the program share. The start signatures find files that are smaller than what
// scanners report.
template <class Format, std::int32_t Type, auto& Starts>
struct Walked {
    static bool Begins(ByteSpan head) {
        return head.size() >= Format::LeastHead &&
               std::ranges::any_of(Starts, [head](const StartSignature& start) { return start.IsIn(head); }) &&
               Format::IsHeader(head);
    }
    static Finding Validate(Place& file) { return FindingOf(file, Format::Walk(file), Type, Verdict::Damaged); }
    static constexpr std::int32_t Types[] = {Type};

    static constexpr Validator Named(std::string_view name) {
        return {.name = name, .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};
    }
};

// Some writers count more bytes than there are. Up to three pad a file.
Finding ValidateBmp(Place& file) {
    constexpr std::int64_t mostPadding = 3;
    Finding finding = FindingOf(file, BmpPicture::Walk(file), FileTypeIndex::Bmp, Verdict::Open);
    const ByteSpan head = file.At(0, BmpPicture::LeastHead);
    const std::int64_t confirmed = head.empty() ? 0 : BmpPicture::ConfirmedEnd(head);
    if (confirmed != 0 && finding.size - confirmed > mostPadding) {
        finding.size = confirmed;
    }
    return finding;
}

// The bytes that a packed row makes; nothing if its last run passes its end. A run begins with its count of single
// bytes less 1, or with 257 less the count of the one byte that is repeated.
std::optional<std::int64_t> UnpackedBytes(ByteSpan row) {
    constexpr std::size_t noRun = 128;
    std::int64_t unpacked = 0;
    std::size_t at = 0;
    while (at < row.size()) {
        const std::size_t code = row[at];
        const std::size_t count = code < noRun ? code + 1 : code == noRun ? 0 : 257 - code;
        at += 1 + (code < noRun ? count : code == noRun ? 0 : 1);
        unpacked += static_cast<std::int64_t>(count);
    }
    return at == row.size() ? std::optional(unpacked) : std::nullopt;
}

// Some writers pack two bytes for each pixel of a palette, so the rows are compared with the first one.
bool ArePackedRowsSound(Place& file, const PsdPicture::PackedRows& rows) {
    // The table is far from its rows: it is read in large parts.
    constexpr std::int64_t mostAtOnce = 0x2000;
    std::vector<std::uint8_t> lengths;
    std::int64_t at = rows.data;
    std::optional<std::int64_t> first;
    for (std::int64_t row = 0; row < rows.rows && !file.IsExhausted(); ++row) {
        const std::int64_t inPart = row % mostAtOnce;
        if (inPart == 0) {
            const std::int64_t count = std::min(rows.rows - row, mostAtOnce);
            lengths.resize(static_cast<std::size_t>(count * rows.lengthBytes));
            if (!file.Copy(rows.lengths + row * rows.lengthBytes, lengths)) {
                return false;
            }
        }
        const auto entry = static_cast<std::size_t>(inPart * rows.lengthBytes);
        const std::size_t length = rows.lengthBytes == sizeof(std::uint16_t) ? LoadBig<std::uint16_t>(lengths, entry)
                                                                             : LoadBig<std::uint32_t>(lengths, entry);
        if (length <= ByteWindow::PieceBytes) {
            const std::optional<std::int64_t> unpacked = UnpackedBytes(file.At(at, length));
            first = first ? first : unpacked;
            if ((!unpacked || *unpacked != *first || *unpacked < rows.rowBytes) && !file.IsExhausted()) {
                return false;
            }
        }
        at += static_cast<std::int64_t>(length);
    }
    return true;
}

Finding ValidatePsd(Place& file) {
    std::optional<PsdPicture::PackedRows> rows;
    const auto walked = PsdPicture::Walk(file, [&](const PsdPicture::PackedRows& packed) { rows = packed; });
    Finding finding = FindingOf(file, walked, FileTypeIndex::Psd, Verdict::Damaged);
    if (finding.verdict == Verdict::Whole && rows && !ArePackedRowsSound(file, *rows)) {
        return {Verdict::Damaged, finding.size, FileTypeIndex::Psd, {}, "packed rows of the picture are wrong"};
    }
    if (finding.verdict == Verdict::Whole) {
        finding.size = EndOfPictureTrailers(file, finding.size);
    }
    return finding;
}

// The codes of an image are in blocks that begin with their length. If intact, they give enough pixels.
bool IsImageSound(ByteWindow& file, const GifPicture::Image& image) {
    constexpr unsigned mostSymbolBits = 11;
    if (image.symbolBits > mostSymbolBits) {
        return true;
    }
    LzwWalk codes(LzwWalk::Variant::Gif, image.symbolBits);
    std::int64_t at = image.data;
    while (!codes.HasEnded() && !codes.IsBroken()) {
        const ByteSpan length = file.At(at, 1);
        const std::size_t count = length.empty() ? 0 : length[0];
        if (count == 0) {
            break;
        }
        codes.Take(file.At(at + 1, count));
        at += 1 + static_cast<std::int64_t>(count);
    }
    return !codes.IsBroken() && codes.Count() >= image.pixels;
}

// A picture whose codes are intact and complete is whole even without a trailer.
Finding ValidateGif(Place& file) {
    bool isSound = true;
    const std::optional<WalkedFile> walked =
        GifPicture::Walk(file, [&](const GifPicture::Image& image) { isSound = isSound && IsImageSound(file, image); });
    if (!walked) {
        return {};
    }
    if (!isSound) {
        return {Verdict::Damaged, walked->size, FileTypeIndex::Gif, {}, "an image's codes are wrong"};
    }
    // If another block seems to begin here, the file is cut.
    constexpr std::uint8_t extension = 0x21;
    constexpr std::uint8_t image = 0x2C;
    const ByteSpan next = file.At(walked->size, 1);
    if (!walked->isComplete && !next.empty() && (next[0] == extension || next[0] == image)) {
        return BrokenAt(file, walked->size, walked->size + 1, FileTypeIndex::Gif, "a block breaks");
    }
    return {Verdict::Whole,
            walked->size,
            FileTypeIndex::Gif,
            {},
            walked->isComplete ? "images with sound codes up to the trailer" : "images with sound codes, no trailer"};
}

template <IconDirectory::Kind Kind>
struct Icons {
    static constexpr std::size_t LeastHead = 22;
    static bool IsHeader(ByteSpan head) { return IconDirectory::IsHeader(head, Kind); }
    static std::optional<WalkedFile> Walk(ByteWindow& file) {
        const std::optional<std::int64_t> size = IconDirectory::Measure(file, Kind);
        return size ? std::optional(WalkedFile{*size}) : std::nullopt;
    }
};

struct AnyWmf : WmfDrawing {
    static bool IsHeader(ByteSpan head) { return WmfDrawing::IsHeader(head, /*mayCountRecords=*/true); }
};

constexpr StartSignature BmpStarts[] = {{"BM"}};
constexpr StartSignature CasioStarts[] = {{"\x07\x20MM"}};
constexpr StartSignature CurStarts[] = {{"\0\0\2\0"sv}};
constexpr StartSignature DwgStarts[] = {{"AC10"}, {"AC1."}, {"AC2."}};
constexpr StartSignature EmfStarts[] = {{" EMF", 40}};
constexpr StartSignature GifStarts[] = {{"GIF87a"}, {"GIF89a"}};
constexpr StartSignature IccStarts[] = {{"acsp", 36}};
constexpr StartSignature IcoStarts[] = {{"\0\0\1\0"sv}};
constexpr StartSignature MayaStarts[] = {{"FOR4"}, {"FOR8"}};
constexpr StartSignature OciStarts[] = {{"OPIM"}};
// Encoding 1 or 0.
constexpr StartSignature PcxStarts[] = {{"\x0A\0\0"sv, 0, "\xFF\0\xFE"sv}};
constexpr StartSignature PsdStarts[] = {{"8BPS"}};
constexpr StartSignature PspStarts[] = {{"Paint Shop Pro Image File\n\x1A\0\0\0\0\0"sv}};
constexpr StartSignature WmfStarts[] = {{"\xD7\xCD\xC6\x9A"}, {"\1\0\x09\0"sv}, {"\2\0\x09\0"sv}};
constexpr StartSignature XcfStarts[] = {{"gimp xcf "}};

}  // namespace

// Their walks are in formats/, where the scanners share them.
extern const Validator BmpValidator, CasioValidator, CurValidator, DwgValidator, EmfValidator, GifValidator,
    IccValidator, IcoValidator, MayaValidator, OciValidator, PcxValidator, PsdValidator, PspValidator, WmfValidator,
    XcfValidator;

constinit const Validator BmpValidator{.name = "bmp",
                                       .starts = BmpStarts,
                                       .begins = Walked<BmpPicture, FileTypeIndex::Bmp, BmpStarts>::Begins,
                                       .validate = ValidateBmp,
                                       .types = Walked<BmpPicture, FileTypeIndex::Bmp, BmpStarts>::Types};
constinit const Validator CasioValidator = Walked<CasioPicture, FileTypeIndex::Cam, CasioStarts>::Named("cam");
constinit const Validator CurValidator =
    Walked<Icons<IconDirectory::Kind::Cursor>, FileTypeIndex::Cur, CurStarts>::Named("cur");
constinit const Validator DwgValidator = Walked<DwgDrawing, FileTypeIndex::Dwg, DwgStarts>::Named("dwg");
constinit const Validator EmfValidator = Walked<EmfDrawing, FileTypeIndex::Emf, EmfStarts>::Named("emf");
constinit const Validator GifValidator{.name = "gif",
                                       .starts = GifStarts,
                                       .begins = Walked<GifPicture, FileTypeIndex::Gif, GifStarts>::Begins,
                                       .validate = ValidateGif,
                                       .types = Walked<GifPicture, FileTypeIndex::Gif, GifStarts>::Types};
constinit const Validator IccValidator = Walked<IccProfile, FileTypeIndex::Icc, IccStarts>::Named("icc");
constinit const Validator IcoValidator =
    Walked<Icons<IconDirectory::Kind::Icon>, FileTypeIndex::Ico, IcoStarts>::Named("ico");
constinit const Validator MayaValidator = Walked<MayaScene, FileTypeIndex::Mb, MayaStarts>::Named("mb");
constinit const Validator OciValidator = Walked<OciPicture, FileTypeIndex::Oci, OciStarts>::Named("oci");
constinit const Validator PcxValidator = Walked<PcxPicture, FileTypeIndex::Pcx, PcxStarts>::Named("pcx");
constinit const Validator PsdValidator{.name = "psd",
                                       .starts = PsdStarts,
                                       .begins = Walked<PsdPicture, FileTypeIndex::Psd, PsdStarts>::Begins,
                                       .validate = ValidatePsd,
                                       .types = Walked<PsdPicture, FileTypeIndex::Psd, PsdStarts>::Types};
constinit const Validator PspValidator = Walked<PspPicture, FileTypeIndex::Psp, PspStarts>::Named("psp");
constinit const Validator WmfValidator = Walked<AnyWmf, FileTypeIndex::Wmf, WmfStarts>::Named("wmf");
constinit const Validator XcfValidator = Walked<XcfPicture, FileTypeIndex::Xcf, XcfStarts>::Named("xcf");

}  // namespace salvor

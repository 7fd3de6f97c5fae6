#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "formats/CanonTrailer.h"
#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/hole_of_zeros.h"
#include "host/validators/media/movie_tables.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

// Top-level boxes: those of ISO/IEC 14496-12 and its relatives, of QuickTime and of makers.
constexpr std::array KnownTypes{
    BoxTypeOf("ftyp"), BoxTypeOf("moov"), BoxTypeOf("mdat"), BoxTypeOf("free"), BoxTypeOf("skip"), BoxTypeOf("wide"),
    BoxTypeOf("pnot"), BoxTypeOf("PICT"), BoxTypeOf("pict"), BoxTypeOf("uuid"), BoxTypeOf("udta"), BoxTypeOf("meta"),
    BoxTypeOf("meco"), BoxTypeOf("moof"), BoxTypeOf("mfra"), BoxTypeOf("styp"), BoxTypeOf("sidx"), BoxTypeOf("ssix"),
    BoxTypeOf("prft"), BoxTypeOf("emsg"), BoxTypeOf("pdin"), BoxTypeOf("frea"), BoxTypeOf("junk"), BoxTypeOf("idat"),
    BoxTypeOf("mpvd"), BoxTypeOf("sefd"), BoxTypeOf("thmb"), BoxTypeOf("imda"), BoxTypeOf("etyp"), BoxTypeOf("bloc"),
};

// A movie without a file type box begins with one of these.
constexpr std::array FirstTypes{BoxTypeOf("moov"), BoxTypeOf("mdat"), BoxTypeOf("wide"),
                                BoxTypeOf("free"), BoxTypeOf("skip"), BoxTypeOf("pnot")};

template <std::size_t N>
bool IsOneOf(const std::array<std::uint32_t, N>& types, std::uint32_t type) {
    return std::ranges::find(types, type) != types.end();
}

// The extension of files, by brand.
struct Kind {
    std::int32_t type;
    const char* extension = "";
};

using Brand = std::array<char, 4>;

struct Brands {
    Brand major{};
    std::vector<Brand> compatible;

    bool Include(std::string_view brand) const {
        const auto is = [brand](const Brand& one) {
            return std::string_view(one.data(), one.size()) == brand;
        };
        return is(major) || std::ranges::any_of(compatible, is);
    }
};

// Brands are padded with blanks; some writers pad with zeros.
Brand BrandAt(ByteSpan bytes, std::size_t offset) {
    Brand brand{};
    std::ranges::transform(bytes.subspan(offset, brand.size()), brand.begin(),
                           [](std::uint8_t byte) { return byte == 0 ? ' ' : static_cast<char>(byte); });
    return brand;
}

Brands ReadBrands(ByteWindow& file, const Box& box) {
    constexpr std::int64_t mostBytes = 0x1000;
    Brands brands;
    const ByteSpan bytes =
        file.At(box.content, static_cast<std::size_t>(std::clamp<std::int64_t>(box.end - box.content, 8, mostBytes)));
    for (std::size_t at = 0; at + brands.major.size() <= bytes.size(); at += brands.major.size()) {
        if (at == 0) {
            brands.major = BrandAt(bytes, at);
        } else if (at >= 8) {
            brands.compatible.push_back(BrandAt(bytes, at));
        }
    }
    return brands;
}

// The catalogue has no type for still pictures in boxes; they count as the films that use the same boxes.
Kind KindOfPicture(const Brands& brands) {
    constexpr std::string_view hevc[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "hevm", "hevs"};
    if (brands.Include("avif") || brands.Include("avis")) {
        return {FileTypeIndex::Mp4, "avif"};
    }
    const bool isHevc = std::ranges::any_of(hevc, [&](std::string_view brand) { return brands.Include(brand); });
    return {FileTypeIndex::Mp4, isHevc ? "heic" : "heif"};
}

Kind KindOf(const Brands& brands, bool isSoundOnly) {
    struct Named {
        std::string_view prefix;
        Kind kind;
    };
    constexpr Named named[] = {
        {"qt  ", {FileTypeIndex::Mov}},           {"mqt ", {FileTypeIndex::Mov}},
        {"3g2", {FileTypeIndex::ThreeGp, "3g2"}}, {"3g", {FileTypeIndex::ThreeGp}},
        {"mmp4", {FileTypeIndex::ThreeGp}},       {"kddi", {FileTypeIndex::ThreeGp}},
        {"m4b ", {FileTypeIndex::M4a, "m4b"}},    {"m4p ", {FileTypeIndex::M4a, "m4p"}},
        {"m4a ", {FileTypeIndex::M4a}},           {"m4v", {FileTypeIndex::M4v}},
        {"f4v ", {FileTypeIndex::Mp4, "f4v"}},    {"isml", {FileTypeIndex::Mp4, "ismv"}},
        {"crx ", {FileTypeIndex::Cr3}},
    };
    constexpr std::string_view pictures[] = {"mif1", "mif2", "msf1", "miaf", "avif", "avis", "heic",
                                             "heix", "heim", "heis", "hevc", "hevx", "hevm", "hevs"};
    const std::string_view exact(brands.major.data(), brands.major.size());
    if (std::ranges::find(pictures, exact) != std::end(pictures)) {
        return KindOfPicture(brands);
    }
    Brand lower = brands.major;
    std::ranges::transform(lower, lower.begin(), [](char letter) {
        return static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    });
    for (const Named& one : named) {
        if (std::string_view(lower.data(), lower.size()).starts_with(one.prefix)) {
            return one.kind;
        }
    }
    return {isSoundOnly && brands.Include("M4A ") ? FileTypeIndex::M4a : FileTypeIndex::Mp4};
}

class BoxFile {
public:
    explicit BoxFile(Place& file) : file_(file) {}

    Finding Run() {
        for (;;) {
            const std::optional<Box> box = ReadBox(file_, end_);
            if (!box || !BelongsHere(*box) || file_.IsExhausted()) {
                return AtEnd();
            }
            if (box->end == 0 && !FindEnd(*box)) {
                return Endless(*box);
            }
            const std::int64_t end = box->end == 0 ? foundEnd_ : box->end;
            if (end > file_.Limit()) {
                return TooLong(*box);
            }
            Take({box->type, box->start, box->content, end});
            end_ = end;
        }
    }

private:
    static constexpr int MostUnknown = 8;

    bool IsComplete() const { return movie_.has_value() || items_.has_value(); }

    bool BelongsHere(const Box& box) {
        const bool isAtSector = end_ > 0 && end_ % file_.SectorSize() == 0;
        if (box.type == BoxTypeOf("ftyp")) {
            return !isAtSector;
        }
        if (box.type == BoxTypeOf("moov") && movie_) {
            // The next file may begin with one of the boxes that were stepped over.
            end_ = isAtSector ? end_ : lastSectorEnd_ > 0 ? lastSectorEnd_ : end_;
            return false;
        }
        if (isAtSector && IsComplete() && lastSectorEnd_ == 0 && IsOneOf(FirstTypes, box.type)) {
            lastSectorEnd_ = end_;
        }
        return IsOneOf(KnownTypes, box.type) || IsOfMaker(box);
    }

    // A box with a type known only to its maker must lead to a known box, or to padding.
    bool IsOfMaker(Box box) {
        constexpr std::int64_t mostBytes = std::int64_t{64} << 20;
        if (end_ == 0) {
            return false;
        }
        for (int count = 0; count < MostUnknown; ++count) {
            const std::int64_t size = box.end - box.start;
            if (size < 8 || size > mostBytes || box.end > file_.Limit()) {
                return false;
            }
            const std::int64_t end = box.end;
            const std::int64_t nextStart = IsComplete() ? file_.NextStart(end_) : file_.Limit();
            if (nextStart <= end) {
                return nextStart == end;
            }
            if (IsComplete() && IsPadding(end)) {
                return true;
            }
            const std::optional<Box> next = ReadBox(file_, end);
            if (!next) {
                return false;
            }
            if (IsOneOf(KnownTypes, next->type)) {
                return true;
            }
            box = *next;
        }
        return false;
    }

    // Zeros up to the sector's end.
    bool IsPadding(std::int64_t at) {
        const std::int64_t rest = file_.SectorSize() - at % file_.SectorSize();
        const ByteSpan bytes = file_.At(at, static_cast<std::size_t>(rest));
        return !bytes.empty() && std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
    }

    void Take(const Box& box) {
        if (box.type == BoxTypeOf("ftyp") && box.start == 0) {
            hasFileType_ = true;
            brands_ = ReadBrands(file_, box);
        } else if (box.type == BoxTypeOf("moov")) {
            movie_ = ReadMovieTables(file_, box);
        } else if (box.type == BoxTypeOf("meta") && !items_) {
            items_ = EndOfItems(file_, box);
        } else if (box.type == BoxTypeOf("sidx") && indexedEnd_ == 0) {
            indexedEnd_ = IndexedEnd(box);
        }
        if (box.type == BoxTypeOf("moof") && movie_ && !isFragmentBroken_) {
            const std::optional<std::int64_t> end = ReadFragment(file_, box, *movie_);
            isFragmentBroken_ = !end;
            fragmentEnd_ = std::max(fragmentEnd_, end.value_or(0));
        }
        dataStart_ = box.type == BoxTypeOf("mdat") ? box.start : dataStart_;
        hasData_ = hasData_ || box.type == BoxTypeOf("mdat") || box.type == BoxTypeOf("imda");
        hasFragments_ = hasFragments_ || box.type == BoxTypeOf("moof");
        hasFragmentIndex_ = hasFragmentIndex_ || box.type == BoxTypeOf("mfra");
        lastType_ = box.type;
    }

    // The end of the segments that an index lists, counted from the index itself.
    std::int64_t IndexedEnd(const Box& box) {
        FieldReader fields(file_, box.content);
        const std::uint8_t version = fields.Byte();
        fields.Skip(3 + 8);
        fields.Skip(version == 0 ? 4 : 8);
        const std::uint64_t first = version == 0 ? fields.Big<std::uint32_t>() : fields.Big<std::uint64_t>();
        fields.Skip(2);
        const unsigned references = fields.Big<std::uint16_t>();
        std::int64_t end = box.end;
        for (unsigned i = 0; i < references && !fields.IsBroken(); ++i) {
            end += fields.Big<std::uint32_t>() & 0x7FFFFFFFU;
            fields.Skip(8);
        }
        const bool isSane = !fields.IsBroken() && fields.Position() <= box.end && references > 0 &&
                            first <= static_cast<std::uint64_t>(file_.Limit());
        return isSane ? end + static_cast<std::int64_t>(first) : 0;
    }

    // Finds the end of a box that reaches to the end of the file.
    bool FindEnd(const Box& box) {
        foundEnd_ = 0;
        if (box.type == BoxTypeOf("mfra")) {
            std::int64_t at = box.content;
            for (std::optional<Box> part = ReadBox(file_, at); part && part->end > at && part->end <= file_.Limit();
                 part = ReadBox(file_, at)) {
                at = part->end;
                if (part->type == BoxTypeOf("mfro")) {
                    foundEnd_ = at;
                    break;
                }
                if (part->type != BoxTypeOf("tfra")) {
                    break;
                }
            }
        } else if (box.type == BoxTypeOf("mdat") && movie_ && movie_->dataEnd > box.content) {
            foundEnd_ = movie_->dataEnd;
        } else if (box.type == BoxTypeOf("mdat") && items_ && *items_ > box.content) {
            foundEnd_ = *items_;
        }
        return foundEnd_ != 0;
    }

    Finding Say(Verdict verdict, std::int64_t size, const std::string& why) const {
        if (!hasFileType_ && !IsComplete()) {
            return {};
        }
        const bool isSoundOnly = movie_ && movie_->hasSoundTrack && !movie_->hasOtherTrack;
        const Kind kind = hasFileType_ ? KindOf(brands_, isSoundOnly) : Kind{FileTypeIndex::Mov};
        return {verdict, size, kind.type, kind.extension, why};
    }

    // The finding for a box without a size whose end was not found.
    Finding Endless(const Box& box) {
        if (box.type != BoxTypeOf("mdat") || end_ == 0) {
            return AtEnd();
        }
        const std::int64_t next = file_.NextStart(end_);
        return Say(Verdict::Damaged, next, "its media data say no size and no table tells it");
    }

    Finding TooLong(const Box& box) {
        const bool isData = box.type == BoxTypeOf("mdat");
        const std::int64_t needed = movie_ ? movie_->dataEnd : items_.value_or(0);
        if (!isData && IsComplete() && needed <= end_ && (hasData_ || hasFragments_)) {
            return AtEnd();
        }
        if (isData && needed > box.content && needed <= file_.Limit()) {
            return Say(Verdict::Damaged, needed, "its media data are longer than what its tables point to");
        }
        const Finding broken = BrokenAt(file_, end_, box.end, -1, "a box");
        return Say(broken.verdict, broken.size, broken.why);
    }

    Finding AtEnd() const {
        if (movie_) {
            return AtEndOfMovie();
        }
        if (items_ && *items_ <= end_ && HasHoleOfZeros(file_, dataStart_, *items_)) {
            return Say(Verdict::Damaged, end_, "zeros stand where coded data should be");
        }
        if (items_) {
            return *items_ <= end_ ? Say(Verdict::Whole, WithTrailer(), "its items lie inside its boxes")
                                   : Say(Verdict::Truncated, end_, "items lie past its last box");
        }
        if (!hasData_ && !hasFragments_) {
            return {};
        }
        return Say(Verdict::Damaged, end_, "there is no movie box");
    }

    Finding AtEndOfMovie() const {
        if (!movie_->isSound) {
            return hasFileType_ ? Say(Verdict::Damaged, end_, "its movie box is broken") : Finding{};
        }
        if (movie_->dataEnd > 0 && !hasData_) {
            // If the media data were removed, the boxes are all there is.
            return Say(movie_->dataEnd > end_ ? Verdict::Open : Verdict::Damaged, end_, "there are no media data");
        }
        if (movie_->dataEnd > end_) {
            return Say(Verdict::Truncated, end_, "samples lie past its last box");
        }
        if (movie_->hasBrokenSamples) {
            // If the media data come last, the file was cut inside them.
            const bool isCut = lastType_ == BoxTypeOf("mdat") && movie_->soundEnd > dataStart_;
            return Say(Verdict::Damaged, isCut ? movie_->soundEnd : end_, "other bytes stand where samples should be");
        }
        if (!hasFragments_) {
            return movie_->hasFragments && (!hasData_ || movie_->dataEnd == 0)
                       ? Say(Verdict::Open, end_, "no fragments follow")
                       : Say(Verdict::Whole, WithTrailer(), "its samples lie inside its boxes");
        }
        if (lastType_ == BoxTypeOf("moof") || fragmentEnd_ > end_) {
            return Say(Verdict::Truncated, end_, "the last fragment's data are missing");
        }
        if (isFragmentBroken_) {
            return Say(Verdict::Damaged, end_, "the boxes of a fragment are broken");
        }
        if (indexedEnd_ > end_) {
            return Say(Verdict::Truncated, end_, "its index tells of more fragments");
        }
        if (hasFragmentIndex_ || indexedEnd_ == end_) {
            return Say(Verdict::Whole, end_, "its fragments end with their index");
        }
        return Unbroken(Say(Verdict::Open, end_, "fragments tile it; nothing says which is the last"));
    }

    std::int64_t WithTrailer() const { return CanonTrailer::EndAfter(static_cast<ByteWindow&>(file_), end_); }

    Place& file_;
    // The end of the last intact box.
    std::int64_t end_ = 0;
    std::int64_t foundEnd_ = 0;
    // The sector start at which the file was complete and a box began that could begin another movie; 0 for none.
    std::int64_t lastSectorEnd_ = 0;
    std::int64_t indexedEnd_ = 0;
    // The start of the last media data.
    std::int64_t dataStart_ = 0;
    std::uint32_t lastType_ = 0;
    Brands brands_;
    std::optional<MovieTables> movie_;
    std::optional<std::int64_t> items_;
    bool hasFileType_ = false;
    bool hasData_ = false;
    bool hasFragments_ = false;
    bool hasFragmentIndex_ = false;
    bool isFragmentBroken_ = false;
    std::int64_t fragmentEnd_ = 0;
};

constexpr std::size_t TypeOffset = 4;
constexpr std::size_t LeastHead = 16;

bool HasTypeAt(ByteSpan head, std::size_t offset, bool isFirst) {
    if (offset + TypeOffset + sizeof(std::uint32_t) > head.size()) {
        return true;
    }
    const ByteSpan bytes = head.subspan(offset + TypeOffset, sizeof(std::uint32_t));
    const auto type = std::bit_cast<std::uint32_t>(std::array{bytes[0], bytes[1], bytes[2], bytes[3]});
    return isFirst ? IsOneOf(FirstTypes, type) : IsOneOf(KnownTypes, type);
}

bool BeginsBoxFile(ByteSpan head) {
    if (head.size() < LeastHead) {
        return false;
    }
    const auto size = LoadBig<std::uint32_t>(head, 0);
    if (HasPatternAt(head, TypeOffset, PatternOf("ftyp"))) {
        constexpr std::uint32_t longest = 0x1000;
        const auto isOfBrand = [](std::uint8_t byte) {
            return byte == 0 || (byte >= 0x20 && byte < 0x7F);
        };
        return size >= LeastHead && size <= longest && head[8] != 0 &&
               std::ranges::all_of(head.subspan(8, 4), isOfBrand);
    }
    // The second box's type is checked if it is in view.
    return HasTypeAt(head, 0, /*isFirst=*/true) &&
           (size < 2 || (size >= 8 && HasTypeAt(head, size, /*isFirst=*/false)));
}

constexpr StartSignature Starts[] = {{"ftyp", 4}, {"moov", 4}, {"mdat", 4}, {"wide", 4},
                                     {"free", 4}, {"skip", 4}, {"pnot", 4}};

constexpr std::int32_t Types[] = {FileTypeIndex::Mov, FileTypeIndex::ThreeGp, FileTypeIndex::M4a,
                                  FileTypeIndex::M4v, FileTypeIndex::Mp4,     FileTypeIndex::Cr3};

}  // namespace

/// MP4 and its relatives, with pictures of the same boxes, and QuickTime. Source: ISO/IEC 14496-12, section 4;
/// ISO/IEC 23008-12, section 6; QuickTime File Format Specification, "Atoms".
extern const Validator BoxValidator;
const Validator BoxValidator{.name = "boxes",
                             .starts = Starts,
                             .begins = BeginsBoxFile,
                             .validate = [](Place& file) { return BoxFile(file).Run(); },
                             .types = Types};

}  // namespace salvor

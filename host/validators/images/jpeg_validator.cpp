#include <FileTypeCatalog.h>

#include <algorithm>
#include <charconv>

#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/images/jpeg_file.h"
#include "host/validators/images/picture_trailers.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto StartOfPicture = PatternOf("\xFF\xD8\xFF");
constexpr auto FilmMark = PatternOf("ftyp");
constexpr std::int64_t FilmMarkOffset = 4;

// How far after the start of foreign bytes the first invalid code may be.
constexpr std::int64_t MostBelieved = 0x10000;

bool IsPictureAt(Place& file, std::int64_t offset) {
    return StartsWith(file.At(offset, StartOfPicture.size()), StartOfPicture);
}

bool IsFilmAt(Place& file, std::int64_t offset) {
    return StartsWith(file.At(offset + FilmMarkOffset, FilmMark.size()), FilmMark);
}

// The film of a motion photo: all boxes up to the first that is not one.
std::int64_t EndOfFilm(Place& file, std::int64_t offset) {
    constexpr std::uint32_t smallestBox = 8;
    constexpr int mostBoxes = 100000;
    const auto isName = [](std::uint8_t c) {
        return c >= 0x20 && c < 0x7F;
    };
    for (int boxes = 0; boxes < mostBoxes; ++boxes) {
        const ByteSpan head = file.At(offset, smallestBox);
        const std::uint32_t size = head.empty() ? 0 : LoadBig<std::uint32_t>(head, 0);
        if (size < smallestBox || size > file.Limit() - offset || !std::ranges::all_of(head.subspan(4), isName)) {
            break;
        }
        offset += size;
    }
    return offset;
}

// What one maker's phones append: blocks, then a directory of them ("SEFH") that ends with its length and "SEFT". Each
// entry gives the distance from its block to the directory; the first block begins at `offset`.
std::int64_t EndOfSamsungBlocks(Place& file, std::int64_t offset) {
    constexpr std::size_t blockHeadBytes = 9;
    constexpr std::int64_t farthest = 0x8000000;
    constexpr std::uint32_t longestDirectory = 0x1000;
    constexpr std::uint32_t entryBytes = 12;
    static constexpr BytePattern foot = BytePatternOf<"SEFT">();
    const ByteSpan head = file.At(offset, blockHeadBytes);
    if (head.empty() || head[0] != 0 || head[1] != 0 || LoadLittle<std::uint32_t>(head, 4) > 64 || head[8] < 'A' ||
        head[8] > 'z') {
        return offset;
    }
    std::int64_t from = offset;
    const std::int64_t to = std::min(file.Limit(), offset + farthest);
    while (const auto mark = file.Find(foot, from, to)) {
        from = *mark + 1;
        const ByteSpan lengthField = file.At(*mark - 4, 4);
        const std::uint32_t length = lengthField.empty() ? 0 : LoadLittle<std::uint32_t>(lengthField, 0);
        const std::int64_t start = *mark - 4 - std::int64_t{length};
        if (length < entryBytes || length > longestDirectory || start < offset) {
            continue;
        }
        const ByteSpan directory = file.At(start, length);
        if (!StartsWith(directory, PatternOf("SEFH"))) {
            continue;
        }
        std::uint32_t farthestBlock = 0;
        for (std::size_t at = entryBytes; at + entryBytes <= length; at += entryBytes) {
            farthestBlock = std::max(farthestBlock, LoadLittle<std::uint32_t>(directory, at + 4));
        }
        if (start - std::int64_t{farthestBlock} == offset) {
            return *mark + 4;
        }
    }
    return offset;
}

// The same maker's directory of recorded sounds: an entry of 8 bytes for each, its own length and a mark.
std::int64_t EndOfSoundDirectory(Place& file, std::int64_t offset) {
    constexpr std::size_t headBytes = 12;
    constexpr std::size_t entryBytes = 8;
    constexpr std::uint32_t mostSounds = 64;
    static constexpr auto foot = PatternOf("QDIOBS");
    const ByteSpan head = file.At(offset, headBytes);
    const std::uint32_t sounds =
        StartsWith(head, PatternOf("QDIO")) ? std::min(LoadLittle<std::uint32_t>(head, 8), mostSounds) : 0;
    const std::size_t length = headBytes + entryBytes * sounds;
    const ByteSpan end =
        sounds == 0 ? ByteSpan() : file.At(offset + static_cast<std::int64_t>(length), 4 + foot.size());
    const bool isEnd = HasPatternAt(end, 4, foot) && LoadLittle<std::uint32_t>(end, 0) == length;
    return isEnd ? offset + static_cast<std::int64_t>(length + end.size()) : offset;
}

// The numbers that follow each `name="` in a text, in order.
std::vector<std::int64_t> Attributes(std::string_view text, std::string_view name) {
    constexpr std::size_t most = 64;
    std::vector<std::int64_t> numbers;
    for (std::size_t at = text.find(name); at != std::string_view::npos && numbers.size() < most;
         at = text.find(name, at + 1)) {
        const std::string_view value = text.substr(at + name.size());
        std::int64_t number = 0;
        if (std::from_chars(value.data(), value.data() + value.size(), number).ec == std::errc{} && number >= 0 &&
            number < std::int64_t{1} << 40) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

// The end of the pictures and films that, according to the metadata, follow this picture. Sources: Motion Photo format,
// version 1.0; Ultra HDR image format, version 1.1.
std::int64_t EndOfContainer(Place& file, std::int64_t end, std::string_view metadata) {
    const std::vector<std::int64_t> films = Attributes(metadata, "MicroVideoOffset=\"");
    if (!films.empty() && IsFilmAt(file, end) && films.front() <= file.Limit() - end) {
        return end + films.front();
    }
    std::int64_t behind = end;
    std::int64_t last = 0;
    for (const std::int64_t length : Attributes(metadata, "Item:Length=\"")) {
        behind += length;
        last = length != 0 ? length : last;
    }
    for (const std::int64_t padding : Attributes(metadata, "Item:Padding=\"")) {
        behind += padding;
    }
    const bool isThere =
        last != 0 && behind <= file.Limit() && (IsFilmAt(file, behind - last) || IsPictureAt(file, behind - last));
    return isThere ? behind : end;
}

struct FurtherPictures {
    std::int64_t end;
    bool areSound = true;
};

FurtherPictures WalkFurtherPictures(Place& file, const JpegWalk& walk) {
    FurtherPictures all{walk.size};
    for (const JpegWalk::Extent& picture : walk.furtherPictures) {
        // Some programs change a picture but not the index.
        const bool isBehind = picture.start >= walk.size && picture.length <= file.Limit() - picture.start;
        if (!isBehind || !IsPictureAt(file, picture.start)) {
            continue;
        }
        const JpegWalk further = WalkJpeg(file, picture.start);
        all.areSound = all.areSound && further.end == JpegWalk::End::Marker && !further.brokenData;
        all.end = std::max(
            {all.end, further.end == JpegWalk::End::Marker ? further.size : 0, picture.start + picture.length});
    }
    return all;
}

// A picture or film that begins in the middle of a sector, right after this one, is part of the file.
std::int64_t EndOfJoined(Place& file, std::int64_t end) {
    if (end % file.SectorSize() == 0) {
        return end;
    }
    if (IsFilmAt(file, end)) {
        return EndOfFilm(file, end);
    }
    if (!IsPictureAt(file, end)) {
        return end;
    }
    const JpegWalk further = WalkJpeg(file, end);
    return further.end == JpegWalk::End::Marker && !further.brokenData ? further.size : end;
}

// `end` comes from the multi-picture index.
std::int64_t EndOfTrailers(Place& file, const JpegWalk& walk, std::int64_t end) {
    constexpr int mostTrailers = 32;
    end = std::max(end, EndOfContainer(file, walk.size, walk.metadata));
    for (int i = 0; i < mostTrailers; ++i) {
        std::int64_t next = EndOfJoined(file, end);
        next = EndOfPictureTrailers(file, next);
        next = EndOfSoundDirectory(file, EndOfSamsungBlocks(file, next));
        if (next == end) {
            break;
        }
        end = next;
    }
    return end;
}

// The start of the zeros that end at or shortly after `offset`; `offset` if there are few.
std::int64_t FrontOfZeros(Place& file, std::int64_t offset) {
    constexpr std::int64_t few = 32;
    std::int64_t start = offset;
    while (start > 0) {
        const std::int64_t from = std::max<std::int64_t>(start - static_cast<std::int64_t>(Place::PieceBytes), 0);
        const ByteSpan bytes = file.At(from, static_cast<std::size_t>(start - from));
        std::size_t count = bytes.size();
        while (count > 0 && bytes[count - 1] == 0) {
            --count;
        }
        start = from + static_cast<std::int64_t>(count);
        if (count > 0 || bytes.empty()) {
            break;
        }
    }
    return offset - start >= few ? start : offset;
}

// The last sector before an invalid code at which another file begins, if it is near.
std::optional<std::int64_t> StartBefore(const Place& file, std::int64_t from, std::int64_t broken) {
    std::optional<std::int64_t> start;
    for (std::int64_t next = file.NextStart(std::max(from, broken - MostBelieved));
         next <= broken && next < file.Limit(); next = file.NextStart(next + 1)) {
        start = next;
    }
    return start;
}

Finding BrokenData(Place& file, const JpegWalk& walk, std::int32_t type) {
    const std::int64_t broken = *walk.brokenData;
    const std::int64_t zeros = FrontOfZeros(file, std::min(broken, file.Limit()));
    if (zeros < broken && zeros > walk.lastScan) {
        return {Verdict::Truncated, zeros, type, {}, "coded data end in zeros"};
    }
    if (broken >= file.Limit() - 1) {
        return {Verdict::Truncated, file.Limit(), type, {}, "coded data go on past the medium's end"};
    }
    if (const auto start = StartBefore(file, walk.lastScan + 1, broken)) {
        return {Verdict::Truncated, *start, type, {}, "coded data run into another file"};
    }
    if (walk.end == JpegWalk::End::Marker && file.NextStart(broken) >= walk.size) {
        return {Verdict::Damaged, walk.size, type, {}, "coded data are wrong inside"};
    }
    return {Verdict::Damaged, broken, type, {}, "coded data are wrong"};
}

Finding ValidateJpeg(Place& file) {
    const JpegWalk walk = WalkJpeg(file, 0);
    const std::int32_t type = walk.isExif ? FileTypeIndex::JpegCamera : FileTypeIndex::JpegGraphics;
    // A signature of three bytes and one length prove little.
    constexpr int enoughSegments = 3;
    if (!walk.hasPicture && walk.segments < enoughSegments) {
        return {};
    }
    if (walk.brokenData) {
        return BrokenData(file, walk, type);
    }
    switch (walk.end) {
        case JpegWalk::End::Limit:
            return {Verdict::Truncated, file.Limit(), type, {}, "goes on past the medium's end"};
        case JpegWalk::End::NoMarker: {
            const auto start = walk.hasPicture ? StartBefore(file, walk.lastScan + 1, walk.size) : std::nullopt;
            return start ? Finding{Verdict::Truncated, *start, type, {}, "coded data run into another file"}
                         : BrokenAt(file, walk.size, walk.size, type, "no marker where one is due");
        }
        case JpegWalk::End::Marker:
            break;
    }
    const FurtherPictures further = WalkFurtherPictures(file, walk);
    const std::int64_t end = EndOfTrailers(file, walk, further.end);
    if (!further.areSound) {
        return {Verdict::Damaged, end, type, {}, "a further picture after the first is wrong"};
    }
    return {Verdict::Whole,
            end,
            type,
            {},
            end == walk.size ? "coded data up to the end of image" : "what is appended to the picture says its length"};
}

constexpr StartSignature Starts[] = {{"\xFF\xD8\xFF"}};

constexpr std::int32_t Types[] = {FileTypeIndex::JpegCamera, FileTypeIndex::JpegGraphics};

}  // namespace

/// JPEG with all that phones and cameras append. Source: ITU-T T.81, annex B; CIPA DC-007.
extern const Validator JpegValidator;
const Validator JpegValidator{
    .name = "jpeg", .starts = Starts, .begins = BeginsJpeg, .validate = ValidateJpeg, .types = Types};

}  // namespace salvor

#include "host/validators/containers/zip_archive.h"

#include <algorithm>
#include <utility>

#include "formats/ZipMembers.h"
#include "formats/ZipRecords.h"
#include "host/validators/crc32.h"

namespace salvor {

namespace {

using Local = ZipLocalHeader;
using Central = ZipCentralHeader;

constexpr std::size_t MostMembers = 1U << 20U;
// How far to search for the end of data without a size, and for the end record of a broken archive. Media with files in
// pieces have many broken archives, most of which are small.
constexpr std::int64_t LeastSearch = std::int64_t{1} << 20U;
constexpr std::int64_t LongestSearch = std::int64_t{64} << 20U;
// `rightBytes` of the archive were right, packed or unpacked.
std::int64_t SearchedBytes(std::int64_t rightBytes) {
    constexpr std::int64_t times = 4;
    return std::max(times * std::min(rightBytes, LongestSearch / times), LeastSearch);
}
// How many bytes of an archive are unpacked at most, apart from a multiple of its size: some archives unpack without
// end.
constexpr std::int64_t UnpackedBytes = std::int64_t{256} << 20U;
constexpr std::int64_t UnpackedShare = 16;

constexpr std::uint32_t InLongField = 0xFFFFFFFF;
constexpr std::uint16_t LongFieldId = 0x0001;
// Java's archiver adds an empty field with this identifier to the first member.
constexpr std::uint16_t JavaFieldId = 0xCAFE;

std::uint16_t Word(ByteSpan bytes, std::size_t at) { return LoadLittle<std::uint16_t>(bytes, at); }
std::uint32_t Long(ByteSpan bytes, std::size_t at) { return LoadLittle<std::uint32_t>(bytes, at); }

// A 64-bit size or offset; impossible ones become the largest number.
std::int64_t Huge(ByteSpan bytes, std::size_t at) {
    constexpr std::uint64_t most = std::uint64_t{1} << 60U;
    return static_cast<std::int64_t>(std::min(LoadLittle<std::uint64_t>(bytes, at), most));
}

// The extra field with the sizes and offsets that do not fit into 32 bits, or nothing.
ByteSpan LongFieldOf(ByteSpan extra) {
    for (std::size_t at = 0; at + 4 <= extra.size();) {
        const std::size_t length = Word(extra, at + 2);
        if (Word(extra, at) == LongFieldId) {
            return extra.subspan(at + 4, std::min(length, extra.size() - at - 4));
        }
        at += 4 + length;
    }
    return {};
}

bool IsRecord(std::uint32_t signature) {
    return signature == ZipSignature::LocalHeader || signature == ZipSignature::CentralHeader ||
           signature == ZipSignature::EndOfDirectory || signature == ZipSignature::LongEnd ||
           signature == ZipSignature::ArchiveExtraData;
}

}  // namespace

ZipArchive::ZipArchive(ByteWindow& file, NextStart nextStart)
    : file_(file), nextStart_(std::move(nextStart)), allowance_(UnpackedBytes) {
    // Begins an archive that was to be split but fits into one part.
    constexpr std::uint32_t splitMark = 0x30304B50;
    const std::uint32_t first = ZipSignatureAt(file, 0);
    start_ = first == ZipSignature::DataDescriptor || first == splitMark ? 4 : 0;
    if (WalkMembers()) {
        ReadDirectory();
        if (ReadEnd()) {
            return;
        }
        brokenAt_ = directoryEnd_;
    }
    FindEnd();
}

std::int64_t ZipArchive::SearchLimit(std::int64_t from, std::int64_t bytes) const {
    // One in some hundred stored members begins a sector.
    constexpr int mostStarts = 8;
    const std::int64_t limit = std::min(file_.Limit(), from + bytes);
    if (!nextStart_) {
        return limit;
    }
    std::int64_t at = from;
    for (int starts = 0; starts < mostStarts && at < limit; ++starts) {
        at = nextStart_(at + 1);
    }
    return std::min(at, limit);
}

bool ZipArchive::WalkMembers() {
    std::int64_t at = start_;
    while (!file_.IsExhausted()) {
        brokenAt_ = at;
        const std::uint32_t signature = ZipSignatureAt(file_, at);
        std::optional<std::int64_t> next;
        if (signature == ZipSignature::LocalHeader) {
            lastHeader_ = at;
            next = EndOfMember(at);
        } else if (signature == ZipSignature::ArchiveExtraData) {
            const ByteSpan record = file_.At(at, 8);
            next = record.empty() ? std::nullopt : std::optional(at + 8 + Long(record, 4));
        } else if (IsRecord(signature)) {
            directory_ = at;
            return true;
        } else {
            next = EndOfSigningBlock(at);
        }
        if (!next) {
            return false;
        }
        at = *next;
    }
    return false;
}

std::optional<std::int64_t> ZipArchive::EndOfMember(std::int64_t start) {
    const ByteSpan header = file_.At(start, Local::Bytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const std::size_t nameBytes = Word(header, Local::NameLength);
    const std::size_t extraBytes = Word(header, Local::ExtraLength);
    ZipMember member{.offset = start,
                     .packedSize = Long(header, Local::CompressedSize),
                     .crc = Long(header, Local::Crc),
                     .method = Word(header, Local::Method),
                     .flags = Word(header, Local::Flags)};
    const std::int64_t name = start + static_cast<std::int64_t>(Local::Bytes);
    const std::int64_t data = name + static_cast<std::int64_t>(nameBytes + extraBytes);
    const ByteSpan extra = file_.At(name + static_cast<std::int64_t>(nameBytes), extraBytes);
    const ByteSpan longField = LongFieldOf(extra);
    const bool isLong = !longField.empty();
    // The field in a local header has both sizes, the unpacked one first.
    if (member.packedSize == InLongField && longField.size() >= 16) {
        member.packedSize = Huge(longField, 8);
    }
    const bool hasDescriptor = (member.flags & ZipHasDescriptor) != 0;
    Keep(member, name, nameBytes);
    if (hasDescriptor && (member.packedSize == 0 || member.packedSize == InLongField)) {
        return EndOfUnsizedData(data, member, isLong);
    }
    const std::int64_t end = data + member.packedSize;
    if (end > file_.Limit()) {
        brokenAt_ = end;
        return std::nullopt;
    }
    return hasDescriptor ? EndOfDescriptor(end, member.packedSize) : end;
}

std::optional<std::int64_t> ZipArchive::EndOfUnsizedData(std::int64_t data, const ZipMember& member, bool isLong) {
    if (IsRecord(ZipSignatureAt(file_, data))) {
        return data;
    }
    std::int64_t searched = LongestSearch;
    if (member.method == ZipDeflated && (member.flags & ZipIsEncrypted) == 0) {
        std::int64_t rightBytes = data - start_;
        const auto result = InflateAt(file_, data, file_.Limit(), DeflateFormat::Raw, allowance_,
                                      [&rightBytes](ByteSpan unpacked) { rightBytes += std::ssize(unpacked); });
        if (result) {
            allowance_ -= result->size;
            if (unpacked_.size() < MostMembers) {
                unpacked_.push_back({data, *result});
            }
            return EndOfDescriptor(data + result->packedSize, result->packedSize);
        }
        // Broken, or larger than may be unpacked.
        searched = SearchedBytes(rightBytes);
    }
    const std::int64_t limit = SearchLimit(data, searched);
    const std::optional<std::int64_t> end = EndOfDescribedZipData(file_, data, limit, isLong);
    return end ? end : EndOfDescribedZipData(file_, data, limit, !isLong);
}

// The end of the descriptor at `at`, whose signature is optional and whose sizes have 32 or 64 bits; `at` if there is
// none.
std::int64_t ZipArchive::EndOfDescriptor(std::int64_t at, std::int64_t packedSize) {
    const std::int64_t crc = at + (ZipSignatureAt(file_, at) == ZipSignature::DataDescriptor ? 4 : 0);
    const ByteSpan sizes = file_.At(crc + 4, 8);
    if (sizes.empty() || Long(sizes, 0) != static_cast<std::uint32_t>(packedSize)) {
        return at;
    }
    const bool mayBeLong = Huge(sizes, 0) == packedSize;
    return crc + (mayBeLong && !IsRecord(ZipSignatureAt(file_, crc + 12)) ? 20 : 12);
}

// Android's signatures, between the members and the directory: a length, the block, the length again and a mark.
std::optional<std::int64_t> ZipArchive::EndOfSigningBlock(std::int64_t at) {
    static constexpr auto mark = PatternOf("APK Sig Block 42");
    const ByteSpan length = file_.At(at, 8);
    if (length.empty()) {
        return std::nullopt;
    }
    const std::int64_t bytes = Huge(length, 0);
    const std::int64_t end = at + 8 + bytes;
    if (bytes < 24 || !StartsWith(file_.At(end - static_cast<std::int64_t>(mark.size()), mark.size()), mark)) {
        return std::nullopt;
    }
    return end;
}

void ZipArchive::Keep(const ZipMember& member, std::int64_t name, std::size_t nameBytes) {
    constexpr std::size_t longestName = 1024;
    if (members_.size() >= MostMembers) {
        return;
    }
    const ByteSpan text = file_.At(name, std::min(nameBytes, longestName));
    names_.Take(std::string(text.begin(), text.end()), static_cast<std::int64_t>(members_.size()));
    members_.push_back(member);
}

void ZipArchive::ReadDirectory() {
    members_.clear();
    names_ = {};
    entries_ = 0;
    std::int64_t at = directory_;
    while (ZipSignatureAt(file_, at) == ZipSignature::CentralHeader) {
        const std::optional<std::int64_t> next = EndOfZipEntry(file_, at);
        if (!next || !TakeEntry(at)) {
            break;
        }
        ++entries_;
        at = *next;
    }
    entriesEnd_ = at;
    if (ZipSignatureAt(file_, at) == ZipSignature::DigitalSignature) {
        const ByteSpan record = file_.At(at, 6);
        at += record.empty() ? 0 : 6 + Word(record, 4);
    }
    directoryEnd_ = at;
}

bool ZipArchive::TakeEntry(std::int64_t at) {
    const ByteSpan entry = file_.At(at, Central::Bytes);
    if (entry.empty()) {
        return false;
    }
    ZipMember member{.offset = Long(entry, Central::LocalOffset),
                     .packedSize = Long(entry, Central::CompressedSize),
                     .size = Long(entry, Central::Size),
                     .crc = Long(entry, Central::Crc),
                     .method = Word(entry, Central::Method),
                     .flags = Word(entry, Central::Flags)};
    const std::size_t nameBytes = Word(entry, Central::NameLength);
    const std::size_t extraBytes = Word(entry, Central::ExtraLength);
    const std::int64_t name = at + static_cast<std::int64_t>(Central::Bytes);
    const ByteSpan extra = file_.At(name + static_cast<std::int64_t>(nameBytes), extraBytes);
    if (extra.size() >= 4 && Word(extra, 0) == JavaFieldId) {
        names_.NoteJava();
    }
    ByteSpan longField = LongFieldOf(extra);
    // The field contains only the numbers that did not fit.
    for (std::int64_t* const field : {&member.size, &member.packedSize, &member.offset}) {
        if (*field == InLongField && longField.size() >= 8) {
            *field = Huge(longField, 0);
            longField = longField.subspan(8);
        }
    }
    Keep(member, name, nameBytes);
    return true;
}

// The end record after the directory, which must give the directory's offset.
bool ZipArchive::ReadEnd() {
    std::int64_t at = directoryEnd_;
    if (ZipSignatureAt(file_, at) == ZipSignature::LongEnd) {
        const ByteSpan record = file_.At(at, ZipLongEnd::Bytes);
        if (record.empty()) {
            return false;
        }
        at += 12 + Huge(record, ZipLongEnd::RecordSize) + static_cast<std::int64_t>(ZipLongEnd::LocatorBytes);
    }
    const ByteSpan record = file_.At(at, ZipEndRecord::Bytes);
    if (record.empty() || Long(record, 0) != ZipSignature::EndOfDirectory) {
        return false;
    }
    // All ones where the number did not fit; some writers keep its lowest bits.
    const std::uint16_t entries = Word(record, ZipEndRecord::Entries);
    if (entries != (entries_ & 0xFFFF) && entries != 0xFFFF) {
        return false;
    }
    if (DirectoryOf(at) != directory_) {
        return false;
    }
    EndBehind(at);
    return true;
}

void ZipArchive::EndBehind(std::int64_t record) {
    const ByteSpan length = file_.At(record + static_cast<std::int64_t>(ZipEndRecord::CommentLength), 2);
    comment_ = record + static_cast<std::int64_t>(ZipEndRecord::Bytes);
    end_ = comment_ + (length.empty() ? 0 : Word(length, 0));
}

std::optional<std::int64_t> ZipArchive::DirectoryOf(std::int64_t at) {
    const ByteSpan record = file_.At(at, ZipEndRecord::Bytes);
    if (record.empty()) {
        return std::nullopt;
    }
    std::int64_t offset = Long(record, ZipEndRecord::DirectoryOffset);
    std::int64_t size = Long(record, ZipEndRecord::DirectorySize);
    std::int64_t end = at;
    const std::int64_t locator = at - static_cast<std::int64_t>(ZipLongEnd::LocatorBytes);
    if (ZipSignatureAt(file_, locator) == ZipSignature::LongEndLocator) {
        const ByteSpan place = file_.At(locator + 8, 8);
        end = place.empty() ? at : Huge(place, 0);
        const ByteSpan longEnd = file_.At(end, ZipLongEnd::Bytes);
        if (longEnd.empty() || Long(longEnd, 0) != ZipSignature::LongEnd) {
            return std::nullopt;
        }
        offset = Huge(longEnd, ZipLongEnd::DirectoryOffset);
        size = Huge(longEnd, ZipLongEnd::DirectorySize);
    }
    // The directory's size may or may not include its digital signature.
    const bool leadsHere = offset + size == end || (end == directoryEnd_ && offset + size == entriesEnd_);
    return leadsHere ? std::optional(offset) : std::nullopt;
}

// After bytes that are not a record, looks for the end record whose offsets match this start.
bool ZipArchive::FindEnd() {
    static constexpr BytePattern mark = BytePatternOf<"PK\5\6">();
    const std::int64_t limit = SearchLimit(brokenAt_, SearchedBytes(brokenAt_ - start_));
    const bool isDirectoryEncrypted = !members_.empty() && (members_.back().flags & ZipHasEncryptedDirectory) != 0;
    std::int64_t at = brokenAt_;
    while (const std::optional<std::int64_t> found = file_.Find(mark, at, limit)) {
        const std::optional<std::int64_t> directory = DirectoryOf(*found);
        // The members only lead to where the end record says that the directory is, which proves nothing more.
        if (isDirectoryEncrypted && directory == brokenAt_) {
            directory_ = brokenAt_;
            EndBehind(*found);
            return true;
        }
        if (directory && *directory >= start_ && ZipSignatureAt(file_, *directory) == ZipSignature::CentralHeader) {
            directory_ = *directory;
            ReadDirectory();
            if (ReadEnd()) {
                return true;
            }
        }
        at = *found + 4;
    }
    return false;
}

std::string ZipArchive::MembersFault() {
    allowance_ += UnpackedShare * directory_;
    std::vector<std::size_t> order(members_.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::ranges::sort(order, {}, [this](std::size_t i) { return members_[i].offset; });
    std::int64_t behind = start_;
    std::int64_t before = -1;
    for (std::size_t i = 0; i < order.size() && !file_.IsExhausted(); ++i) {
        const ZipMember& member = members_[order[i]];
        // Entries of the same name or content may share their data.
        if (member.offset == std::exchange(before, member.offset)) {
            continue;
        }
        const std::optional<std::int64_t> data = DataOf(member);
        const std::string which = "member " + std::to_string(order[i] + 1);
        if (!data || member.offset < behind || member.packedSize > directory_ - *data) {
            return which + " is not where the directory says";
        }
        if (!AreDataRight(member, *data)) {
            return which + " is damaged: its CRC-32 is another";
        }
        behind = *data + member.packedSize;
    }
    return {};
}

std::optional<std::int64_t> ZipArchive::DataOf(const ZipMember& member) {
    const ByteSpan header = file_.At(member.offset, Local::Bytes);
    if (header.empty() || Long(header, 0) != ZipSignature::LocalHeader ||
        Word(header, Local::Method) != member.method) {
        return std::nullopt;
    }
    const std::uint32_t crc = Long(header, Local::Crc);
    const bool hasDescriptor = (Word(header, Local::Flags) & ZipHasDescriptor) != 0;
    // The checksum is in the descriptor, or only in the directory.
    if (crc != member.crc && crc != 0 && !hasDescriptor) {
        return std::nullopt;
    }
    return member.offset + static_cast<std::int64_t>(Local::Bytes) + Word(header, Local::NameLength) +
           Word(header, Local::ExtraLength);
}

bool ZipArchive::AreDataRight(const ZipMember& member, std::int64_t data) {
    const bool isReadable =
        (member.method == ZipStored || member.method == ZipDeflated) && (member.flags & ZipIsEncrypted) == 0;
    if (!isReadable || member.size > allowance_) {
        return true;
    }
    if (member.method == ZipStored) {
        return Crc32Of(file_, data, data + member.packedSize) == member.crc;
    }
    const auto known = std::ranges::lower_bound(unpacked_, data, {}, &Unpacked::data);
    std::optional<Inflated> result;
    if (known != unpacked_.end() && known->data == data) {
        result = known->result;
    } else {
        allowance_ -= member.size;
        result = InflateAt(file_, data, data + member.packedSize, DeflateFormat::Raw, member.size);
    }
    return result && result->size == member.size && result->crc == member.crc;
}

std::string ZipArchive::BeginningOf(const ZipMember& member) {
    constexpr std::int64_t mostBytes = 0x100000;
    const std::optional<std::int64_t> data = DataOf(member);
    std::string text;
    if (!data || (member.flags & ZipIsEncrypted) != 0) {
        return text;
    }
    if (member.method == ZipDeflated) {
        InflateAt(file_, *data, file_.Limit(), DeflateFormat::Raw, mostBytes,
                  [&text](ByteSpan bytes) { text.append(bytes.begin(), bytes.end()); });
    } else if (member.method == ZipStored) {
        const ByteSpan bytes = file_.From(*data);
        text.assign(bytes.begin(), bytes.begin() + std::min(std::ssize(bytes), std::ptrdiff_t{member.packedSize}));
    }
    return text;
}

std::string ZipArchive::MemberText(std::string_view name) {
    std::int64_t at = directory_;
    for (const ZipMember& member : members_) {
        const ByteSpan entry = at < entriesEnd_ ? file_.At(at, Central::Bytes) : ByteSpan();
        if (entry.empty()) {
            break;
        }
        const std::size_t nameBytes = Word(entry, Central::NameLength);
        const bool isLike = nameBytes == name.size();
        const ByteSpan text = isLike ? file_.At(at + static_cast<std::int64_t>(Central::Bytes), nameBytes) : ByteSpan();
        if (isLike && std::ranges::equal(text, name, {}, [](std::uint8_t c) { return static_cast<char>(c); })) {
            return BeginningOf(member);
        }
        at = EndOfZipEntry(file_, at).value_or(entriesEnd_);
    }
    return {};
}

PackageKind ZipArchive::Kind() {
    const std::int64_t deciding = names_.DecidingEntry();
    return names_.Kind(deciding < 0 ? std::string() : BeginningOf(members_[static_cast<std::size_t>(deciding)]));
}

}  // namespace salvor

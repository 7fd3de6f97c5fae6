#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/bytes/ByteWindow.h"
#include "host/validators/containers/zip_kind.h"
#include "host/validators/inflate.h"

namespace salvor {

/// A member according to the central directory. Sizes and offsets in bytes.
struct ZipMember {
    /// The offset of its local header from the archive's start.
    std::int64_t offset = 0;
    std::int64_t packedSize = 0;
    std::int64_t size = 0;
    std::uint32_t crc = 0;
    std::uint16_t method = 0;
    std::uint16_t flags = 0;
};

/// A ZIP archive at the start of a window, which outlives this object: where it ends, and whether its members match its
/// directory. Source: PKWARE, APPNOTE.TXT. Memory: 40 bytes a member, for at most a million members.
class ZipArchive {
public:
    /// Where the next file seems to begin at or after an offset; both in bytes from the archive's start.
    using NextStart = std::function<std::int64_t(std::int64_t)>;

    /// With `nextStart`, what is missing is not searched for beyond many starts of other files.
    explicit ZipArchive(ByteWindow& file, NextStart nextStart = {});
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    /// The end of the comment; nothing if no end record belongs to this start.
    std::optional<std::int64_t> End() const { return end_; }
    /// The start of the comment, if there is an end.
    std::int64_t Comment() const { return comment_; }
    /// The place where the walk from header to header found no record, and the last local header before it.
    std::int64_t BrokenAt() const { return brokenAt_; }
    std::int64_t LastHeader() const { return lastHeader_; }

    /// By the directory, or by the local headers where there is none.
    PackageKind Kind();

    /// What is wrong with the members' local headers, order or CRC-32, for messages; empty if nothing is. Call only if
    /// there is an end.
    std::string MembersFault();

    /// The bytes of the directory's first member of this name, up to a mebibyte; empty if there is none or it is
    /// larger.
    std::string MemberText(std::string_view name);

private:
    struct Unpacked {
        // The start of the packed data.
        std::int64_t data;
        Inflated result;
    };

    // How far to search from `from` on, at most `bytes`.
    std::int64_t SearchLimit(std::int64_t from, std::int64_t bytes) const;
    // Walks to the first central header or end record; false if the headers do not lead there.
    bool WalkMembers();
    std::optional<std::int64_t> EndOfMember(std::int64_t start);
    std::optional<std::int64_t> EndOfUnsizedData(std::int64_t data, const ZipMember& member, bool isLong);
    std::int64_t EndOfDescriptor(std::int64_t at, std::int64_t packedSize);
    std::optional<std::int64_t> EndOfSigningBlock(std::int64_t at);
    void ReadDirectory();
    bool TakeEntry(std::int64_t at);
    bool ReadEnd();
    bool FindEnd();
    void EndBehind(std::int64_t record);
    // The start of the directory for the end record at `at`, if it leads there.
    std::optional<std::int64_t> DirectoryOf(std::int64_t at);
    void Keep(const ZipMember& member, std::int64_t name, std::size_t nameBytes);
    // The start of a member's data according to its local header; nothing if that is not a header of this archive.
    std::optional<std::int64_t> DataOf(const ZipMember& member);
    bool AreDataRight(const ZipMember& member, std::int64_t data);
    std::string BeginningOf(const ZipMember& member);

    ByteWindow& file_;
    NextStart nextStart_;
    std::int64_t start_ = 0;
    std::int64_t directory_ = 0;
    std::int64_t entriesEnd_ = 0;
    std::int64_t directoryEnd_ = 0;
    std::int64_t entries_ = 0;
    std::int64_t brokenAt_ = 0;
    std::int64_t lastHeader_ = 0;
    std::int64_t comment_ = 0;
    std::optional<std::int64_t> end_;
    std::vector<ZipMember> members_;
    // Ordered by offset: the members that had to be unpacked to find their end.
    std::vector<Unpacked> unpacked_;
    // How many bytes may still be unpacked.
    std::int64_t allowance_;
    ZipNames names_;
};

}  // namespace salvor

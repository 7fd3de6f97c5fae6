#include "host/volumes/file_system.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "frame/bytes/Bytes.h"

namespace salvor {

namespace {

// The kinds are tried in this order.
constexpr std::array Kinds{TSK_FS_TYPE_NTFS_DETECT,  TSK_FS_TYPE_FAT_DETECT, TSK_FS_TYPE_EXT_DETECT,
                           TSK_FS_TYPE_FFS_DETECT,   TSK_FS_TYPE_HFS_DETECT, TSK_FS_TYPE_ISO9660_DETECT,
                           TSK_FS_TYPE_YAFFS2_DETECT};

// YAFFS2 has no header: looking for it means reading the whole medium. It is used on flash chips, whose images have 64
// more bytes after each page of 2048.
bool MayBeYaffs(const Medium& medium) {
    constexpr std::int64_t pageBytes = 2048 + 64;
    constexpr std::int64_t largestChip = std::int64_t{4} << 30;
    return medium.SizeInBytes() <= largestChip && medium.SizeInBytes() % pageBytes == 0;
}

const char* NameOf(TSK_FS_TYPE_ENUM kind) {
    switch (kind) {
        case TSK_FS_TYPE_NTFS:
            return "NTFS";
        case TSK_FS_TYPE_FAT12:
            return "FAT12";
        case TSK_FS_TYPE_FAT16:
            return "FAT16";
        case TSK_FS_TYPE_FAT32:
            return "FAT32";
        case TSK_FS_TYPE_EXFAT:
            return "exFAT";
        case TSK_FS_TYPE_EXT2:
            return "ext2";
        case TSK_FS_TYPE_EXT3:
            return "ext3";
        case TSK_FS_TYPE_EXT4:
            return "ext4";
        case TSK_FS_TYPE_FFS1:
        case TSK_FS_TYPE_FFS1B:
            return "UFS1";
        case TSK_FS_TYPE_FFS2:
            return "UFS2";
        case TSK_FS_TYPE_HFS:
            return "HFS+";
        case TSK_FS_TYPE_HFS_LEGACY:
            return "HFS";
        case TSK_FS_TYPE_ISO9660:
            return "ISO 9660";
        case TSK_FS_TYPE_YAFFS2:
            return "YAFFS2";
        default:
            return "";
    }
}

bool IsFat(TSK_FS_TYPE_ENUM kind) {
    return kind == TSK_FS_TYPE_FAT12 || kind == TSK_FS_TYPE_FAT16 || kind == TSK_FS_TYPE_FAT32 ||
           kind == TSK_FS_TYPE_EXFAT;
}

bool IsNtfs(TSK_FS_TYPE_ENUM kind) { return kind == TSK_FS_TYPE_NTFS; }

bool IsExt(TSK_FS_TYPE_ENUM kind) {
    return kind == TSK_FS_TYPE_EXT2 || kind == TSK_FS_TYPE_EXT3 || kind == TSK_FS_TYPE_EXT4;
}

std::optional<std::int64_t> TimeOf(time_t seconds) {
    return seconds == 0 ? std::nullopt : std::optional<std::int64_t>(seconds);
}

FileTimes TimesOf(const TSK_FS_META& meta, TSK_FS_TYPE_ENUM kind) {
    FileTimes times{TimeOf(meta.mtime), TimeOf(meta.atime), TimeOf(meta.ctime), TimeOf(meta.crtime), {}};
    if (IsExt(kind)) {
        times.deleted = TimeOf(meta.time2.ext2.dtime);
    }
    return times;
}

// Maps the blocks of a file system to sectors of the medium.
class BlockMap {
public:
    BlockMap(const TSK_FS_INFO& opened, const Medium& medium, std::int64_t firstByte)
        : blockSize_(opened.block_size),
          blockCount_(static_cast<std::int64_t>(opened.last_block_act) + 1),
          firstByte_(firstByte),
          sectorSize_(medium.SectorSize()),
          mediumSize_(medium.SizeInBytes()) {}

    /// True if all blocks are whole sectors, with nothing between them.
    bool IsEven(const TSK_FS_INFO& opened) const {
        return blockSize_ > 0 && blockSize_ % sectorSize_ == 0 && firstByte_ % sectorSize_ == 0 &&
               opened.block_pre_size == 0 && opened.block_post_size == 0;
    }
    std::int64_t BlockSize() const { return blockSize_; }
    std::int64_t SectorsOfBlock() const { return blockSize_ / sectorSize_; }
    std::int64_t SectorSize() const { return sectorSize_; }

    /// The bytes of this many blocks, but at most `most`.
    std::int64_t BytesOf(TSK_DADDR_T count, std::int64_t most) const {
        return count < static_cast<TSK_DADDR_T>(most / blockSize_) ? static_cast<std::int64_t>(count) * blockSize_
                                                                   : most;
    }

    /// The sectors of blocks that are on the medium; empty for others.
    SectorRange SectorsOf(TSK_DADDR_T block, TSK_DADDR_T count) const {
        const auto last = static_cast<TSK_DADDR_T>(blockCount_);
        if (block >= last || count > last - block || count == 0) {
            return {};
        }
        const auto first = firstByte_ / sectorSize_ + static_cast<std::int64_t>(block) * SectorsOfBlock();
        const auto sectors = static_cast<std::int64_t>(count) * SectorsOfBlock();
        return first + sectors <= mediumSize_ / sectorSize_ ? SectorRange{first, sectors} : SectorRange{};
    }

private:
    std::int64_t blockSize_;
    std::int64_t blockCount_;
    std::int64_t firstByte_;
    std::int64_t sectorSize_;
    std::int64_t mediumSize_;
};

// NTFS compresses units of several clusters, each on its own; what is saved becomes a sparse run at the unit's end. A
// unit that would not become smaller is stored as it is.
bool IsPacked(const TSK_FS_ATTR& attribute) {
    const auto flags = static_cast<unsigned>(attribute.flags);
    bool isPacked = (flags & TSK_FS_ATTR_ENC) != 0;
    if ((flags & TSK_FS_ATTR_COMP) != 0) {
        const std::uint32_t unit = attribute.nrd.compsize;
        isPacked = isPacked || (flags & TSK_FS_ATTR_NONRES) == 0 || unit == 0;
        for (const TSK_FS_ATTR_RUN* run = attribute.nrd.run; !isPacked && run != nullptr; run = run->next) {
            isPacked = run->flags == TSK_FS_ATTR_RUN_FLAG_SPARSE && run->offset % unit != 0;
        }
    }
    return isPacked;
}

// The places of a file's content.
struct Content {
    std::vector<Extent> extents;
    bool isComplete = false;
};

// No real file has more pieces.
constexpr std::size_t MostExtents = 10000;

// The pieces of a file of this size, up to the end of its last cluster or the first missing piece. If the file system
// omits runs of zeros, they become holes.
Content ContentOf(const TSK_FS_ATTR& attribute, std::int64_t size, const BlockMap& blocks, bool gapsAreHoles) {
    Content content;
    TSK_DADDR_T next = 0;
    std::int64_t found = 0;
    // The bytes up to the end of the last block.
    const auto left = [&] {
        return ((size - found - 1) / blocks.BlockSize() + 1) * blocks.BlockSize();
    };
    const TSK_FS_ATTR_RUN* run = attribute.nrd.run;
    for (; run != nullptr && found < size && content.extents.size() < MostExtents; run = run->next) {
        const bool isHole =
            run->flags == TSK_FS_ATTR_RUN_FLAG_SPARSE || (run->flags == TSK_FS_ATTR_RUN_FLAG_FILLER && gapsAreHoles);
        const SectorRange sectors = blocks.SectorsOf(run->addr, run->len);
        const bool isThere = run->flags == TSK_FS_ATTR_RUN_FLAG_NONE && sectors.count > 0;
        // A file that begins with a hole has no start sector by which it could be found.
        if (run->offset != next || (!isThere && (!isHole || content.extents.empty()))) {
            break;
        }
        next += run->len;
        const Extent piece = isHole ? Extent{Extent::Nowhere, blocks.BytesOf(run->len, left())}
                                    : Extent{sectors.first, sectors.count * blocks.SectorSize()};
        Append(content.extents, piece, blocks.SectorSize());
        found += piece.bytes;
    }
    if (run == nullptr && found < size && gapsAreHoles && !content.extents.empty()) {
        Append(content.extents, {Extent::Nowhere, left()}, blocks.SectorSize());
        found += left();
    }
    content.isComplete = found >= size;
    return content;
}

class FileTeller {
public:
    FileTeller(TSK_FS_INFO& opened, const BlockMap& blocks, std::int32_t volume, VolumeSink& sink)
        : opened_(opened), blocks_(blocks), volume_(volume), sink_(sink) {}

    static TSK_WALK_RET_ENUM Take(TSK_FS_FILE* file, const char* folder, void* self) {
        return static_cast<FileTeller*>(self)->Tell(*file, folder);
    }
    void End() {
        if (outOfReach_.files > 0) {
            sink_.OnOutOfReach(outOfReach_);
        }
    }
    // For a file without a directory entry.
    static TSK_WALK_RET_ENUM TakeNameless(TSK_FS_FILE* file, void* self) {
        return static_cast<FileTeller*>(self)->Tell(*file, nullptr);
    }

private:
    TSK_WALK_RET_ENUM Tell(TSK_FS_FILE& file, const char* folder) {
        if (sink_.StopRequested()) {
            return TSK_WALK_STOP;
        }
        if (file.meta == nullptr || file.meta->type != TSK_FS_META_TYPE_REG) {
            return TSK_WALK_CONT;
        }
        const bool isNameDeleted = file.name != nullptr && (file.name->flags & TSK_FS_NAME_FLAG_UNALLOC) != 0;
        const bool isDeleted = (file.meta->flags & TSK_FS_META_FLAG_UNALLOC) != 0;
        if (isNameDeleted && !isDeleted) {
            // The name now leads to another file.
            return TSK_WALK_CONT;
        }
        const TskLibrary& tsk = TskLibrary::Get();
        const std::string path = PathOf(file, folder);
        const TSK_FS_ATTR* const content = tsk.fileAttribute(&file);
        if (content != nullptr) {
            TellAttribute(file, *content, path);
        }
        for (int i = 0; IsNtfs(opened_.ftype) && i < tsk.fileAttributeCount(&file); ++i) {
            const TSK_FS_ATTR* const stream = tsk.fileAttributeAt(&file, i);
            if (stream != nullptr && stream != content && stream->type == TSK_FS_ATTR_TYPE_NTFS_DATA &&
                stream->name != nullptr) {
                TellAttribute(file, *stream, path + ':' + stream->name);
            }
        }
        return TSK_WALK_CONT;
    }

    // The content of a file, or a further stream of it.
    void TellAttribute(const TSK_FS_FILE& file, const TSK_FS_ATTR& attribute, const std::string& path) {
        constexpr std::int64_t largest = std::int64_t{1} << 60;
        if (attribute.size <= 0 || attribute.size > largest) {
            return;
        }
        const bool isDeleted = (file.meta->flags & TSK_FS_META_FLAG_UNALLOC) != 0;
        const bool isPacked = IsPacked(attribute);
        const bool isInside = (attribute.flags & TSK_FS_ATTR_RES) != 0;
        // The first records of an NTFS volume are its own.
        constexpr TSK_INUM_T firstOfUsers = 24;
        if (!isDeleted && (!IsNtfs(opened_.ftype) || file.meta->addr >= firstOfUsers)) {
            outOfReach_.files += isPacked || isInside ? 1 : 0;
        }
        if (isInside || (attribute.flags & TSK_FS_ATTR_NONRES) == 0 || attribute.nrd.skiplen != 0) {
            return;
        }
        KnownFile known;
        known.size = attribute.size;
        Content content = ContentOf(attribute, known.size, blocks_, IsExt(opened_.ftype));
        if (content.extents.empty()) {
            return;
        }
        known.volume = volume_;
        known.path = path;
        known.isDeleted = isDeleted;
        known.isGuess = (attribute.flags & TSK_FS_ATTR_RECOVERY) != 0;
        known.isPacked = isPacked;
        known.isComplete = content.isComplete && !isPacked;
        known.timesAreLocal = IsFat(opened_.ftype);
        known.times = TimesOf(*file.meta, opened_.ftype);
        if (!isDeleted && known.isComplete) {
            TellSlack(content, known.size);
        }
        CutTo(content.extents, known.size);
        if (IsNtfs(opened_.ftype)) {
            EndWithZeros(content.extents, attribute.nrd.initsize);
        }
        known.extents = std::move(content.extents);
        sink_.OnFile(known);
    }

    // Behind the bytes that were ever written a file reads as zeros, whatever its clusters hold.
    void EndWithZeros(std::vector<Extent>& extents, std::int64_t written) {
        const std::int64_t size = BytesOf(extents);
        const std::int64_t kept = (written + blocks_.SectorSize() - 1) / blocks_.SectorSize() * blocks_.SectorSize();
        if (written > 0 && kept < size) {
            CutTo(extents, kept);
            Append(extents, {Extent::Nowhere, size - kept}, blocks_.SectorSize());
        }
    }

    static std::string PathOf(const TSK_FS_FILE& file, const char* folder) {
        if (file.name != nullptr && file.name->name != nullptr) {
            return std::string(folder == nullptr ? "" : folder) + file.name->name;
        }
        return file.meta->name2 != nullptr ? file.meta->name2->name : "";
    }

    // The whole sectors after the end of the file.
    void TellSlack(const Content& content, std::int64_t size) {
        const std::int64_t behind = BytesOf(content.extents) - size;
        const Extent& last = content.extents.back();
        const std::int64_t sectors = std::min(behind, last.bytes) / blocks_.SectorSize();
        if (sectors > 0 && !last.IsHole()) {
            sink_.OnSlack({last.startSector + last.bytes / blocks_.SectorSize() - sectors, sectors});
        }
    }

    TSK_FS_INFO& opened_;
    const BlockMap& blocks_;
    std::int32_t volume_;
    VolumeSink& sink_;
    OutOfReach outOfReach_{volume_};
};

// Joins consecutive blocks.
class UsedTeller {
public:
    UsedTeller(const BlockMap& blocks, VolumeSink& sink) : blocks_(blocks), sink_(sink) {}

    static TSK_WALK_RET_ENUM Take(const TSK_FS_BLOCK* block, void* self) {
        return static_cast<UsedTeller*>(self)->Add(block->addr);
    }
    void End() {
        if (const SectorRange sectors = blocks_.SectorsOf(first_, count_); sectors.count > 0) {
            sink_.OnUsed(sectors);
        }
        count_ = 0;
    }

private:
    TSK_WALK_RET_ENUM Add(TSK_DADDR_T block) {
        if (count_ == 0 || block != first_ + count_) {
            End();
            first_ = block;
            if (sink_.StopRequested()) {
                return TSK_WALK_STOP;
            }
        }
        ++count_;
        return TSK_WALK_CONT;
    }

    const BlockMap& blocks_;
    VolumeSink& sink_;
    TSK_DADDR_T first_ = 0;
    TSK_DADDR_T count_ = 0;
};

template <class Flag>
constexpr Flag Join(Flag a, Flag b) {
    return static_cast<Flag>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

}  // namespace

std::optional<FileSystem> FileSystem::Open(TskImage& image, Medium& medium, std::int64_t sector) {
    for (const TSK_FS_TYPE_ENUM kind : Kinds) {
        if (kind == TSK_FS_TYPE_YAFFS2_DETECT && (sector != 0 || !MayBeYaffs(medium))) {
            continue;
        }
        TskFileSystem opened(TskLibrary::Get().fileSystemOpen(image.Get(), sector * medium.SectorSize(), kind));
        if (opened && *NameOf(opened->ftype) != '\0' && opened->block_size > 0) {
            return FileSystem(std::move(opened), image, medium, sector);
        }
    }
    return std::nullopt;
}

FileSystem::FileSystem(TskFileSystem opened, TskImage& image, Medium& medium, std::int64_t sector)
    : opened_(std::move(opened)),
      image_(&image),
      medium_(&medium),
      firstByte_(sector * medium.SectorSize()),
      clusters_(ClustersOf(*opened_, medium, sector)) {}

// The library counts a FAT in sectors; the boot sector says how many a cluster has, and how much lies before the first.
FileSystem::Clusters FileSystem::ClustersOf(const TSK_FS_INFO& opened, Medium& medium, std::int64_t sector) {
    if (!IsFat(opened.ftype)) {
        return {opened.block_size, sector};
    }
    std::vector<std::uint8_t> boot(static_cast<std::size_t>(medium.SectorSize()));
    medium.Read(sector, boot.data(), 1);
    const auto two = [&boot](std::size_t at) {
        return std::int64_t{LoadLittle<std::uint16_t>(boot, at)};
    };
    const auto four = [&boot](std::size_t at) {
        return std::int64_t{LoadLittle<std::uint32_t>(boot, at)};
    };
    if (opened.ftype == TSK_FS_TYPE_EXFAT) {
        constexpr int largestShift = 25;
        const int shift = std::min<int>(boot[108], largestShift);
        return {std::int64_t{1} << std::min(shift + boot[109], largestShift),
                sector + (four(88) << shift) / medium.SectorSize()};
    }
    const std::int64_t sectorBytes = two(11);
    const std::int64_t tableSectors = two(22) != 0 ? two(22) : four(36);
    const std::int64_t rootBytes = two(17) * 32;
    const std::int64_t front = (two(14) + boot[16] * tableSectors) * sectorBytes + rootBytes;
    return {boot[13] * sectorBytes, sector + (front + medium.SectorSize() - 1) / medium.SectorSize()};
}

const char* FileSystem::Name() const { return NameOf(opened_->ftype); }

std::int64_t FileSystem::Size() const {
    const std::int64_t blockBytes =
        std::int64_t{opened_->block_pre_size} + opened_->block_size + opened_->block_post_size;
    const std::int64_t most = (medium_->SizeInBytes() - firstByte_) / blockBytes;
    return static_cast<std::int64_t>(std::min(opened_->block_count, static_cast<TSK_DADDR_T>(most))) * blockBytes;
}

bool FileSystem::IsEven() const { return BlockMap(*opened_, *medium_, firstByte_).IsEven(*opened_); }

void FileSystem::TellUsed(VolumeSink& sink) const {
    const BlockMap blocks(*opened_, *medium_, firstByte_);
    if (!blocks.IsEven(*opened_)) {
        return;
    }
    UsedTeller teller(blocks, sink);
    const auto flags = Join(Join(TSK_FS_BLOCK_WALK_FLAG_ALLOC, TSK_FS_BLOCK_WALK_FLAG_AONLY),
                            Join(TSK_FS_BLOCK_WALK_FLAG_CONT, TSK_FS_BLOCK_WALK_FLAG_META));
    TskLibrary::Get().blockWalk(opened_.get(), opened_->first_block, opened_->last_block_act, flags, UsedTeller::Take,
                                &teller);
    teller.End();
}

void FileSystem::TellFiles(std::int32_t volume, VolumeSink& sink) const {
    const BlockMap blocks(*opened_, *medium_, firstByte_);
    if (!blocks.IsEven(*opened_)) {
        return;
    }
    FileTeller teller(*opened_, blocks, volume, sink);
    const auto living = Join(TSK_FS_DIR_WALK_FLAG_ALLOC, TSK_FS_DIR_WALK_FLAG_UNALLOC);
    const auto named = Join(Join(living, TSK_FS_DIR_WALK_FLAG_RECURSE), TSK_FS_DIR_WALK_FLAG_NOORPHAN);
    TskLibrary::Get().folderWalk(opened_.get(), opened_->root_inum, named, FileTeller::Take, &teller);
    // What only a record leads to is deleted.
    teller.End();
    // On a FAT, entries that no folder leads to are searched for in every cluster.
    if (image_->IsExhausted() || (IsFat(opened_->ftype) && Size() > image_->Allowance())) {
        return;
    }
    const auto orphans = Join(Join(TSK_FS_META_FLAG_UNALLOC, TSK_FS_META_FLAG_USED), TSK_FS_META_FLAG_ORPHAN);
    TskLibrary::Get().metaWalk(opened_.get(), opened_->first_inum, opened_->last_inum, orphans,
                               FileTeller::TakeNameless, &teller);
}

}  // namespace salvor

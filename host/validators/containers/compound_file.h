#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// A storage or stream of a compound file.
struct CompoundNode {
    /// Units above 7Eh are '?'.
    std::string name;
    /// 1 storage, 2 stream, 5 root.
    std::uint8_t kind = 0;
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    std::uint32_t child = 0;
    std::array<std::uint8_t, 16> classId{};
    /// A sector number; a mini sector's if the stream is shorter than the cutoff.
    std::uint32_t start = 0;
    /// In bytes.
    std::int64_t size = 0;
};

/// The tables of a compound file, read through a window that outlives this object. Memory is bounded: FAT
/// and mini FAT by 2^24 words each, the directory by 2^18 entries. Source: [MS-CFB].
class CompoundFile {
public:
    enum class State : std::uint8_t {
        /// Header, tables, directory and chains agree.
        Sound,
        /// Something is after the window's end.
        PassesEnd,
        Broken,
        /// Not even the header makes sense.
        NoFile,
    };

    explicit CompoundFile(ByteWindow& file);
    CompoundFile(const CompoundFile&) = delete;
    CompoundFile& operator=(const CompoundFile&) = delete;

    State Condition() const { return state_; }
    /// The fault, for people; empty if there is none.
    const std::string& Fault() const { return fault_; }
    /// The offset of the first fault, in bytes.
    std::int64_t FaultPosition() const { return faultPosition_; }
    /// The file's end in bytes according to its FAT, at most the window's limit.
    std::int64_t End() const;
    /// The last sector in use.
    std::uint32_t LastSector() const { return lastSector_; }
    /// True if all of the FAT could be read, so that `End` is right.
    bool HasFat() const { return hasFat_; }

    /// True if the directory begins with a root, whatever else is wrong.
    bool HasRoot() const;

    /// The directory's nodes by their numbers; 0 is the root. Empty if there is no root.
    const std::vector<CompoundNode>& Nodes() const { return nodes_; }
    /// The nodes directly in the root.
    const std::vector<std::uint32_t>& Children() const { return children_; }
    /// All streams that the directory's tree links, at any depth.
    const std::vector<std::uint32_t>& Streams() const { return streams_; }
    /// The stream of this name in the root, in any letter case; null if there is none.
    const CompoundNode* Stream(std::string_view name) const;

    std::uint32_t SectorSize() const { return std::uint32_t{1} << sectorShift_; }

private:
    friend class CompoundStream;

    // Appends the sectors of a chain; false if the chain does not end properly.
    static bool Follow(const std::vector<std::uint32_t>& table, std::vector<bool>& taken, std::uint32_t first,
                       std::int64_t needed, std::vector<std::uint32_t>& chain);
    std::int64_t PositionOf(std::uint32_t sector) const { return (std::int64_t{sector} + 1) << sectorShift_; }
    bool IsShown(std::uint32_t sector) const;

    void Blame(State state, std::int64_t position, std::string fault);
    bool ReadHeader();
    bool ListFatSectors();
    bool AddFatSectors(ByteSpan words, std::size_t wanted);
    bool TakeTableSector(std::uint32_t sector);
    bool ReadFat();
    bool CheckFat();
    bool ReadMiniFat();
    bool ReadDirectory();
    bool AddNode(ByteSpan entry);
    void WalkTree();
    void WalkSiblings(std::uint32_t first, std::vector<bool>& seen, std::vector<std::uint32_t>& storages,
                      std::vector<std::uint32_t>& members);
    void CheckStream(const CompoundNode& node);

    ByteWindow& file_;
    State state_ = State::NoFile;
    std::string fault_;
    std::int64_t faultPosition_ = 0;
    bool hasFat_ = false;

    unsigned sectorShift_ = 9;
    std::uint32_t miniCutoff_ = 4096;
    std::uint32_t majorVersion_ = 3;
    std::uint32_t fatSectorCount_ = 0;
    std::uint32_t firstDirectorySector_ = 0;
    std::uint32_t firstMiniFatSector_ = 0;
    std::uint32_t firstDifatSector_ = 0;
    std::uint32_t difatSectorCount_ = 0;

    std::vector<std::uint32_t> fatSectors_;
    std::vector<std::uint32_t> fat_;
    std::vector<std::uint32_t> miniFat_;
    // The sectors and mini sectors that have an owner.
    std::vector<bool> taken_;
    std::vector<bool> miniTaken_;
    std::vector<std::uint32_t> miniStream_;
    std::uint32_t lastSector_ = 0;
    std::vector<CompoundNode> nodes_;
    std::vector<std::uint32_t> children_;
    std::vector<std::uint32_t> streams_;
};

/// The bytes of a linked stream of a sound compound file, which outlives this.
class CompoundStream final : public ByteWindow {
public:
    CompoundStream(CompoundFile& file, const CompoundNode& node);

    void Charge(std::int64_t bytes) override { file_.file_.Charge(bytes); }
    bool IsExhausted() const override { return file_.file_.IsExhausted(); }

private:
    ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) override;

    CompoundFile& file_;
    // In units of 64 bytes, in the mini stream.
    bool isMini_;
    std::vector<std::uint32_t> chain_;
    std::vector<std::uint8_t> buffer_;
};

}  // namespace salvor

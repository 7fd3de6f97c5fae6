#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "host/plan/file_details.h"
#include "host/validate/outcome.h"

namespace salvor {

/// A file that begins inside another one, which is whole.
struct EmbeddedFile {
    std::int64_t startSector = 0;
    /// Its size is limited to the end of the file around it.
    Finding finding;
};

/// One file to write.
struct PlannedFile {
    /// In the file's order; at least one.
    std::vector<Extent> extents;
    /// Its size is the sum of all extents.
    Finding finding;
    Claims reported;
    /// Below the output folder.
    std::string path;
    /// The index of what a file system knows about it; -1 if unknown.
    std::int32_t known = -1;
    /// The path of the file in which it begins; empty for most.
    Phrase container;
    std::vector<EmbeddedFile> embedded;
    /// Filled in after planning.
    FileDetails details;
    /// The size passes the medium's end.
    bool cutAtEnd = false;
    /// The size is the largest that was asked for or that the scanner reports, so the file may be longer.
    bool atSizeCap = false;

    std::int64_t StartSector() const { return extents.front().startSector; }
    std::int64_t Size() const { return finding.size; }
    /// Factory indices of all types that claim it: its own first, the others ascending.
    std::vector<std::int32_t> Types() const;
};

/// The path of a file that is named after the sector at which it starts. `suffix` follows the number.
std::string UsualPath(const Finding& finding, std::int64_t startSector, const std::string& suffix = "");

/// The files of a plan. There may be millions, so they are kept packed, and each is unpacked when it is asked for.
class PlannedFiles {
public:
    class Iterator {
    public:
        using difference_type = std::ptrdiff_t;
        using value_type = PlannedFile;
        Iterator() = default;
        Iterator(const PlannedFiles& files, std::size_t index) : files_(&files), index_(index) {}
        PlannedFile operator*() const { return (*files_)[index_]; }
        Iterator& operator++() {
            ++index_;
            return *this;
        }
        Iterator operator++(int) { return {*files_, index_++}; }
        bool operator==(const Iterator& other) const { return index_ == other.index_; }

    private:
        const PlannedFiles* files_ = nullptr;
        std::size_t index_ = 0;
    };

    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }
    std::size_t size() const { return files_.size(); }
    bool empty() const { return files_.empty(); }
    PlannedFile operator[](std::size_t index) const;
    const Finding& FindingOf(std::size_t index) const { return files_[index].finding; }

    void push_back(const PlannedFile& file) { files_.push_back(Pack(file)); }
    void Replace(std::size_t index, const PlannedFile& file) { files_[index] = Pack(file); }
    void AddEmbedded(std::size_t index, const EmbeddedFile& file) {
        files_[index].rest.Change().embedded.push_back(file);
    }
    void SetDetails(std::size_t index, FileDetails details) {
        files_[index].rest.Change().details = std::move(details);
    }
    void clear() { files_.clear(); }
    void SortByStart();

    /// Removes the files for which `isUnwanted`, which is asked once for each, in order.
    template <class IsUnwanted>
    void EraseIf(IsUnwanted isUnwanted) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < files_.size(); ++i) {
            if (!isUnwanted((*this)[i])) {
                std::swap(files_[kept++], files_[i]);
            }
        }
        files_.resize(kept);
    }

private:
    // What few files have.
    struct Rest {
        // Empty for a file in one piece.
        std::vector<Extent> extents;
        // Empty for the usual one.
        std::string path;
        Phrase container;
        std::vector<EmbeddedFile> embedded;
        FileDetails details;
    };
    struct Packed {
        std::int64_t startSector = 0;
        Finding finding;
        Claims reported;
        std::int32_t known = -1;
        Seldom<Rest> rest;
        bool cutAtEnd = false;
        bool atSizeCap = false;
    };

    static Packed Pack(const PlannedFile& file);

    std::deque<Packed> files_;
};

}  // namespace salvor

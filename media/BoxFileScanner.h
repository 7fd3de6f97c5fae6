#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "formats/BoxWalk.h"
#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// A scanner for files of the ISO base media family, which are measured by walking their boxes.
///
/// `Self` has:
///   - `Identity`;
///   - `bool IsBrand(const std::uint8_t* brand)`: does this major brand of four characters belong to the type?
///   - `bool IsAccepted(std::uint32_t type)`: is this a box that the walk steps over?
///   - `CountsLastBoxWhole`: is a file whose last box reaches beyond the walk's limit reported with that box, rather
///     than up to the limit?
///
/// The size cap has no effect; the walk has its own limit. Sectors inside a reported file are examined like any other.
template <class Self>
class BoxFileScanner : public FileTypeBase<Self>, public RestAnswer<Self> {
public:
    std::int32_t Reset() override {
        walk_.Reset();
        return 1;
    }
    void SetMaxFileSize(std::int64_t /*size*/) override {}
    bool RestsAt(std::int64_t /*nextSector*/) const { return walk_.IsAtRest(); }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity) {
        return HeaderWordsOf(FileTypeBoxFilter, words, capacity);
    }

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        if (block->sectorCount < 1) {
            return;
        }
        walk_.EnterBlock(*block);
        ForEachSector(*block, FileTypeBoxFilter, [&](const Candidate& candidate) {
            const std::optional<FileTypeBox> box = FileTypeBoxOf(candidate.sector);
            if (!box || box->size == 0 || !Self::IsBrand(box->majorBrand)) {
                return;
            }
            if (const std::optional<BoxWalk::Result> file = walk_.Measure(candidate, box->size, Rules)) {
                const FoundFile found{candidate.startSector,
                                      Self::CountsLastBoxWhole ? file->end : std::min(file->end, file->limit)};
                sink->ReportFound(&found);
            }
        });
    }

private:
    static constexpr BoxRules Rules{.isAccepted = Self::IsAccepted, .isMain = IsMainBox};

    BoxWalk walk_;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// A scanner whose file opens at a header sector and runs, over any number of sectors and blocks, to a footer.
///
/// `Self` has:
///   - `Identity`, and `MinReportLength`: a file shorter than this many bytes is dropped without a report;
///   - where a file begins: `Signature` or `Filter`, `MinSectorBytes`, `bool IsHeader(ByteSpan sector)`; see
///     `FilterOf` and `BeginsFile`;
///   - `std::optional<std::size_t> FindEnd(ByteSpan sector)`: the offset just after the file's last byte, if the file
///     ends in this sector. The header's own sector is asked too. A scanner whose end reaches into the next sector
///     takes a `const Candidate&` instead.
///
/// Nothing but the header and the sector decides where a file ends. A new header closes the open file where it stands.
/// The cap bounds what is reported, not how long a file stays open.
template <class Self>
class RunScanner : public RunStateFileType<Self> {
public:
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        Self& type = this->self();
        RunState& run = this->run_;
        const auto& filter = FilterOf(type);
        const auto isInFile = [&run] {
            return run.inFile != 0;
        };
        ForEachSector(*block, filter, isInFile, [&](const Candidate& candidate) {
            const bool mayBegin = candidate.sector.size() < filter.Reach() || filter.Matches(candidate.sector.data());
            if (mayBegin && BeginsFile(type, candidate.sector)) {
                ReportOpenRun(run, Self::MinReportLength, sink);
                OpenRun(run, candidate.startSector);
            } else if (run.inFile == 0) {
                return;
            }
            if (const std::optional<std::size_t> end = FindEnd(type, candidate)) {
                run.runLength += static_cast<std::int64_t>(*end);
                ReportOpenRun(run, Self::MinReportLength, sink);
                CloseRun(run);
            } else {
                run.runLength += block->sectorSize;
            }
        });
    }

    /// A scanner with more state that outlives a block, and that the next header does not set, must answer for that
    /// too.
    bool RestsAt(std::int64_t /*nextSector*/) const { return this->run_.inFile == 0; }

    std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity) const {
        return HeaderWordsOf(FilterOf(static_cast<const Self&>(*this)), words, capacity);
    }

    static constexpr bool MayPassZeros = true;
    void Lengthen(std::int64_t /*firstSector*/, std::int64_t count, std::int32_t sectorSize) {
        this->run_.runLength += this->run_.inFile != 0 ? count * sectorSize : 0;
    }

private:
    static std::optional<std::size_t> FindEnd(Self& type, const Candidate& candidate) {
        if constexpr (requires { type.FindEnd(candidate); }) {
            return type.FindEnd(candidate);
        } else {
            return type.FindEnd(candidate.sector);
        }
    }
};

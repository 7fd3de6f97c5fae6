#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// A scanner that knows a file's length at its first sector: from the header's own fields, or by walking the file's
/// structure through a `KFileSimulator`.
///
/// `Self` has:
///   - `Identity`, and `MinReportLength`: a smaller size in bytes is not reported;
///   - where a file begins: `Signature` or `Filter`, `MinSectorBytes`, `bool IsHeader(ByteSpan sector)`; see
///     `FilterOf` and `BeginsFile`;
///   - `std::optional<std::int64_t> Measure(const Candidate& candidate)`: the file's length in bytes; nothing when its
///     end was not found, which leaves the file open until the next header.
///
/// Sectors inside a reported file are examined like any other.
template <class Self>
class MeasuringScanner : public RunStateFileType<Self> {
public:
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        Self& type = this->self();
        RunState& run = this->run_;
        ForEachSector(*block, FilterOf(type), [&](const Candidate& candidate) {
            if (!BeginsFile(type, candidate.sector)) {
                return;
            }
            // As in a run scanner. A measured file's run length stays 0, so nothing is reported here.
            ReportOpenRun(run, Self::MinReportLength, sink);
            OpenRun(run, candidate.startSector);
            if (const std::optional<std::int64_t> size = type.Measure(candidate)) {
                if (*size >= Self::MinReportLength) {
                    ReportCapped(sink, candidate.startSector, *size, run.maxSize);
                }
                CloseRun(run);
            }
        });
    }

    std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity) const {
        return HeaderWordsOf(FilterOf(static_cast<const Self&>(*this)), words, capacity);
    }

    /// A file left open is not reported later, as its run length stays 0.
    bool RestsAt(std::int64_t /*nextSector*/) const { return Self::MinReportLength > 0 || this->run_.inFile == 0; }
};

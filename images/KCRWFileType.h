#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "formats/CanonHeap.h"
#include "frame/read/Budget.h"
#include "frame/scan/RememberingScanner.h"

/// Canon camera raws from before CR2: a heap of values, and at its end the directory that lists them. Source: Canon,
/// CIFF Specification on Image Data File, version 1.0.
class KCRWFileType final : public RememberingScanner<KCRWFileType, Budget> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Crw];
    static constexpr auto Signature = CanonHeap::Signature;
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 512;

    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    // Empty until the first candidate.
    std::vector<std::uint8_t> ahead_;
};

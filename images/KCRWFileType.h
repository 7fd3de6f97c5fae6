#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/Budget.h"
#include "frame/scan/RememberingScanner.h"

/// Canon camera raws of the years before CR2: a heap of values and, behind all of them, the directory that names them.
/// Source: Canon, CIFF Specification on Image Data File, version 1.0.
class KCRWFileType final : public RememberingScanner<KCRWFileType, Budget> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[49];
    static constexpr FormatNotes Notes{
        .source = "Canon, CIFF Specification on Image Data File, version 1.0",
        .found = "Raw pictures; not the container's other flavour for JPEG.",
        .end = "The root directory, which is searched for, and the block that programs may append behind it; exact.",
        .limits = "Pictures of more than 32 MiB are not found."};
    /// Byte order, the heap's start, and the type of the container.
    static constexpr auto Signature = PatternOf("II\x1A\0\0\0HEAPCCDR");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 512;

    std::optional<std::int64_t> Measure(const Candidate& candidate);
};

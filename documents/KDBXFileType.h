#pragma once

#include <cstdint>
#include <optional>

#include "frame/MeasuringScanner.h"

/// Outlook Express message folders. Known by their class identifier and the length field of their header.
class KDBXFileType final : public MeasuringScanner<KDBXFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[33];
    static constexpr FormatNotes Notes{.source = "Known by its header only",
                                       .found = "Outlook Express message folders.",
                                       .end = "The header says where the last of its stores of segments ends.",
                                       .limits =
                                           "Files of 2 GiB and more, and the lists of folders and of messages "
                                           "taken offline, which have other identifiers."};
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};

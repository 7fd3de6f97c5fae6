#pragma once

#include "frame/scan/FileTypeBase.h"

/// Runs of 7-bit text that begin at a sector start. Nothing else marks a text file, so every run counts, wherever it
/// comes from. Source: ANSI X3.4 (US-ASCII).
class KTxtFileType final : public RunStateFileType<KTxtFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[28];
    static constexpr FormatNotes Notes{
        .source = "ANSI X3.4 (US-ASCII)",
        .found = "Runs of 256 and more bytes of plain 7-bit text that begin at a sector start.",
        .end = "The first byte that is no text; exact where the file is followed by zeros.",
        .limits =
            "A text that follows another one without a gap becomes part of it, and other encodings end at their "
            "first letter that is not in ASCII."};
    static constexpr std::int64_t MinReportLength = 256;

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
};

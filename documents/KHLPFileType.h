#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Windows Help files: the header gives the file's size and the place of a directory (a tree of names), which confirms
/// it. Sources: M. Winterhoff, Windows Help File Format; the magic data of file(1).
class KHLPFileType final : public WalkingScanner<KHLPFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Hlp];
    static constexpr auto Signature = PatternOf("?_\x03\0");
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = 0x7FFFFFFF;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};

#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Windows Help files: the header gives the file's size and the place of a directory, a tree of names, that proves it.
/// Sources: M. Winterhoff, Windows Help File Format; the magic data of file(1).
class KHLPFileType final : public WalkingScanner<KHLPFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[29];
    static constexpr FormatNotes Notes{
        .source = "M. Winterhoff, Windows Help File Format; the magic data of file(1)",
        .found =
            "Windows Help of all versions, and the index, annotation and multimedia viewer files of its container.",
        .end = "The size that the header states, once the directory has proved it. Exact.",
        .limits = "A file whose directory is damaged or stored apart from its start is not found."};
    static constexpr auto Signature = PatternOf("?_\x03\0");
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = 0x7FFFFFFF;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};

#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// SQL Server data files: the file header on the first page states the size in pages, as it was when the server last
/// wrote that page; the maps of free extents tell how far the file has grown since.
/// Sources: OrcaMDF; sqlsimplified, File Header Page; P. Randal, file header pages and torn pages; B. Siron, notes on
/// the structure of data files.
class KMdfFileType final : public WalkingScanner<KMdfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[72];
    static constexpr FormatNotes Notes{
        .source =
            "OrcaMDF; sqlsimplified, File Header Page; P. Randal, file header pages and torn pages; B. Siron, "
            "structure of data files",
        .found = "Primary and secondary data files of SQL Server, with and without page checksums.",
        .end =
            "The size in the file header, grown by the file's own step as far as extents are in use. Exact as a rule.",
        .limits =
            "Where the file header is damaged, free extents at the end are not counted. Log files are not found."};
    /// A page's header begins with its version, 1, and its type.
    static constexpr auto Signature = PatternOf("\x01\x0F\0\0");
    static constexpr std::int64_t MinReportLength = 196608;
    /// As many pages as a file may have.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 44;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};

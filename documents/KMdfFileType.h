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
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mdf];
    /// A page's header begins with its version, 1, and its type.
    static constexpr auto Signature = PatternOf("\x01\x0F\0\0");
    static constexpr std::int64_t MinReportLength = 196608;
    /// As many pages as a file may have.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 44;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};

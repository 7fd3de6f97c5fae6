#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// SQL Server data files: the file header on the first page has the size in pages as of when the server last wrote that
/// page; the maps of free extents show how far the file has grown since. Sources: OrcaMDF; sqlsimplified, File Header
/// Page; P. Randal, file header pages and torn pages; B. Siron, notes on the structure of data files.
class KMdfFileType final : public WalkingScanner<KMdfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mdf];
    /// A page header begins with version 1 and the page's type.
    static constexpr auto Signature = PatternOf("\x01\x0F\0\0");
    static constexpr std::int64_t MinReportLength = 196608;
    /// The most pages that a file can have.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 44;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};

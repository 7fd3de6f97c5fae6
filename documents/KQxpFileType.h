#pragma once

#include "documents/QuarkChains.h"

/// QuarkXPress documents and projects. Sources: the libqxp project and its test documents; the layout of release 5 and
/// later is read off files.
class KQxpFileType final : public QuarkFileType<KQxpFileType, QuarkKind::Project> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[100];
    static constexpr FormatNotes Notes{
        .source = "The libqxp project; PRONOM fmt/1318, fmt/1319 and fmt/1494",
        .found = "Documents of releases 3.1 to 5 and projects of release 6 and later, for Macintosh and Windows.",
        .end = "The last block that one of the file's chains of blocks covers; exact.",
        .limits = "Releases 1 and 2 have no signature. Libraries and books are not reported."};
};

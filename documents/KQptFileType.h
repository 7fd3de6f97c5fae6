#pragma once

#include "documents/QuarkChains.h"

/// QuarkXPress templates: documents and projects but for the letters in their headers.
class KQptFileType final : public QuarkFileType<KQptFileType, QuarkKind::Template> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[101];
    static constexpr FormatNotes Notes{
        .source = "The libqxp project; PRONOM fmt/1318, fmt/1319 and fmt/1494",
        .found = "Templates of release 4 and later, for Macintosh and Windows.",
        .end = "The last block that one of the file's chains of blocks covers; exact.",
        .limits = "Templates of release 3 are no different from documents and are reported as such."};
};

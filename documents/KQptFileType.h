#pragma once

#include "documents/QuarkFileType.h"

/// QuarkXPress templates: like documents and projects, but with other letters in the header.
class KQptFileType final : public QuarkFileType<KQptFileType, QuarkKind::Template> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Qpt];
};

#pragma once

#include "documents/QuarkFileType.h"

/// QuarkXPress templates: documents and projects but for the letters in their headers.
class KQptFileType final : public QuarkFileType<KQptFileType, QuarkKind::Template> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Qpt];
};

#pragma once

#include "documents/QuarkFileType.h"

/// QuarkXPress documents and projects. Sources: the libqxp project and its test documents; the layout of release 5 and
/// later was worked out from files.
class KQxpFileType final : public QuarkFileType<KQxpFileType, QuarkKind::Project> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Qxp];
};

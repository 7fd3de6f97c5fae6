#pragma once

#include "media/EbmlFileType.h"

/// WebM files. Source: the WebM container guidelines.
class KWebmFileType final : public EbmlFileType<KWebmFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Webm];
    // The last byte of the element's identifier, the size, the text.
    static constexpr auto DocType = PatternOf("\x82\x84webm");
};

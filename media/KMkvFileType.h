#pragma once

#include "media/EbmlFileType.h"

/// Matroska files. Source: RFC 9559.
class KMkvFileType final : public EbmlFileType<KMkvFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mkv];
    // The last byte of the element's identifier, the size, the text.
    static constexpr auto DocType = PatternOf("\x82\x88matroska");
};

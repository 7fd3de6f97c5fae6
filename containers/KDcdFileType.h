#pragma once

#include "containers/KCompoundFileType.h"

/// DesignCAD drawings, known by five of their streams.
class KDcdFileType final : public CompoundDocument<KDcdFileType, FileTypeIndex::Dcd, KCompoundFileType::DesignCad> {
public:
};

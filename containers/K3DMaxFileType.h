#pragma once

#include "containers/KCompoundFileType.h"

/// 3D Studio MAX scenes, known by five of their streams.
class K3DMaxFileType final : public CompoundDocument<K3DMaxFileType, FileTypeIndex::Max, KCompoundFileType::Max3D> {
public:
};

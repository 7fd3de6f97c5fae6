#pragma once

#include "containers/KCompoundFileType.h"

/// Quattro Pro notebooks: a stream "NativeContent_MAIN".
class KQpwFileType final : public CompoundDocument<KQpwFileType, FileTypeIndex::Qpw, KCompoundFileType::QuattroPro> {
public:
};

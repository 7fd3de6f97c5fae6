#pragma once

#include "containers/KCompoundFileType.h"

/// 3D Studio MAX scenes, known by five of their streams.
class K3DMaxFileType final : public CompoundDocument<K3DMaxFileType, 87, KCompoundFileType::Max3D> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "3D Studio MAX scenes, known by five of their streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};

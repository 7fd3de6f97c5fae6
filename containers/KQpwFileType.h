#pragma once

#include "containers/KCompoundFileType.h"

/// Quattro Pro notebooks: a stream "NativeContent_MAIN".
class KQpwFileType final : public CompoundDocument<KQpwFileType, 99, KCompoundFileType::QuattroPro> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Quattro Pro notebooks, known by one stream.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};

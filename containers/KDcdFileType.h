#pragma once

#include "containers/KCompoundFileType.h"

/// DesignCAD drawings, known by five of their streams.
class KDcdFileType final : public CompoundDocument<KDcdFileType, 80, KCompoundFileType::DesignCad> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "DesignCAD drawings, known by five of their streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};

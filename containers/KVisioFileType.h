#pragma once

#include "containers/KCompoundFileType.h"

/// Visio drawings: streams "VisioDocument" and "VisioInformation" and both summaries.
class KVisioFileType final : public CompoundDocument<KVisioFileType, FileTypeIndex::Vsd, KCompoundFileType::Visio> {
public:
};

#pragma once

#include "containers/KCompoundFileType.h"

/// Visio drawings: streams "VisioDocument" and "VisioInformation" and both summaries.
class KVisioFileType final : public CompoundDocument<KVisioFileType, 3, KCompoundFileType::Visio> {};

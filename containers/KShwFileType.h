#pragma once

#include "containers/KCompoundFileType.h"

/// Corel Presentations slide shows: a stream "SlideShow" beside the office suite's own.
class KShwFileType final : public CompoundDocument<KShwFileType, FileTypeIndex::Shw, KCompoundFileType::SlideShow> {
public:
};

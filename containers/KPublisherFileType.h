#pragma once

#include "containers/KCompoundFileType.h"

/// Publisher documents: a stream "Contents", a class name and both summaries.
class KPublisherFileType final
    : public CompoundDocument<KPublisherFileType, FileTypeIndex::Pub, KCompoundFileType::Publisher> {
public:
};

#pragma once

#include "containers/KCompoundFileType.h"

/// Excel workbooks: a stream "Workbook" or "Book" and both summaries.
class KExcelFileType final : public CompoundDocument<KExcelFileType, FileTypeIndex::Xls, KCompoundFileType::Excel> {
public:
};

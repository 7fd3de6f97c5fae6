#pragma once

#include "containers/KCompoundFileType.h"

/// Excel workbooks: a stream "Workbook" or "Book" and both summaries.
class KExcelFileType final : public CompoundDocument<KExcelFileType, 1, KCompoundFileType::Excel> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Excel 5.0 to 2003, with both summary streams.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};

#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft spreadsheets, which name their streams as Excel workbooks do: every workbook is reported as both.
class KEtFileType final : public CompoundDocument<KEtFileType, 83, KCompoundFileType::Spreadsheet> {
public:
    static constexpr FormatNotes Notes{.source = CompoundNotes::Source,
                                       .found = "Every workbook that is reported as an Excel document.",
                                       .end = CompoundNotes::End,
                                       .limits = CompoundNotes::Limits};
};

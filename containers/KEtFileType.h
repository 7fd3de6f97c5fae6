#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft spreadsheets, which name their streams as Excel workbooks do: every workbook is reported as both.
class KEtFileType final : public CompoundDocument<KEtFileType, FileTypeIndex::Et, KCompoundFileType::Spreadsheet> {
public:
};

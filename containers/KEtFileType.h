#pragma once

#include "containers/KCompoundFileType.h"

/// Kingsoft spreadsheets. Their streams have the same names as Excel's, so every workbook is reported as both.
class KEtFileType final : public CompoundDocument<KEtFileType, FileTypeIndex::Et, KCompoundFileType::Spreadsheet> {
public:
};

#pragma once

#include <cstdint>

#include "frame/contract/IRawFileTypeFactory.h"
#include "frame/scan/FormatNotes.h"

/// The factory behind `GetRawFileTypeFactory`.
class KRawFileTypeFactory : public IRawFileTypeFactory {
public:
    std::int32_t GetCount() override;
    IRawFileType* Create(std::int32_t index) override;
};

/// What the type of a factory index, 0 to `FileTypeCount` - 1, says of its format.
const FormatNotes& FormatNotesOf(std::int32_t index);

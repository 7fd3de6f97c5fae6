#pragma once

#include <cstdint>

#include "FoundFile.h"
#include "SlotZero.h"

/// The host's receiver of finds. Implemented and owned by the host.
class IFoundFileSink {
public:
    IFoundFileSink() = default;
    IFoundFileSink(const IFoundFileSink&) = delete;
    IFoundFileSink& operator=(const IFoundFileSink&) = delete;

    /// Slot 0 belongs to the host; the library never destroys a sink.
    RAWFILETYPES_SLOT_ZERO(IFoundFileSink)

    /// Slot 1: takes one find. `file` is borrowed for the call: the sink copies what it keeps, and reads nothing after
    /// the two fields of `FoundFile`. The result is ignored.
    virtual std::int32_t ReportFound(const FoundFile* file) = 0;
};

#pragma once

#include <cstdint>

#include "IFoundFileSink.h"
#include "ISectorSource.h"
#include "SectorBlock.h"
#include "SlotZero.h"

/// `IRawFileType::QueryInfo` returns this when it does not answer the request.
inline constexpr std::int32_t QueryFailed = 0x65B;

/// A scanner for one file type. Created by `IRawFileTypeFactory::Create`, owned by the host, given back with `Release`.
///
/// A scan is `BeginScan`, optionally `SetMaxFileSize`, then `ScanBlock` for every block in ascending, contiguous
/// sector order, then `EndScan`; the same object may then scan again. One thread at a time may use a scanner, and the
/// types of one family share state (see `IRawFileTypeFactory`). The order of the declarations is the order of the
/// slots in the virtual table and never changes.
class IRawFileType {
public:
    IRawFileType() = default;
    IRawFileType(const IRawFileType&) = delete;
    IRawFileType& operator=(const IRawFileType&) = delete;

    RAWFILETYPES_SLOT_ZERO(IRawFileType)

    /// Restores the state of a new scanner: default size cap, no open file. Returns 1.
    virtual std::int32_t Reset() = 0;

    /// Copies the display name: at most `capacity - 1` bytes, a shorter name followed by zeros up to that count, a name
    /// of `capacity - 1` or more characters cut and without terminator. The byte at index `capacity - 1` is never
    /// written: zero the buffer first. A null buffer is left alone. `capacity` is at least 1.
    virtual void GetTypeName(char* buffer, std::uint32_t capacity) = 0;

    /// The same for the extension, which has no dot ("doc").
    virtual void GetExtension(char* buffer, std::uint32_t capacity) = 0;

    /// Starts a scan; returns what `Reset` returns.
    virtual std::int32_t BeginScan() = 0;

    /// Ends a scan and drops a file that is still open; returns what `Reset` returns.
    virtual std::int32_t EndScan() = 0;

    /// Examines the block's sectors in order and calls the sink once for every file that it closes. Neither pointer is
    /// null; both are borrowed for the call. `FileTypeIdentity::dependsOnBlocks` says how large blocks should be.
    virtual void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) = 0;

    /// Sets the largest size in bytes that is reported, until the next `Reset`. Types served by a shared engine
    /// ignore it.
    virtual void SetMaxFileSize(std::int64_t size) = 0;

    /// Reserved: slot 8 does nothing and always returns 0.
    virtual std::int32_t ReservedQuery8() = 0;

    /// Destroys the scanner.
    virtual void Release() = 0;

    /// Reserved: slot 10 does nothing and always returns 0.
    virtual std::int32_t ReservedQuery10() = 0;

    /// Types that publish a size range answer request 0 with an output of exactly 16 bytes: two signed 64-bit values,
    /// the smallest and the largest plausible size in bytes, and the result 0; every other request gets `QueryFailed`
    /// and writes nothing. All other types write nothing and return 0.
    virtual std::int32_t QueryInfo(std::int32_t what, void* out, std::int32_t outSize) = 0;
};

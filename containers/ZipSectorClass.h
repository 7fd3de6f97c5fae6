#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// Searches a sector of an open archive for the first of these:
///   - the footer, the first eight bytes of an end-of-central-directory record that names disk 0 twice: gives the
///     offset of the end of the record's fixed part, which may be past the sector's end;
///   - while `kind` is `ZipKind::Plain`, a name that decides the kind, in any letter case: sets `kind` and gives
///     nothing, even if a footer follows in the same sector.
/// Footers and names count only if they end before the sector's last byte.
std::optional<std::size_t> ClassifyZipSector(ByteSpan sector, std::int32_t& kind);

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// Examines a sector of an open archive from its first byte on, up to the first of these:
///   - the end mark, the first eight bytes of an end-of-central-directory record that names disk 0 twice: gives the
///     offset behind the record's fixed part, which may lie behind the sector's end;
///   - while `kind` is `ZipKind::Plain`, a name that decides the kind, in any letter case: sets `kind` and gives
///     nothing, even if an end mark follows in the same sector.
/// Marks and names count only if they end before the sector's last byte.
std::optional<std::size_t> ClassifyZipSector(ByteSpan sector, std::int32_t& kind);

#pragma once

#include "tests/support/Medium.h"

namespace test {

/// The headers of mail folders, with the fields that say where the files end.
Bytes PersonalFolders(std::uint32_t shortEnd, std::uint32_t longEnd);
Bytes ExpressFolder(std::uint32_t lastSegment);

/// A stored message in sectors of 512 bytes: the header, the directory, three sectors of streams, then the table with
/// `chained` entries of chains, the end of the last one, `own` entries for the table's own sectors and free entries.
Bytes StoredMessage(std::size_t chained = 5, std::size_t own = 1);

}  // namespace test

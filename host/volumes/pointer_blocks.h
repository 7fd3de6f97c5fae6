#pragma once

#include <cstdint>
#include <vector>

#include "host/medium/scan_medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/known_file.h"

namespace salvor {

/// The extents of files of ext2 and ext3 whose inodes are lost. The first 12 blocks of such a file are followed by a
/// block with the numbers of the next ones, most of which lie behind it. Looks at outcomes that such a block may have
/// spoilt, and at the starts, which ascend like them, that became no outcome. The files are deleted and rebuilt, in
/// sectors of the image. Reads little more than these blocks. Source: the second extended file system's `i_block`.
std::vector<KnownFile> FollowPointerBlocks(const Outcomes& outcomes, const std::vector<std::int64_t>& starts,
                                           const ScanMedium& scanned);

}  // namespace salvor

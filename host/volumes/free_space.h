#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/volumes/knowledge.h"

namespace salvor {

/// The most pieces of free space that a worker has room for, at 16 bytes each.
inline constexpr std::size_t MostPieces = std::size_t{4} << 20U;

/// The sectors in `range` that no file system uses and, if `kind` says so, the slack. What is free within one volume,
/// or between two volumes, is joined. A gap follows, and the next part begins at a multiple of 64 KiB, so that clusters
/// are aligned in the space as in their volume. The slack of each file is separate from everything else. Stops at
/// `MostPieces`.
std::shared_ptr<const Space> SpaceOf(const Knowledge& knowledge, SpaceKind kind, SectorRange range,
                                     const Medium& medium);

/// The deleted files among these that begin in the space, in its sectors. What is outside the space no longer belongs
/// to them.
std::vector<KnownFile> FilesInSpace(std::vector<KnownFile> files, const Space& space);

}  // namespace salvor

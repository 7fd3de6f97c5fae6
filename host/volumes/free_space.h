#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/volumes/knowledge.h"

namespace salvor {

/// More pieces of free space than a worker has room for, at 16 bytes each.
inline constexpr std::size_t MostPieces = std::size_t{4} << 20U;

/// What of a medium's sectors in `range` no file system uses, and the slack if that is asked for. What is free in one
/// volume, or lies between two of them, is joined. Behind it comes a gap, and what follows begins where the offset is a
/// multiple of 64 KiB, so that clusters lie in the space as in their volume. The slack of each file is apart from
/// all else. Ends when there are `MostPieces`.
std::shared_ptr<const Space> SpaceOf(const Knowledge& knowledge, SpaceKind kind, SectorRange range,
                                     const Medium& medium);

/// The deleted ones of these files that begin in the space, in its sectors. What lies outside of it is not theirs any
/// more.
std::vector<KnownFile> FilesInSpace(std::vector<KnownFile> files, const Space& space);

}  // namespace salvor

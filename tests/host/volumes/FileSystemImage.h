#pragma once

#include <map>
#include <string>

#include "host/medium/medium.h"
#include "host/volumes/knowledge.h"
#include "tests/host/TestFiles.h"

namespace salvor::test {

/// Runs a script in the folder with the shell; false if one of its commands fails.
bool RunScript(const TempFolder& folder, const std::string& script);

/// The kinds of file systems for which images can be made without mounting them.
inline constexpr const char* FileSystemKinds[] = {"FAT16", "FAT32", "exFAT",   "ext2", "ext4",
                                                  "NTFS",  "HFS+",  "ISO9660", "UFS1"};

/// Makes `image` in the folder, with files of `Pattern` bytes: `dir/gap1` and `dir/gap2`, removed, and `dir/pieces`,
/// which fills the gaps and goes on elsewhere, `dir/gone`, removed and left alone, and `dir/kept`. Where no tool
/// removes files all of them live, and each lies together. `contents` may hold others by name, and more, which `then`
/// may `put` into `dir` and `remove`, each on a line. Empty, or the names of
/// missing tools.
std::string MakeFileSystem(const TempFolder& folder, const std::string& kind,
                           const std::map<std::string, Bytes>& contents = {}, const std::string& then = "");

/// A sound of noise with silence in the middle and at its end, for which some file systems keep no blocks.
Bytes SoundWithSilence();

/// Writes an entry of a partition table into the first sector.
void PutPartition(Bytes& image, std::size_t index, std::uint8_t type, std::uint32_t first, std::uint32_t count);

/// All that `ReadVolumes` finds out about the medium.
Knowledge Learn(Medium& medium);

/// The bytes of extents of the medium.
Bytes Join(Medium& medium, const std::vector<Extent>& extents);

}  // namespace salvor::test

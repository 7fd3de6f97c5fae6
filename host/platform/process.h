#pragma once

#include "host/platform/folder.h"

namespace salvor {

/// Makes sure that the descriptors of the standard streams are in use: one that was closed must not be reused for a
/// file that is written.
void OccupyStandardStreams();

/// Memory that is freed stays with the process, some MiB of it, so that blocks which are taken and freed over and over
/// are not cleared by the system each time.
void KeepFreedMemory();

/// Gives up the rights of root, which were needed to open the medium and the folder: goes on as the folder's owner, or
/// as the user who called `sudo` if the folder is `isNew`, which becomes theirs. Keeps them where the folder, or one in
/// it, is root's own.
void GiveUpRootRights(const Folder& folder, bool isNew);

/// The same for a run that opens nothing more: goes on as that user, or as nobody.
void GiveUpRootRights();

}  // namespace salvor

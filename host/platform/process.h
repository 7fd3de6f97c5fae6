#pragma once

#include "host/platform/folder.h"

namespace salvor {

/// Makes sure that the descriptors of the standard streams are in use: one that was closed must not be reused for a
/// file that is written.
void OccupyStandardStreams();

/// Keeps some MiB of freed memory in the process, so that the system need not clear blocks that are allocated and freed
/// over and over.
void KeepFreedMemory();

/// Gives up root's rights, which were needed to open the medium and the folder. Goes on as the folder's owner or, if
/// the folder is `isNew`, as the user who called `sudo`, who becomes its owner. Keeps the rights if root owns the
/// folder or one in it.
void GiveUpRootRights(const Folder& folder, bool isNew);

/// The same for a run that opens nothing more: goes on as that user, or as nobody.
void GiveUpRootRights();

}  // namespace salvor

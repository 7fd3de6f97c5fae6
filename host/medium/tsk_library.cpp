#include "host/medium/tsk_library.h"

#include "host/say/failure.h"

namespace salvor {

TskLibrary::TskLibrary() : library_(SALVOR_TSK_LIBRARY) {
    library_.Take(errorGet, "tsk_error_get");
    library_.Take(errorReset, "tsk_error_reset");
    library_.Take(imageOpen, "tsk_img_open_utf8_sing");
    library_.Take(imageOpenExternal, "tsk_img_open_external");
    library_.Take(imageRead, "tsk_img_read");
    library_.Take(imageClose, "tsk_img_close");
    library_.Take(tableOpen, "tsk_vs_open");
    library_.Take(tableClose, "tsk_vs_close");
    library_.Take(fileSystemOpen, "tsk_fs_open_img");
    library_.Take(fileSystemClose, "tsk_fs_close");
    library_.Take(blockWalk, "tsk_fs_block_walk");
    library_.Take(folderWalk, "tsk_fs_dir_walk");
    library_.Take(metaWalk, "tsk_fs_meta_walk");
    library_.Take(fileAttribute, "tsk_fs_file_attr_get");
    library_.Take(fileAttributeCount, "tsk_fs_file_attr_getsize");
    library_.Take(fileAttributeAt, "tsk_fs_file_attr_get_idx");
}

const TskLibrary& TskLibrary::Get() {
    static const TskLibrary library;
    if (!library.library_.HasAll()) {
        throw Failure(ExitStatus::NotStarted,
                      "the library for file systems and images, " SALVOR_TSK_LIBRARY ", cannot be loaded");
    }
    return library;
}

}  // namespace salvor

#pragma once

#include <tsk/libtsk.h>

#include "host/platform/shared_library.h"

namespace salvor {

/// The functions of libtsk, which brings some thirty libraries along and so is loaded by the processes that need it.
class TskLibrary {
public:
    /// Loads the library when it is first called. Throws `Failure`: not started if there is none.
    static const TskLibrary& Get();

    decltype(tsk_error_get)* errorGet = nullptr;
    decltype(tsk_error_reset)* errorReset = nullptr;
    decltype(tsk_img_open_utf8_sing)* imageOpen = nullptr;
    decltype(tsk_img_open_external)* imageOpenExternal = nullptr;
    decltype(tsk_img_read)* imageRead = nullptr;
    decltype(tsk_img_close)* imageClose = nullptr;
    decltype(tsk_vs_open)* tableOpen = nullptr;
    decltype(tsk_vs_close)* tableClose = nullptr;
    decltype(tsk_fs_open_img)* fileSystemOpen = nullptr;
    decltype(tsk_fs_close)* fileSystemClose = nullptr;
    decltype(tsk_fs_block_walk)* blockWalk = nullptr;
    decltype(tsk_fs_dir_walk)* folderWalk = nullptr;
    decltype(tsk_fs_meta_walk)* metaWalk = nullptr;
    decltype(tsk_fs_file_attr_get)* fileAttribute = nullptr;
    decltype(tsk_fs_file_attr_getsize)* fileAttributeCount = nullptr;
    decltype(tsk_fs_file_attr_get_idx)* fileAttributeAt = nullptr;

private:
    TskLibrary();

    SharedLibrary library_;
};

}  // namespace salvor

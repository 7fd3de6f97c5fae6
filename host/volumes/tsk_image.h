#pragma once

#include <cstdint>
#include <memory>

#include "host/medium/medium.h"
#include "host/medium/tsk_library.h"
#include "host/volumes/read_volumes.h"

namespace salvor {

/// A medium in the form that the file system library reads. Unreadable sectors are zeros.
class TskImage {
public:
    /// Both outlive this. Once `allowance` bytes have been read, or the sink requests a stop, every read fails.
    TskImage(Medium& medium, std::int64_t allowance, VolumeSink& sink);
    TskImage(const TskImage&) = delete;
    TskImage& operator=(const TskImage&) = delete;
    ~TskImage();

    TSK_IMG_INFO* Get() { return &info_; }
    /// True once no more may be read.
    bool IsExhausted() const { return info_.isExhausted; }
    std::int64_t Allowance() const { return info_.allowance; }

private:
    // The library knows only the base class.
    struct Info : TSK_IMG_INFO {
        Medium* medium = nullptr;
        VolumeSink* sink = nullptr;
        std::int64_t allowance = 0;
        bool isExhausted = false;
    };

    static ssize_t Read(TSK_IMG_INFO* image, TSK_OFF_T offset, char* buffer, size_t length);

    Info info_{};
};

struct CloseTsk {
    void operator()(TSK_VS_INFO* table) const { TskLibrary::Get().tableClose(table); }
    void operator()(TSK_FS_INFO* fileSystem) const { TskLibrary::Get().fileSystemClose(fileSystem); }
};
using TskTable = std::unique_ptr<TSK_VS_INFO, CloseTsk>;
using TskFileSystem = std::unique_ptr<TSK_FS_INFO, CloseTsk>;

}  // namespace salvor

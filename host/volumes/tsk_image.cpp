#include "host/volumes/tsk_image.h"

#include <algorithm>

namespace salvor {

TskImage::TskImage(Medium& medium, std::int64_t allowance, VolumeSink& sink) {
    info_.medium = &medium;
    info_.sink = &sink;
    info_.allowance = allowance;
    // Nothing needs to be freed at the end, and nothing printed.
    const auto close = [](TSK_IMG_INFO*) {
    };
    const auto tell = [](TSK_IMG_INFO*, FILE*) {
    };
    TskLibrary::Get().imageOpenExternal(static_cast<TSK_IMG_INFO*>(&info_), medium.SizeInBytes(),
                                        static_cast<unsigned>(medium.SectorSize()), Read, close, tell);
}

TskImage::~TskImage() { TskLibrary::Get().imageClose(&info_); }

ssize_t TskImage::Read(TSK_IMG_INFO* image, TSK_OFF_T offset, char* buffer, size_t length) {
    auto& info = *static_cast<Info*>(image);
    const auto wanted = static_cast<std::int64_t>(length);
    Medium& medium = *info.medium;
    info.isExhausted = info.isExhausted || wanted > info.allowance || info.sink->StopRequested();
    if (info.isExhausted || offset < 0 || offset >= medium.SizeInBytes()) {
        return -1;
    }
    info.allowance -= wanted;
    const std::int64_t bytes = std::min(wanted, medium.SizeInBytes() - offset);
    const std::int64_t sectorSize = medium.SectorSize();
    const std::int64_t first = offset / sectorSize;
    const std::int64_t count = (offset + bytes + sectorSize - 1) / sectorSize - first;
    std::vector<std::uint8_t> sectors(static_cast<std::size_t>(count * sectorSize));
    medium.Read(first, sectors.data(), count);
    std::copy_n(sectors.begin() + (offset - first * sectorSize), bytes, buffer);
    return bytes;
}

}  // namespace salvor

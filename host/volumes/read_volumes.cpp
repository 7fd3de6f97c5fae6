#include "host/volumes/read_volumes.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/volumes/file_system.h"
#include "host/volumes/tsk_image.h"
#include "host/volumes/volume_signatures.h"

namespace salvor {

namespace {

// More than any valid table has.
constexpr std::size_t MostVolumes = 256;

class VolumeReader {
public:
    VolumeReader(Medium& medium, const VolumesRequest& request, VolumeSink& sink)
        : medium_(medium), request_(request), sink_(sink), image_(medium, request.allowance, sink) {}

    void Read() {
        TakeTable();
        if (std::ranges::none_of(volumes_, [](const Volume& volume) { return volume.sectors.first == 0; })) {
            TakeWholeMedium();
        }
        std::ranges::stable_sort(volumes_, {}, [](const Volume& volume) { return volume.sectors.first; });
        for (std::size_t i = 0; i < volumes_.size(); ++i) {
            volumes_[i].number = static_cast<std::int32_t>(i) + 1;
            sink_.OnVolume(volumes_[i]);
        }
        for (const Volume& volume : volumes_) {
            if (volume.isReadable && (request_.withUsed || request_.withFiles)) {
                TellContent(volume);
            }
        }
    }

private:
    void TakeTable() {
        const TskTable table(TskLibrary::Get().tableOpen(image_.Get(), 0, TSK_VS_TYPE_DETECT));
        if (!table) {
            return;
        }
        const std::int64_t sectorSize = medium_.SectorSize();
        for (const TSK_VS_PART_INFO* part = table->part_list; part != nullptr; part = part->next) {
            const bool isVolume = (part->flags & TSK_VS_PART_FLAG_ALLOC) != 0 &&
                                  (part->flags & TSK_VS_PART_FLAG_META) == 0 && part->len > 0;
            const auto most = static_cast<TSK_DADDR_T>(medium_.SizeInBytes() / std::max(table->block_size, 1U));
            if (!isVolume || part->start >= most || volumes_.size() == MostVolumes) {
                continue;
            }
            const auto first = static_cast<std::int64_t>(part->start) * table->block_size;
            const auto count = static_cast<std::int64_t>(std::min(part->len, most - part->start)) * table->block_size;
            Volume volume;
            volume.sectors.first = (first + sectorSize - 1) / sectorSize;
            volume.sectors.count = (first + count) / sectorSize - volume.sectors.first;
            volume.description = part->desc == nullptr ? "" : part->desc;
            if (volume.sectors.count > 0) {
                volumes_.push_back(Named(std::move(volume)));
            }
        }
    }

    // A medium without a partition table, or with a useless one, may be a single file system.
    void TakeWholeMedium() {
        Volume volume = Named({0, {0, medium_.SectorCount()}, "", "", false, 0});
        if (!volume.fileSystem.empty()) {
            volumes_.push_back(std::move(volume));
        }
    }

    Volume Named(Volume volume) {
        volume.fileSystem = NameBySignature(medium_, volume.sectors.first);
        if (volume.fileSystem.empty()) {
            if (const auto opened = FileSystem::Open(image_, medium_, volume.sectors.first)) {
                volume.fileSystem = opened->Name();
                volume.isReadable = opened->IsEven();
                volume.clusterBytes = opened->ClusterSize();
                volume.firstCluster = opened->FirstCluster();
                if (volume.description.empty()) {
                    volume.sectors.count = opened->Size() / medium_.SectorSize();
                }
            }
        }
        return volume;
    }

    void TellContent(const Volume& volume) {
        const auto opened = FileSystem::Open(image_, medium_, volume.sectors.first);
        if (opened && request_.withUsed) {
            opened->TellUsed(sink_);
        }
        if (opened && request_.withFiles) {
            opened->TellFiles(volume.number, sink_);
        }
    }

    Medium& medium_;
    const VolumesRequest& request_;
    VolumeSink& sink_;
    TskImage image_;
    std::vector<Volume> volumes_;
};

}  // namespace

void ReadVolumes(Medium& medium, const VolumesRequest& request, VolumeSink& sink) {
    VolumeReader(medium, request, sink).Read();
}

}  // namespace salvor

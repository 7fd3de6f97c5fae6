#include <FileTypeCatalog.h>
#include <IRawFileTypeFactory.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

struct PrintingSink : IFoundFileSink {
    std::int32_t ReportFound(const FoundFile* file) override {
        return std::printf("png at %" PRId64 ", %" PRId64 " bytes\n", file->startSector, file->size);
    }
};

int main() {
    std::uint8_t bytes[1024] = {};
    std::memcpy(bytes, "\x89PNG\r\n\x1A\n", 8);
    std::memcpy(bytes + 292, "IEND\xAE\x42\x60\x82", 8);
    const SectorBlock block{1, bytes, 2, 512, nullptr};
    PrintingSink sink;
    IRawFileTypeFactory* const factory = GetRawFileTypeFactory();
    std::printf("%d types\n", factory->GetCount());
    IRawFileType* const png = factory->Create(FileTypeIndex::Png);
    png->ScanBlock(&block, &sink);
    png->Release();
}

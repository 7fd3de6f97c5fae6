#include "frame/KRawFileTypeFactory.h"

#include <iterator>
#include <new>

#include "containers/K3DMaxFileType.h"
#include "containers/K7ZipFileType.h"
#include "containers/KCabFileType.h"
#include "containers/KDcdFileType.h"
#include "containers/KDpsFileType.h"
#include "containers/KEtFileType.h"
#include "containers/KExcel2007FileType.h"
#include "containers/KExcelFileType.h"
#include "containers/KFlaFileType.h"
#include "containers/KJarFileType.h"
#include "containers/KOdfFileType.h"
#include "containers/KOpenOfficeDataBaseFile.h"
#include "containers/KOpenOfficeDrawingFile.h"
#include "containers/KOpenOfficePresentationFile.h"
#include "containers/KOpenOfficeSheetFile.h"
#include "containers/KOpenOfficeTextFile.h"
#include "containers/KP65FileType.h"
#include "containers/KPowerPoint2007FileType.h"
#include "containers/KPowerPointFileType.h"
#include "containers/KProjectFileType.h"
#include "containers/KPublisherFileType.h"
#include "containers/KPxlFileType.h"
#include "containers/KQpwFileType.h"
#include "containers/KRarFileType.h"
#include "containers/KShwFileType.h"
#include "containers/KVisioFileType.h"
#include "containers/KWord2007FileType.h"
#include "containers/KWordFileType.h"
#include "containers/KZipFileType.h"
#include "frame/Bytes.h"
#include "frame/CFireFoxBookmarkType.h"
#include "frame/KHeadTailFileTemplate.h"
#include "frame/contract/FileTypeCatalog.h"
#include "images/KExifJpgFileType.h"
#include "images/KJPGFileType.h"
#include "images/KPngFileType.h"

namespace {

using Creator = IRawFileType* (*)();

// The type has no scanner in this build.
constexpr Creator NotBuilt = nullptr;

template <std::int32_t Index, class Type>
IRawFileType* CreateType() {
    static_assert(&Type::Identity == &FileTypeCatalog[Index], "the class stands at another index");
    return new (std::nothrow) Type;
}

constexpr auto AbrHead = PatternOf("\x00\x06\x00\x02\x38\x42IM");
constexpr auto AbrTail = PatternOf("Rpt bool\0");
constexpr auto ExbHead = PatternOf("\x10\x43\x61xaEbForWindows");
constexpr auto ExbTail = PatternOf(
    "\x20\x3B\x01\x00\x00\x00\x00\xFF\xFF"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00");
constexpr auto PzfHead = PatternOf("PCFFGRA");
constexpr auto PzfTail = PatternOf("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\x40");

template <std::int32_t Index, const auto& Head, const auto& Tail>
IRawFileType* CreateHeadTail() {
    constexpr const FileTypeIdentity& identity = FileTypeCatalog[Index];
    return new (std::nothrow)
        KHeadTailFileTemplate(identity.name, identity.extension, Head.data(), Head.size(), Tail.data(), Tail.size(), 0);
}

constexpr Creator Creators[] = {
    // clang-format off
    CreateType<0, KWordFileType>,
    CreateType<1, KExcelFileType>,
    CreateType<2, KPowerPointFileType>,
    CreateType<3, KVisioFileType>,
    CreateType<4, KProjectFileType>,
    CreateType<5, KPublisherFileType>,
    CreateType<6, KWord2007FileType>,
    CreateType<7, KExcel2007FileType>,
    CreateType<8, KPowerPoint2007FileType>,
    CreateType<9, KOpenOfficeTextFile>,
    CreateType<10, KOpenOfficeSheetFile>,
    CreateType<11, KOpenOfficePresentationFile>,
    CreateType<12, KOpenOfficeDrawingFile>,
    CreateType<13, KOpenOfficeDataBaseFile>,
    NotBuilt,  // 14 KASFileType
    NotBuilt,  // 15 KWMAFileType
    NotBuilt,  // 16 KWMVFileType
    NotBuilt,  // 17 KMovFileType
    NotBuilt,  // 18 K3GPFileType
    NotBuilt,  // 19 KM4AFileType
    NotBuilt,  // 20 KM4VFileType
    NotBuilt,  // 21 KMP4FileType
    NotBuilt,  // 22 KMP3FileType
    NotBuilt,  // 23 KWavFileType
    NotBuilt,  // 24 KAviFileType
    NotBuilt,  // 25 KVOBFileType
    NotBuilt,  // 26 KHTMLFileType
    NotBuilt,  // 27 KXMLFileType
    NotBuilt,  // 28 KTxtFileType
    NotBuilt,  // 29 KHLPFileType
    NotBuilt,  // 30 KCHMFileType
    NotBuilt,  // 31 KPdfFileType
    NotBuilt,  // 32 KPSTFileType
    NotBuilt,  // 33 KDBXFileType
    NotBuilt,  // 34 KEMLFileType
    NotBuilt,  // 35 KMSGFileType
    NotBuilt,  // 36 KDWGFileType
    NotBuilt,  // 37 KPSDFileType
    NotBuilt,  // 38 KCDRFileType
    NotBuilt,  // 39 KPSPFileType
    NotBuilt,  // 40 KPCXFileType
    CreateType<41, KExifJpgFileType>,
    CreateType<42, KJPGFileType>,
    NotBuilt,  // 43 KGIFFileType
    NotBuilt,  // 44 KWmfFileType
    NotBuilt,  // 45 KEMFFileType
    CreateType<46, KPngFileType>,
    NotBuilt,  // 47 KSwfFileType
    NotBuilt,  // 48 KBmpFileType
    NotBuilt,  // 49 KCRWFileType
    NotBuilt,  // 50 KCR2FileType
    NotBuilt,  // 51 KCR3FileType
    NotBuilt,  // 52 KDcrFileType
    NotBuilt,  // 53 KMRWFileType
    NotBuilt,  // 54 KNefFileType
    NotBuilt,  // 55 KOrfFileType
    NotBuilt,  // 56 KPefFileType
    NotBuilt,  // 57 KRAFFileType
    NotBuilt,  // 58 KRDCFileType
    NotBuilt,  // 59 KSr2FileType
    NotBuilt,  // 60 KTifFileType
    NotBuilt,  // 61 KX3FFileType
    NotBuilt,  // 62 KXCFFileType
    NotBuilt,  // 63 KCAMFileType
    NotBuilt,  // 64 KCurFileType
    NotBuilt,  // 65 KIcoFileType
    NotBuilt,  // 66 KWebpFileType
    CreateType<67, KZipFileType>,
    CreateType<68, K7ZipFileType>,
    CreateType<69, KRarFileType>,
    CreateType<70, KCabFileType>,
    NotBuilt,  // 71 KMdbFileType
    NotBuilt,  // 72 KMdfFileType
    CreateType<73, CFireFoxBookmarkType>,
    NotBuilt,  // 74 KAiFileType
    CreateHeadTail<75, AbrHead, AbrTail>,
    CreateHeadTail<76, ExbHead, ExbTail>,
    CreateHeadTail<77, PzfHead, PzfTail>,
    NotBuilt,  // 78 KAifFileType
    NotBuilt,  // 79 KAniFileType
    CreateType<80, KDcdFileType>,
    NotBuilt,  // 81 KDngFileType
    NotBuilt,  // 82 KDxfFileType
    CreateType<83, KEtFileType>,
    CreateType<84, KDpsFileType>,
    CreateType<85, KFlaFileType>,
    NotBuilt,  // 86 KIccFileType
    CreateType<87, K3DMaxFileType>,
    NotBuilt,  // 88 KMbFileType
    NotBuilt,  // 89 KMhtFileType
    NotBuilt,  // 90 KMidFileType
    NotBuilt,  // 91 KMmfFileType
    NotBuilt,  // 92 KOciFileType
    CreateType<93, KOdfFileType>,
    CreateType<94, KJarFileType>,
    NotBuilt,  // 95 KOggFileType
    NotBuilt,  // 96 KOneFileType
    CreateType<97, KP65FileType>,
    CreateType<98, KPxlFileType>,
    CreateType<99, KQpwFileType>,
    NotBuilt,  // 100 KQxpFileType
    NotBuilt,  // 101 KQptFileType
    NotBuilt,  // 102 KSdrFileType
    CreateType<103, KShwFileType>,
    NotBuilt,  // 104 KVegFileType
    NotBuilt,  // 105 KWpdFileType
    NotBuilt,  // 106 KArwFileType
    NotBuilt,  // 107 KSndFileType
    NotBuilt,  // 108 KFlvFileType
    NotBuilt,  // 109 KMtsFileType
    NotBuilt,  // 110 KMkvFileType
    NotBuilt,  // 111 KWebmFileType
    NotBuilt,  // 112 KRmFileType
    // clang-format on
};
static_assert(std::size(Creators) == FileTypeCount);

}  // namespace

std::int32_t KRawFileTypeFactory::GetCount() { return FileTypeCount; }

IRawFileType* KRawFileTypeFactory::Create(std::int32_t index) {
    if (index < 0 || index >= this->GetCount() || Creators[index] == nullptr) {
        return nullptr;
    }
    return Creators[index]();
}

extern "C" IRawFileTypeFactory* GetRawFileTypeFactory() {
    static KRawFileTypeFactory factory;
    return &factory;
}

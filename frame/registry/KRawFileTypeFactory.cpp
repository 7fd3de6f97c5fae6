#include "frame/registry/KRawFileTypeFactory.h"

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
#include "documents/CFireFoxBookmarkType.h"
#include "documents/KCHMFileType.h"
#include "documents/KDBXFileType.h"
#include "documents/KEMLFileType.h"
#include "documents/KHLPFileType.h"
#include "documents/KHTMLFileType.h"
#include "documents/KMSGFileType.h"
#include "documents/KMdbFileType.h"
#include "documents/KMdfFileType.h"
#include "documents/KMhtFileType.h"
#include "documents/KOneFileType.h"
#include "documents/KPSTFileType.h"
#include "documents/KPdfFileType.h"
#include "documents/KQptFileType.h"
#include "documents/KQxpFileType.h"
#include "documents/KSdrFileType.h"
#include "documents/KTxtFileType.h"
#include "documents/KWpdFileType.h"
#include "documents/KXMLFileType.h"
#include "frame/bytes/Bytes.h"
#include "frame/contract/FileTypeCatalog.h"
#include "frame/scan/KHeadTailFileTemplate.h"
#include "images/KAiFileType.h"
#include "images/KArwFileType.h"
#include "images/KBmpFileType.h"
#include "images/KCAMFileType.h"
#include "images/KCDRFileType.h"
#include "images/KCR2FileType.h"
#include "images/KCR3FileType.h"
#include "images/KCRWFileType.h"
#include "images/KCurFileType.h"
#include "images/KDWGFileType.h"
#include "images/KDcrFileType.h"
#include "images/KDngFileType.h"
#include "images/KDxfFileType.h"
#include "images/KEMFFileType.h"
#include "images/KExifJpgFileType.h"
#include "images/KGIFFileType.h"
#include "images/KIccFileType.h"
#include "images/KIcoFileType.h"
#include "images/KJPGFileType.h"
#include "images/KMRWFileType.h"
#include "images/KMbFileType.h"
#include "images/KNefFileType.h"
#include "images/KOciFileType.h"
#include "images/KOrfFileType.h"
#include "images/KPCXFileType.h"
#include "images/KPSDFileType.h"
#include "images/KPSPFileType.h"
#include "images/KPefFileType.h"
#include "images/KPngFileType.h"
#include "images/KRAFFileType.h"
#include "images/KRDCFileType.h"
#include "images/KSr2FileType.h"
#include "images/KTifFileType.h"
#include "images/KWmfFileType.h"
#include "images/KX3FFileType.h"
#include "images/KXCFFileType.h"
#include "media/K3GPFileType.h"
#include "media/KASFileType.h"
#include "media/KAifFileType.h"
#include "media/KAniFileType.h"
#include "media/KAviFileType.h"
#include "media/KFlvFileType.h"
#include "media/KM4AFileType.h"
#include "media/KM4VFileType.h"
#include "media/KMP3FileType.h"
#include "media/KMP4FileType.h"
#include "media/KMidFileType.h"
#include "media/KMkvFileType.h"
#include "media/KMmfFileType.h"
#include "media/KMovFileType.h"
#include "media/KMtsFileType.h"
#include "media/KOggFileType.h"
#include "media/KRmFileType.h"
#include "media/KSndFileType.h"
#include "media/KSwfFileType.h"
#include "media/KVOBFileType.h"
#include "media/KVegFileType.h"
#include "media/KWMAFileType.h"
#include "media/KWMVFileType.h"
#include "media/KWavFileType.h"
#include "media/KWebmFileType.h"
#include "media/KWebpFileType.h"

namespace {

struct Row {
    IRawFileType* (*create)();
    const FormatNotes* notes;
};

template <class Type>
IRawFileType* Create() {
    return new (std::nothrow) Type;
}

template <std::int32_t Index, class Type>
constexpr Row TypeRow() {
    static_assert(&Type::Identity == &FileTypeCatalog[Index], "the class stands at another index");
    return {Create<Type>, &Type::Notes};
}

constexpr auto AbrHead = PatternOf("\x00\x06\x00\x02\x38\x42IM");
constexpr auto AbrTail = PatternOf("Rpt bool\0");
constexpr auto ExbHead = PatternOf("\x10\x43\x61xaEbForWindows");
constexpr auto ExbTail = PatternOf(
    "\x20\x3B\x01\x00\x00\x00\x00\xFF\xFF"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00");
constexpr auto PzfHead = PatternOf("PCFFGRA");
constexpr auto PzfTail = PatternOf("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01\x40");

constexpr FormatNotes AbrNotes{.source = "Known by its marks only",
                               .found = "Photoshop brushes of version 6 with two subversions.",
                               .end = "The first of its end marks.",
                               .limits = "A file whose mark straddles two sectors runs to the next one."};
constexpr FormatNotes ExbNotes{
    .source = "Known by its marks only", .found = "CAXA drawings.", .end = AbrNotes.end, .limits = AbrNotes.limits};
constexpr FormatNotes PzfNotes{.source = "Known by its marks only",
                               .found = "GraphPad Prism tables.",
                               .end = AbrNotes.end,
                               .limits = AbrNotes.limits};

template <std::int32_t Index, const auto& Head, const auto& Tail>
IRawFileType* CreateHeadTail() {
    constexpr const FileTypeIdentity& identity = FileTypeCatalog[Index];
    return new (std::nothrow)
        KHeadTailFileTemplate(identity.name, identity.extension, Head.data(), Head.size(), Tail.data(), Tail.size(), 0);
}

template <std::int32_t Index, const auto& Head, const auto& Tail, const FormatNotes& Notes>
constexpr Row HeadTailRow() {
    return {CreateHeadTail<Index, Head, Tail>, &Notes};
}

constexpr Row Rows[] = {
    // clang-format off
    TypeRow<0, KWordFileType>(),
    TypeRow<1, KExcelFileType>(),
    TypeRow<2, KPowerPointFileType>(),
    TypeRow<3, KVisioFileType>(),
    TypeRow<4, KProjectFileType>(),
    TypeRow<5, KPublisherFileType>(),
    TypeRow<6, KWord2007FileType>(),
    TypeRow<7, KExcel2007FileType>(),
    TypeRow<8, KPowerPoint2007FileType>(),
    TypeRow<9, KOpenOfficeTextFile>(),
    TypeRow<10, KOpenOfficeSheetFile>(),
    TypeRow<11, KOpenOfficePresentationFile>(),
    TypeRow<12, KOpenOfficeDrawingFile>(),
    TypeRow<13, KOpenOfficeDataBaseFile>(),
    TypeRow<14, KASFileType>(),
    TypeRow<15, KWMAFileType>(),
    TypeRow<16, KWMVFileType>(),
    TypeRow<17, KMovFileType>(),
    TypeRow<18, K3GPFileType>(),
    TypeRow<19, KM4AFileType>(),
    TypeRow<20, KM4VFileType>(),
    TypeRow<21, KMP4FileType>(),
    TypeRow<22, KMP3FileType>(),
    TypeRow<23, KWavFileType>(),
    TypeRow<24, KAviFileType>(),
    TypeRow<25, KVOBFileType>(),
    TypeRow<26, KHTMLFileType>(),
    TypeRow<27, KXMLFileType>(),
    TypeRow<28, KTxtFileType>(),
    TypeRow<29, KHLPFileType>(),
    TypeRow<30, KCHMFileType>(),
    TypeRow<31, KPdfFileType>(),
    TypeRow<32, KPSTFileType>(),
    TypeRow<33, KDBXFileType>(),
    TypeRow<34, KEMLFileType>(),
    TypeRow<35, KMSGFileType>(),
    TypeRow<36, KDWGFileType>(),
    TypeRow<37, KPSDFileType>(),
    TypeRow<38, KCDRFileType>(),
    TypeRow<39, KPSPFileType>(),
    TypeRow<40, KPCXFileType>(),
    TypeRow<41, KExifJpgFileType>(),
    TypeRow<42, KJPGFileType>(),
    TypeRow<43, KGIFFileType>(),
    TypeRow<44, KWmfFileType>(),
    TypeRow<45, KEMFFileType>(),
    TypeRow<46, KPngFileType>(),
    TypeRow<47, KSwfFileType>(),
    TypeRow<48, KBmpFileType>(),
    TypeRow<49, KCRWFileType>(),
    TypeRow<50, KCR2FileType>(),
    TypeRow<51, KCR3FileType>(),
    TypeRow<52, KDcrFileType>(),
    TypeRow<53, KMRWFileType>(),
    TypeRow<54, KNefFileType>(),
    TypeRow<55, KOrfFileType>(),
    TypeRow<56, KPefFileType>(),
    TypeRow<57, KRAFFileType>(),
    TypeRow<58, KRDCFileType>(),
    TypeRow<59, KSr2FileType>(),
    TypeRow<60, KTifFileType>(),
    TypeRow<61, KX3FFileType>(),
    TypeRow<62, KXCFFileType>(),
    TypeRow<63, KCAMFileType>(),
    TypeRow<64, KCurFileType>(),
    TypeRow<65, KIcoFileType>(),
    TypeRow<66, KWebpFileType>(),
    TypeRow<67, KZipFileType>(),
    TypeRow<68, K7ZipFileType>(),
    TypeRow<69, KRarFileType>(),
    TypeRow<70, KCabFileType>(),
    TypeRow<71, KMdbFileType>(),
    TypeRow<72, KMdfFileType>(),
    TypeRow<73, CFireFoxBookmarkType>(),
    TypeRow<74, KAiFileType>(),
    HeadTailRow<75, AbrHead, AbrTail, AbrNotes>(),
    HeadTailRow<76, ExbHead, ExbTail, ExbNotes>(),
    HeadTailRow<77, PzfHead, PzfTail, PzfNotes>(),
    TypeRow<78, KAifFileType>(),
    TypeRow<79, KAniFileType>(),
    TypeRow<80, KDcdFileType>(),
    TypeRow<81, KDngFileType>(),
    TypeRow<82, KDxfFileType>(),
    TypeRow<83, KEtFileType>(),
    TypeRow<84, KDpsFileType>(),
    TypeRow<85, KFlaFileType>(),
    TypeRow<86, KIccFileType>(),
    TypeRow<87, K3DMaxFileType>(),
    TypeRow<88, KMbFileType>(),
    TypeRow<89, KMhtFileType>(),
    TypeRow<90, KMidFileType>(),
    TypeRow<91, KMmfFileType>(),
    TypeRow<92, KOciFileType>(),
    TypeRow<93, KOdfFileType>(),
    TypeRow<94, KJarFileType>(),
    TypeRow<95, KOggFileType>(),
    TypeRow<96, KOneFileType>(),
    TypeRow<97, KP65FileType>(),
    TypeRow<98, KPxlFileType>(),
    TypeRow<99, KQpwFileType>(),
    TypeRow<100, KQxpFileType>(),
    TypeRow<101, KQptFileType>(),
    TypeRow<102, KSdrFileType>(),
    TypeRow<103, KShwFileType>(),
    TypeRow<104, KVegFileType>(),
    TypeRow<105, KWpdFileType>(),
    TypeRow<106, KArwFileType>(),
    TypeRow<107, KSndFileType>(),
    TypeRow<108, KFlvFileType>(),
    TypeRow<109, KMtsFileType>(),
    TypeRow<110, KMkvFileType>(),
    TypeRow<111, KWebmFileType>(),
    TypeRow<112, KRmFileType>(),
    // clang-format on
};
static_assert(std::size(Rows) == FileTypeCount);

}  // namespace

std::int32_t KRawFileTypeFactory::GetCount() { return FileTypeCount; }

IRawFileType* KRawFileTypeFactory::Create(std::int32_t index) {
    return index < 0 || index >= this->GetCount() ? nullptr : Rows[index].create();
}

const FormatNotes& FormatNotesOf(std::int32_t index) { return *Rows[index].notes; }

extern "C" IRawFileTypeFactory* GetRawFileTypeFactory() {
    static KRawFileTypeFactory factory;
    return &factory;
}

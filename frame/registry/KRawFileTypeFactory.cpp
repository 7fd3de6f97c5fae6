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
    std::int32_t index;
    IRawFileType* (*create)();
};

template <class Type>
IRawFileType* Create() {
    return new (std::nothrow) Type;
}

template <std::int32_t Index, class Type>
constexpr Row TypeRow() {
    static_assert(&Type::Identity == &FileTypeCatalog[Index], "the class stands at another index");
    return {Index, Create<Type>};
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

template <std::int32_t Index, const auto& Head, const auto& Tail>
constexpr Row HeadTailRow() {
    return {Index, CreateHeadTail<Index, Head, Tail>};
}

constexpr Row Rows[] = {
    // clang-format off
    TypeRow<FileTypeIndex::Doc, KWordFileType>(),
    TypeRow<FileTypeIndex::Xls, KExcelFileType>(),
    TypeRow<FileTypeIndex::Ppt, KPowerPointFileType>(),
    TypeRow<FileTypeIndex::Vsd, KVisioFileType>(),
    TypeRow<FileTypeIndex::Mpp, KProjectFileType>(),
    TypeRow<FileTypeIndex::Pub, KPublisherFileType>(),
    TypeRow<FileTypeIndex::Docx, KWord2007FileType>(),
    TypeRow<FileTypeIndex::Xlsx, KExcel2007FileType>(),
    TypeRow<FileTypeIndex::Pptx, KPowerPoint2007FileType>(),
    TypeRow<FileTypeIndex::Odt, KOpenOfficeTextFile>(),
    TypeRow<FileTypeIndex::Ods, KOpenOfficeSheetFile>(),
    TypeRow<FileTypeIndex::Odp, KOpenOfficePresentationFile>(),
    TypeRow<FileTypeIndex::Odg, KOpenOfficeDrawingFile>(),
    TypeRow<FileTypeIndex::Odb, KOpenOfficeDataBaseFile>(),
    TypeRow<FileTypeIndex::Asf, KASFileType>(),
    TypeRow<FileTypeIndex::Wma, KWMAFileType>(),
    TypeRow<FileTypeIndex::Wmv, KWMVFileType>(),
    TypeRow<FileTypeIndex::Mov, KMovFileType>(),
    TypeRow<FileTypeIndex::ThreeGp, K3GPFileType>(),
    TypeRow<FileTypeIndex::M4a, KM4AFileType>(),
    TypeRow<FileTypeIndex::M4v, KM4VFileType>(),
    TypeRow<FileTypeIndex::Mp4, KMP4FileType>(),
    TypeRow<FileTypeIndex::Mp3, KMP3FileType>(),
    TypeRow<FileTypeIndex::Wav, KWavFileType>(),
    TypeRow<FileTypeIndex::Avi, KAviFileType>(),
    TypeRow<FileTypeIndex::Vob, KVOBFileType>(),
    TypeRow<FileTypeIndex::Html, KHTMLFileType>(),
    TypeRow<FileTypeIndex::Xml, KXMLFileType>(),
    TypeRow<FileTypeIndex::Text, KTxtFileType>(),
    TypeRow<FileTypeIndex::Hlp, KHLPFileType>(),
    TypeRow<FileTypeIndex::Chm, KCHMFileType>(),
    TypeRow<FileTypeIndex::Pdf, KPdfFileType>(),
    TypeRow<FileTypeIndex::Pst, KPSTFileType>(),
    TypeRow<FileTypeIndex::Dbx, KDBXFileType>(),
    TypeRow<FileTypeIndex::Eml, KEMLFileType>(),
    TypeRow<FileTypeIndex::Msg, KMSGFileType>(),
    TypeRow<FileTypeIndex::Dwg, KDWGFileType>(),
    TypeRow<FileTypeIndex::Psd, KPSDFileType>(),
    TypeRow<FileTypeIndex::Cdr, KCDRFileType>(),
    TypeRow<FileTypeIndex::Psp, KPSPFileType>(),
    TypeRow<FileTypeIndex::Pcx, KPCXFileType>(),
    TypeRow<FileTypeIndex::JpegCamera, KExifJpgFileType>(),
    TypeRow<FileTypeIndex::JpegGraphics, KJPGFileType>(),
    TypeRow<FileTypeIndex::Gif, KGIFFileType>(),
    TypeRow<FileTypeIndex::Wmf, KWmfFileType>(),
    TypeRow<FileTypeIndex::Emf, KEMFFileType>(),
    TypeRow<FileTypeIndex::Png, KPngFileType>(),
    TypeRow<FileTypeIndex::Swf, KSwfFileType>(),
    TypeRow<FileTypeIndex::Bmp, KBmpFileType>(),
    TypeRow<FileTypeIndex::Crw, KCRWFileType>(),
    TypeRow<FileTypeIndex::Cr2, KCR2FileType>(),
    TypeRow<FileTypeIndex::Cr3, KCR3FileType>(),
    TypeRow<FileTypeIndex::Dcr, KDcrFileType>(),
    TypeRow<FileTypeIndex::Mrw, KMRWFileType>(),
    TypeRow<FileTypeIndex::Nef, KNefFileType>(),
    TypeRow<FileTypeIndex::Orf, KOrfFileType>(),
    TypeRow<FileTypeIndex::Pef, KPefFileType>(),
    TypeRow<FileTypeIndex::Raf, KRAFFileType>(),
    TypeRow<FileTypeIndex::Rdc, KRDCFileType>(),
    TypeRow<FileTypeIndex::Srf, KSr2FileType>(),
    TypeRow<FileTypeIndex::Tiff, KTifFileType>(),
    TypeRow<FileTypeIndex::X3f, KX3FFileType>(),
    TypeRow<FileTypeIndex::Xcf, KXCFFileType>(),
    TypeRow<FileTypeIndex::Cam, KCAMFileType>(),
    TypeRow<FileTypeIndex::Cur, KCurFileType>(),
    TypeRow<FileTypeIndex::Ico, KIcoFileType>(),
    TypeRow<FileTypeIndex::Webp, KWebpFileType>(),
    TypeRow<FileTypeIndex::Zip, KZipFileType>(),
    TypeRow<FileTypeIndex::SevenZip, K7ZipFileType>(),
    TypeRow<FileTypeIndex::Rar, KRarFileType>(),
    TypeRow<FileTypeIndex::Cab, KCabFileType>(),
    TypeRow<FileTypeIndex::Mdb, KMdbFileType>(),
    TypeRow<FileTypeIndex::Mdf, KMdfFileType>(),
    TypeRow<FileTypeIndex::Bookmarks, CFireFoxBookmarkType>(),
    TypeRow<FileTypeIndex::Ai, KAiFileType>(),
    HeadTailRow<FileTypeIndex::Abr, AbrHead, AbrTail>(),
    HeadTailRow<FileTypeIndex::Exb, ExbHead, ExbTail>(),
    HeadTailRow<FileTypeIndex::Pzf, PzfHead, PzfTail>(),
    TypeRow<FileTypeIndex::Aif, KAifFileType>(),
    TypeRow<FileTypeIndex::Ani, KAniFileType>(),
    TypeRow<FileTypeIndex::Dcd, KDcdFileType>(),
    TypeRow<FileTypeIndex::Dng, KDngFileType>(),
    TypeRow<FileTypeIndex::Dxf, KDxfFileType>(),
    TypeRow<FileTypeIndex::Et, KEtFileType>(),
    TypeRow<FileTypeIndex::Dps, KDpsFileType>(),
    TypeRow<FileTypeIndex::Fla, KFlaFileType>(),
    TypeRow<FileTypeIndex::Icc, KIccFileType>(),
    TypeRow<FileTypeIndex::Max, K3DMaxFileType>(),
    TypeRow<FileTypeIndex::Mb, KMbFileType>(),
    TypeRow<FileTypeIndex::Mht, KMhtFileType>(),
    TypeRow<FileTypeIndex::Mid, KMidFileType>(),
    TypeRow<FileTypeIndex::Mmf, KMmfFileType>(),
    TypeRow<FileTypeIndex::Oci, KOciFileType>(),
    TypeRow<FileTypeIndex::Odf, KOdfFileType>(),
    TypeRow<FileTypeIndex::Jar, KJarFileType>(),
    TypeRow<FileTypeIndex::Ogg, KOggFileType>(),
    TypeRow<FileTypeIndex::One, KOneFileType>(),
    TypeRow<FileTypeIndex::P65, KP65FileType>(),
    TypeRow<FileTypeIndex::Pxl, KPxlFileType>(),
    TypeRow<FileTypeIndex::Qpw, KQpwFileType>(),
    TypeRow<FileTypeIndex::Qxp, KQxpFileType>(),
    TypeRow<FileTypeIndex::Qpt, KQptFileType>(),
    TypeRow<FileTypeIndex::Sdr, KSdrFileType>(),
    TypeRow<FileTypeIndex::Shw, KShwFileType>(),
    TypeRow<FileTypeIndex::Veg, KVegFileType>(),
    TypeRow<FileTypeIndex::Wpd, KWpdFileType>(),
    TypeRow<FileTypeIndex::Arw, KArwFileType>(),
    TypeRow<FileTypeIndex::Au, KSndFileType>(),
    TypeRow<FileTypeIndex::Flv, KFlvFileType>(),
    TypeRow<FileTypeIndex::Mts, KMtsFileType>(),
    TypeRow<FileTypeIndex::Mkv, KMkvFileType>(),
    TypeRow<FileTypeIndex::Webm, KWebmFileType>(),
    TypeRow<FileTypeIndex::Rm, KRmFileType>(),
    // clang-format on
};
static_assert(
    [] {
        for (std::int32_t index = 0; index < FileTypeCount; ++index) {
            if (Rows[index].index != index) {
                return false;
            }
        }
        return std::size(Rows) == FileTypeCount;
    }(),
    "a row for every index, in their order");

}  // namespace

std::int32_t KRawFileTypeFactory::GetCount() { return FileTypeCount; }

IRawFileType* KRawFileTypeFactory::Create(std::int32_t index) {
    return index < 0 || index >= this->GetCount() ? nullptr : Rows[index].create();
}

extern "C" IRawFileTypeFactory* GetRawFileTypeFactory() {
    static KRawFileTypeFactory factory;
    return &factory;
}

#pragma once

#include <cstdint>

/// The types by name: their factory indices, which never change.
namespace FileTypeIndex {
inline constexpr std::int32_t Doc = 0;
inline constexpr std::int32_t Xls = 1;
inline constexpr std::int32_t Ppt = 2;
inline constexpr std::int32_t Vsd = 3;
inline constexpr std::int32_t Mpp = 4;
inline constexpr std::int32_t Pub = 5;
inline constexpr std::int32_t Docx = 6;
inline constexpr std::int32_t Xlsx = 7;
inline constexpr std::int32_t Pptx = 8;
inline constexpr std::int32_t Odt = 9;
inline constexpr std::int32_t Ods = 10;
inline constexpr std::int32_t Odp = 11;
inline constexpr std::int32_t Odg = 12;
inline constexpr std::int32_t Odb = 13;
inline constexpr std::int32_t Asf = 14;
inline constexpr std::int32_t Wma = 15;
inline constexpr std::int32_t Wmv = 16;
inline constexpr std::int32_t Mov = 17;
inline constexpr std::int32_t ThreeGp = 18;
inline constexpr std::int32_t M4a = 19;
inline constexpr std::int32_t M4v = 20;
inline constexpr std::int32_t Mp4 = 21;
inline constexpr std::int32_t Mp3 = 22;
inline constexpr std::int32_t Wav = 23;
inline constexpr std::int32_t Avi = 24;
inline constexpr std::int32_t Vob = 25;
inline constexpr std::int32_t Html = 26;
inline constexpr std::int32_t Xml = 27;
inline constexpr std::int32_t Text = 28;
inline constexpr std::int32_t Hlp = 29;
inline constexpr std::int32_t Chm = 30;
inline constexpr std::int32_t Pdf = 31;
inline constexpr std::int32_t Pst = 32;
inline constexpr std::int32_t Dbx = 33;
inline constexpr std::int32_t Eml = 34;  // A message as a server sends it.
inline constexpr std::int32_t Msg = 35;  // A message that Outlook has stored.
inline constexpr std::int32_t Dwg = 36;
inline constexpr std::int32_t Psd = 37;
inline constexpr std::int32_t Cdr = 38;
inline constexpr std::int32_t Psp = 39;
inline constexpr std::int32_t Pcx = 40;
inline constexpr std::int32_t JpegCamera = 41;    // With Exif data in front.
inline constexpr std::int32_t JpegGraphics = 42;  // All others.
inline constexpr std::int32_t Gif = 43;
inline constexpr std::int32_t Wmf = 44;
inline constexpr std::int32_t Emf = 45;
inline constexpr std::int32_t Png = 46;
inline constexpr std::int32_t Swf = 47;
inline constexpr std::int32_t Bmp = 48;
inline constexpr std::int32_t Crw = 49;
inline constexpr std::int32_t Cr2 = 50;
inline constexpr std::int32_t Cr3 = 51;
inline constexpr std::int32_t Dcr = 52;
inline constexpr std::int32_t Mrw = 53;
inline constexpr std::int32_t Nef = 54;
inline constexpr std::int32_t Orf = 55;
inline constexpr std::int32_t Pef = 56;
inline constexpr std::int32_t Raf = 57;
inline constexpr std::int32_t Rdc = 58;
inline constexpr std::int32_t Srf = 59;
inline constexpr std::int32_t Tiff = 60;
inline constexpr std::int32_t X3f = 61;
inline constexpr std::int32_t Xcf = 62;
inline constexpr std::int32_t Cam = 63;
inline constexpr std::int32_t Cur = 64;
inline constexpr std::int32_t Ico = 65;
inline constexpr std::int32_t Webp = 66;
inline constexpr std::int32_t Zip = 67;
inline constexpr std::int32_t SevenZip = 68;
inline constexpr std::int32_t Rar = 69;
inline constexpr std::int32_t Cab = 70;
inline constexpr std::int32_t Mdb = 71;
inline constexpr std::int32_t Mdf = 72;
inline constexpr std::int32_t Bookmarks = 73;
inline constexpr std::int32_t Ai = 74;
inline constexpr std::int32_t Abr = 75;
inline constexpr std::int32_t Exb = 76;
inline constexpr std::int32_t Pzf = 77;
inline constexpr std::int32_t Aif = 78;
inline constexpr std::int32_t Ani = 79;
inline constexpr std::int32_t Dcd = 80;
inline constexpr std::int32_t Dng = 81;
inline constexpr std::int32_t Dxf = 82;
inline constexpr std::int32_t Et = 83;
inline constexpr std::int32_t Dps = 84;
inline constexpr std::int32_t Fla = 85;
inline constexpr std::int32_t Icc = 86;
inline constexpr std::int32_t Max = 87;
inline constexpr std::int32_t Mb = 88;
inline constexpr std::int32_t Mht = 89;
inline constexpr std::int32_t Mid = 90;
inline constexpr std::int32_t Mmf = 91;
inline constexpr std::int32_t Oci = 92;
inline constexpr std::int32_t Odf = 93;
inline constexpr std::int32_t Jar = 94;
inline constexpr std::int32_t Ogg = 95;
inline constexpr std::int32_t One = 96;
inline constexpr std::int32_t P65 = 97;
inline constexpr std::int32_t Pxl = 98;
inline constexpr std::int32_t Qpw = 99;
inline constexpr std::int32_t Qxp = 100;
inline constexpr std::int32_t Qpt = 101;
inline constexpr std::int32_t Sdr = 102;
inline constexpr std::int32_t Shw = 103;
inline constexpr std::int32_t Veg = 104;
inline constexpr std::int32_t Wpd = 105;
inline constexpr std::int32_t Arw = 106;
inline constexpr std::int32_t Au = 107;
inline constexpr std::int32_t Flv = 108;
inline constexpr std::int32_t Mts = 109;
inline constexpr std::int32_t Mkv = 110;
inline constexpr std::int32_t Webm = 111;
inline constexpr std::int32_t Rm = 112;
}  // namespace FileTypeIndex

inline constexpr std::int32_t FileTypeCount = 113;

/// Groups of types, as people look for them.
enum class FileTypeGroup : std::uint8_t { Picture, CameraRaw, Drawing, Film, Sound, Document, MailOrData, Archive };

/// What to make of a size that a scanner reports.
enum class SizeExactness : std::uint8_t {
    /// The scanner walks the whole structure, so the size of an undamaged file is right, except as the type's notes
    /// say.
    Exact,
    /// Based on less: a length that the file declares, a footer that was searched for, or what comes next on the
    /// medium.
    Estimated,
    /// Always 0: the host decides the size.
    StartOnly,
};

/// The types that share mutable state: an engine, or the range of the last file found. They stay on one thread, where
/// each block goes to all of them before the next block.
enum class FileTypeFamily : std::uint8_t {
    /// Shares nothing with another scanner.
    Alone,
    Compound,
    ZipPackage,
    Asf,
    MpegAudio,
    ProgramStream,
    Tiff,
};

/// What a type is called, how large its files may be and how to drive its scanner. The texts are static.
struct FileTypeIdentity {
    /// What `GetTypeName` copies.
    const char* name;
    /// What `GetExtension` copies, without a dot.
    const char* extension;
    /// Default cap in bytes on the reported size; `CapInEngine` or `NoCap` where a type has none of its own.
    std::int64_t maxSize;
    /// The smallest and the largest plausible size in bytes, as `QueryInfo` answers; both 0 where it answers nothing.
    std::int64_t smallestSize;
    std::int64_t largestSize;
    /// What the scanner finds depends on where blocks end: give it large ones. The others find the same however the
    /// medium is cut, and are fastest with blocks that nearly fill a first-level cache: 28 KiB for one of 32 KiB.
    bool dependsOnBlocks = false;
    FileTypeGroup group = FileTypeGroup::Document;
    SizeExactness reportedSize = SizeExactness::Estimated;
    FileTypeFamily family = FileTypeFamily::Alone;
};

/// The type's engine, shared with others, limits the size.
inline constexpr std::int64_t CapInEngine = -1;
/// The type limits no size.
inline constexpr std::int64_t NoCap = 0;
/// The cap of all types that `KHeadTailFileTemplate` scans for.
inline constexpr std::int64_t HeadTailCap = 0xA00000;

/// The rows of the catalogue, in the order of the indices. Duplicate names and extensions, the trailing blank of
/// "VOB file " and the spelling of every text are what hosts show and store: they never change.
struct FileTypeRows {
    using In = FileTypeGroup;
    using Size = SizeExactness;
    using Of = FileTypeFamily;

    static constexpr FileTypeIdentity All[FileTypeCount] = {
        // clang-format off
        /*   0 */ {"Office WORD Document", "doc", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   1 */ {"Office Excel Document", "xls", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   2 */ {"Office PowerPoint Document", "ppt", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   3 */ {"Office VISIO Document", "vsd", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   4 */ {"Office Project Document", "mpp", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   5 */ {"Office Publisher Document", "pub", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*   6 */ {"Office2007 Word Document", "docx", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*   7 */ {"Office2007 Excel Document", "xlsx", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*   8 */ {"Office2007 PowerPoint Document", "pptx", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*   9 */ {"OpenOffice2 Text File", "odt", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  10 */ {"OpenOffice2 Spreadsheet File", "ods", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  11 */ {"OpenOffice2 Presentation File", "odp", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  12 */ {"OpenOffice2 Drawing File", "odg", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  13 */ {"OpenOffice2 DataBase File", "odb", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  14 */ {"ASF Files", "asf", CapInEngine, 0, 0, false, In::Film, Size::Estimated, Of::Asf},
        /*  15 */ {"Window Media Audio File", "wma", CapInEngine, 0, 0, false, In::Sound, Size::Estimated, Of::Asf},
        /*  16 */ {"Windows Media Video File", "wmv", CapInEngine, 0, 0, false, In::Film, Size::Estimated, Of::Asf},
        /*  17 */ {"QuickTime Movie File", "mov", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /*  18 */ {"3GP Video File", "3gp", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /*  19 */ {"MP4 Audio File", "m4a", 0x2000000000, 0, 0, true, In::Sound, Size::Estimated},
        /*  20 */ {"M4v Video File", "m4v", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /*  21 */ {"MP4 Video File", "mp4", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /*  22 */ {"MPEG Audio Layer 3", "mp3", 0x4000000, 0, 0, false, In::Sound, Size::Estimated, Of::MpegAudio},
        /*  23 */ {"WAVE Sound", "wav", 0x20000000, 0, 0, false, In::Sound, Size::Estimated},
        /*  24 */ {"AVI Clip", "avi", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /*  25 */ {"VOB file ", "vob", 0xFFFFFFFF, 0, 0, false, In::Film, Size::Estimated, Of::ProgramStream},
        /*  26 */ {"HTML file", "htm", 0x100000, 0, 0, false, In::Document, Size::Estimated},
        /*  27 */ {"XML file", "xml", 0x1000000, 0, 0, false, In::Document, Size::Estimated},
        /*  28 */ {"text file", "txt", 0x10000, 0, 0, false, In::Document, Size::Estimated},
        /*  29 */ {"Help File", "hlp", 0x7FFFFFFF, 0, 0, false, In::Document, Size::Exact},
        /*  30 */ {"CHM File", "chm", 0x7FFFFFFF, 0, 0, false, In::Document, Size::Exact},
        /*  31 */ {"Adobe PDF file", "pdf", 0x6400000, 0, 0, false, In::Document, Size::Exact},
        /*  32 */ {"Outlook Data File", "pst", 0x7FFFFFFF, 0, 0, false, In::MailOrData, Size::Estimated},
        /*  33 */ {"Outlook Express Data File", "dbx", 0x7FFFFFFF, 0, 0, false, In::MailOrData, Size::Estimated},
        /*  34 */ {"Email File", "eml", 0x500000, 0, 0, false, In::MailOrData, Size::Estimated},
        /*  35 */ {"Email File", "msg", NoCap, 0, 0, true, In::MailOrData, Size::Estimated},
        /*  36 */ {"Autocad Drawing file", "dwg", 0x7FFFFFFF, 0, 0, false, In::Drawing, Size::Exact},
        /*  37 */ {"Adobe Photoshop", "psd", 0x7FFFFFFF, 0, 0, false, In::Picture, Size::Exact},
        /*  38 */ {"Coreldraw Files", "cdr", 0x7FFFFFFF, 0, 0, false, In::Drawing, Size::Exact},
        /*  39 */ {"Paint Shop Pro", "psp", 0x7FFFFFFF, 0, 0, false, In::Picture, Size::Exact},
        /*  40 */ {"Paintbrush file", "pcx", 0x7F000000, 0, 0, false, In::Picture, Size::Exact},
        /*  41 */ {"JPEG Camera file", "jpg", 0x4000000, 0, 0, false, In::Picture, Size::Estimated},
        /*  42 */ {"JPEG Graphics file", "jpg", 0x4000000, 0, 0, false, In::Picture, Size::Estimated},
        /*  43 */ {"GIF Files", "gif", 0x1000000, 0x100, 0x1000000, false, In::Picture, Size::Exact},
        /*  44 */ {"WMF Image", "wmf", 0x200000, 0, 0, false, In::Drawing, Size::Exact},
        /*  45 */ {"Enhanced Metafiles", "emf", 0x200000, 0, 0, false, In::Drawing, Size::Exact},
        /*  46 */ {"PNG Image", "png", 0xA00000, 0, 0, false, In::Picture, Size::Estimated},
        /*  47 */ {"SWF File", "swf", 0x40000000, 0, 0, false, In::Film, Size::Estimated},
        /*  48 */ {"Bitmap Image", "bmp", 0x3200000, 0, 0, false, In::Picture, Size::Exact},
        /*  49 */ {"Canon CRW File", "crw", 0xC800000, 0, 0, false, In::CameraRaw, Size::Estimated},
        /*  50 */ {"Canon CR2 File", "cr2", 0xFFFFFFF, 0xA00000, 0xFFFFFFF, false, In::CameraRaw, Size::Estimated},
        /*  51 */ {"Canon CR3 File", "cr3", 0x8000000, 0xA00000, 0x8000000, false, In::CameraRaw, Size::Estimated},
        /*  52 */ {"Kodak DCR File", "dcr", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /*  53 */ {"Minolta Raw picture", "mrw", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::Estimated},
        /*  54 */ {"Nikon NEF File", "nef", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /*  55 */ {"Olympus RAW Picture", "orf", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::Estimated},
        /*  56 */ {"Pentax PEF File", "pef", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /*  57 */ {"Raw Fujifilm picture", "raf", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly},
        /*  58 */ {"Rollei picture", "rdc", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly},
        /*  59 */ {"SONY SRF Photo", "srf", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /*  60 */ {"TIFF Image File", "tif", 0xC800000, 0xA00000, 0xC800000, false, In::Picture, Size::Estimated, Of::Tiff},
        /*  61 */ {"Sigma Foveon X3 raw picture", "x3f", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly},
        /*  62 */ {"Gimp XCF File", "xcf", 0xC800000, 0xA00000, 0xC800000, false, In::Picture, Size::Exact},
        /*  63 */ {"Casio QV Digital Camera Image", "cam", CapInEngine, 0xA00000, 0x1400000, false, In::CameraRaw, Size::Estimated},
        /*  64 */ {"Cursor file", "cur", 0x100000, 0, 0, false, In::Picture, Size::Exact},
        /*  65 */ {"Icon file", "ico", 0xA00000, 0, 0, false, In::Picture, Size::Exact},
        /*  66 */ {"Webp file", "webp", 0xFFFFFFFF, 0, 0, false, In::Picture, Size::Estimated},
        /*  67 */ {"ZIP file", "zip", CapInEngine, 0, 0, false, In::Archive, Size::Estimated, Of::ZipPackage},
        /*  68 */ {"7Zip File", "7z", 0x2000000, 0, 0, false, In::Archive, Size::Estimated},
        /*  69 */ {"WinRAR File", "rar", 0x7FFFFFFF, 0, 0, false, In::Archive, Size::Estimated},
        /*  70 */ {"CAB File", "cab", 0x7FFFFFFF, 0, 0, false, In::Archive, Size::Estimated},
        /*  71 */ {"Access Database File", "mdb", NoCap, 0x500000, 0x3200000, false, In::MailOrData, Size::Exact},
        /*  72 */ {"SQL Database File", "mdf", NoCap, 0x500000, 0x6400000, false, In::MailOrData, Size::Estimated},
        /*  73 */ {"FireFox Bookmarks File", "html", 0x100000, 0, 0, false, In::MailOrData, Size::Estimated},
        /*  74 */ {"Adobe Illustrator file", "ai", 0xA00000, 0, 0, false, In::Drawing, Size::Exact},
        /*  75 */ {"Photoshop Brush File", "abr", HeadTailCap, 0, 0, false, In::Picture, Size::Estimated},
        /*  76 */ {"Caxa CAD Drawing", "exb", HeadTailCap, 0, 0, false, In::Drawing, Size::Estimated},
        /*  77 */ {"GraphPad PZF", "pzf", HeadTailCap, 0, 0, false, In::Document, Size::Estimated},
        /*  78 */ {"Audio Interchange File", "aif", 0x2000000, 0, 0, false, In::Sound, Size::Estimated},
        /*  79 */ {"Animated Cursors File", "ani", 0x2000000, 0, 0, false, In::Picture, Size::Estimated},
        /*  80 */ {"DesignCAD Document", "dcd", CapInEngine, 0, 0, false, In::Drawing, Size::Estimated, Of::Compound},
        /*  81 */ {"Adobe Digital Negative", "dng", 0xC800000, 0xA00000, 0xC800000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /*  82 */ {"AutoCAD DXF File", "dxf", 0xC800000, 0, 0, false, In::Drawing, Size::Exact},
        /*  83 */ {"Kingsoft Spreadsheets File", "et", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*  84 */ {"Kingsoft Presentation Document", "dps", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*  85 */ {"Adobe FLA File", "fla", CapInEngine, 0, 0, false, In::Film, Size::Estimated, Of::Compound},
        /*  86 */ {"ICC profile", "icc", 0x2000000, 0, 0, false, In::Picture, Size::Exact},
        /*  87 */ {"3D Studio MAX", "max", CapInEngine, 0, 0, false, In::Drawing, Size::Estimated, Of::Compound},
        /*  88 */ {"AutoDesk Maya Document", "mb", 0x2000000, 0, 0, false, In::Drawing, Size::Exact},
        /*  89 */ {"Web Page Archive", "mht", 0x2000000, 0, 0, false, In::MailOrData, Size::Estimated},
        /*  90 */ {"MID File", "mid", 0xA00000, 0, 0, false, In::Sound, Size::Exact},
        /*  91 */ {"MMF Audio File", "mmf", 0x2000000, 0, 0, false, In::Sound, Size::Estimated},
        /*  92 */ {"OpenCanvas Image File", "oci", 0xA00000, 0, 0, false, In::Picture, Size::Estimated},
        /*  93 */ {"OpenDocument File", "odf", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  94 */ {"Java Archive", "jar", CapInEngine, 0, 0, false, In::Archive, Size::Estimated, Of::ZipPackage},
        /*  95 */ {"Ogg Audio File", "ogg", 0xA00000, 0, 0, false, In::Sound, Size::Estimated},
        /*  96 */ {"Office OneNote", "one", 0x7FFFFFFF, 0, 0, false, In::Document, Size::Estimated},
        /*  97 */ {"Adobe PageMaker", "p65", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /*  98 */ {"Pocket Excel Worksheet", "pxl", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::ZipPackage},
        /*  99 */ {"Quatto Pro File", "qpw", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /* 100 */ {"QuarkXPress Project File", "qxp", 0x7FFFFFFF, 0, 0, false, In::Document, Size::Exact},
        /* 101 */ {"QuarkXPress Project Template", "qpt", 0x7FFFFFFF, 0, 0, false, In::Document, Size::Exact},
        /* 102 */ {"SmartDraw Drawing", "sdr", 0xA00000, 0, 0, false, In::Drawing, Size::Exact},
        /* 103 */ {"Corel Presentations Document", "shw", CapInEngine, 0, 0, false, In::Document, Size::Estimated, Of::Compound},
        /* 104 */ {"Vegas Video Project", "veg", 0x2000000, 0, 0, false, In::Film, Size::Estimated},
        /* 105 */ {"Word Perfect Document", "wpd", 0x2000000, 0, 0, false, In::Document, Size::Estimated},
        /* 106 */ {"SONY ARW Photo", "arw", 0x5000000, 0xA00000, 0x5000000, false, In::CameraRaw, Size::StartOnly, Of::Tiff},
        /* 107 */ {"Au Audio File", "au", 0xC800000, 0, 0, false, In::Sound, Size::Estimated},
        /* 108 */ {"FLV Video File", "flv", 0xFFFFFF00, 0x100, 0xFFFFFF00, false, In::Film, Size::Estimated},
        /* 109 */ {"M2TS And MTS Video", "mts", 0x7FFFF000, 0, 0, false, In::Film, Size::Estimated},
        /* 110 */ {"MKV Video", "mkv", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /* 111 */ {"Webm Video", "webm", 0x2000000000, 0, 0, false, In::Film, Size::Estimated},
        /* 112 */ {"RMVB Video", "rm", 0x7FFF0000, 0, 0, false, In::Film, Size::Estimated},
        // clang-format on
    };
};

/// The types by factory index.
inline constexpr const FileTypeIdentity (&FileTypeCatalog)[FileTypeCount] = FileTypeRows::All;

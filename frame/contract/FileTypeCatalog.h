#pragma once

#include <cstdint>

/// What a type is called and how large its files may be. The texts are static.
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
};

/// The type's engine, shared with others, limits the size.
inline constexpr std::int64_t CapInEngine = -1;
/// The type limits no size.
inline constexpr std::int64_t NoCap = 0;

inline constexpr std::int32_t FileTypeCount = 113;

/// The types by factory index. Duplicate names and extensions, the trailing blank of "VOB file " and the spelling of
/// every text are what hosts show and store: they never change.
inline constexpr FileTypeIdentity FileTypeCatalog[FileTypeCount] = {
    // clang-format off
    /*   0 */ {"Office WORD Document", "doc", CapInEngine, 0, 0},
    /*   1 */ {"Office Excel Document", "xls", CapInEngine, 0, 0},
    /*   2 */ {"Office PowerPoint Document", "ppt", CapInEngine, 0, 0},
    /*   3 */ {"Office VISIO Document", "vsd", CapInEngine, 0, 0},
    /*   4 */ {"Office Project Document", "mpp", CapInEngine, 0, 0},
    /*   5 */ {"Office Publisher Document", "pub", CapInEngine, 0, 0},
    /*   6 */ {"Office2007 Word Document", "docx", CapInEngine, 0, 0},
    /*   7 */ {"Office2007 Excel Document", "xlsx", CapInEngine, 0, 0},
    /*   8 */ {"Office2007 PowerPoint Document", "pptx", CapInEngine, 0, 0},
    /*   9 */ {"OpenOffice2 Text File", "odt", CapInEngine, 0, 0},
    /*  10 */ {"OpenOffice2 Spreadsheet File", "ods", CapInEngine, 0, 0},
    /*  11 */ {"OpenOffice2 Presentation File", "odp", CapInEngine, 0, 0},
    /*  12 */ {"OpenOffice2 Drawing File", "odg", CapInEngine, 0, 0},
    /*  13 */ {"OpenOffice2 DataBase File", "odb", CapInEngine, 0, 0},
    /*  14 */ {"ASF Files", "asf", CapInEngine, 0, 0},
    /*  15 */ {"Window Media Audio File", "wma", CapInEngine, 0, 0},
    /*  16 */ {"Windows Media Video File", "wmv", CapInEngine, 0, 0},
    /*  17 */ {"QuickTime Movie File", "mov", 0x2000000000, 0, 0},
    /*  18 */ {"3GP Video File", "3gp", 0x2000000000, 0, 0},
    /*  19 */ {"MP4 Audio File", "m4a", 0x2000000000, 0, 0, true},
    /*  20 */ {"M4v Video File", "m4v", 0x2000000000, 0, 0},
    /*  21 */ {"MP4 Video File", "mp4", 0x2000000000, 0, 0},
    /*  22 */ {"MPEG Audio Layer 3", "mp3", 0x4000000, 0, 0},
    /*  23 */ {"WAVE Sound", "wav", 0x20000000, 0, 0},
    /*  24 */ {"AVI Clip", "avi", 0x2000000000, 0, 0},
    /*  25 */ {"VOB file ", "vob", 0xFFFFFFFF, 0, 0},
    /*  26 */ {"HTML file", "htm", 0x100000, 0, 0},
    /*  27 */ {"XML file", "xml", 0x1000000, 0, 0},
    /*  28 */ {"text file", "txt", 0x10000, 0, 0},
    /*  29 */ {"Help File", "hlp", 0x7FFFFFFF, 0, 0},
    /*  30 */ {"CHM File", "chm", 0x7FFFFFFF, 0, 0},
    /*  31 */ {"Adobe PDF file", "pdf", 0x6400000, 0, 0},
    /*  32 */ {"Outlook Data File", "pst", 0x7FFFFFFF, 0, 0},
    /*  33 */ {"Outlook Express Data File", "dbx", 0x7FFFFFFF, 0, 0},
    /*  34 */ {"Email File", "eml", 0x500000, 0, 0},
    /*  35 */ {"Email File", "msg", NoCap, 0, 0, true},
    /*  36 */ {"Autocad Drawing file", "dwg", 0x7FFFFFFF, 0, 0},
    /*  37 */ {"Adobe Photoshop", "psd", 0x7FFFFFFF, 0, 0},
    /*  38 */ {"Coreldraw Files", "cdr", 0x7FFFFFFF, 0, 0},
    /*  39 */ {"Paint Shop Pro", "psp", 0x7FFFFFFF, 0, 0},
    /*  40 */ {"Paintbrush file", "pcx", 0x7F000000, 0, 0},
    /*  41 */ {"JPEG Camera file", "jpg", 0x4000000, 0, 0},
    /*  42 */ {"JPEG Graphics file", "jpg", 0x4000000, 0, 0},
    /*  43 */ {"GIF Files", "gif", 0x1000000, 0x100, 0x1000000},
    /*  44 */ {"WMF Image", "wmf", 0x200000, 0, 0},
    /*  45 */ {"Enhanced Metafiles", "emf", 0x200000, 0, 0},
    /*  46 */ {"PNG Image", "png", 0xA00000, 0, 0},
    /*  47 */ {"SWF File", "swf", 0x40000000, 0, 0},
    /*  48 */ {"Bitmap Image", "bmp", 0x3200000, 0, 0},
    /*  49 */ {"Canon CRW File", "crw", 0xC800000, 0, 0},
    /*  50 */ {"Canon CR2 File", "cr2", 0xFFFFFFF, 0xA00000, 0xFFFFFFF},
    /*  51 */ {"Canon CR3 File", "cr3", 0x8000000, 0xA00000, 0x8000000},
    /*  52 */ {"Kodak DCR File", "dcr", 0xC800000, 0xA00000, 0xC800000},
    /*  53 */ {"Minolta Raw picture", "mrw", 0xC800000, 0xA00000, 0xC800000},
    /*  54 */ {"Nikon NEF File", "nef", 0xC800000, 0xA00000, 0xC800000},
    /*  55 */ {"Olympus RAW Picture", "orf", 0xC800000, 0xA00000, 0xC800000},
    /*  56 */ {"Pentax PEF File", "pef", 0xC800000, 0xA00000, 0xC800000},
    /*  57 */ {"Raw Fujifilm picture", "raf", 0xC800000, 0xA00000, 0xC800000},
    /*  58 */ {"Rollei picture", "rdc", 0xC800000, 0xA00000, 0xC800000},
    /*  59 */ {"SONY SRF Photo", "srf", 0xC800000, 0xA00000, 0xC800000},
    /*  60 */ {"TIFF Image File", "tif", 0xC800000, 0xA00000, 0xC800000},
    /*  61 */ {"Sigma Foveon X3 raw picture", "x3f", 0xC800000, 0xA00000, 0xC800000},
    /*  62 */ {"Gimp XCF File", "xcf", 0xC800000, 0xA00000, 0xC800000},
    /*  63 */ {"Casio QV Digital Camera Image", "cam", CapInEngine, 0xA00000, 0x1400000},
    /*  64 */ {"Cursor file", "cur", 0x100000, 0, 0},
    /*  65 */ {"Icon file", "ico", 0xA00000, 0, 0},
    /*  66 */ {"Webp file", "webp", 0xFFFFFFFF, 0, 0},
    /*  67 */ {"ZIP file", "zip", CapInEngine, 0, 0},
    /*  68 */ {"7Zip File", "7z", 0x2000000, 0, 0},
    /*  69 */ {"WinRAR File", "rar", 0x7FFFFFFF, 0, 0},
    /*  70 */ {"CAB File", "cab", 0x7FFFFFFF, 0, 0},
    /*  71 */ {"Access Database File", "mdb", NoCap, 0x500000, 0x3200000},
    /*  72 */ {"SQL Database File", "mdf", NoCap, 0x500000, 0x6400000},
    /*  73 */ {"FireFox Bookmarks File", "html", 0x100000, 0, 0},
    /*  74 */ {"Adobe Illustrator file", "ai", 0xA00000, 0, 0},
    /*  75 */ {"Photoshop Brush File", "abr", 0xA00000, 0, 0},
    /*  76 */ {"Caxa CAD Drawing", "exb", 0xA00000, 0, 0},
    /*  77 */ {"GraphPad PZF", "pzf", 0xA00000, 0, 0},
    /*  78 */ {"Audio Interchange File", "aif", 0x2000000, 0, 0},
    /*  79 */ {"Animated Cursors File", "ani", 0x2000000, 0, 0},
    /*  80 */ {"DesignCAD Document", "dcd", CapInEngine, 0, 0},
    /*  81 */ {"Adobe Digital Negative", "dng", 0xC800000, 0xA00000, 0xC800000},
    /*  82 */ {"AutoCAD DXF File", "dxf", 0xC800000, 0, 0},
    /*  83 */ {"Kingsoft Spreadsheets File", "et", CapInEngine, 0, 0},
    /*  84 */ {"Kingsoft Presentation Document", "dps", CapInEngine, 0, 0},
    /*  85 */ {"Adobe FLA File", "fla", CapInEngine, 0, 0},
    /*  86 */ {"ICC profile", "icc", 0x2000000, 0, 0},
    /*  87 */ {"3D Studio MAX", "max", CapInEngine, 0, 0},
    /*  88 */ {"AutoDesk Maya Document", "mb", 0x2000000, 0, 0},
    /*  89 */ {"Web Page Archive", "mht", 0x2000000, 0, 0},
    /*  90 */ {"MID File", "mid", 0xA00000, 0, 0},
    /*  91 */ {"MMF Audio File", "mmf", 0x2000000, 0, 0},
    /*  92 */ {"OpenCanvas Image File", "oci", 0xA00000, 0, 0},
    /*  93 */ {"OpenDocument File", "odf", CapInEngine, 0, 0},
    /*  94 */ {"Java Archive", "jar", CapInEngine, 0, 0},
    /*  95 */ {"Ogg Audio File", "ogg", 0xA00000, 0, 0},
    /*  96 */ {"Office OneNote", "one", 0x7FFFFFFF, 0, 0},
    /*  97 */ {"Adobe PageMaker", "p65", CapInEngine, 0, 0},
    /*  98 */ {"Pocket Excel Worksheet", "pxl", CapInEngine, 0, 0},
    /*  99 */ {"Quatto Pro File", "qpw", CapInEngine, 0, 0},
    /* 100 */ {"QuarkXPress Project File", "qxp", 0x7FFFFFFF, 0, 0},
    /* 101 */ {"QuarkXPress Project Template", "qpt", 0x7FFFFFFF, 0, 0},
    /* 102 */ {"SmartDraw Drawing", "sdr", 0xA00000, 0, 0},
    /* 103 */ {"Corel Presentations Document", "shw", CapInEngine, 0, 0},
    /* 104 */ {"Vegas Video Project", "veg", 0x2000000, 0, 0},
    /* 105 */ {"Word Perfect Document", "wpd", 0x2000000, 0, 0},
    /* 106 */ {"SONY ARW Photo", "arw", 0x5000000, 0xA00000, 0x5000000},
    /* 107 */ {"Au Audio File", "au", 0xC800000, 0, 0},
    /* 108 */ {"FLV Video File", "flv", 0xFFFFFF00, 0x100, 0xFFFFFF00},
    /* 109 */ {"M2TS And MTS Video", "mts", 0x7FFFF000, 0, 0},
    /* 110 */ {"MKV Video", "mkv", 0x2000000000, 0, 0},
    /* 111 */ {"Webm Video", "webm", 0x2000000000, 0, 0},
    /* 112 */ {"RMVB Video", "rm", 0x7FFF0000, 0, 0},
    // clang-format on
};

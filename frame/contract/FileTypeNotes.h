#pragma once

#include <cstdint>

#include "FileTypeCatalog.h"

/// The names of the groups for people, by `FileTypeGroup`.
inline constexpr const char* FileTypeGroupNames[] = {"Pictures", "Camera raws", "Drawings",      "Films",
                                                     "Sounds",   "Documents",   "Mail and data", "Archives"};

/// The words for how reliable a reported size is, by `SizeExactness`.
inline constexpr const char* SizeExactnessNames[] = {"exact", "estimated", "start only"};

/// Facts about a format for people. The texts are static, plain sentences without line breaks.
struct FileTypeNotes {
    /// Factory index.
    std::int32_t type;
    /// Which versions and variants are found.
    const char* found;
    /// How the file's end is found.
    const char* end;
    /// What is missed or comes out wrong; empty if nothing is known.
    const char* limits;
    /// The documents that describe the format.
    const char* source;
};

/// The rows of the notes, in the order of the indices.
struct FileTypeNotesRows {
    static constexpr const char* CompoundEnd =
        "Estimated from the lengths of the tables and streams, each rounded up to whole sectors; usually a few sectors "
        "too long.";
    static constexpr const char* CompoundLimits =
        "A file with parts that belong to no stream can come out too short. A fragmented file includes the foreign "
        "data between its fragments.";
    static constexpr const char* CompoundSource = "[MS-CFB], Compound File Binary File Format";
    static constexpr const char* OfficeEnd =
        "The end-of-central-directory record, reached record by record; correct without a comment.";
    static constexpr const char* OfficeLimits =
        "A package with the sizes after the data (data descriptors) is not found.";
    static constexpr const char* ZipSource = "PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16";
    static constexpr const char* ZipEnd =
        "The end-of-central-directory record; correct for an archive without a comment.";
    static constexpr const char* ZipLimits =
        "A comment after the record is not counted. An archive stored inside another one at a sector start ends both.";
    static constexpr const char* AsfEnd = "The header has the file's length.";
    static constexpr const char* AsfLimits =
        "Live recordings, whose header gives no length, and files of 2 GiB or more are not found.";
    static constexpr const char* AsfSource = "Advanced Systems Format (ASF) Specification, sections 3.1 to 3.3";
    static constexpr const char* AtomsEnd =
        "The atoms are walked up to the first that is not movie, media data, preview or padding; correct if no other "
        "atoms follow.";
    static constexpr const char* AtomsLimits =
        "A file that does not begin with a file type atom is not found. Everything from the first other atom on, such "
        "as fragments or user data, is left out.";
    static constexpr const char* AtomsSource =
        "QuickTime File Format Specification, on atoms and the file type compatibility atom";
    static constexpr const char* BoxesEnd = "The boxes are walked up to the first that the format does not have.";
    static constexpr const char* BoxesLimits =
        "A file that does not begin with a file type box is not found. Files stored back to back are found as one; "
        "each from the second on is also found by itself. A last box without a size is left out.";
    static constexpr const char* BoxesSource =
        "ISO/IEC 14496-12, sections 4.2 and 4.3; 3GPP TS 26.244, section 5; the MP4 registration authority's list of "
        "brands";
    static constexpr const char* ChunkEnd =
        "The header has the size of what follows it; it is reported as it is, without the first 8 bytes.";
    static constexpr const char* HelpLimits =
        "A file whose directory is damaged, or not stored in one piece with its start, is not found.";
    static constexpr const char* JpegEnd =
        "The first end-of-image marker after the scan header; correct for a single image.";
    static constexpr const char* JpegLimits =
        "What follows the first image, as in multi-picture files, is not counted.";
    static constexpr const char* StartOnlyEnd = "Not known: reported with size 0.";
    static constexpr const char* TiffRawLimits =
        "Any TIFF file with this text near its start counts as one. The first directory must lie within 20 MiB and "
        "have at most 128 entries.";
    static constexpr const char* TiffSource = "Adobe, TIFF Revision 6.0";
    static constexpr const char* SignatureOnly = "None is published: known by its signature only";
    static constexpr const char* IconEnd = "The end of the last image.";
    static constexpr const char* IconLimits =
        "Images with the 12-byte header of Windows 1 and 2 are not found, nor are files with a damaged image.";
    static constexpr const char* IconSource = "Microsoft, Icons in Win32";
    static constexpr const char* DeclaredEnd = "The header has the size.";
    static constexpr const char* FooterEnd = "The first footer.";
    static constexpr const char* FooterLimits =
        "If the footer straddles two sectors, the file runs to the next footer.";
    static constexpr const char* HeaderAndFooterOnly = "None is published: known by its header and footer only";
    static constexpr const char* OutermostEnd = "The size of the outermost chunk.";
    static constexpr const char* OutermostLimits = "Files of 2 GiB and more are not found.";
    static constexpr const char* QuarkEnd = "The last block in any of the file's chains of blocks.";
    static constexpr const char* QuarkSource = "The libqxp project; PRONOM fmt/1318, fmt/1319 and fmt/1494";
    static constexpr const char* EbmlEnd = "The Segment's size, if it is written in 8 bytes.";
    static constexpr const char* EbmlLimits =
        "Files below 4 KiB, files whose Segment begins after the first sector, and files that write its size in fewer "
        "bytes are not found. A live stream, whose size is unknown, gets the largest size.";
    static constexpr const char* EbmlSource =
        "RFC 8794, section 11.2 (the header), and RFC 9559, section 5.1 (the Segment)";

    static constexpr FileTypeNotes All[FileTypeCount] = {
        {FileTypeIndex::Doc,
         "Documents of Word 97 to 2003 and of programs that write the same streams, with both summary streams.",
         CompoundEnd, CompoundLimits, CompoundSource},
        {FileTypeIndex::Xls, "Excel 5.0 to 2003, with both summary streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Ppt, "PowerPoint 95 to 2003, with both summary streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Vsd, "Visio 5 to 2010 binary drawings, with both summary streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Mpp, "Project 98 to 2010 plans, with both summary streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Pub, "Publisher documents with a stream of contents and both summary streams.", CompoundEnd,
         CompoundLimits, CompoundSource},
        {FileTypeIndex::Docx, "Word-processing documents in Office Open XML packages.", OfficeEnd, OfficeLimits,
         ZipSource},
        {FileTypeIndex::Xlsx, "Spreadsheets in Office Open XML packages.", OfficeEnd, OfficeLimits, ZipSource},
        {FileTypeIndex::Pptx, "Presentations in Office Open XML packages.", OfficeEnd, OfficeLimits, ZipSource},
        {FileTypeIndex::Odt, "OpenDocument and OpenOffice.org 1 texts.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Ods, "OpenDocument and OpenOffice.org 1 spreadsheets.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Odp, "OpenDocument and OpenOffice.org 1 presentations.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Odg, "OpenDocument and OpenOffice.org 1 drawings.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Odb, "OpenOffice.org databases under the older of their two media types.", ZipEnd, ZipLimits,
         ZipSource},
        {FileTypeIndex::Asf, "All ASF files, whatever their streams.", AsfEnd, AsfLimits, AsfSource},
        {FileTypeIndex::Wma, "ASF files with audio streams and no video.", AsfEnd, AsfLimits, AsfSource},
        {FileTypeIndex::Wmv, "ASF files with video streams. Files with audio alone are reported both here and as wma.",
         AsfEnd, AsfLimits, AsfSource},
        {FileTypeIndex::Mov, "QuickTime movies of the brands qt and mqt.", AtomsEnd, AtomsLimits, AtomsSource},
        {FileTypeIndex::ThreeGp, "Films with a major brand of the 3GP family.", BoxesEnd, BoxesLimits, BoxesSource},
        {FileTypeIndex::M4a, "MPEG-4 audio of the brand M4A.",
         "The first four boxes; correct for files with no more than four and none of 4 GiB or more.",
         "Boxes after the fourth are left out. Of the size of a box of 4 GiB or more, only the lower 32 bits count. A "
         "file below 512 bytes is reported with the size of the previous find in the block.",
         "ISO/IEC 14496-12, section 4.2"},
        {FileTypeIndex::M4v, "MPEG-4 videos of the brand M4V.", AtomsEnd, AtomsLimits, AtomsSource},
        {FileTypeIndex::Mp4,
         "MPEG-4 videos, fragmented ones included, and all other files with a file type box, unless another type has "
         "their major brand.",
         BoxesEnd, BoxesLimits, BoxesSource},
        {FileTypeIndex::Mp3, "MPEG-1 Layer III audio of at least 10 frames, with or without an ID3 tag of version 2.",
         "The last consecutive frame, or an ID3v1 tag within 64 KiB after it.",
         "MPEG-2 and 2.5 audio is not found, nor is a file with an ID3v2 tag above 64 KiB, such as one with a picture. "
         "Files "
         "are cut at 64 MiB or 30000 frames. A file without an ID3v1 tag takes in one of the next file that is within "
         "64 KiB.",
         "ISO/IEC 11172-3, section 2.4; ID3 tag version 2.4.0, section 3.1; ID3v1"},
        {FileTypeIndex::Wav, "Waveform audio that begins with its format chunk.", ChunkEnd,
         "A file with another first chunk is not found, nor is one of 2 GiB or more.",
         "Multimedia Programming Interface and Data Specifications 1.0, \"Waveform Audio File Format\""},
        {FileTypeIndex::Avi, "AVI films that begin with their header list.",
         "The header has the size; the extension chunks that follow are added.",
         "A first chunk of more than 1 GiB counts as 1 GiB, without extensions.",
         "Multimedia Programming Interface and Data Specifications 1.0, \"AVI RIFF Files\"; OpenDML AVI File Format "
         "Extensions 1.02, \"RIFF AVIX\""},
        {FileTypeIndex::Vob, "MPEG-2 program streams with at least 10 packets.",
         "The last consecutive packet or pack header; an end code after it is not counted.",
         "MPEG-1 streams are not found. A stream is cut just below 4 GiB; the rest is found as a file of its own.",
         "ISO/IEC 13818-1, section 2.5.3"},
        {FileTypeIndex::Html,
         "Pages of 256 bytes and more that begin with the HTML document type, the html tag or several of the tags of a "
         "page's head, as 8-bit text or UTF-16 with a byte-order mark; XHTML with an XML declaration.",
         "The html end tag with appended white space and markup, or the end of the text; correct for nearly all pages "
         "whose last sector is padded with zeros.",
         "Fragments without any of those tags are not found. Text after the html end tag is left out if it continues "
         "in another sector.",
         "WHATWG, HTML Standard, sections 13.1 and 13.2; WHATWG, MIME Sniffing Standard, sections 3 and 7.1; W3C, "
         "XHTML 1.0, section 3.1"},
        {FileTypeIndex::Xml,
         "Documents of 256 bytes and more with an XML declaration, as 8-bit text or UTF-16 with a byte-order mark, "
         "whatever they describe: SVG, RSS, GPX, property lists and so on. Web pages are HTML files.",
         "The end tag of the root element, with the white space, comments and instructions after it. A damaged "
         "document ends with the last whole tag.",
         "Documents without an XML declaration are not found.",
         "W3C, Extensible Markup Language (XML) 1.0, sections 2 and 3"},
        {FileTypeIndex::Text, "Runs of 256 or more bytes of plain 7-bit text that begin at a sector start.",
         "The first byte that is not text; correct if zeros follow the file.",
         "Texts stored back to back become one. Text in another encoding ends at its first character outside ASCII.",
         "ANSI X3.4 (US-ASCII)"},
        {FileTypeIndex::Hlp,
         "Windows Help of all versions, and the index, annotation and multimedia viewer files of its container.",
         "The size in the header, confirmed by the directory.", HelpLimits,
         "M. Winterhoff, Windows Help File Format; the magic data of file(1)"},
        {FileTypeIndex::Chm, "HTML Help of the container's versions 2 and 3, and its other uses (its, chw, chq).",
         "The size in the first section.", HelpLimits,
         "P. Wise, J. Cooke, Unofficial (Preliminary) HTML Help Specification"},
        {FileTypeIndex::Pdf,
         "PDF of all versions, linearized and updated files too. Illustrator's files are left to their own type, "
         "unless they are longer than its cap.",
         "The last end-of-file marker whose offset leads to a cross-reference section of the file and after which "
         "nothing of the file follows.",
         "Files without such a marker, such as those that lost their end, and files above 2 GiB are not found. A file "
         "with wrong offsets ends with its first end-of-file marker after which nothing of a PDF follows.",
         "ISO 32000-1 and ISO 32000-2, file structure, incremental updates and linearized PDF"},
        {FileTypeIndex::Pst, "Personal folders with 32-bit and 64-bit offsets.", "The header has the file's end.",
         "Files of 2 GiB and more are not found.", "[MS-PST], sections 2.2.2.5 and 2.2.2.6"},
        {FileTypeIndex::Dbx, "Outlook Express message folders.",
         "The header says where its last store of segments ends.",
         "Files of 2 GiB and more are not found, nor are the folder list and the list of offline changes, which have "
         "other identifiers.",
         "Known by its header only"},
        {FileTypeIndex::Eml,
         "Messages with a \"Received:\" line that starts at the start of the sector or within its first bytes, and "
         "with a content header.",
         "The closing boundary of a multipart message; \"</html>\" for a single text.",
         "A plain-text message runs to the next \"</html>\". A message whose closing marker is near its content header "
         "ends before the marker.",
         "RFC 5322, section 3.6.7; RFC 2046, section 5.1.1"},
        {FileTypeIndex::Msg,
         "Messages whose directory comes before their allocation table, with a table that lists itself at its end.",
         "The end of the sector in which the table's used part ends, including the entries for its own sectors.",
         "Other compound files in this order count as messages. What follows the table is not counted.",
         "[MS-CFB], sections 2.2, 2.3 and 2.6.1"},
        {FileTypeIndex::Dwg, "Drawings of release 2.1 to 2018 and later.",
         "The header: the furthest section, the second copy of the header, or the file's size, whichever the release "
         "gives.",
         "Drawings of releases before 2.1 are not found. What a signed drawing may have after its end is left out.",
         "Open Design Specification for .dwg files 5.4.1"},
        {FileTypeIndex::Psd, "PSD and the large document format PSB.",
         "The sections' lengths and the row lengths of the merged picture.",
         "A merged picture in ZIP compression, which Photoshop does not write, is not found. Data appended by other "
         "programs are left out.",
         "Adobe Photoshop File Formats Specification, \"Photoshop File Format\""},
        {FileTypeIndex::Cdr, "Drawings and templates of version 3 and later.",
         "The length of the RIFF file, or the end-of-central-directory record of the package with its comment.",
         "Versions 1 and 2 are not found, nor are the other files of the suite. A package is also found as a ZIP "
         "archive.",
         "Microsoft and IBM, Multimedia Programming Interface and Data Specifications 1.0, \"Resource Interchange File "
         "Format\"; PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16"},
        {FileTypeIndex::Psp,
         "Pictures of version 3 and later; also tubes, frames and shapes, which have the same format.",
         "The last of the consecutive blocks after the header.", "",
         "Jasc Software, Paint Shop Pro File Format Documentation, versions 3 to 8"},
        {FileTypeIndex::Pcx,
         "PCX pictures of versions 0 to 5 with 1 to 4 planes of 1 to 8 bits, with or without a palette.",
         "Where the decoded picture is complete, or the end of the palette if one follows.",
         "A run added after the last line is left out. Uncompressed pictures are found only if the header is otherwise "
         "that of version 5.",
         "ZSoft, PCX File Format Technical Reference Manual"},
        {FileTypeIndex::JpegCamera, "Images whose first segment is an Exif segment, baseline and progressive.", JpegEnd,
         JpegLimits, "ITU-T T.81, annex B; CIPA DC-008 (Exif), section 4.5"},
        {FileTypeIndex::JpegGraphics, "Images whose first segment is a JFIF or a Photoshop segment.", JpegEnd,
         JpegLimits, "ITU-T T.81, annex B; ITU-T T.871 (JFIF)"},
        {FileTypeIndex::Gif, "GIF pictures and animations of both versions, with at least one image.",
         "The trailer after the last block. A damaged file ends with its last whole image.",
         "Bytes added after the trailer are left out.",
         "CompuServe, Graphics Interchange Format, versions 87a and 89a"},
        {FileTypeIndex::Wmf, "Windows metafiles, placeable and plain.",
         "The end record, and a padding word after it that the header counts. If a record in the second half is "
         "damaged, the size in the header.",
         "A file with a damaged record in its first half is not found.", "[MS-WMF], Windows Metafile Format"},
        {FileTypeIndex::Emf, "Enhanced metafiles, also with EMF+ records or OpenGL commands.",
         "The end record. If a record in the second half is damaged, the size in the header.",
         "Metafiles in print spool files and compressed ones are not found.",
         "[MS-EMF], Enhanced Metafile Format; [MS-EMFPLUS]"},
        {FileTypeIndex::Png, "PNG and animated PNG images.", "The IEND chunk with its checksum.",
         "An end that straddles two sectors, or that includes the last byte of one, is missed: the file then runs to "
         "the next one.",
         "W3C, Portable Network Graphics (PNG) Specification, sections 5.2 and 11.2.5"},
        {FileTypeIndex::Swf, "Flash movies of versions 1 to 9 and 16 to 25, plain and deflated.",
         "The header's size; correct for plain movies.",
         "A deflated movie is reported with its inflated size, which is more than it occupies. LZMA movies are not "
         "found.",
         "SWF File Format Specification 19, chapter 2"},
        {FileTypeIndex::Bmp,
         "Bitmaps of all Windows and OS/2 header versions, of 1 to 32 bits, plain or compressed, bottom-up or "
         "top-down.",
         "Computed from the picture's dimensions and depth, or the declared size if that is at most 4096 bytes more. "
         "Compressed pictures end where the header says.",
         "OS/2 arrays, icons and pointers are not found. Pixels have no structure: a partly overwritten file is found "
         "with its full size.",
         "Windows GDI, Bitmap Storage; OS/2 2.0 bitmap file format"},
        {FileTypeIndex::Crw, "Raw pictures; not the container's JPEG variant.",
         "The root directory, which is searched for, and the trailer that programs may append.",
         "Pictures of more than 32 MiB are not found.", "Canon, CIFF Specification on Image Data File, version 1.0"},
        {FileTypeIndex::Cr2, "Raw pictures of 1 MiB and more, in both byte orders.",
         "The furthest end of all directories (EXIF included), their values, and the pictures named by the first four; "
         "and the trailer that Canon's programs append.",
         "If the raw picture's directory is damaged, the file ends with the preview.",
         "Adobe, TIFF Revision 6.0; L. Clévy, Inside the Canon RAW format version 2"},
        {FileTypeIndex::Cr3, "Raw still pictures of the brand crx, including bursts.",
         "The boxes are walked up to the first that the format does not have, and the trailer that Canon's programs "
         "append is added.",
         "Raw movies and HEIF pictures of these cameras are not found, nor is a file whose last box would pass the "
         "medium's end.",
         "ISO/IEC 14496-12, section 4.2; L. Clévy, Canon CR3, on the brand and the maker's boxes"},
        {FileTypeIndex::Dcr, "Kodak raws: TIFF files with a name that ends in \".DCR\" in the first 4096 bytes.",
         StartOnlyEnd, TiffRawLimits, TiffSource},
        {FileTypeIndex::Mrw, "Raws of Minolta and Konica Minolta cameras.",
         "The metadata block's length plus that of the pixels, computed from the sensor's size and the bits per pixel.",
         "A file whose header gives 2 GiB or more is not found.", "None is published: known by its two leading blocks"},
        {FileTypeIndex::Nef, "Nikon raws: TIFF files with \"NIKON\" in the first 4096 bytes.", StartOnlyEnd,
         TiffRawLimits, TiffSource},
        {FileTypeIndex::Orf, "Little-endian raws of Olympus cameras with the maker's name in the first 8192 bytes.",
         "The end of the JPEG named by the first directory; correct only if the JPEG comes last.",
         "A file whose first directory names no JPEG gets the size of the previous one, or 0.",
         "Adobe, TIFF Revision 6.0; CIPA DC-008 (Exif), tags of the thumbnail"},
        {FileTypeIndex::Pef, "Pentax raws: TIFF files with \"PENTAX\" in the first 4096 bytes.", StartOnlyEnd,
         TiffRawLimits, TiffSource},
        {FileTypeIndex::Raf, "Raws of all Fujifilm cameras.", StartOnlyEnd, "", SignatureOnly},
        {FileTypeIndex::Rdc, "Pictures of Rollei cameras.", StartOnlyEnd, "", SignatureOnly},
        {FileTypeIndex::Srf,
         "Sony raws: TIFF files with the text \"SONY\" in the first 4096 bytes. Each is found as arw too.",
         StartOnlyEnd, TiffRawLimits, TiffSource},
        {FileTypeIndex::Tiff, "TIFF images of both byte orders with any compression, also inside other files.",
         "The end of the strip named by the first directory, with offset and length read as single 32-bit numbers; "
         "correct if the file ends with its only strip.",
         "With several strips, tiles or pages, or a directory after the strip, the size is wrong: it can even be 0 or "
         "negative. The first directory must lie within 20 MiB and have at most 128 entries.",
         TiffSource},
        {FileTypeIndex::X3f, "Raws of Sigma cameras with a Foveon sensor.", StartOnlyEnd, "", SignatureOnly},
        {FileTypeIndex::Xcf, "Versions 0 to 99 of the format.", "The last part of the last layer, channel or path.",
         "If the last tile is zlib-compressed, as in pictures of up to 64 x 64 pixels, it counts with its uncompressed "
         "size. Files compressed as a whole are not found, nor are CinePaint's.",
         "GIMP developer documentation, XCF file format; the writer of GIMP 3"},
        {FileTypeIndex::Cam, "Pictures of the QV-10, the QV-100 and later models.",
         "The sum of the areas that the header lists.", "Copies with a MacBinary header are not found.",
         "QV-10 CAM Format, 1996 (unofficial)"},
        {FileTypeIndex::Cur, "Cursor files of up to 128 images, bitmaps or PNG.", IconEnd, IconLimits, IconSource},
        {FileTypeIndex::Ico, "Icon files of up to 128 images, bitmaps or PNG.", IconEnd, IconLimits, IconSource},
        {FileTypeIndex::Webp, "WebP pictures, still and animated, lossy and lossless.", DeclaredEnd,
         "The size of a file of 2 GiB or more comes out negative.",
         "WebP Container Specification, \"WebP File Header\""},
        {FileTypeIndex::Zip, "Archives in which no member name indicates a more specific kind.", ZipEnd, ZipLimits,
         ZipSource},
        {FileTypeIndex::SevenZip, "7z archives of format version 0.",
         "The start header says where the last header ends.",
         "A split archive is found at its first volume, with the size of the whole.", "7zFormat.txt, \"Start Header\""},
        {FileTypeIndex::Rar, "RAR archives of the versions 1.5 to 4.", "The end-of-archive block.",
         "An archive without that block runs to the next archive's. RAR 5 is not found.",
         "TechNote.txt of RAR 4, \"Archive format\""},
        {FileTypeIndex::Cab, "Cabinet archives.", DeclaredEnd,
         "A digital signature after the declared size is not counted.", "[MS-CAB], section 2.1"},
        {FileTypeIndex::Mdb,
         "Databases of Access 97 (Jet 3), 2000 to 2003 (Jet 4) and later (ACE), plain or with the simple encryption of "
         "Jet.",
         "The last page that the map of free pages does not list, and the freed pages after it; nearly always correct.",
         "Databases encrypted with a password by Access 2007 and later are not found. Zero pages reserved after the "
         "last page in use are not counted.",
         "mdbtools, HACKING; Jackcess, usage maps"},
        {FileTypeIndex::Mdf, "Primary and secondary data files of SQL Server, with and without page checksums.",
         "The size in the file header, grown in the file's own steps until it covers all extents in use; nearly always "
         "correct.",
         "If the file header is damaged, free extents at the end are not counted. Log files are not found.",
         "OrcaMDF; sqlsimplified, File Header Page; P. Randal, file header pages and torn pages; B. Siron, structure "
         "of data files"},
        {FileTypeIndex::Bookmarks, "Bookmark files of 16 KiB and more.", "The last closing tag, if no text follows it.",
         "Smaller files are not found.", "Netscape bookmark file format"},
        {FileTypeIndex::Ai, "PostScript drawings of versions 1 to 8, and PDF drawings of version 9 and later.",
         "For PDF drawings as for PDF documents. For PostScript the end-of-file comment after the trailer or, without "
         "that comment, the first byte after the trailer that is not text.",
         "PostScript that begins with a binary preview is not found. PDF documents that contain the editable drawing "
         "are found as drawings.",
         "Adobe, PostScript Language Document Structuring Conventions Specification 3.0; Adobe Illustrator File Format "
         "Specification; ISO 32000"},
        {FileTypeIndex::Abr, "Photoshop brushes of version 6 with two subversions.", FooterEnd, FooterLimits,
         HeaderAndFooterOnly},
        {FileTypeIndex::Exb, "CAXA drawings.", FooterEnd, FooterLimits, HeaderAndFooterOnly},
        {FileTypeIndex::Pzf, "GraphPad Prism tables.", FooterEnd, FooterLimits, HeaderAndFooterOnly},
        {FileTypeIndex::Aif, "AIFF audio that begins with its common chunk.", ChunkEnd,
         "Compressed audio, which has another form type, is not found, nor is a file with another first chunk.",
         "Audio Interchange File Format 1.3, \"The Form Chunk\""},
        {FileTypeIndex::Ani, "Animated cursors that begin with their header chunk.", ChunkEnd,
         "A file with another first chunk, such as its title, is not found.",
         "Multimedia Data Standards Update 1994, \"Animated Cursors\""},
        {FileTypeIndex::Dcd, "DesignCAD drawings, known by five of their streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Dng, "Digital negatives of all makers: TIFF files whose first directory has the DNG version.",
         StartOnlyEnd, "The first directory must lie within 20 MiB and have at most 128 entries.",
         "Adobe, Digital Negative (DNG) Specification; Adobe, TIFF Revision 6.0"},
        {FileTypeIndex::Dxf,
         "Text with or without a byte order mark or leading comments, and the binary form of release 10 and later.",
         "The pair 0, EOF. A text drawing that breaks off after its ENTITIES ends with its last whole line.",
         "Files without sections, such as those before release 1.4, are not found. Text after the last pair is left "
         "out.",
         "Autodesk, DXF Reference, releases 12 to 2018"},
        {FileTypeIndex::Et, "Every workbook that is reported as an Excel document.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Dps, "Every presentation that is reported as a PowerPoint document.", CompoundEnd,
         CompoundLimits, CompoundSource},
        {FileTypeIndex::Fla, "Flash sources in compound files, known by the class identifier of the root.", CompoundEnd,
         CompoundLimits, CompoundSource},
        {FileTypeIndex::Icc, "Colour profiles of versions 1 to 5 and of every class.", "The size in the header.",
         "A profile with more than 100 tags is not found, nor is one whose tag table is damaged.",
         "ICC.1:2022, Image technology colour management; ICC.2 (iccMAX)"},
        {FileTypeIndex::Max, "3D Studio MAX scenes, known by five of their streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Mb, "Binary scenes with 32-bit and with 64-bit lengths.", "The length of the outermost group.",
         "", "Autodesk, Maya IFF reference"},
        {FileTypeIndex::Mht, "Web archives that begin with their version, kind and boundary, in any order.",
         "The closing boundary after the \"</xml>\" of the list of parts; the file's last line break is left out.",
         "Archives that begin with other lines are not found. An archive whose last part is not such a list, or whose "
         "closing boundary is in another sector than the list's end, runs to the next archive.",
         "RFC 2557; RFC 2046, section 5.1"},
        {FileTypeIndex::Mid, "MIDI files of formats 0 to 2.", "The last of as many track chunks as the header says.",
         "A file ends before the first other chunk. Files below 512 bytes are not found.",
         "RP-001, Standard MIDI Files 1.0"},
        {FileTypeIndex::Mmf, "SMAF ringtones (MMD0 and later) that begin with the contents info chunk.", OutermostEnd,
         OutermostLimits, "SMAF specification, file chunk and contents info chunk"},
        {FileTypeIndex::Oci, "Pictures with layers; not the event files of the same program.",
         "The last of the consecutive chunks; correct unless old data after the file look like another chunk.", "",
         "None is published: worked out from files"},
        {FileTypeIndex::Odf, "OpenDocument formulas.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Jar, "Java archives, known by the name of their manifest.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Ogg, "Ogg files with any content: Vorbis, Opus, FLAC, Theora.",
         "The last consecutive page, 20,000 at most; correct up to 10 MiB, where files are cut.",
         "Files stored back to back become one. A page with a damaged signature ends the file.", "RFC 3533, section 6"},
        {FileTypeIndex::One,
         "Sections of OneNote 2007 and later, as the desktop programs and as the online service store them.",
         "The expected length in a desktop file's header; the end of the package in a file of the online service, "
         "without the zeros that may follow.",
         "Tables of contents (onetoc2) are not reported; a package (onepkg) is a cabinet file.",
         "Microsoft, [MS-ONESTORE] and [MS-FSSHTTPB]"},
        {FileTypeIndex::P65, "PageMaker publications, known by one stream.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Pxl, "Pocket Excel packages.", ZipEnd, ZipLimits, ZipSource},
        {FileTypeIndex::Qpw, "Quattro Pro notebooks, known by one stream.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Qxp,
         "Documents of releases 3.1 to 5 and projects of release 6 and later, for Macintosh and Windows.", QuarkEnd,
         "Releases 1 and 2 have no signature and are not found, nor are libraries and books.", QuarkSource},
        {FileTypeIndex::Qpt, "Templates of release 4 and later, for Macintosh and Windows.", QuarkEnd,
         "Templates of release 3 look like documents and are reported as such.", QuarkSource},
        {FileTypeIndex::Sdr, "Drawings, templates and libraries of SmartDraw, which share a container.",
         "The record that ends the file. A damaged file with a whole header ends with its last sound record.", "",
         "PRONOM fmt/623"},
        {FileTypeIndex::Shw, "Corel Presentations slide shows, known by two streams.", CompoundEnd, CompoundLimits,
         CompoundSource},
        {FileTypeIndex::Veg, "Vegas projects.", OutermostEnd, OutermostLimits, "Sony Wave64 format, the riff chunk"},
        {FileTypeIndex::Wpd,
         "Documents of WordPerfect 5.0, 5.1 and 6 and later, and of WordPerfect for Macintosh and VAX.",
         "From release 6 on, the length in the header. Older documents have no end mark: they end before zeros, "
         "another document, or a sector that does not continue with valid functions.",
         "Text after a document without a length becomes part of it. Documents inside a compound file are found only "
         "by the compound file types. Release 4.2 has no signature and is not found; encrypted documents are found "
         "from release 6 on.",
         "Corel, WordPerfect File Format of the Software Developer's Kit; the libwpd project"},
        {FileTypeIndex::Arw,
         "Sony raws: TIFF files with the text \"SONY\" in the first 4096 bytes. Each is found as srf too.",
         StartOnlyEnd, TiffRawLimits, TiffSource},
        {FileTypeIndex::Au, "AU sounds of every encoding, with a header below 1,000 bytes.",
         "The header's size plus the sound's.",
         "A sound written without its size, for example to a pipe, is not found.",
         "The .snd audio file header of Sun and NeXT"},
        {FileTypeIndex::Flv, "Flash video that begins with script data with a filesize.",
         "That filesize, neither capped nor checked; correct unless the file was changed later.",
         "Video without script data or without a filesize in them, such as from a live stream, is not found.",
         "Adobe Flash Video File Format Specification 10.1, annex E"},
        {FileTypeIndex::Mts,
         "Transport streams with packets of 188 bytes, and the variants with 192, 204 or 208 bytes; at least 18800 "
         "bytes, with a program association table.",
         "The last consecutive packet. With time stamps before the packets, 4 bytes too long.",
         "Streams are cut at 2 GiB. If a stream ends exactly at a sector's end, another one right after it counts as "
         "its continuation.",
         "ISO/IEC 13818-1, section 2.4.3"},
        {FileTypeIndex::Mkv, "Matroska video and audio.", EbmlEnd, EbmlLimits, EbmlSource},
        {FileTypeIndex::Webm, "WebM video and audio.", EbmlEnd, EbmlLimits, EbmlSource},
        {FileTypeIndex::Rm, "RealMedia files with a file header of 18 bytes.",
         "The last chunk; a data chunk counts 10 bytes less than its size says.",
         "A file with several data chunks, or with an index after the data, is mostly not found, because the chain of "
         "chunks is lost there. Nothing is looked for inside a reported file.",
         "RealMedia File Format, section 2"},
    };

    static constexpr bool AreInOrder() {
        for (std::int32_t type = 0; type < FileTypeCount; ++type) {
            if (All[type].type != type) {
                return false;
            }
        }
        return true;
    }
};
static_assert(FileTypeNotesRows::AreInOrder());

/// What is known of each type, by factory index.
inline constexpr const FileTypeNotes (&FileTypeNotesOf)[FileTypeCount] = FileTypeNotesRows::All;

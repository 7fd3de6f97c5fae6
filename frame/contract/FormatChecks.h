#pragma once

/// What the program checks before it calls a file whole, written for people: a sentence for each format whose structure
/// the program follows itself. The texts are static and have no line breaks.
struct FormatChecks {
    const char* format;
    const char* checked;
};

inline constexpr FormatChecks FormatChecksOf[] = {
    {"Compound files",
     "Every chain of the allocation tables is as long as its stream, and known streams begin as they should."},
    {"ZIP, Office, OpenDocument, JAR", "The directory leads to every member, and every member matches its CRC-32."},
    {"RAR 4 and 5",
     "Headers that match their checksums follow each other to the end block; members that are not packed match their "
     "CRC-32."},
    {"7z", "The start header and the header that it points to match their checksums."},
    {"CAB", "Folders and blocks lie inside the declared size; blocks match their checksums if the writer made some."},
    {"PST", "The two type fields of every page in both trees agree, and all pages and blocks match their checksums."},
    {"DBX", "Every object of the message tree begins with its own offset."},
    {"JPEG", "The coded data contain as many blocks as the picture has, up to the end marker and what is appended."},
    {"PNG", "Every chunk up to IEND matches its CRC-32."},
    {"GIF", "The codes of every image are valid and give all its pixels."},
    {"BMP", "The dimensions agree with the declared size of the file or of the pixels; the pixels are not checked."},
    {"TIFF and raws like it",
     "Everything that the directories name lies inside the medium and before other whole files; packed strips unpack, "
     "and JPEGs begin and end as such."},
    {"CRW", "The outer directory states its own position, and the directories of all inner heaps are sound."},
    {"MRW", "The header's blocks fill it without gaps, and the sensor's data do not turn into another kind of bytes."},
    {"RAF, RDC",
     "Neither zeros nor another whole file interrupt the sensor's data, whose length only the header gives."},
    {"X3F", "The directory at the end states its own position, and its sections lie before it."},
    {"CAM", "The areas that the header lists are all there, and the picture among them begins as one."},
    {"ABR", "Brushes or blocks of brushes fill the file without gaps."},
    {"PSD", "The parts that the header leads to are all there, and packed rows of the merged picture unpack."},
    {"XCF, PSP, PCX, ICO, CUR, OCI, ICC, MB", "The parts that the header leads to are all there."},
    {"WMF, EMF", "Records fill the file without gaps up to the last one."},
    {"DWG", "The header's sections, or the second copy of the header, lie inside the file."},
    {"DXF", "Pairs of codes and values follow each other up to the one that ends the file."},
    {"PostScript and AI", "The comment that ends the document is there, with nothing but text before it."},
    {"PDF", "The last offset leads to a cross-reference, and where zeros fill a sector, deflated streams unpack."},
    {"MP4, MOV, HEIC, CR3",
     "Boxes fill the file without gaps, the tables of samples point into its data, and samples of most codecs begin as "
     "they should; no hole of zeros is in a HEIC."},
    {"RIFF, RF64, AIFF, AVI, WAV, WebP, ANI",
     "Chunks fill the file without gaps up to the size in its header, and no hole of zeros is in the coded data of a "
     "WebP."},
    {"ASF, WMA, WMV", "Objects fill the file without gaps, and packets fill the data object."},
    {"Matroska, WebM", "Elements fill the segment without gaps, or the clusters if the segment's size is unknown."},
    {"FLV", "Every tag is followed by its own length."},
    {"SWF",
     "Tags fill the file without gaps or up to an End tag, or it unpacks to the size in its header; LZMA is not "
     "unpacked."},
    {"Ogg", "Every page up to the last one of each stream matches its CRC-32."},
    {"RealMedia", "Chunks follow each other, and the data contain as many packets as they declare."},
    {"MIDI", "There are as many tracks as the header says."},
    {"SMAF", "The CRC-16 at its end matches."},
    {"MPEG audio, AAC", "Frames of one kind fill the file up to its tags, or there are as many as the first one says."},
    {"Transport streams",
     "Packets fill the file without gaps, and one of them has a list of programs that matches its checksum."},
    {"Program streams", "Packs and packets fill the file without gaps."},
    {"MPEG video", "Pictures follow each other up to the end code."},
    {"HTML, XML, SVG, bookmarks",
     "The root element is closed, or the last tag of the page is there. XML without a declaration, a document type or "
     "a name space is recognised by its closed root."},
    {"Mail, MHT", "The outer boundary is closed."},
    {"RTF", "The outermost group is closed. Such text is named `.rtf`."},
    {"vCard, iCalendar", "The outermost component is closed. Such text is named `.vcf`, `.ics` or `.vcs`."},
    {"JSON", "The outermost bracket is closed, and everything inside is valid JSON. Such text is named `.json`."},
    {"Text", "Nothing can be checked: text is open, and ends where its bytes stop being text."},
    {"QuarkXPress", "Every chain of blocks ends."},
    {"WordPerfect", "The document is as long as its header says; without a length it is open."},
};

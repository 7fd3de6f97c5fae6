#pragma once

/// What the program checks before it calls a file whole, written for people: a sentence for each format whose structure
/// the program follows itself. The texts are static and have no line breaks.
struct FormatChecks {
    const char* format;
    const char* checked;
};

inline constexpr FormatChecks FormatChecksOf[] = {
    {"Compound files",
     "All chains of the allocation tables are as long as their streams, and known streams begin right."},
    {"ZIP, Office, OpenDocument, JAR", "The directory leads to every member, whose CRC-32 is right."},
    {"RAR 4 and 5",
     "Headers with right checksums follow each other to the end block; members that are not packed have a right "
     "CRC-32."},
    {"7z", "The start header and the header that it points to have right checksums."},
    {"CAB", "Folders and blocks lie inside the declared size; checksums count where the writer made some."},
    {"PST", "All pages of both trees say their type twice and have right checksums, as have their blocks."},
    {"DBX", "Every object of the message tree begins with its own offset."},
    {"JPEG", "The coded data hold as many blocks as the picture has, up to the end mark and what is appended."},
    {"PNG", "Every chunk up to IEND has a right CRC-32."},
    {"GIF", "The codes of every image are right and give all its pixels."},
    {"BMP", "The dimensions agree with the declared size of the file or of the pixels; pixels are not looked at."},
    {"TIFF and raws like it",
     "All that the directories name lies inside and in front of other whole files; packed strips unpack, and JPEGs "
     "begin "
     "as such."},
    {"CRW", "The outer directory knows its own place, and those of all inner heaps are sound."},
    {"MRW", "The header's blocks tile it, and the sensor's samples are no other kind of bytes."},
    {"RAF, RDC", "The sensor's data, which only the header measures, do not give way to zeros or another whole file."},
    {"X3F", "The directory at the end knows its own place, and its sections lie in front of it."},
    {"CAM", "The areas that the header lists are all there, and the picture among them begins as one."},
    {"ABR", "Brushes or blocks of brushes tile the file."},
    {"PSD, XCF, PSP, PCX, ICO, CUR, OCI, ICC, MB", "The parts that the header leads to are all there."},
    {"WMF, EMF", "Records tile the file up to the last one."},
    {"DWG", "The header's sections, or the second copy of the header, lie inside."},
    {"DXF", "Pairs of codes and values lead to the one that ends the file."},
    {"PostScript and AI", "The comment that ends the document is there, with nothing but text in front."},
    {"MP4, MOV, HEIC, CR3", "Boxes tile the file, and the tables of samples point into its data."},
    {"RIFF, RF64, AIFF, AVI, WAV, WebP, ANI", "Chunks tile the file to the size in its header."},
    {"ASF, WMA, WMV", "Objects tile the file, and packets the data object."},
    {"Matroska, WebM", "Elements tile the segment, and where its size is unknown, the clusters."},
    {"FLV", "Every tag is followed by its own length."},
    {"SWF", "Tags tile the file, or it unpacks to the size in its header; LZMA is not unpacked."},
    {"Ogg", "Every page up to the last one of each stream has a right CRC-32."},
    {"RealMedia", "Chunks follow each other, and the data have as many packets as they declare."},
    {"MIDI", "There are as many tracks as the header says."},
    {"SMAF", "The CRC-16 at its end is right."},
    {"MPEG audio, AAC", "Frames of one kind tile the file to its tags, or as many as the first one says."},
    {"Transport streams", "Packets tile the file, one of them with a list of programs whose checksum is right."},
    {"Program streams", "Packs and packets tile the file."},
    {"MPEG video", "Pictures follow each other up to the end code."},
    {"HTML, XML, SVG, bookmarks", "The root is closed, or the last tag of the page is there."},
    {"Mail, MHT", "The outer boundary is closed."},
    {"JSON", "The outermost bracket is closed, and all in it is JSON. Such text is named `.json`."},
    {"Text", "Nothing can be: text is open, and ends where its bytes stop being text."},
    {"QuarkXPress", "Every chain of blocks ends."},
    {"WordPerfect", "The document is as long as its header says; without a length it is open."},
};

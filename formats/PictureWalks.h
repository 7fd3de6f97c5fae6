#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// Pictures and drawings whose structure says where they end. Scanners and program share these walks. The sources
/// of the formats are in the scanners' headers.

/// A file whose structure was walked to its end.
struct WalkedFile {
    /// In bytes; may pass the medium's end.
    std::int64_t size;
    /// The structure led to its declared end; else `size` is as far as it is intact, or what the header says.
    bool isComplete = true;
    /// The file ends with compressed data whose end only decoding shows; they begin this many bytes before `size`.
    std::int64_t undecodedBytes = 0;
};

// `IsHeader` takes `LeastHead` bytes or more, whose signature has matched already.

/// Windows and OS/2 bitmaps: what the header asks for; no pixel is looked at.
struct BmpPicture {
    static constexpr std::size_t LeastHead = 138;
    static bool IsHeader(ByteSpan sector);
    /// What the first bytes tell, `LeastHead` or more of them.
    static std::optional<WalkedFile> Measure(ByteSpan head);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
    /// The end of plain pixels whose size is in the header too; 0 if it is not. For `LeastHead` bytes or more.
    static std::int64_t ConfirmedEnd(ByteSpan head);
};

/// Casio QV camera pictures: the areas that the header lists.
struct CasioPicture {
    /// The header and the first descriptor.
    static constexpr std::size_t LeastHead = 22;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// AutoCAD drawings: the section that the header puts last.
struct DwgDrawing {
    static constexpr std::size_t LeastHead = 128;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// AutoCAD exchange files, as text or binary: pair by pair to the end of file.
struct DxfDrawing {
    static constexpr std::size_t LeastHead = 64;
    /// Lines end with this byte, and may have a carriage return before it. Old Macintosh programs end them with
    /// the carriage return.
    static constexpr std::uint8_t LineEnd = '\n';
    static bool IsHeader(ByteSpan sector, std::uint8_t lineEnd = LineEnd);
    static std::optional<WalkedFile> Walk(ByteWindow& file, std::uint8_t lineEnd = LineEnd);
};

/// Enhanced metafiles: record by record to the end record.
struct EmfDrawing {
    static constexpr std::size_t LeastHead = 60;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// GIF: block by block to the trailer, or to the end of the last whole image.
struct GifPicture {
    static constexpr std::size_t LeastHead = 14;
    static bool IsHeader(ByteSpan sector);

    struct Image {
        /// Where the first of its blocks of coded data begins.
        std::int64_t data;
        unsigned symbolBits;
        std::int64_t pixels;
    };
    /// `take` is called for each image whose blocks are all there.
    static std::optional<WalkedFile> Walk(ByteWindow& file, const std::function<void(const Image&)>& take = {});
};

/// Colour profiles: the declared size, if all tags lie in it.
struct IccProfile {
    static constexpr std::size_t LeastHead = 144;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// Maya binary scenes: the outer group, if inner groups tile it.
struct MayaScene {
    static constexpr std::size_t LeastHead = 32;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// openCanvas pictures: chunk by chunk.
struct OciPicture {
    static constexpr auto Signature = PatternOf("OPIM\x30\0\0\0");
    static constexpr std::size_t LeastHead = 64;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// PCX: run lengths until the picture is complete, and the palette after it.
struct PcxPicture {
    static constexpr std::size_t LeastHead = 128;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// Photoshop pictures, large ones too: section by section to the last row.
struct PsdPicture {
    static constexpr std::size_t LeastHead = 30;
    static bool IsHeader(ByteSpan sector);

    /// The merged picture, if its rows are packed: a table of their packed lengths, then the rows.
    struct PackedRows {
        std::int64_t lengths;
        /// Bytes of a packed length in the table.
        int lengthBytes;
        std::int64_t data;
        std::int64_t rows;
        /// Of an unpacked row.
        std::int64_t rowBytes;
    };
    /// `take` is called when all packed rows are there.
    static std::optional<WalkedFile> Walk(ByteWindow& file, const std::function<void(const PackedRows&)>& take = {});
};

/// Paint Shop Pro pictures: block by block.
struct PspPicture {
    static constexpr std::size_t LeastHead = 46;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// Windows metafiles, placeable or not: record by record to the end record.
struct WmfDrawing {
    static constexpr std::size_t LeastHead = 40;
    /// The last number of the header should be 0. Some writers count their records there.
    static bool IsHeader(ByteSpan sector, bool mayCountRecords = false);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

/// GIMP pictures: the part that was written last.
struct XcfPicture {
    static constexpr std::size_t LeastHead = 30;
    static bool IsHeader(ByteSpan sector);
    static std::optional<WalkedFile> Walk(ByteWindow& file);
};

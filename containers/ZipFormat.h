#pragma once

#include <cstdint>

#include "formats/ZipRecords.h"
#include "frame/bytes/Bytes.h"
#include "frame/scan/FamilyEngine.h"

/// Shared by the two ZIP engines and their types. Source: PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16.

/// The kinds of archives, by which types ask the engines for their finds.
struct ZipKind {
    /// Also means "not decided yet".
    static constexpr std::int32_t Plain = 0;
    /// Office Open XML.
    static constexpr std::int32_t Word = 1;
    static constexpr std::int32_t Excel = 2;
    static constexpr std::int32_t PowerPoint = 3;
    /// OpenDocument.
    static constexpr std::int32_t Text = 4;
    static constexpr std::int32_t Sheet = 5;
    static constexpr std::int32_t Presentation = 6;
    static constexpr std::int32_t Drawing = 7;
    static constexpr std::int32_t DataBase = 8;
    static constexpr std::int32_t Jar = 9;
    static constexpr std::int32_t Formula = 10;
    static constexpr std::int32_t PocketExcel = 11;
};

/// In bytes. Shorter files are not reported.
inline constexpr std::int64_t ZipMinReportLength = 256;
/// The engines' limit on a file, in bytes.
inline constexpr std::int64_t ZipMaxSize = 0x20000000;

/// True if the sector begins with a local file header. It must have more than 50 bytes.
inline bool OpensZipMember(ByteSpan sector) {
    return sector.size() > 50 && LoadLittle<std::uint32_t>(sector, 0) == ZipSignature::LocalHeader;
}

/// A type of the ZIP family. `Self::Kinds` lists the kinds it takes from its engine; its `Reset` resets the engine.
template <class Self, class Engine>
using PackageFileType = FamilyMember<Self, Engine, EngineResettingFileType<Self, Engine>>;

/// A package type that stores its size cap. The engine's own limit still applies.
template <class Self, class Engine>
class CapKeepingPackageType : public PackageFileType<Self, Engine> {
public:
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }

private:
    std::int64_t maxSize_ = 0;
};

#pragma once

#include <cstdint>

#include "frame/scan/FamilyEngine.h"
#include "images/TiffFields.h"

/// TIFF images and the camera raws built on them, told apart by the DNG version tag of the first directory and by
/// texts near the start of the file. The directory must be well formed, and only the first one is read. A TIFF image
/// ends with what is taken for its single strip; raws are found without a size. Every sector that begins with a header
/// is examined. Source: Adobe, TIFF Revision 6.0, section 2; Adobe, DNG Specification, DNGVersion.
class KTIFileType final : public ReleasedAs<KTIFileType, FamilyEngine> {
public:
    /// No type reports `Cr2`.
    enum Kind : std::int32_t {
        Tif = 1,
        Nef,
        Pef,
        Dcr,
        Sony,
        Cr2,
        Dng,
    };

    KTIFileType() : ReleasedAs(0) {}

    /// Does not forget the current block or what was found in it.
    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }

    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);
    /// The number of sizes computed from values that a file before all candidates may have left.
    std::int64_t Guesses() const { return guesses_; }

    /// The fields as the candidates so far have left them.
    const TiffFields& Fields() const { return fields_; }

private:
    static constexpr std::int64_t DefaultMaxSize = 0xC800000;

    void ExamineCandidate(const SectorBlock& block, std::int64_t startSector, const TiffHeader& header);

    std::int64_t maxSize_ = DefaultMaxSize;
    TiffFields fields_;
    // A candidate has set the field.
    bool hasStripOffset_ = false;
    bool hasStripByteCount_ = false;
    std::int64_t guesses_ = 0;
};

/// A type that reports one kind of TIFF file. Its size cap is its own and limits nothing.
template <class Self, std::int32_t Index, KTIFileType::Kind OwnKind>
class TiffKind : public FamilyMember<Self, KTIFileType, RunStateFileType<Self>> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[Index];
    static constexpr std::int32_t Kinds[] = {OwnKind};

    /// The other kinds report no size.
    std::int64_t Guesses() const { return OwnKind == KTIFileType::Tif ? SharedEngine<KTIFileType>().Guesses() : 0; }
};

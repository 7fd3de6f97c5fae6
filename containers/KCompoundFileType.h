#pragma once

#include <cstdint>

#include "frame/read/Budget.h"
#include "frame/scan/FamilyEngine.h"

/// Compound files (structured storage), told apart by the streams that their directory names. Every sector that begins
/// with the signature is parsed, even inside a file already found. The size is an estimate from the lengths of the
/// tables and streams, each rounded up to whole sectors. Source: [MS-CFB], Compound File Binary File Format.
class KCompoundFileType final : public ReleasedAs<KCompoundFileType, FamilyEngine> {
public:
    /// `Spreadsheet` and `Slides` repeat the finds of `Excel` and `PowerPoint`.
    enum Kind : std::int32_t {
        Unknown = 1,
        Word,
        Excel,
        PowerPoint,
        Visio,
        Project,
        Publisher,
        DesignCad,
        Spreadsheet,
        Slides,
        Flash,
        Max3D,
        PageMaker,
        QuattroPro,
        SlideShow,
    };

    KCompoundFileType() : ReleasedAs(FirstBlockKey) {}

    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }
    bool RestsAt(std::int64_t /*nextSector*/) const { return budget_.IsAtRest(); }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);

private:
    static constexpr std::int64_t FirstBlockKey = 0;
    static constexpr std::int64_t DefaultMaxSize = 0x7FFFFFFF;

    void ExamineCandidate(const SectorBlock& block, std::int64_t startSector);

    std::int64_t maxSize_ = DefaultMaxSize;
    Budget budget_;
};

/// A type that reports one kind of compound file.
template <class Self, std::int32_t Index, KCompoundFileType::Kind OwnKind>
class CompoundDocument : public FamilyMember<Self, KCompoundFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[Index];
    static constexpr std::int32_t Kinds[] = {OwnKind};
};

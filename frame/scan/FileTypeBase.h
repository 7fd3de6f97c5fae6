#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/bytes/BoundedText.h"
#include "frame/contract/FileTypeCatalog.h"
#include "frame/contract/IPassingScanner.h"
#include "frame/contract/IRawFileType.h"
#include "frame/contract/IRestingScanner.h"
#include "frame/scan/ReleasedAs.h"
#include "frame/scan/RunState.h"

/// The answers that every scanner takes from its record `Self::Identity` (a `FileTypeIdentity`).
///
/// The bases of this folder know their scanner by its type `Self`, so that the calls per sector are bound at compile
/// time and no base adds a slot to the contract's table.
template <class Self>
class FileTypeBase : public ReleasedAs<Self> {
public:
    void GetTypeName(char* buffer, std::uint32_t capacity) override {
        CopyBoundedText(buffer, capacity, Self::Identity.name);
    }
    void GetExtension(char* buffer, std::uint32_t capacity) override {
        CopyBoundedText(buffer, capacity, Self::Identity.extension);
    }
    std::int32_t BeginScan() override { return this->Reset(); }
    std::int32_t EndScan() override { return this->Reset(); }
    std::int32_t ReservedQuery8() override { return 0; }
    std::int32_t ReservedQuery10() override { return 0; }

    std::int32_t QueryInfo(std::int32_t what, void* out, std::int32_t outSize) override {
        constexpr std::int64_t range[2] = {Self::Identity.smallestSize, Self::Identity.largestSize};
        if constexpr (range[1] == 0) {
            return 0;
        }
        if (what != 0 || outSize != static_cast<std::int32_t>(sizeof(range)) || out == nullptr) {
            return QueryFailed;
        }
        std::memcpy(out, range, sizeof(range));
        return 0;
    }

    /// Answers `IRestingScanner`. A scanner without an answer of its own is never at rest.
    bool RestsAt(std::int64_t /*nextSector*/) const { return false; }
    std::int64_t Guesses() const { return 0; }

    /// Answers `IPassingScanner`. A scanner without answers of its own sees everything.
    std::int32_t HeaderWords(HeaderWord* /*words*/, std::int32_t /*capacity*/) const { return 0; }
    static constexpr bool MayPassZeros = false;
    void Lengthen(std::int64_t /*firstSector*/, std::int64_t /*count*/, std::int32_t /*sectorSize*/) {}

protected:
    Self& self() { return static_cast<Self&>(*this); }
};

/// Answers `IRestingScanner` and `IPassingScanner` with the scanner's own functions. It is a base of its own behind the
/// one with the scanner's fields: an answer in the scanner itself would take a slot in the contract's table.
template <class Self>
class RestAnswer : public IRestingScanner, public IPassingScanner {
public:
    bool IsAtRest(std::int64_t nextSector) const final { return static_cast<const Self&>(*this).RestsAt(nextSector); }
    std::int64_t GuessCount() const final { return static_cast<const Self&>(*this).Guesses(); }

    std::int32_t GetHeaderWords(HeaderWord* words, std::int32_t capacity) const final {
        return static_cast<const Self&>(*this).HeaderWords(words, capacity);
    }
    bool PassesZeros() const final { return Self::MayPassZeros; }
    void PassZeros(std::int64_t firstSector, std::int64_t count, std::int32_t sectorSize) final {
        static_cast<Self&>(*this).Lengthen(firstSector, count, sectorSize);
    }

protected:
    ~RestAnswer() = default;
};

/// Carries a `RunState` directly behind the interface.
template <class Self>
class RunStateCarrier : public FileTypeBase<Self> {
public:
    RunStateCarrier() { RunStateCarrier::Reset(); }

    std::int32_t Reset() override {
        run_ = RunState{.inFile = 0, .startSector = 0, .runLength = 0, .maxSize = DefaultCap};
        return 1;
    }
    void SetMaxFileSize(std::int64_t size) override { run_.maxSize = size; }

protected:
    static constexpr std::int64_t DefaultCap =
        Self::Identity.maxSize == NoCap ? std::numeric_limits<std::int64_t>::max() : Self::Identity.maxSize;

    RunState run_;
};

/// A scanner that carries a `RunState`. One with further state overrides `Reset`, calls this one and clears its own.
template <class Self>
class RunStateFileType : public RunStateCarrier<Self>, public RestAnswer<Self> {};

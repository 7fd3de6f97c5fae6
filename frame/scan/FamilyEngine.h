#pragma once

#include <cstdint>
#include <vector>

#include "frame/contract/FoundFile.h"
#include "frame/contract/IFoundFileSink.h"
#include "frame/contract/IRawFileType.h"
#include "frame/contract/SectorBlock.h"
#include "frame/scan/FileTypeBase.h"

/// A find of an engine. The sink sees the first two fields only.
struct FoundEntry : FoundFile {
    std::int32_t kind;
};

/// The scanner behind several types that differ only in what they call their files.
///
/// An engine derives from `ReleasedAs<Engine, FamilyEngine>`, scans a block in `ScanBlock` and adds what it finds with
/// `AddFound`; it reports nothing itself. Each member asks with `ScanForKind` for the finds of its own kind: the first
/// to ask makes the engine scan the block, the others are served from the list of finds.
class FamilyEngine : public IRawFileType {
public:
    /// Scans the block unless its `firstSector` is the one of the block scanned last, then hands `sink` every find of
    /// the kind, in the order found. A block without sectors changes and reports nothing.
    void ScanForKind(const SectorBlock* block, IFoundFileSink* sink, std::int32_t kind);

    /// Answers `IRestingScanner` for the members. An engine without an answer of its own is never at rest.
    static bool RestsAt(std::int64_t /*nextSector*/) { return false; }

    /// Answer `IPassingScanner` for the members.
    static std::int32_t HeaderWords(HeaderWord* /*words*/, std::int32_t /*capacity*/) { return 0; }
    static constexpr bool MayPassZeros = false;
    void Lengthen(std::int64_t /*firstSector*/, std::int64_t /*count*/, std::int32_t /*sectorSize*/) {}

    void GetTypeName(char* /*buffer*/, std::uint32_t /*capacity*/) override {}
    void GetExtension(char* /*buffer*/, std::uint32_t /*capacity*/) override {}
    std::int32_t BeginScan() override { return this->Reset(); }
    std::int32_t EndScan() override { return this->Reset(); }
    std::int32_t ReservedQuery8() override { return 0; }
    std::int32_t ReservedQuery10() override { return 0; }
    std::int32_t QueryInfo(std::int32_t /*what*/, void* /*out*/, std::int32_t /*outSize*/) override { return 0; }

protected:
    /// A first block whose `firstSector` is `blockKey` counts as already scanned and gives no finds.
    explicit FamilyEngine(std::int64_t blockKey) : scannedBlockKey_(blockKey) {}

    void AddFound(std::int64_t startSector, std::int64_t size, std::int32_t kind) {
        found_.push_back(FoundEntry{{startSector, size}, kind});
    }
    void ClearFound() { found_.clear(); }
    void SetScannedBlockKey(std::int64_t blockKey) { scannedBlockKey_ = blockKey; }

private:
    std::int64_t scannedBlockKey_;
    std::vector<FoundEntry> found_;
};

/// The one engine object of a family: created on first use, destroyed when the library is unloaded.
template <class Engine>
Engine& SharedEngine() {
    static Engine engine;
    return engine;
}

/// A type without state of its own. `Reset` changes nothing and the size cap is ignored.
template <class Self>
class StatelessFileType : public FileTypeBase<Self>, public RestAnswer<Self> {
public:
    std::int32_t Reset() override { return 1; }
    void SetMaxFileSize(std::int64_t /*size*/) override {}
};

/// A type whose `Reset` resets the engine, and so affects the other members too. It ignores the size cap.
template <class Self, class Engine>
class EngineResettingFileType : public FileTypeBase<Self>, public RestAnswer<Self> {
public:
    std::int32_t Reset() override { return SharedEngine<Engine>().Reset(); }
    void SetMaxFileSize(std::int64_t /*size*/) override {}
};

/// A type that reports the finds of certain kinds of a shared engine, `Self::Kinds` (an array of `std::int32_t`), kind
/// by kind in that order. `Base` implements `Reset` and `SetMaxFileSize`: `RunStateFileType<Self>` for types with a
/// state of their own, `EngineResettingFileType<Self, Engine>` for those that pass `Reset` on to the engine.
template <class Self, class Engine, class Base = StatelessFileType<Self>>
class FamilyMember : public Base {
public:
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        for (const std::int32_t kind : Self::Kinds) {
            SharedEngine<Engine>().ScanForKind(block, sink, kind);
        }
    }

    /// All members are at rest when their engine is.
    bool RestsAt(std::int64_t nextSector) const { return SharedEngine<Engine>().RestsAt(nextSector); }

    std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity) const {
        return SharedEngine<Engine>().HeaderWords(words, capacity);
    }
    static constexpr bool MayPassZeros = Engine::MayPassZeros;
    void Lengthen(std::int64_t firstSector, std::int64_t count, std::int32_t sectorSize) {
        SharedEngine<Engine>().Lengthen(firstSector, count, sectorSize);
    }
};

#include "host/scan/scan_session.h"

#include <FileTypeCatalog.h>
#include <IFoundFileSink.h>
#include <IPassingScanner.h>
#include <IRestingScanner.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "frame/bytes/Bytes.h"
#include "host/scan/block_reader.h"
#include "host/scan/block_slices.h"
#include "host/scan/header_filter.h"
#include "host/scan/scanners.h"
#include "host/scan/start_finder.h"
#include "host/scan/stream.h"

namespace salvor {

namespace {

struct ActiveScanner {
    std::int32_t type;
    ScannerPtr scanner;
    // Null if the scanner has no such interface.
    const IRestingScanner* rest;
};

class FindSink : public IFoundFileSink {
public:
    FindSink(const Medium& medium, ScanObserver& observer) : medium_(medium), observer_(observer) {}
    void SetType(std::int32_t type) { type_ = type; }
    /// From now on also appends the finds to `kept`, with the part that is being scanned.
    void KeepIn(std::vector<PlacedFind>* kept, std::int64_t part) {
        kept_ = kept;
        part_ = part;
    }
    std::int32_t ReportFound(const FoundFile* file) override {
        const Find find{type_, file->startSector - StreamStart, file->size};
        // Once reads have been given up, a scanner sees zeros in place of the medium's bytes, and its reports are
        // false.
        if (medium_.IsInterrupted()) {
            return 1;
        }
        observer_.OnFind(find);
        if (kept_ != nullptr) {
            kept_->push_back({find, part_});
        }
        return 1;
    }

private:
    const Medium& medium_;
    ScanObserver& observer_;
    std::int32_t type_ = 0;
    std::vector<PlacedFind>* kept_ = nullptr;
    std::int64_t part_ = 0;
};

std::vector<ActiveScanner> StartScanners(const ScanRequest& request) {
    std::vector<ActiveScanner> scanners;
    for (const std::int32_t type : request.types) {
        ScannerPtr scanner = CreateScanner(type);
        scanner->BeginScan();
        if (const auto cap = request.caps.find(type); cap != request.caps.end()) {
            scanner->SetMaxFileSize(cap->second);
        }
        const auto* const rest = dynamic_cast<const IRestingScanner*>(scanner.get());
        scanners.push_back({type, std::move(scanner), rest});
    }
    return scanners;
}

// Without signatures, the finder finds nothing.
StartFinder MakeStartFinder(Medium& medium, const ScanRequest& request, std::int64_t firstSector) {
    StartFinder finder(request.withStarts ? Validators() : std::span<const Validator* const>(), medium.SectorSize(),
                       medium.SizeInBytes());
    if (request.withStarts && firstSector > 0) {
        std::vector<std::uint8_t> before(static_cast<std::size_t>(medium.SectorSize()));
        medium.Read(firstSector - 1, before.data(), 1);
        finder.SetBefore(before);
    }
    return finder;
}

// A new scanner reports nothing on zeros and is at rest after them, so a scanner at rest can skip them.
bool MayPassZeros(const IRestingScanner* rest, SectorRange zeros) {
    return rest != nullptr && rest->IsAtRest(zeros.first + StreamStart) &&
           rest->IsAtRest(zeros.first + zeros.count + StreamStart);
}

bool IsZero(ByteSpan bytes) {
    return bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

// Reads no further than to the first bytes that are not zeros.
bool IsZero(const ReadBlock& block, std::int32_t sectorSize) {
    constexpr std::int64_t atOnce = 64;
    for (std::int64_t done = 0; done < block.sectors.count; done += atOnce) {
        const std::int64_t count = std::min(atOnce, block.sectors.count - done);
        const std::uint8_t* const bytes = block.Read(done + count) + done * sectorSize;
        if (!IsZero({bytes, static_cast<std::size_t>(count * sectorSize)})) {
            return false;
        }
    }
    return true;
}

// How many sectors of zeros are noted where other bytes lie in the same block: few enough for a map of the medium to
// show them, and so many that the notes on a large medium stay short.
std::int64_t LeastZeros(const Medium& medium) {
    constexpr std::int64_t leastBytes = 4096;
    constexpr std::int64_t mostPieces = 16384;
    const std::int64_t sectors = std::max(leastBytes / medium.SectorSize(), medium.SectorCount() / mostPieces);
    return static_cast<std::int64_t>(std::bit_ceil(static_cast<std::uint64_t>(std::max<std::int64_t>(sectors, 1))));
}

// Knows which scanners need not see a slice: those at rest, unless a sector may be a header of their type.
class SlicePasser {
public:
    void Add(const ActiveScanner& active, PairProbes& probes) {
        auto& state = StateOf(active.type);
        state.passing = dynamic_cast<IPassingScanner*>(active.scanner.get());
        state.hasWords = state.passing != nullptr && active.rest != nullptr &&
                         !FileTypeCatalog[active.type].dependsOnBlocks &&
                         filter_.Add(active.type, *state.passing, probes);
    }

    void EnterBlock() { areSettled_ = true; }

    void EnterSlice() {
        ++slice_;
        hasHeader_ = false;
    }

    /// For the sectors of the slice that may be headers.
    void TakeHeader(const std::uint8_t* sector) {
        filter_.Look(sector, [this](std::int32_t type) {
            StateOf(type).sliceWithHeader = slice_;
            hasHeader_ = true;
        });
    }

    /// True if no scanner must see the slice but those that had to see a slice without headers as the block began.
    bool AreOthersAsleep() const { return areSettled_ && !hasHeader_; }

    bool MustSee(std::int32_t type) const {
        const State& state = states_[static_cast<std::size_t>(type)];
        return !state.isAtRest || state.sliceWithHeader == slice_;
    }

    /// After each slice that a scanner has seen.
    void HasSeen(std::int32_t type, const IRestingScanner* rest, std::int64_t nextSector) {
        State& state = StateOf(type);
        const bool wasAtRest = std::exchange(state.isAtRest, state.hasWords && rest->IsAtRest(nextSector));
        areSettled_ = areSettled_ && (!wasAtRest || state.isAtRest);
    }

    /// The scanner, if it can pass zeros without seeing them although it is not at rest; else null.
    IPassingScanner* PassingZeros(std::int32_t type) const {
        IPassingScanner* const passing = states_[static_cast<std::size_t>(type)].passing;
        return passing != nullptr && passing->PassesZeros() ? passing : nullptr;
    }

private:
    struct State {
        IPassingScanner* passing = nullptr;
        bool hasWords = false;
        // At the end of the last slice that it has seen. What it did not see does not change that.
        bool isAtRest = false;
        std::int64_t sliceWithHeader = 0;
    };

    State& StateOf(std::int32_t type) { return states_[static_cast<std::size_t>(type)]; }

    HeaderFilter filter_;
    std::array<State, FileTypeCount> states_{};
    std::int64_t slice_ = 0;
    // A sector of the slice has a header word.
    bool hasHeader_ = false;
    // No scanner has left its rest since the block began.
    bool areSettled_ = true;
};

// The scanners and the start finder that look at the blocks of one scan.
class Session {
public:
    Session(Medium& medium, const ScanRequest& request, std::int64_t firstSector, ScanObserver& observer)
        : medium_(medium),
          observer_(observer),
          source_(medium),
          sink_(medium, observer),
          starts_(MakeStartFinder(medium, request, firstSector)),
          scanners_(StartScanners(request)) {
        std::ranges::for_each(scanners_, [this](const ActiveScanner& active) { passer_.Add(active, probes_); });
        starts_.AddTo(probes_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() {
        for (const ActiveScanner& active : scanners_) {
            active.scanner->EndScan();
        }
    }

    const std::vector<ActiveScanner>& Scanners() const { return scanners_; }

    /// `keep(active)` gives another list for its finds, or null.
    template <class Active, class Keep>
    void ScanBlock(const ReadBlock& read, const std::vector<Active>& active, bool withStarts, Keep&& keep) {
        const bool isZero = read.zeros.count > 0 || IsZero(read, medium_.SectorSize());
        std::vector<const Active*> shown;
        std::vector<const Active*> awake;
        passer_.EnterBlock();
        for (const Active& one : active) {
            if (!isZero || !MayPassZeros(one.rest, read.sectors)) {
                shown.push_back(&one);
                if (passer_.MustSee(one.type)) {
                    awake.push_back(&one);
                }
            }
        }
        source_.SetBlock(read);
        const SectorBlock block{read.sectors.first + StreamStart, read.data,
                                static_cast<std::int32_t>(read.sectors.count), medium_.SectorSize(), &source_};
        ScanInSlices(
            block, shown, [](const Active* one) { return one->type; },
            [&](const SectorBlock& slice) -> const std::vector<const Active*>& {
                read.Read(slice.firstSector - block.firstSector + slice.sectorCount);
                passer_.EnterSlice();
                if (!isZero) {
                    LookForStarts(slice, withStarts);
                }
                return passer_.AreOthersAsleep() ? awake : shown;
            },
            [&](const Active* one, const SectorBlock& part) {
                if (!passer_.MustSee(one->type)) {
                    return;
                }
                observer_.OnLook({part.firstSector - StreamStart, part.sectorCount}, one->type);
                sink_.SetType(one->type);
                sink_.KeepIn(keep(*one), part.firstSector - StreamStart);
                one->scanner->ScanBlock(&part, &sink_);
                passer_.HasSeen(one->type, one->rest, part.firstSector + part.sectorCount);
            },
            read.reader != nullptr);
        endsInZeros_ = isZero;
        if (isZero) {
            starts_.SetBefore(BytesOf(read).last(static_cast<std::size_t>(medium_.SectorSize())));
        }
        if (medium_.IsInterrupted()) {
            return;
        }
        if (withStarts && read.zeros.count == 0) {
            NoteZeros(read, isZero);
        }
        observer_.OnBlockDone(read.sectors.first + read.sectors.count);
    }

    /// Skips all known zeros from this block on, unless one of these scanners has to see them; true if it did. A
    /// scanner with an open file sees the first block of them.
    template <class Active>
    bool PassZeros(const ReadBlock& read, const std::vector<Active>& active) {
        const auto isOpenPasser = [&](const Active& one) {
            return endsInZeros_ && passer_.PassingZeros(one.type) != nullptr;
        };
        const bool mayPass = read.zeros.count > 0 && std::ranges::all_of(active, [&](const Active& one) {
                                 return MayPassZeros(one.rest, read.zeros) || isOpenPasser(one);
                             });
        if (mayPass) {
            for (const Active& one : active) {
                if (!MayPassZeros(one.rest, read.zeros)) {
                    passer_.PassingZeros(one.type)->PassZeros(read.zeros.first + StreamStart, read.zeros.count,
                                                              medium_.SectorSize());
                }
            }
            starts_.SetBefore(BytesOf(read).last(static_cast<std::size_t>(medium_.SectorSize())));
            observer_.OnBlockDone(read.zeros.first + read.zeros.count);
        }
        return mayPass;
    }

    bool ShallStop() const { return observer_.StopRequested() || medium_.IsInterrupted(); }

private:
    // Both the scanners' headers and the validators' signatures, as one look at a sector serves both.
    void LookForStarts(const SectorBlock& slice, bool withStarts) {
        const auto mayBegin = [this](const std::uint8_t* sector) {
            const bool may = probes_.MayHaveOne(sector);
            if (may) {
                passer_.TakeHeader(sector);
            }
            return may;
        };
        const SectorRange sectors{slice.firstSector - StreamStart, slice.sectorCount};
        if (withStarts) {
            observer_.OnLook(sectors, StartsType);
            starts_.Look(
                slice.data, sectors.first, sectors.count, mayBegin,
                [this](std::int64_t sector) { observer_.OnStart(sector); },
                [this](std::int64_t sector) { observer_.OnTextStart(sector); });
            return;
        }
        for (std::int32_t i = 0; i < slice.sectorCount; ++i) {
            mayBegin(slice.data + std::int64_t{i} * slice.sectorSize);
        }
    }

    ByteSpan BytesOf(const ReadBlock& read) const {
        return {read.data, static_cast<std::size_t>(read.sectors.count * medium_.SectorSize())};
    }

    void NoteZeros(const ReadBlock& read, bool isZero) {
        if (isZero) {
            observer_.OnZeros(read.sectors);
            return;
        }
        const std::int64_t sectorSize = medium_.SectorSize();
        for (std::int64_t at = 0; at < read.sectors.count; at += leastZeros_) {
            const std::int64_t count = std::min(leastZeros_, read.sectors.count - at);
            const std::uint8_t* const bytes = read.Read(at + count) + at * sectorSize;
            if (IsZero({bytes, static_cast<std::size_t>(count * sectorSize)})) {
                observer_.OnZeros({read.sectors.first + at, count});
            }
        }
    }

    Medium& medium_;
    ScanObserver& observer_;
    StreamSource source_;
    FindSink sink_;
    PairProbes probes_;
    StartFinder starts_;
    std::vector<ActiveScanner> scanners_;
    SlicePasser passer_;
    // The last block that was shown held only zeros.
    bool endsInZeros_ = false;
    std::int64_t leastZeros_ = LeastZeros(medium_);
};

// A scanner whose scan is kept for merging.
struct KeptScanner {
    std::int32_t type;
    IRawFileType* scanner;
    const IRestingScanner* rest;
    TypeScan* scan;
    std::int64_t guesses = 0;
};

bool Holds(const std::vector<BlockRange>& ranges, std::int64_t border) {
    return std::ranges::any_of(ranges,
                               [border](BlockRange range) { return range.first <= border && border < range.end; });
}

// Notes the scanner's answers at the end of some blocks, which it has seen or passed; true if it is at rest.
bool TakeAnswers(KeptScanner& kept, BlockRange blocks, std::int64_t nextSector) {
    TypeScan& scan = *kept.scan;
    scan.blocks.end = blocks.end;
    const std::int64_t guesses = kept.rest != nullptr ? kept.rest->GuessCount() : 0;
    if (std::exchange(kept.guesses, guesses) != guesses) {
        scan.guessed.push_back(blocks.end - 1);
    }
    const bool isAtRest = kept.rest != nullptr && kept.rest->IsAtRest(nextSector + StreamStart);
    if (!isAtRest) {
        if (scan.restless.empty() || scan.restless.back().end != blocks.first + 1) {
            scan.restless.push_back({blocks.first + 1, blocks.first + 1});
        }
        scan.restless.back().end = blocks.end + 1;
    }
    return isAtRest;
}

// True if the type has not been at rest over more than this many blocks, up to the last one.
bool IsRestlessFor(const TypeScan& scan, std::int64_t blocks) {
    return !scan.restless.empty() && scan.restless.back().end == scan.blocks.end + 1 &&
           scan.restless.back().end - scan.restless.back().first > blocks;
}

class ApartScan {
public:
    ApartScan(Medium& medium, const ScanRequest& request, const ScanPart& part, ScanObserver& observer)
        : medium_(medium),
          request_(request),
          part_(part),
          observer_(observer),
          grid_(GridOf(request)),
          session_(medium, request, grid_.SectorsOf({part.from, part.to}).first, observer),
          scanned_{{part.from, part.to}, request.withStarts, std::vector<TypeScan>(request.types.size()), {}} {
        for (std::size_t i = 0; i < request.types.size(); ++i) {
            const ActiveScanner& one = session_.Scanners()[i];
            scanned_.scans[i] = {.type = one.type, .blocks = {part.from, part.from}};
            active_.push_back({one.type, one.scanner.get(), one.rest, &scanned_.scans[i]});
        }
    }
    ApartScan(const ApartScan&) = delete;
    ApartScan& operator=(const ApartScan&) = delete;

    /// False if it was stopped.
    bool Run() {
        // Blocks before `to` are read separately, so that none after it is read ahead when no type goes on.
        return ScanBlocks({part_.from, part_.to}) && ScanBlocks({scanned_.blocks.end, part_.last}) &&
               !medium_.IsInterrupted();
    }

    SegmentScan Take() { return std::move(scanned_); }

private:
    // Gives the sectors that are done.
    SectorRange ScanOrPass(BlockReader& reader, const ReadBlock& read, bool isBehind) {
        // Behind the part, a scanner at rest is asked at every border.
        const bool mayPass = !isBehind || std::ranges::none_of(active_, [&](const KeptScanner& kept) {
            return MayPassZeros(kept.rest, read.sectors);
        });
        if (mayPass && session_.PassZeros(read, active_)) {
            reader.SkipZeros();
            return read.zeros;
        }
        session_.ScanBlock(read, active_, request_.withStarts && !isBehind,
                           [](const KeptScanner& kept) { return &kept.scan->finds; });
        return read.sectors;
    }

    bool ScanBlocks(BlockRange blocks) {
        const bool isBehind = blocks.first == scanned_.blocks.end;
        const auto isNeeded = [&] {
            return !active_.empty() || (request_.withStarts && !isBehind);
        };
        BlockReader reader(medium_, isNeeded() ? grid_.SectorsOf(blocks) : SectorRange(), request_.blockSectors);
        bool isEnded = false;
        while (isNeeded() && !isEnded) {
            const auto read = reader.Next();
            if (!read) {
                break;
            }
            if (session_.ShallStop()) {
                return false;
            }
            const SectorRange sectors = ScanOrPass(reader, *read, isBehind);
            const std::int64_t next = sectors.first + sectors.count;
            const BlockRange done{grid_.BlockOf(sectors.first), grid_.BlockOf(next - 1) + 1};
            const bool shallEnd = observer_.PartShallEnd();
            isEnded = part_.mayEndSooner && shallEnd;
            if (isEnded && !isBehind) {
                EndAt(done.end);
            }
            isLong_ = isLong_ || (isBehind && shallEnd);
            const bool mayEnd = done.end >= part_.to && (isLong_ || Holds(part_.borders, done.end));
            const bool mayGiveUp = part_.mostRestless > 0 && observer_.IsSlow();
            std::erase_if(active_, [&](KeptScanner& kept) {
                const bool isAtRest = TakeAnswers(kept, done, next);
                return (isAtRest && mayEnd) || (mayGiveUp && IsRestlessFor(*kept.scan, part_.mostRestless));
            });
        }
        return true;
    }

    void EndAt(std::int64_t border) {
        part_.borders = {{border, part_.last + 1}};
        part_.to = border;
        scanned_.blocks.end = border;
    }

    Medium& medium_;
    const ScanRequest& request_;
    ScanPart part_;
    ScanObserver& observer_;
    ScanGrid grid_;
    Session session_;
    SegmentScan scanned_;
    // A type at rest may end at any border: what has been found is kept, and the rest is another part.
    bool isLong_ = false;
    // Those that are still scanning.
    std::vector<KeptScanner> active_;
};

}  // namespace

bool ScanRange(Medium& medium, const ScanRequest& request, ScanObserver& observer) {
    Session session(medium, request, request.range.first, observer);
    BlockReader reader(medium, request.range, request.blockSectors);
    while (const auto read = reader.Next()) {
        if (session.ShallStop()) {
            return false;
        }
        if (session.PassZeros(*read, session.Scanners())) {
            reader.SkipZeros();
        } else {
            session.ScanBlock(*read, session.Scanners(), request.withStarts,
                              [](const ActiveScanner&) { return nullptr; });
        }
    }
    return !medium.IsInterrupted();
}

ScanGrid GridOf(const ScanRequest& request) { return {request.range, request.blockSectors, request.types}; }

ScanPart SegmentOf(const ScanGrid& grid, BlockRange blocks, std::int64_t mostBehind) {
    const std::int64_t last = blocks.end + std::min(mostBehind, grid.BlockCount() - blocks.end);
    return {blocks.first, blocks.end, {{blocks.end, last + 1}}, last, true};
}

ScanPart PartFor(const ScanGrid& grid, const MissingScan& missing) {
    return {missing.from, missing.to, missing.borders, grid.BlockCount()};
}

std::optional<SegmentScan> ScanApart(Medium& medium, const ScanRequest& request, const ScanPart& part,
                                     ScanObserver& observer) {
    ApartScan scan(medium, request, part, observer);
    return scan.Run() ? std::optional(scan.Take()) : std::nullopt;
}

}  // namespace salvor

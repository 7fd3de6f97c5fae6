// Validates made-up files on a made-up medium and checks the results: with all validators that accept the start of the
// file, or only with the one that SALVOR_VALIDATOR names.
//
// An input is a byte that chooses the sector size and what may be read, and the bytes of the medium. make-seeds.py
// writes the same layout.

#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "fuzz/InputSource.h"
#include "fuzz/Require.h"
#include "host/scan/start_finder.h"
#include "host/validate/validate_finds.h"
#include "host/validators/finding_at.h"

namespace {

constexpr std::array<std::int32_t, 2> SectorSizes{512, 4096};
constexpr std::array<std::int64_t, 3> Allowances{std::int64_t{1} << 26, 20000, 5000};

class NeverStops : public salvor::ValidateObserver {
public:
    bool OnPlace(salvor::Validator::Phase /*phase*/, std::int64_t /*byte*/) override { return false; }
};

void Ask(const salvor::Validator& validator, salvor::Medium& medium, std::span<const std::uint8_t> bytes,
         std::int64_t allowed) {
    const char* const only = std::getenv("SALVOR_VALIDATOR");
    if ((only != nullptr && validator.name != only) ||
        !validator.begins(bytes.first(std::min<std::size_t>(bytes.size(), 4096)))) {
        return;
    }
    const salvor::Neighbours neighbours;
    salvor::ReadAllowance allowance(allowed);
    salvor::Place place(medium, 0, neighbours, allowance);
    const salvor::Finding finding = FindingAt(validator, place);
    Require(finding.size >= 0 && finding.size <= place.Limit(), "a file ends with its medium");
    Require(finding.verdict == salvor::Verdict::NoFile || (finding.type >= 0 && finding.type < FileTypeCount),
            "a file has a type");
}

// Starts are noted at every sector that looks like one, and finds of some type at some sectors.
void ValidateEverything(salvor::Medium& medium, std::span<const std::uint8_t> bytes, std::uint8_t choice) {
    salvor::Sightings seen;
    salvor::StartFinder finder(salvor::Validators(), medium.SectorSize(), medium.SizeInBytes());
    salvor::PairProbes probes;
    finder.AddTo(probes);
    const std::int64_t whole = medium.SizeInBytes() / medium.SectorSize();
    finder.Look(
        bytes.data(), 0, whole, [&](const std::uint8_t* sector) { return probes.MayHaveOne(sector); },
        [&](std::int64_t sector) { seen.starts.push_back(sector); },
        [&](std::int64_t sector) { seen.AddTextStart(sector); });
    for (std::int64_t sector = -1; sector <= medium.SectorCount(); sector += 3) {
        const std::int64_t type = (sector + choice) % FileTypeCount;
        seen.finds.push_back({static_cast<std::int32_t>(std::max<std::int64_t>(type, 0)), sector, choice * sector});
    }
    NeverStops observer;
    const salvor::Validation validation = salvor::ValidateFinds(medium, seen, {}, observer);
    std::int64_t before = -2;
    for (const salvor::Outcome& outcome : validation.outcomes) {
        Require(outcome.startSector > before, "one outcome a place, ascending");
        before = outcome.startSector;
        const salvor::Finding& finding = outcome.finding;
        Require(finding.type >= 0 && finding.type < FileTypeCount, "an outcome has a type");
        Require(
            finding.verdict == salvor::Verdict::NoFile ||
                (finding.size > 0 && finding.size <= medium.SizeInBytes() - outcome.startSector * medium.SectorSize()),
            "a file ends with its medium");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::uint8_t choice = data[0];
    const std::span bytes(data + 1, size - 1);
    salvor::Medium medium(std::make_unique<InputSource>(bytes), SectorSizes[choice % SectorSizes.size()]);
    for (const salvor::Validator* const validator : salvor::Validators()) {
        Ask(*validator, medium, bytes, Allowances[choice / 2 % Allowances.size()]);
    }
    if (choice >= 128) {
        ValidateEverything(medium, bytes, choice);
    }
    return 0;
}

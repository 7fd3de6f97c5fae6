#include "tests/host/validators/TestPlace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "host/validators/finding_at.h"

namespace salvor::test {

Finding FindingOf(std::string_view validatorName, const Bytes& file, const Bytes& behind,
                  const Neighbours& neighbours) {
    const auto isNamed = [validatorName](const Validator* validator) {
        return validator->name == validatorName;
    };
    const auto validator = std::ranges::find_if(Validators(), isNamed);
    if (validator == Validators().end()) {
        throw std::invalid_argument("no such validator");
    }
    return LookAt(file, behind, neighbours, [&](Place& place) {
        return (*validator)->begins(place.From(0)) ? FindingAt(**validator, place) : Finding();
    });
}

void ExpectWhole(std::string_view validatorName, const Bytes& file, std::string_view what) {
    for (const Bytes& behind : {Bytes(70000), Pattern(70000), Fixture("film.avi")}) {
        const Finding finding = FindingOf(validatorName, file, behind);
        EXPECT_EQ(finding.verdict, Verdict::Whole) << what << ": " << finding.why;
        EXPECT_EQ(finding.size, std::ssize(file)) << what;
    }
}

void ExpectVerdicts(std::span<const ChangedFixture> changes, bool mayPassEnd) {
    for (const ChangedFixture& change : changes) {
        const Bytes sound = Fixture(change.fixture);
        Bytes file = sound;
        const auto at = static_cast<std::size_t>(change.at * static_cast<double>(file.size()));
        const Bytes noise = Pattern(change.count, 7);
        for (std::size_t i = at; i < std::min(at + change.count, file.size()); ++i) {
            // No marker, which would tell by itself.
            file[i] = noise[i - at] == 0xFF ? std::uint8_t{0x7F} : noise[i - at];
        }
        file.resize(change.count == 0 ? at : file.size());
        const Finding finding = FindingOf(change.validator, file, Pattern(70000));
        EXPECT_EQ(finding.verdict, change.verdict) << change.fixture << ": " << change.what << ": " << finding.why;
        if (finding.verdict == Verdict::Whole) {
            EXPECT_EQ(finding.size, std::ssize(sound)) << change.fixture;
        } else if (!mayPassEnd) {
            EXPECT_LE(finding.size, std::ssize(sound)) << change.fixture;
        }
    }
}

}  // namespace salvor::test

#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "host/validators/validator.h"
#include "tests/host/TestFiles.h"

namespace salvor::test {

/// What `look` gives for a file that begins in sector 3 of a medium and is followed by `behind`. `Pattern` makes bytes
/// of no format.
template <typename Look>
auto LookAt(const Bytes& file, const Bytes& behind, const Neighbours& neighbours, const Look& look) {
    constexpr std::int64_t startSector = 3;
    Bytes image = Pattern(startSector * 512);
    image.insert(image.end(), file.begin(), file.end());
    image.insert(image.end(), behind.begin(), behind.end());
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    ReadAllowance allowance(std::int64_t{64} << 20);
    Place place(medium, startSector, neighbours, allowance);
    return look(place);
}

/// What the validator of this name finds in such a file; `NoFile` where it does not accept the start.
Finding FindingOf(std::string_view validatorName, const Bytes& file, const Bytes& behind = {},
                  const Neighbours& neighbours = {});

/// Expects the file to be whole to its last byte with zeros, noise or another file after it.
void ExpectWhole(std::string_view validatorName, const Bytes& file, std::string_view what);

/// A fixture with `count` bytes overwritten; with 0, it is cut.
struct ChangedFixture {
    const char* what;
    const char* validator;
    const char* fixture;
    /// The position as a share of the fixture's size.
    double at;
    std::size_t count;
    Verdict verdict;
};
/// Noise follows every file. Unless `mayPassEnd`, no size may exceed the file's.
void ExpectVerdicts(std::span<const ChangedFixture> changes, bool mayPassEnd = false);

}  // namespace salvor::test

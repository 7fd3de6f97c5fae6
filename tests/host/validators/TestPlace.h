#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "host/validators/validator.h"
#include "tests/host/TestFiles.h"

namespace salvor::test {

/// What `look` says of a file that begins in sector 3 of a medium and is followed by `behind`. `Pattern` makes bytes
/// that are no format's.
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

/// What the validator of this name says of such a file; `NoFile` where it does not ask to look.
Finding FindingOf(std::string_view validatorName, const Bytes& file, const Bytes& behind = {},
                  const Neighbours& neighbours = {});

/// The file is whole to its last byte, with zeros behind it, with noise and with another file.
void ExpectWhole(std::string_view validatorName, const Bytes& file, std::string_view what);

/// A fixture of which `count` bytes are overwritten, or which is cut where that is 0.
struct ChangedFixture {
    const char* what;
    const char* validator;
    const char* fixture;
    /// Where, as a share of its size.
    double at;
    std::size_t count;
    Verdict verdict;
};
/// Noise follows every file. Unless `mayPassEnd`, no size is larger than the file's.
void ExpectVerdicts(std::span<const ChangedFixture> changes, bool mayPassEnd = false);

}  // namespace salvor::test

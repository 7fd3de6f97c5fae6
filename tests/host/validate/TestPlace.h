#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "host/validate/validator.h"
#include "tests/host/TestFiles.h"

namespace salvor::test {

/// What the validator of this name says of a file that begins in sector 3 of a medium and is followed by `behind`;
/// `NoFile` where it does not ask to look. `Pattern` makes bytes that are no format's.
inline Finding FindingOf(std::string_view validatorName, const Bytes& file, const Bytes& behind = {},
                         Neighbours neighbours = {}) {
    constexpr std::int64_t sectorSize = 512;
    constexpr std::int64_t startSector = 3;
    Bytes image = Pattern(startSector * sectorSize);
    image.insert(image.end(), file.begin(), file.end());
    image.insert(image.end(), behind.begin(), behind.end());
    Medium medium(std::make_unique<FakeDevice>(image), sectorSize);
    const auto isNamed = [validatorName](const Validator* validator) {
        return validator->name == validatorName;
    };
    const auto validator = std::ranges::find_if(Validators(), isNamed);
    if (validator == Validators().end()) {
        throw std::invalid_argument("no such validator");
    }
    const auto head = std::span(image).subspan(startSector * sectorSize);
    if (!(*validator)->begins(head)) {
        return {};
    }
    ReadAllowance allowance(std::int64_t{64} << 20);
    Place place(medium, startSector, neighbours, allowance);
    return (*validator)->validate(place);
}

}  // namespace salvor::test

#include "host/validators/finding_at.h"

#include <algorithm>

namespace salvor {

namespace {

// Some tools leave a line end behind a file of any kind. It is recognisable before the zeros that fill a sector.
std::int64_t EndOfLineEnd(Place& file, std::int64_t end) {
    const std::int64_t left = file.SectorSize() - end % file.SectorSize();
    const ByteSpan rest = left < 2 ? ByteSpan() : file.At(end, static_cast<std::size_t>(left));
    const bool hasLineEnd =
        !rest.empty() && rest[0] == '\n' && std::ranges::all_of(rest.subspan(1), [](int byte) { return byte == 0; });
    return hasLineEnd ? end + 1 : end;
}

}  // namespace

Finding FindingAt(const Validator& validator, Place& file) {
    Finding finding = validator.validate(file);
    const bool hasEnd = finding.verdict == Verdict::Whole || finding.verdict == Verdict::Open;
    // Text knows its own line ends.
    if (hasEnd && validator.phase != Validator::Phase::Text) {
        finding.size = EndOfLineEnd(file, finding.size);
    }
    return finding;
}

}  // namespace salvor

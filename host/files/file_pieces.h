#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "host/medium/medium.h"
#include "host/plan/plan.h"

namespace salvor {

/// Reads planned files from the medium in large pieces.
class FilePieces {
public:
    enum class End { Done, Refused, Stopped };

    /// `progress` gets the number of bytes done of the current file; it returns true to stop.
    FilePieces(Medium& medium, std::function<bool(std::int64_t)> progress);

    /// Hands on each piece with its offset on the medium, -1 in a hole, until `takePiece` returns false or the user
    /// stops the run. The bytes are valid until `takePiece` returns. The first `from` bytes are left out; see
    /// `MayBegin`.
    End ForEach(
        const PlannedFile& file,
        const std::function<bool(const std::uint8_t* bytes, std::size_t length, std::int64_t offset)>& takePiece,
        std::int64_t from = 0);
    /// True if a piece may begin after this many bytes of the file.
    bool MayBegin(const PlannedFile& file, std::int64_t from) const;

    std::size_t MostBytes() const { return piece_.size(); }

private:
    Medium& medium_;
    std::function<bool(std::int64_t)> progress_;
    std::vector<std::uint8_t> piece_;
};

}  // namespace salvor

#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/report/line_log.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// A digest of what was validated, so that outcomes are used for nothing else: of the medium's shape, of what the scan
/// has seen there and of the caps that the person set.
std::string DigestOf(const Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps);

/// Writes outcomes as JSON lines, only ever appending: what was found out by the way, which serves a run that goes on,
/// and in the end one line for every place.
class OutcomesWriter {
public:
    OutcomesWriter(const std::string& path, const std::string& digest);

    void AddFinding(const KnownFinding& finding);
    void Add(const Validation& validation);
    void Flush() { log_.Flush(); }
    void Sync() { log_.Sync(); }

private:
    LineLog log_;
};

/// Outcomes as read back.
struct OutcomesRead {
    /// What they are the outcomes of.
    std::string digest;
    std::vector<KnownFinding> known;
    /// Complete only if the file is.
    Validation validation;
    /// Lines that make no sense, among them a last line that was cut.
    std::int64_t damagedLines = 0;
};

/// Reads as much of the file as is there; nothing where it cannot be read or does not begin as one.
std::optional<OutcomesRead> ReadOutcomes(const std::string& path);

}  // namespace salvor

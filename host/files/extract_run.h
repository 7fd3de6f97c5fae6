#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/files/content_filter.h"
#include "host/files/out_folder.h"
#include "host/medium/image_spec.h"
#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"
#include "host/report/json_lines.h"
#include "host/report/piece.h"
#include "host/say/failure.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// Where the finds of an extraction come from, for its report.
struct FindsOrigin {
    ImageSpec image;
    std::string findsPath;
    /// The scan went over its whole range.
    bool scanComplete = false;
    /// Caps in bytes that the person set, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// What the scan has not looked for, and where.
    std::vector<Json> setAside{};
    /// Sectors of the image that the scan has read as zeros.
    std::vector<SectorRange> zeros{};
};

/// Plans, writes and reports the files of what was validated into a prepared folder, telling the person how far it is
/// and, unless `quiet`, what became of it. A file that cannot be written is one line on stderr; the run goes on. What
/// a run that was cut short has reported, or pieces have, is not compared with the medium again; reports of pieces are
/// gone when all is joined. `known` is what the outcomes' indices count. The outcomes count the
/// sectors of what is scanned, the report those of the image.
ExitStatus ExtractFiles(const ScanMedium& scanned, const std::vector<Outcome>& outcomes, const KnownFiles& known,
                        const FindsOrigin& origin, const PlanFilter& filter, const ContentFilter& content,
                        const OutFolder& out, bool quiet);

/// Writes one piece of the same files, which cannot be chosen by what those of other pieces hold, and a report of its
/// own, while other processes may write the others there. All pieces have the same plan. Throws `Failure` (not started)
/// if the disk has no room for what all of them would write.
ExitStatus ExtractPiece(const ScanMedium& scanned, const std::vector<Outcome>& outcomes, const KnownFiles& known,
                        const FindsOrigin& origin, const PlanFilter& filter, const ContentFilter& content,
                        const OutFolder& out, const Piece& piece, bool quiet);

}  // namespace salvor

#pragma once

#include "host/files/extract_job.h"
#include "host/records/piece.h"
#include "host/say/failure.h"

namespace salvor {

/// Plans, writes and reports the files of what was validated. Shows progress and, unless quiet, the result. A file that
/// cannot be written is one line on stderr, and the run goes on. Files that an interrupted run or the pieces have
/// reported are not compared with the medium again; the reports of the pieces are removed once everything is joined.
ExitStatus ExtractFiles(const ExtractJob& job);

/// Writes one piece of the same files, and a report of its own, while other processes may write the other pieces there.
/// The choice of files cannot depend on the files of other pieces, so all pieces have the same plan. Throws `Failure`
/// (not started) if the disk has no room for the files of all pieces.
ExitStatus ExtractPiece(const ExtractJob& job, const Piece& piece);

}  // namespace salvor

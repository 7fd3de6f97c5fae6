#pragma once

namespace salvor {

/// Makes sure that the numbers of the standard streams are taken: one that was closed must not become the number of a
/// file that is written.
void OccupyStandardStreams();

}  // namespace salvor

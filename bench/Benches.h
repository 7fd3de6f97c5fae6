#pragma once

namespace bench {

/// Registers the scanners: each alone and all together, on streams without open files and inside an open file.
void RegisterScanBenches();

/// Registers the reader that measuring scanners use.
void RegisterReaderBenches();

}  // namespace bench

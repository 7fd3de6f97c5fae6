#pragma once

namespace bench {

/// Registers the scanners: each alone and all together, on streams without open files and inside an open file.
void RegisterScanBenches();

/// Registers the reader that measuring scanners use.
void RegisterReaderBenches();

/// Registers the search of an open ZIP archive for its end and its kind, next to a plain loop over the bytes.
void RegisterZipBenches();

/// Registers scans of long media streams, and of media on which many candidates stand before the same bytes.
void RegisterStreamBenches();
/// Registers the walks along the structure of files that are large.
void RegisterWalkBenches();
/// Registers mailboxes full of messages, with and without the markers that end them.
void RegisterMailBenches();

}  // namespace bench

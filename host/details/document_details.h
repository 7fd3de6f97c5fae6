#pragma once

#include "host/details/file_details.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// What a document says of itself: when it was made, and its title. Reads packages (Office Open XML, OpenDocument,
/// EPUB) and compound files. Nothing for another file; what it reads and unpacks is bounded.
FileDetails ReadDocumentDetails(MediumSource& document);

/// Loads the library that reads PDF, where the system has it. Call before anything hostile is read.
void LoadPdfLibrary();

/// The same for a PDF, by a library that may fail in any way on a malformed one: it belongs into a worker process.
/// Nothing for a file of more than 64 MiB.
FileDetails ReadPdfDetails(MediumSource& document);

}  // namespace salvor

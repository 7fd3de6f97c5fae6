#pragma once

#include "host/medium/medium_source.h"
#include "host/plan/file_details.h"

namespace salvor {

/// A document's date and title. Reads packages (Office Open XML, OpenDocument, EPUB), compound files and what
/// `ReadTextDetails` knows; empty for other files. What it reads and unpacks is bounded.
FileDetails ReadDocumentDetails(MediumSource& document);

/// Loads the library that reads PDF, where the system has it. Call before anything hostile is read.
void LoadPdfLibrary();

/// Reads the same from a PDF of at most 64 MiB. The library may fail in any way on a malformed file: call it in a
/// worker process only.
FileDetails ReadPdfDetails(MediumSource& document);

}  // namespace salvor

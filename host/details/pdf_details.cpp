#include <qpdf/qpdf-c.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/details/document_details.h"
#include "host/details/times.h"
#include "host/platform/shared_library.h"

namespace salvor {

namespace {

// The library keeps the whole file in memory.
constexpr std::int64_t MostInMemory = std::int64_t{64} << 20;

struct PdfLibrary {
    PdfLibrary() : library(SALVOR_QPDF_LIBRARY) {
        library.Take(init, "qpdf_init");
        library.Take(cleanup, "qpdf_cleanup");
        library.Take(suppressWarnings, "qpdf_set_suppress_warnings");
        library.Take(attemptRecovery, "qpdf_set_attempt_recovery");
        library.Take(silenceErrors, "qpdf_silence_errors");
        library.Take(takeError, "qpdf_get_error");
        library.Take(readMemory, "qpdf_read_memory");
        library.Take(trailer, "qpdf_get_trailer");
        library.Take(key, "qpdf_oh_get_key");
        library.Take(text, "qpdf_oh_get_utf8_value");
    }

    SharedLibrary library;
    decltype(qpdf_init)* init = nullptr;
    decltype(qpdf_cleanup)* cleanup = nullptr;
    decltype(qpdf_set_suppress_warnings)* suppressWarnings = nullptr;
    decltype(qpdf_set_attempt_recovery)* attemptRecovery = nullptr;
    decltype(qpdf_silence_errors)* silenceErrors = nullptr;
    decltype(qpdf_get_error)* takeError = nullptr;
    decltype(qpdf_read_memory)* readMemory = nullptr;
    decltype(qpdf_get_trailer)* trailer = nullptr;
    decltype(qpdf_oh_get_key)* key = nullptr;
    decltype(qpdf_oh_get_utf8_value)* text = nullptr;
};

const PdfLibrary& Library() {
    static const PdfLibrary library;
    return library;
}

}  // namespace

void LoadPdfLibrary() { Library(); }

FileDetails ReadPdfDetails(MediumSource& document) {
    const PdfLibrary& library = Library();
    FileDetails details;
    if (!library.library.HasAll() || document.Size() > MostInMemory) {
        return details;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(document.Size()));
    bytes.resize(document.ReadAt(0, bytes.data(), bytes.size()));
    qpdf_data pdf = library.init();
    library.suppressWarnings(pdf, QPDF_TRUE);
    library.silenceErrors(pdf);
    // Searching a damaged file for objects would take long.
    library.attemptRecovery(pdf, QPDF_FALSE);
    const QPDF_ERROR_CODE read =
        library.readMemory(pdf, "", std::bit_cast<const char*>(bytes.data()), bytes.size(), nullptr);
    if ((read & (QPDF_ERRORS)) == 0) {
        const qpdf_oh info = library.key(pdf, library.trailer(pdf), "/Info");
        details.title = library.text(pdf, library.key(pdf, info, "/Title"));
        details.taken = TimeIn(library.text(pdf, library.key(pdf, info, "/CreationDate")));
    }
    // Errors that are not taken get printed.
    library.takeError(pdf);
    library.cleanup(&pdf);
    return details;
}

}  // namespace salvor

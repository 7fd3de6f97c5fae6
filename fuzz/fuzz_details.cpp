// Reads the details of made-up files, and the answers of a made-up worker about one.
//
// An input is a byte that chooses the reader, and the bytes of the file or of the line. make-seeds.py writes the same
// layout.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "fuzz/InputSource.h"
#include "fuzz/Require.h"
#include "host/details/details_worker.h"
#include "host/details/document_details.h"
#include "host/details/film_details.h"
#include "host/details/picture_details.h"

namespace {

void ReadAnswer(const std::string& line) {
    const auto answer = salvor::AnswerIn(line);
    if (!answer) {
        return;
    }
    const salvor::FileDetails& known = answer->details.known;
    Require(known.width >= 0 && known.height >= 0, "pixels are counted");
    Require(known.taken.empty() || known.taken.size() == 19, "a time has one form");
    for (const std::string* const text : {&known.title, &known.camera}) {
        Require(text->size() <= 400 && std::ranges::none_of(*text, [](char c) { return c >= 0 && c < ' '; }),
                "texts are short and move no cursor");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::span bytes(data + 1, size - 1);
    InputSource file(bytes);
    switch (data[0] % 5) {
        case 0:
            Require(std::ssize(salvor::ReadPictureDetails(file, true).preview) <= salvor::MostPreviewBytes,
                    "previews are small");
            break;
        case 1:
            salvor::ReadDocumentDetails(file);
            break;
        case 2:
            salvor::ReadPdfDetails(file);
            break;
        case 3:
            salvor::ReadFilmDetails(file);
            break;
        default:
            ReadAnswer({bytes.begin(), bytes.end()});
    }
    return 0;
}

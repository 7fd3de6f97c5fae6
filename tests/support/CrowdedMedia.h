#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "tests/support/Medium.h"

/// Media full of candidates that stand before the same bytes and run into each other; all of `size` bytes.

namespace test {

/// Sectors of fixtures in disorder: mostly first ones, so that nearly every sector begins a file, at times several in a
/// row.
Bytes MixedFixtures(Noise& noise, std::size_t size);
Bytes AudioMedium(Noise& noise, std::size_t size);
Bytes TransportMedium(Noise& noise, std::size_t size);
/// Packs of 16 bytes, which are all candidates, and packets that lead from some of them to others far away.
Bytes ProgramMedium(Noise& noise, std::size_t size);
/// Mail in pieces: whole headers and markers, broken ones, and what lies in between, of all lengths.
Bytes MailLike(Noise& noise, std::size_t size);
/// XML in pieces, with the starts of documents of two kinds between them.
Bytes MarkupMedium(Noise& noise, std::size_t size);
/// Headers and end marks of PDFs, with cross-reference sections, offsets and drawings' keys between them or without.
Bytes PdfMedium(Noise& noise, std::size_t size);
/// JPEG headers, chains of segments that end in each other's, and few end marks, many of them around the ends of the
/// pieces in which a file's end is searched.
Bytes PictureMedium(Noise& noise, std::size_t size);
/// Rows of boxes between starts of films, most of which lead into rows of others.
Bytes BoxMedium(Noise& noise, std::size_t size);
/// Files of types that remember something of the last one: its extent, or numbers that a later file may lack.
Bytes RememberedFiles(Noise& noise, std::size_t size);

/// Some media of one kind, for a test that looks at `rounds` of them.
struct CrowdedMedia {
    const char* name;
    Bytes (*fill)(Noise& noise, std::size_t size);
    std::int32_t sectorSize;
    std::size_t bytes;
    int rounds;
};

inline void PrintTo(const CrowdedMedia& media, std::ostream* out) { *out << media.name; }

}  // namespace test

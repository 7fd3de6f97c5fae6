#pragma once

#include <cstdint>
#include <optional>

#include "formats/WordPerfectArea.h"
#include "frame/bytes/ByteWindow.h"

/// WordPerfect documents, for the scanner and the program. Sources: Corel, WordPerfect file format of the
/// software developer's kit; the libwpd project.

inline constexpr auto WordPerfectSignature = PatternOf("\xFFWPC");

/// Whether the fields after the signature are those of a document.
bool IsWordPerfectHeader(ByteSpan sector);

struct WordPerfectFile {
    /// In bytes.
    std::int64_t size;
    /// The header says the size; else it is where the functions end.
    bool isDeclared;
};

/// Nothing if there is no document, or hardly any text in it.
std::optional<WordPerfectFile> WalkWordPerfect(ByteWindow& file, WordPerfectEnd rule);

#pragma once

#include "frame/scan/FormatNotes.h"

/// What the types whose boxes are walked say alike.
inline constexpr FormatNotes BoxNotes{
    .source =
        "ISO/IEC 14496-12, sections 4.2 and 4.3; 3GPP TS 26.244, section 5; the MP4 registration authority's "
        "list of brands",
    .found = "",
    .end = "The boxes are walked to the first that the format does not have; exact.",
    .limits =
        "A file without a file type box in front is not found. Files that follow one another without a gap are "
        "found as one, besides each of its own. A last box that is open to the end of the file is left out."};

inline constexpr FormatNotes AtomNotes{
    .source = "QuickTime File Format Specification, on atoms and the file type compatibility atom",
    .found = "",
    .end = "The atoms are walked to the first that is no movie, media, preview or padding; exact where none follows.",
    .limits =
        "A file without a file type atom in front is not found. Atoms behind one of another kind, such as those "
        "of fragments or a user's data, are left out."};

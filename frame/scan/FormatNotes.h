#pragma once

/// What a scanner says of its format for people; docs/file-types.md is generated from these. The texts are static,
/// plain sentences without line breaks.
struct FormatNotes {
    /// The documents that describe the format.
    const char* source;
    /// The versions and variants that are found.
    const char* found;
    /// How the file's end is known, and how exact that makes its size.
    const char* end;
    /// What is not found or comes out wrong; empty where nothing is known.
    const char* limits;
};

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/validators/media/box.h"
#include "host/validators/media/sample_check.h"

namespace salvor {

/// A track whose samples may lie in fragments.
struct FragmentTrack {
    std::uint32_t number = 0;
    /// For samples without a size of their own.
    std::uint32_t sampleBytes = 0;
    std::optional<SampleCheck> check;
};

/// A movie box's information about its file.
struct MovieTables {
    /// Does it have a header and tracks, or what replaces them, and do boxes fill it completely?
    bool isSound = false;
    bool hasSoundTrack = false;
    bool hasOtherTrack = false;
    /// Samples follow in fragments.
    bool hasFragments = false;
    /// The end of the last sample in this file; 0 if there are none.
    std::int64_t dataEnd = 0;
    /// There are other bytes in place of samples.
    bool hasBrokenSamples = false;
    /// The end of the sound samples, if all after them are broken; else 0.
    std::int64_t soundEnd = 0;
    /// Filled in only for movies with fragments.
    std::vector<FragmentTrack> fragmentTracks;
};

/// Source: ISO/IEC 14496-12, section 8; QuickTime File Format Specification, "Movie Atoms".
MovieTables ReadMovieTables(ByteWindow& file, const Box& movie);

/// The end of the last sample that a fragment's box (moof) points to; the samples are checked as well. Nothing if its
/// boxes are broken. Source: ISO/IEC 14496-12, section 8.8.
std::optional<std::int64_t> ReadFragment(ByteWindow& file, const Box& fragment, MovieTables& movie);

/// The end of the last item that a meta box locates in the file itself; nothing if it locates none.
/// Source: ISO/IEC 14496-12, section 8.11.3.
std::optional<std::int64_t> EndOfItems(ByteWindow& file, const Box& meta);

}  // namespace salvor

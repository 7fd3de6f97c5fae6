#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/medium/medium_source.h"

namespace salvor {

/// Opens an E01 image with all its segments through libewf. A chunk that is missing or has a wrong checksum is
/// unreadable. Throws `Failure` (not started) if the image cannot be opened.
std::unique_ptr<MediumSource> OpenEwfImage(const std::string& path);

/// The metadata of an E01 image.
struct EwfFacts {
    /// The notes of the person who made it, and with which program: names and texts as they are in the image.
    std::vector<std::pair<std::string, std::string>> acquisition;
    /// Digests of the medium in lower-case hexadecimal; empty if the image has none.
    std::string md5;
    std::string sha1;
    /// Which segments, or parts of them, are missing; empty for none.
    std::string missing;
};

/// `segments` are the paths of all files of the image, in order. Empty if the image cannot be read.
EwfFacts ReadEwfFacts(const std::vector<std::string>& segments);

}  // namespace salvor

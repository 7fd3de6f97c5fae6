#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/medium/medium_source.h"

namespace salvor {

/// Opens an E01 image with all its segments through libewf. A chunk that is missing or whose checksum is wrong cannot
/// be read. Throws `Failure` (not started) where the image cannot be opened.
std::unique_ptr<MediumSource> OpenEwfImage(const std::string& path);

/// What an E01 image says of itself.
struct EwfFacts {
    /// What the person who made it noted, and with which program: a name and a text each, as they stand in the image.
    std::vector<std::pair<std::string, std::string>> acquisition;
    /// Digests of the medium in lower-case hexadecimal; empty where the image has none.
    std::string md5;
    std::string sha1;
};

/// `segments` are the paths of all files of the image, in order. Empty if the image cannot be read.
EwfFacts ReadEwfFacts(const std::vector<std::string>& segments);

}  // namespace salvor

#pragma once

#include "host/details/file_details.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// Loads the library that reads films and sounds, where the system has it. Call before anything hostile is read.
void LoadFilmLibrary();

/// What a film or a sound says of itself: date, pixels, title, camera. Nothing without the library. Malformed files may
/// make it fail in any way that a library may, so it belongs into a worker process.
FileDetails ReadFilmDetails(MediumSource& film);

}  // namespace salvor

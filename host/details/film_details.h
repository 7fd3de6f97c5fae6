#pragma once

#include "host/medium/medium_source.h"
#include "host/plan/file_details.h"

namespace salvor {

/// Loads the library that reads films and sounds, if the system has it. Call before anything hostile is read.
void LoadFilmLibrary();

/// Date, pixels, title and camera of a film or a sound; without the library only the date of ASF. The library may fail
/// in any way on a malformed file: call it in a worker process only.
FileDetails ReadFilmDetails(MediumSource& film);

}  // namespace salvor

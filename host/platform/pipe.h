#pragma once

#include <chrono>
#include <span>
#include <string>

#include "host/platform/file_descriptor.h"

namespace salvor {

/// Bytes from one process to another. Neither end is left open in processes that are started, unless it is passed on.
struct Pipe {
    /// Closed, with the system's error set, if there are no descriptors left.
    static Pipe Make();
    /// Reads never wait.
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// Appends what has arrived to `bytes`, up to some 64 KiB. False once the other end is closed and all has been read.
bool ReadArrived(int descriptor, std::string& bytes);

/// Waits until one of the descriptors has something to read or its other end is closed, or the time is up.
void WaitForAny(std::span<const int> descriptors, std::chrono::milliseconds atMost);

}  // namespace salvor

#pragma once

#include <chrono>
#include <span>
#include <string>

#include "host/platform/file_descriptor.h"

namespace salvor {

/// Bytes from one process to another. Started processes inherit neither end unless it is passed.
struct Pipe {
    /// Closed, with `errno` set, if there are no descriptors left.
    static Pipe Make();
    /// Reads never block.
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// Appends what has arrived to `bytes`, up to about 64 KiB. False once the other end is closed and everything has been
/// read.
bool ReadArrived(int descriptor, std::string& bytes);

/// Waits until one of the descriptors can be read or its other end is closed, or until the time is up.
void WaitForAny(std::span<const int> descriptors, std::chrono::milliseconds atMost);

}  // namespace salvor

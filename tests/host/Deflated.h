#pragma once

#include "tests/host/TestFiles.h"

namespace salvor::test {

/// The bytes as a raw stream of RFC 1951.
Bytes Deflated(const Bytes& content);

}  // namespace salvor::test

#include <gtest/gtest.h>

#include <string_view>

#include "tests/host/workers/TestKinds.h"

// libewf leaks the chunks of an image with truncated segments.
extern "C" const char* __lsan_default_suppressions() { return "leak:libewf_"; }

// The tests' workers are processes of the tests' own program.
int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == salvor::WorkerWord) {
        salvor::LiveAsWorker(argv[2], salvor::test::KindsForTests());
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

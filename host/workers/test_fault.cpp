#include "host/workers/test_fault.h"

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <vector>

#include "host/platform/file_place.h"

namespace salvor {

namespace {

void TakeAllMemory() {
    constexpr std::size_t piece = std::size_t{1} << 20U;
    // More than any worker is allowed.
    constexpr std::size_t pieces = 0x4000;
    std::vector<std::vector<char>> taken;
    taken.reserve(pieces);
    while (taken.size() < pieces) {
        taken.emplace_back(piece, 'x');
    }
}

std::optional<std::int64_t> NextNumber(std::istream& words) {
    std::string word;
    return std::getline(words, word, ':') ? std::optional(std::strtoll(word.c_str(), nullptr, 10)) : std::nullopt;
}

}  // namespace

std::optional<TestFault> TestFault::Ordered() {
    const char* const text = std::getenv("SALVOR_TEST_FAULT");
    if (text == nullptr) {
        return std::nullopt;
    }
    std::istringstream words(text);
    TestFault fault;
    std::getline(words, fault.kind_, ':');
    fault.subject_ = NextNumber(words);
    fault.sector_ = NextNumber(words);
    return fault;
}

void TestFault::Strike(SectorRange sectors, std::int32_t subject) const {
    if ((subject_ && *subject_ != subject) ||
        (sector_ && (*sector_ < sectors.first || *sector_ - sectors.first >= sectors.count))) {
        return;
    }
    if (kind_ == "crash") {
        std::abort();
    } else if (kind_ == "open") {
        FilePlace("/dev/null").Read();
    } else if (kind_ == "memory") {
        TakeAllMemory();
    }
    while (kind_ == "hang") {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

}  // namespace salvor

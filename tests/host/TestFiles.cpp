#include "tests/host/TestFiles.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace salvor::test {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::string name = (fs::temp_directory_path() / "salvor-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    path_ = name;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Bytes ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const fs::path& path, const Bytes& bytes) { WriteFile(path, std::string(bytes.begin(), bytes.end())); }

void WriteFile(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

Bytes Fixture(const std::string& name) { return ReadFile(fs::path(SALVOR_SAMPLES_DIR "/fixtures") / name); }

std::vector<nlohmann::json> ReadLines(const fs::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    std::vector<nlohmann::json> values;
    for (std::string line; std::getline(file, line);) {
        values.push_back(nlohmann::json::parse(line, nullptr, false));
        EXPECT_FALSE(values.back().is_discarded()) << path << ": " << line;
    }
    return values;
}

Bytes Pattern(std::size_t count, std::uint32_t seed) {
    Bytes bytes(count);
    std::uint32_t state = seed * 2654435761U + 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return bytes;
}

std::size_t FakeDevice::ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    return ReadUpToDamage(offset, buffer, length, 4096);
}

std::size_t FakeDevice::ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    return ReadUpToDamage(offset, buffer, length, sectorSize);
}

std::size_t FakeDevice::ReadUpToDamage(std::int64_t offset, std::uint8_t* buffer, std::size_t length,
                                       std::int64_t unit) {
    ++reads;
    auto end = std::min(offset + static_cast<std::int64_t>(length), Size());
    const std::int64_t touchedEnd = (end + unit - 1) / unit * unit;
    bool fails = false;
    for (const auto& [from, to] : broken_) {
        if (from < touchedEnd && to > offset / unit * unit) {
            fails = true;
            end = std::clamp(std::max(from, offset) / unit * unit, offset, end);
        }
    }
    failures += fails ? 1 : 0;
    std::copy(bytes_.begin() + offset, bytes_.begin() + end, buffer);
    return static_cast<std::size_t>(end - offset);
}

ByteRange FakeDevice::NextData(std::int64_t offset) {
    std::int64_t end = Size();
    for (const auto& [from, to] : holes_) {
        if (from <= offset && offset < to) {
            return {to, NextData(to).count};
        }
        end = from > offset ? std::min(end, from) : end;
    }
    return {offset, end - offset};
}

}  // namespace salvor::test

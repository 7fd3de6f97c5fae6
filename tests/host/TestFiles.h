#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/medium/raw_device.h"

namespace salvor::test {

using Bytes = std::vector<std::uint8_t>;

/// A folder of the test's own, removed with its content at the end.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

Bytes ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const Bytes& bytes);
void WriteFile(const std::filesystem::path& path, const std::string& text);

/// The JSON values of a file's lines; fails the test for a line that is none.
std::vector<nlohmann::json> ReadLines(const std::filesystem::path& path);

/// `count` bytes that differ from place to place in the same way on every machine.
Bytes Pattern(std::size_t count, std::uint32_t seed = 1);

/// A device in memory on which some bytes cannot be read.
class FakeDevice : public RawDevice {
public:
    explicit FakeDevice(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::int64_t Size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override;

    /// No read delivers a byte of [from, to), both in bytes.
    void Break(std::int64_t from, std::int64_t to) { broken_.emplace_back(from, to); }
    std::int64_t reads = 0;

private:
    Bytes bytes_;
    std::vector<std::pair<std::int64_t, std::int64_t>> broken_;
};

/// A run of the built program.
struct ProgramRun {
    int status = -1;
    std::string output;
    std::string errors;
};
/// Runs the program with the given words through the shell, `prefix` in front of it.
ProgramRun RunProgram(const std::string& arguments, const std::string& prefix = "");

}  // namespace salvor::test

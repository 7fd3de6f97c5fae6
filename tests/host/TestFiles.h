#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/medium/medium_source.h"

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

/// One of the files in samples/fixtures.
Bytes Fixture(const std::string& name);

/// The JSON values of a file's lines; fails the test for a line that is not JSON.
std::vector<nlohmann::json> ReadLines(const std::filesystem::path& path);

/// `count` bytes that differ from place to place in the same way on every machine.
Bytes Pattern(std::size_t count, std::uint32_t seed = 1);

/// A device in memory on which some bytes cannot be read and some are holes. `ReadAt` reads whole pages, as the system
/// does, and `ReadAgain` single sectors.
class FakeDevice : public MediumSource {
public:
    explicit FakeDevice(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::int64_t Size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::int32_t SectorSize() const override { return sectorSize; }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override;
    std::size_t ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override;
    ByteRange NextData(std::int64_t offset) override;
    std::optional<int> CopySource() const override { return copySource; }

    /// Makes every read of a byte in [from, to) fail; both in bytes.
    void Break(std::int64_t from, std::int64_t to) { broken_.emplace_back(from, to); }
    /// Makes these bytes zeros, and the device knows that they are.
    void Punch(std::int64_t from, std::int64_t to) { holes_.emplace_back(from, to); }

    std::int32_t sectorSize = 512;
    /// A plain file has one.
    std::optional<int> copySource;
    std::int64_t reads = 0;
    /// Reads that met a broken byte. On a dying disk each takes milliseconds or seconds.
    std::int64_t failures = 0;

private:
    std::size_t ReadUpToDamage(std::int64_t offset, std::uint8_t* buffer, std::size_t length, std::int64_t unit);

    Bytes bytes_;
    std::vector<std::pair<std::int64_t, std::int64_t>> broken_;
    std::vector<std::pair<std::int64_t, std::int64_t>> holes_;
};

}  // namespace salvor::test

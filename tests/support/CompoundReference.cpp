#include <algorithm>

#include "tests/support/CompoundBuilder.h"

namespace test {

namespace {

using Words = std::vector<std::uint32_t>;

class Reference {
public:
    explicit Reference(ByteSpan file) : file_(file) {}

    CompoundVerdict Judge() {
        if (!Accept()) {
            return {1, 0};
        }
        ReadTables();
        WalkDirectory();
        return {Kind(), Estimate()};
    }

private:
    Bytes Read(std::uint64_t position, std::uint64_t count) const {
        Bytes bytes(count);
        for (std::uint64_t i = 0; i < count && position + i < file_.size(); ++i) {
            bytes[i] = file_[position + i];
        }
        return bytes;
    }
    std::uint32_t Header32(std::size_t offset) const { return LoadLittle<std::uint32_t>(header_, offset); }
    std::uint32_t Header16(std::size_t offset) const { return LoadLittle<std::uint16_t>(header_, offset); }
    Words SectorWords(std::uint32_t sector) const {
        Words words;
        const Bytes bytes = Read((std::uint64_t{sector} + 1) * sectorSize_, sectorSize_);
        for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
            words.push_back(LoadLittle<std::uint32_t>(bytes, at));
        }
        return words;
    }

    bool Accept() {
        header_ = Read(0, 512);
        const bool order = Header16(28) == 0xFFFE || Header16(28) == 0xFEFF;
        sectorSize_ = 1U << (Header16(30) % 32);
        return LoadBig<std::uint64_t>(header_, 0) == 0xD0CF11E0A1B11AE1 && order && Header16(24) < 255 &&
               Header16(26) < 255 && Header16(32) <= Header16(30) && Header16(30) < 255 && Header16(32) < 255 &&
               Header32(72) <= Header32(44);
    }

    void ReadTables() {
        const std::uint32_t largest = 0x7FFFFFFF / sectorSize_;
        for (std::size_t i = 0; i < 109; ++i) {
            difat_.push_back(Header32(76 + 4 * i));
        }
        std::uint32_t sector = Header32(68);
        for (std::uint32_t n = 0; n < std::min(Header32(72), 8192U); ++n) {
            if (static_cast<std::int32_t>(sector) <= 0 || sector > largest || sectorSize_ < 4) {
                break;
            }
            const Words words = SectorWords(sector);
            difat_.insert(difat_.end(), words.begin(), words.end());
            sector = words.back();
        }
        for (std::size_t i = 0; i < std::min<std::size_t>({Header32(44), difat_.size(), 8192}); ++i) {
            if (difat_[i] > largest) {
                break;
            }
            const Words words = SectorWords(difat_[i]);
            fat_.insert(fat_.end(), words.begin(), words.end());
        }
        const std::uint32_t first = Header32(60);
        std::uint32_t next = first;
        for (std::uint32_t n = 0; n < std::min(Header32(64), 2048U); ++n) {
            if (static_cast<std::int32_t>(next) <= 0 || next > largest || sectorSize_ < 4) {
                break;
            }
            const Words words = SectorWords(first);
            miniFat_.insert(miniFat_.end(), words.begin(), words.end());
            next = words.back();
        }
    }

    void WalkDirectory() {
        std::uint32_t sector = Header32(48);
        for (std::uint32_t n = 0; n <= sectorSize_ / 4 * Header32(44); ++n) {
            const Bytes bytes = Read((sector + 1) * sectorSize_, sectorSize_);
            std::size_t invalid = 0;
            for (std::size_t at = 0; at + 128 <= bytes.size(); at += 128) {
                const auto entry = bytes.begin() + static_cast<std::ptrdiff_t>(at);
                if (!TakeEntry({entry, entry + 128})) {
                    ++invalid;
                }
            }
            if (sector >= fat_.size() || invalid == bytes.size() / 128 || static_cast<std::int32_t>(fat_[sector]) < 1) {
                break;
            }
            sector = fat_[sector];
        }
    }

    // False for a bad entry.
    bool TakeEntry(const Bytes& entry) {
        const auto length = LoadLittle<std::uint16_t>(entry, 64);
        if (length == 0 || length > 64) {
            return true;
        }
        const auto start = LoadLittle<std::uint32_t>(entry, 116);
        const auto size = LoadLittle<std::uint32_t>(entry, 120);
        if (IsNamed(entry, "Root Entry")) {
            rootSize_ = size;
        }
        const bool special = start == 0xFFFFFFFD || start == 0xFFFFFFFE || start == 0xFFFFFFFF;
        const bool good = (special || start < fat_.size() || start < rootSize_) && size <= 0x4000000 &&
                          entry[67] <= 1 && entry[66] <= 5;
        if (good) {
            directory_.push_back(entry);
        } else {
            clean_ = false;
        }
        return good;
    }

    // Reads past the name field if no zero ends the name, up to the entry's end.
    static bool IsNamed(const Bytes& entry, const std::string& name) {
        std::string units;
        for (std::size_t at = 0; at + 2 <= entry.size(); at += 2) {
            const auto unit = LoadLittle<std::uint16_t>(entry, at);
            if (unit == 0) {
                break;
            }
            units += unit < 128 ? static_cast<char>(unit) : '\x7F';
        }
        const auto upper = [](char c) {
            return c >= 'a' && c <= 'z' ? c - 32 : int{c};
        };
        return std::ranges::equal(units, name, {}, upper, upper);
    }
    bool Has(const std::string& name) const {
        return std::ranges::any_of(directory_, [&name](const Bytes& entry) { return IsNamed(entry, name); });
    }

    std::int32_t Kind() const {
        const auto has = [this](const std::string& name) {
            return Has(name);
        };
        for (const CompoundKind& kind : CompoundKinds()) {
            if (std::ranges::any_of(kind.anyOf, has) && std::ranges::all_of(kind.allOf, has)) {
                return kind.number;
            }
        }
        return !directory_.empty() && LoadBig<std::uint64_t>(directory_[0], 80) == 0x70AA7C59AA72CF11 &&
                       LoadBig<std::uint64_t>(directory_[0], 88) == 0x831E524153480000
                   ? 11
                   : 1;
    }

    std::uint32_t Estimate() const {
        const auto round = [this](std::size_t size) {
            return (static_cast<std::uint32_t>(size) + sectorSize_ - 1) / sectorSize_ * sectorSize_;
        };
        std::uint32_t size = round((difat_.size() - 109) * 4) + 512 + round(fat_.size() * 4) +
                             round(miniFat_.size() * 4) + round(directory_.size() * 128);
        for (const Bytes& entry : directory_) {
            size += round(LoadLittle<std::uint32_t>(entry, 120));
        }
        const std::uint32_t limit = sectorSize_ * static_cast<std::uint32_t>(fat_.size());
        return size > limit || !clean_ ? limit : size;
    }

    ByteSpan file_;
    Bytes header_;
    std::uint32_t sectorSize_ = 512;
    Words difat_;
    Words fat_;
    Words miniFat_;
    std::vector<Bytes> directory_;
    std::uint32_t rootSize_ = 0;
    bool clean_ = true;
};

}  // namespace

CompoundVerdict ReferenceCompound(ByteSpan file) { return Reference(file).Judge(); }

std::int64_t ReferenceCompoundSize(const Bytes& file) { return ReferenceCompound(file).size; }

}  // namespace test

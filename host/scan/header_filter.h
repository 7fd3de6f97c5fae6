#pragma once

#include <IPassingScanner.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "host/scan/pair_probes.h"

namespace salvor {

/// Finds out which types a sector may be a header of, by the words that their scanners ask for.
class HeaderFilter {
public:
    /// Adds a type's words. False if the type must see every sector, as those do that have words elsewhere than at a
    /// sector's start.
    bool Add(std::int32_t type, const IPassingScanner& scanner);

    /// Calls `take(type)` for all types that `count` sectors may hold headers of, some more than once.
    template <class Take>
    void Look(const std::uint8_t* data, std::int64_t count, std::int64_t sectorSize, Take&& take) const {
        const std::uint8_t* const end = data + count * sectorSize;
        for (const std::uint8_t* sector = data; sector != end; sector += sectorSize) {
            if (!probes_.MayHaveOne(sector)) {
                continue;
            }
            for (const Word& word : words_) {
                std::uint32_t bytes = 0;
                std::memcpy(&bytes, sector, sizeof(bytes));
                if ((bytes & word.word.mask) == word.word.value) {
                    take(word.type);
                }
            }
        }
    }

private:
    struct Word {
        HeaderWord word;
        std::int32_t type;
    };

    PairProbes probes_;
    std::vector<Word> words_;
};

}  // namespace salvor

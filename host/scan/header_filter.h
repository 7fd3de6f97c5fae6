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
    /// Adds a type's words, also to the probes that tell which sectors to look at. False if the type must see every
    /// sector, as those do whose words say too little.
    bool Add(std::int32_t type, const IPassingScanner& scanner, PairProbes& probes);

    /// Calls `take(type)` for all types that the sector may be a header of, some more than once.
    template <class Take>
    void Look(const std::uint8_t* sector, Take&& take) const {
        for (const Word& word : words_) {
            std::uint32_t bytes = 0;
            std::memcpy(&bytes, sector + word.word.place, sizeof(bytes));
            if ((bytes & word.word.mask) == word.word.value) {
                take(word.type);
            }
        }
    }

private:
    struct Word {
        HeaderWord word;
        std::int32_t type;
    };

    std::vector<Word> words_;
};

}  // namespace salvor

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "formats/MarkupReader.h"
#include "frame/scan/PlacedMemory.h"

/// A walk through a declaration, such as a document type, and those nested in it. Places are those of `ScanOffsets`.
class DeclarationWalk {
public:
    /// `form` is the text's: in another one the same bytes have other declarations.
    DeclarationWalk(std::int64_t place, const TextForm& form) : to_(place), form_(form) {}

    const TextForm& Form() const { return form_; }
    /// How many declarations are open.
    std::int64_t Depth() const { return depth_; }

    /// The first place not yet walked.
    std::int64_t To() const { return to_; }
    void GoTo(std::int64_t place) { to_ = place; }

    void Open(std::int64_t place) {
        if (open_.size() == MostOpen) {
            // Later walks begin further on.
            open_.erase(open_.begin(), open_.begin() + MostOpen / 2);
        }
        open_.push_back({place, depth_++});
    }
    void Close() {
        --depth_;
        while (!open_.empty() && open_.back().depth >= depth_) {
            open_.pop_back();
        }
    }
    /// The text ends here. Where a bracket opened in its last few bytes, more text may make something else of it.
    void End(std::int64_t place, std::int64_t fewBytes) {
        to_ = place;
        if (!open_.empty() && place - open_.back().place < fewBytes) {
            to_ = open_.back().place;
            Close();
        }
    }

    /// How many declarations were open in front of the one that begins at a place; nothing if none that begins there is
    /// known to be open.
    std::optional<std::int64_t> DepthBefore(std::int64_t place) const {
        const auto open = std::ranges::lower_bound(open_, place, {}, &Bracket::place);
        return open != open_.end() && open->place == place ? std::optional(open->depth) : std::nullopt;
    }

private:
    struct Bracket {
        std::int64_t place;
        // How many were open in front of it.
        std::int64_t depth;
    };
    static constexpr std::ptrdiff_t MostOpen = 4096;

    std::int64_t to_;
    std::int64_t depth_ = 0;
    // In ascending order of places and depths.
    std::vector<Bracket> open_;
    TextForm form_;
};

/// What the walks of a scan share that follow markup: declarations that do not end. Where many documents begin inside
/// each other's declarations, a walk goes on where an earlier one stopped.
class MarkupMemory : public PlacedMemory {
public:
    void EnterBlock(const SectorBlock& block) {
        if (!PlacedMemory::EnterBlock(block)) {
            walks_.clear();
        }
    }

    /// The walk through the declaration that begins at a place, as far as one got that did not find its end. Null if
    /// none is known.
    DeclarationWalk* WalkThrough(std::int64_t place, const TextForm& form) {
        const auto walk = std::ranges::find_if(walks_, [&](const DeclarationWalk& known) {
            return known.Form().IsLike(form) && known.DepthBefore(place);
        });
        return walk != walks_.end() ? &*walk : nullptr;
    }

    /// Forgets the walk noted before the last one.
    void Note(DeclarationWalk&& walk) {
        walks_.insert(walks_.begin(), std::move(walk));
        // A document may begin inside quotes of the one before it, so that every other one is walked alike.
        walks_.erase(walks_.begin() + std::min<std::ptrdiff_t>(2, std::ssize(walks_)), walks_.end());
    }

private:
    std::vector<DeclarationWalk> walks_;
};

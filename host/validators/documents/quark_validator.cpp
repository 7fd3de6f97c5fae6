#include <FileTypeCatalog.h>

#include <algorithm>

#include "formats/QuarkChains.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

// Parts of a file are written one after another; a link that leads further ahead was overwritten.
constexpr std::int64_t LongestJump = 0x100000;

bool BeginsQuark(ByteSpan head) { return head.size() >= 16 && QuarkKindOf(head) != QuarkKind::None; }

Finding ValidateQuark(Place& file) {
    const bool isTemplate = QuarkKindOf(file.At(0, 16)) == QuarkKind::Template;
    const std::int32_t type = isTemplate ? FileTypeIndex::Qpt : FileTypeIndex::Qxp;
    const auto proven = FindQuarkExtent(file, LongestJump);
    if (!proven) {
        return {};
    }
    if (proven->isComplete && proven->size <= file.Limit()) {
        return {Verdict::Whole, proven->size, type, {}, "all chains of blocks end"};
    }
    return {Verdict::Damaged, std::min(proven->size, file.NextWhole(0)), type, {}, "a chain of blocks breaks"};
}

constexpr StartSignature Starts[] = {{"XPR", 4}};
constexpr std::int32_t Types[] = {FileTypeIndex::Qxp, FileTypeIndex::Qpt};

}  // namespace

/// QuarkXPress documents, projects and templates.
extern const Validator QuarkValidator;
const Validator QuarkValidator{.name = "quark",
                               .phase = Validator::Phase::Bounded,
                               .starts = Starts,
                               .begins = BeginsQuark,
                               .validate = ValidateQuark,
                               .types = Types};

}  // namespace salvor

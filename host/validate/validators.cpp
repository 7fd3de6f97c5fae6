#include "host/validate/validator.h"

namespace salvor {

// One line a format; each is defined in a source of its own.
extern const Validator CompoundValidator;
extern const Validator ZipValidator;

std::span<const Validator* const> Validators() {
    static constexpr const Validator* validators[] = {
        &CompoundValidator,
        &ZipValidator,
    };
    return validators;
}

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Whole:
            return "whole";
        case Verdict::Open:
            return "open";
        case Verdict::Truncated:
            return "truncated";
        case Verdict::Damaged:
            return "damaged";
        case Verdict::NoFile:
            return "no file";
    }
    return "";
}

}  // namespace salvor

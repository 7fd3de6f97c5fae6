#pragma once

#include <cstdint>
#include <vector>

#include "host/app/commands.h"
#include "host/plan/plan.h"

namespace salvor {

/// The types that the words of `--types` and `--exclude` leave, ascending. Throws `Failure` (usage) for a word that
/// names nothing and for a selection without a type.
std::vector<std::int32_t> SelectTypes(const FilterOptions& options);

/// The same with the size rules. Throws `Failure` (usage) for what cannot be understood.
PlanFilter MakeFilter(const FilterOptions& options);

}  // namespace salvor

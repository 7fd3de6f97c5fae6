#pragma once

#include <cstdint>

#include "containers/ZipFormat.h"
#include "frame/scan/FamilyEngine.h"

/// A type of the ZIP family: `Self::Kinds` names what it takes of its engine, whose state its `Reset` resets.
template <class Self, class Engine>
using PackageFileType = FamilyMember<Self, Engine, EngineResettingFileType<Self, Engine>>;

/// One that keeps the size cap it is given. The engine's own limit applies all the same.
template <class Self, class Engine>
class CapKeepingPackageType : public PackageFileType<Self, Engine> {
public:
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }

private:
    std::int64_t maxSize_ = 0;
};

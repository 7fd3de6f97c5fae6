#include "tests/support/Registry.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/CompoundBuilder.h"
#include "tests/support/RunFormats.h"

namespace test {

std::ostream& operator<<(std::ostream& out, const Claim& claim) {
    return out << FileTypeCatalog[claim.index].extension << " (" << claim.index << ") " << claim.found;
}

std::ostream& operator<<(std::ostream& out, const Fixture& fixture) { return out << fixture.name; }

std::vector<std::int32_t> CreatedTypes() {
    std::vector<std::int32_t> indices;
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        if (CreateType(index)) {
            indices.push_back(index);
        }
    }
    return indices;
}

std::vector<Claim> ScanWithAllTypes(Medium& medium, const Blocks& blocks) {
    const std::vector<std::int32_t> indices = CreatedTypes();
    std::vector<TypePtr> owners;
    std::vector<IRawFileType*> types;
    for (const std::int32_t index : indices) {
        types.push_back(owners.emplace_back(CreateType(index)).get());
    }
    const std::vector<std::vector<Found>> finds = ScanTogether(types, medium, blocks);
    std::vector<Claim> claims;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        for (const Found& found : finds[i]) {
            claims.push_back({indices[i], found});
        }
    }
    return claims;
}

Bytes Fixture::Load() const {
    if (build != nullptr) {
        return build();
    }
    std::ifstream file(std::string(SALVOR_SAMPLES_DIR "/fixtures/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::int64_t Fixture::ReportedSize(const Bytes& file) const {
    return sizeOf == nullptr ? static_cast<std::int64_t>(file.size()) : sizeOf(file);
}

namespace {

// The size of a compound file is estimated.
template <std::int32_t Kind>
Fixture BuiltCompound(const char* name, std::int32_t type) {
    return {name, {type}, [] { return CompoundFileOf(Kind); }, ReferenceCompoundSize};
}

}  // namespace

const std::vector<Fixture>& Fixtures() {
    static const std::vector<Fixture> fixtures{
        {"exif-big-endian.jpg", {41}, nullptr},
        {"exif-progressive.jpg", {41}, nullptr},
        {"exif-thumbnail.jpg", {41}, nullptr},
        {"exif.jpg", {41}, nullptr},
        {"jfif-baseline.jpg", {42}, nullptr},
        {"jfif-grey.jpg", {42}, nullptr},
        {"jfif-icc.jpg", {42}, nullptr},
        {"jfif-optimised-comment.jpg", {42}, nullptr},
        {"jfif-progressive.jpg", {42}, nullptr},
        {"jfif-restart.jpg", {42}, nullptr},
        {"photoshop-iptc.jpg", {42}, nullptr},
        {"grey16.png", {46}, nullptr},
        {"optimised.png", {46}, nullptr},
        {"palette.png", {46}, nullptr},
        {"rgb8.png", {46}, nullptr},
        {"rgba-adam7.png", {46}, nullptr},
        {"text.png", {46}, nullptr},
        {"letter.doc", {0}, nullptr, ReferenceCompoundSize},
        {"table.xls", {1, 83}, nullptr, ReferenceCompoundSize},
        {"slides.ppt", {2, 84}, nullptr, ReferenceCompoundSize},
        BuiltCompound<5>("visio", 3),
        BuiltCompound<6>("project", 4),
        BuiltCompound<7>("publisher", 5),
        BuiltCompound<8>("designcad", 80),
        BuiltCompound<11>("flash", 85),
        BuiltCompound<12>("scene", 87),
        BuiltCompound<13>("pagemaker", 97),
        BuiltCompound<14>("quattro", 99),
        BuiltCompound<15>("slideshow", 103),
        {"bookmarks",
         {73},
         [] {
             return RunFile(RunFormats()[1], 20000);
         }},
        {"brush",
         {75},
         [] {
             return RunFile(RunFormats()[2], 5000);
         }},
        {"drawing",
         {76},
         [] {
             return RunFile(RunFormats()[3], 5000);
         }},
        {"graph",
         {77},
         [] {
             return RunFile(RunFormats()[4], 5000);
         }},
    };
    return fixtures;
}

Bytes FixtureMedium(const Bytes& file) {
    constexpr std::size_t noiseBehind = 20 * 512;
    Noise noise(file.size());
    const Bytes slack = Zeros((512 - file.size() % 512) % 512);
    return Join({noise.Random(FixtureSector * 512), file, slack, noise.Random(noiseBehind)});
}

}  // namespace test

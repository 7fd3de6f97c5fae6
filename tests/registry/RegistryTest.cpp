#include <gtest/gtest.h>

#include <array>

#include "frame/contract/IRawFileTypeFactory.h"
#include "frame/scan/FileTypeBase.h"
#include "tests/support/Registry.h"

namespace {

using namespace test;

TEST(Registry, HasOneFactoryWith113Indices) {
    IRawFileTypeFactory* const factory = GetRawFileTypeFactory();
    EXPECT_EQ(factory, GetRawFileTypeFactory());
    EXPECT_EQ(factory->GetCount(), 113);
    for (const std::int32_t index : {-1, 113, 114, -0x7FFFFFFF - 1, 0x7FFFFFFF}) {
        EXPECT_EQ(factory->Create(index), nullptr) << index;
    }
}

TEST(Registry, CreatesAScannerOfEveryTypeThatAnswersAsItsCatalogueRowSays) {
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        const TypePtr type = CreateType(index);
        ASSERT_NE(type, nullptr) << index;
        const FileTypeIdentity& row = FileTypeCatalog[index];
        std::array<char, 64> name{};
        std::array<char, 64> extension{};
        type->GetTypeName(name.data(), name.size());
        type->GetExtension(extension.data(), extension.size());
        EXPECT_STREQ(name.data(), row.name) << index;
        EXPECT_STREQ(extension.data(), row.extension) << index;
        EXPECT_EQ(type->Reset() + type->BeginScan() + type->EndScan(), 3) << index;
        EXPECT_EQ(type->ReservedQuery8() + type->ReservedQuery10(), 0) << index;
        std::array<std::int64_t, 2> range{-1, -1};
        const bool publishes = row.largestSize != 0;
        EXPECT_EQ(type->QueryInfo(1, range.data(), 16), publishes ? QueryFailed : 0) << index;
        EXPECT_EQ(type->QueryInfo(0, range.data(), 16), 0) << index;
        EXPECT_EQ(range,
                  publishes ? (std::array{row.smallestSize, row.largestSize}) : (std::array<std::int64_t, 2>{-1, -1}));
    }
}

// Texts that look like mistakes; hosts show and store them.
TEST(Registry, KeepsTheOddTextsOfTheCatalogue) {
    EXPECT_STREQ(FileTypeCatalog[FileTypeIndex::Vob].name, "VOB file ");
    EXPECT_STREQ(FileTypeCatalog[FileTypeIndex::Eml].name, FileTypeCatalog[FileTypeIndex::Msg].name);
    EXPECT_STREQ(FileTypeCatalog[FileTypeIndex::JpegCamera].extension,
                 FileTypeCatalog[FileTypeIndex::JpegGraphics].extension);
    EXPECT_STREQ(FileTypeCatalog[FileTypeIndex::Qpw].name, "Quatto Pro File");
    EXPECT_EQ(FileTypeCatalog[FileTypeIndex::Vob].maxSize, 0xFFFFFFFFLL) << "widened without sign";
}

class RangeType final : public RunStateFileType<RangeType> {
public:
    static constexpr FileTypeIdentity Identity{"Range", "rng", 0x5000, 0x100, 0x123456789};
    void ScanBlock(const SectorBlock* /*block*/, IFoundFileSink* /*sink*/) override {}
};

TEST(FileTypeBase, AnswersOnlyTheExactRequestForTheSizeRange) {
    RangeType type;
    std::array<std::int64_t, 3> out{-1, -1, -1};
    constexpr std::array<std::int64_t, 3> untouched{-1, -1, -1};
    const std::pair<std::int32_t, std::int32_t> refused[] = {{0, 8},   {0, 15}, {0, 17},  {0, 24}, {0, 0},
                                                             {0, -16}, {1, 16}, {-1, 16}, {16, 0}};
    for (const auto& [what, size] : refused) {
        EXPECT_EQ(type.QueryInfo(what, out.data(), size), 0x65B) << what << ", " << size;
        EXPECT_EQ(out, untouched);
    }
    EXPECT_EQ(type.QueryInfo(0, nullptr, 16), 0x65B);
    EXPECT_EQ(type.QueryInfo(0, out.data(), 16), 0);
    EXPECT_EQ(out, (std::array<std::int64_t, 3>{0x100, 0x123456789, -1}));
}

}  // namespace

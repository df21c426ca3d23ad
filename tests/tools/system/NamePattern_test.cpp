#include "system/NamePattern.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>

#include "support/TemporaryDirectory.h"
#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned long kMoment = 1795271400'250000000;  // 2026-11-21T14:30:00.25Z
using Names = std::vector<std::string>;

class NamePatternTest : public testing::Test {
 protected:
  static void Make(const Names& names) {
    for (const std::string& name : names) std::ofstream(name) << "x";
  }
  test::TemporaryDirectory Directory;
};

TEST(NamePattern, ANameWithoutPlaceholderIsNumberedInFrontOfItsExtension) {
  EXPECT_EQ(NamePattern("drive.bin").Of(1, 0), "drive_000001.bin");
  EXPECT_EQ(NamePattern("/a.b/drive.asc.gz").Of(12, 0), "/a.b/drive_000012.asc.gz");
  EXPECT_EQ(NamePattern("drive.mf4").Of(12345678, 0), "drive_12345678.mf4");
}

TEST(NamePattern, PlaceholdersStandForNumberAndTime) {
  EXPECT_EQ(NamePattern("incident-%n.mf4").Of(7, 0), "incident-000007.mf4");
  EXPECT_EQ(NamePattern("drive_%t.bin").Of(7, kMoment), "drive_20261121T143000Z.bin");
  EXPECT_EQ(NamePattern("%n_%t.bin").Of(7, kMoment), "000007_20261121T143000Z.bin");
  EXPECT_EQ(NamePattern("100%%_%n.bin").Of(7, kMoment), "100%_000007.bin");
}

TEST(NamePattern, LocalTimesAreThoseOfTheTimeZone) {
  ASSERT_EQ(setenv("TZ", "XYZ-5:30", 1), 0);
  tzset();
  EXPECT_EQ(NamePattern("drive_%Y-%m-%d_%H%M%S.bin").Of(1, kMoment), "drive_2026-11-21_200000.bin");
  unsetenv("TZ");
  tzset();
}

TEST(NamePattern, TheFoldersNameIsTakenAsItIs) {
  EXPECT_EQ(NamePattern("/50%n/%x/drive.bin").Of(3, 0), "/50%n/%x/drive_000003.bin");
  EXPECT_FALSE(NamePattern::IsOne("/50%n/drive.bin"));
}

TEST(NamePattern, OnlyAKnownPlaceholderMakesAPattern) {
  EXPECT_TRUE(NamePattern::IsOne("drive_%t.bin"));
  EXPECT_FALSE(NamePattern::IsOne("100%.bin"));
  EXPECT_FALSE(NamePattern::IsOne("a%%n.bin"));
  EXPECT_FALSE(NamePattern::IsOne("drive%"));
}

TEST(NamePattern, AnUnknownPlaceholderIsRefusedWithItsPlace) {
  try {
    NamePattern pattern("/there/drive_%q.bin");
    FAIL() << "%q is taken for a placeholder";
  } catch (const UsageError& error) {
    EXPECT_EQ(std::string(error.what()),
              "Output \"drive_%q.bin\": what stands at character 7 of its name is no placeholder; there are %n "
              "(number), %t (UTC), %Y %m %d %H %M %S (local time) and %% for a percent sign");
  }
  EXPECT_THROW(NamePattern("drive%.bin"), UsageError);
}

TEST_F(NamePatternTest, FilesComeInTheOrderOfTheirNumbers) {
  Make({"d_1000000.bin", "d_000002.bin", "d_000010.bin", "d_000001.bin.json", "d_3.bin", "d_000004.bin.part",
        "xd_000005.bin", "d_000006.asc"});
  EXPECT_EQ(NamePattern("d.bin").Files(), (Names{"d_000002.bin", "d_000010.bin", "d_1000000.bin"}));
  EXPECT_EQ(NamePattern("d.bin").Parts(), Names{"d_000004.bin.part"});
  EXPECT_EQ(NamePattern("d.bin").NumberOf("d_000010.bin"), 10ul);
  EXPECT_EQ(NamePattern("d.bin").NumberOf("d_000010.bin.json"), 0ul);
}

TEST_F(NamePatternTest, FilesComeInTheOrderOfTheirTimes) {
  Make({"d_20261121T143000Z_2.bin", "d_20261121T143000Z_10.bin", "d_20261121T143000Z.bin", "d_20251231T235959Z.bin",
        "d_20261121T143000.bin"});
  EXPECT_EQ(NamePattern("d_%t.bin").Files(), (Names{"d_20251231T235959Z.bin", "d_20261121T143000Z.bin",
                                                    "d_20261121T143000Z_2.bin", "d_20261121T143000Z_10.bin"}));
  Make({"31-01-2026.asc", "01-12-2025.asc", "01-02-2026.asc"});
  EXPECT_EQ(NamePattern("%d-%m-%Y.asc").Files(), (Names{"01-12-2025.asc", "31-01-2026.asc", "01-02-2026.asc"}));
}

TEST_F(NamePatternTest, ANumberIsFreeAfterAllThatExistOrAreOnTheirWay) {
  const NamePattern pattern("incident-%n.mf4");
  EXPECT_EQ(pattern.FreeNumber(), 1ul);
  Make({"incident-000003.mf4", "incident-000001.mf4"});
  EXPECT_EQ(pattern.FreeNumber(), 4ul);
  Make({"incident-000008.part.mf4"});
  EXPECT_EQ(pattern.FreeNumber(), 9ul);
}

TEST_F(NamePatternTest, AFolderThatIsNotThereHasNoFiles) {
  EXPECT_EQ(NamePattern("nowhere/d.bin").Files(), Names{});
  EXPECT_EQ(NamePattern("nowhere/d.bin").FreeNumber(), 1ul);
}

TEST(SeriesNames, NumbersCountOn) {
  SeriesNames names(NamePattern("d.bin"), 7);
  EXPECT_EQ(names.Next(0), "d_000007.bin");
  EXPECT_EQ(names.Next(0), "d_000008.bin");
}

TEST(SeriesNames, FilesOfTheSameSecondGetDifferentNames) {
  SeriesNames names(NamePattern("d_%t.bin"));
  EXPECT_EQ(names.Next(kMoment), "d_20261121T143000Z.bin");
  EXPECT_EQ(names.Next(kMoment + 1), "d_20261121T143000Z_2.bin");
  EXPECT_EQ(names.Next(kMoment + 1'000'000'000), "d_20261121T143001Z.bin");
  EXPECT_EQ(names.Next(kMoment), "d_20261121T143000Z_3.bin");
}

}  // namespace
}  // namespace client

#include "inputs/DescriptionBeside.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "stream/DescriptionJson.h"
#include "support/TemporaryDirectory.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long First = 42;  // digest of the first record

class DescriptionBesideTest : public testing::Test {
 protected:
  DescriptionBesideTest() { PutText("x.bin", std::string(100, 'r')); }

  static void PutText(const std::string& name, const std::string& text) {
    std::ofstream(name, std::ios::binary) << text;
  }
  /// A description that can be told by its title.
  static void PutDescription(const std::string& name, RecordsDescription records = {2, 100, First}) {
    Description description;
    description.Title = name;
    description.Complete = true;
    description.Records = records;
    PutText(name, ToJson(description));
  }
  std::string PathOf(const std::string& name) const { return (Folder / name).string(); }
  /// The title, or what was said in its place.
  std::string Found(const std::string& name = "x.bin", unsigned long first = First) const {
    const auto found = FindDescription(PathOf(name), first);
    if (found.Known) return found.Known->Title;
    return found.Remarks.empty() ? "nothing" : found.Remarks.front();
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
};

TEST_F(DescriptionBesideTest, LiesUnderTheNameOfTheRecords) {
  EXPECT_EQ(Found(), "nothing");
  PutDescription("x.bin.json");
  EXPECT_EQ(Found(), "x.bin.json");
  EXPECT_EQ(FindDescription("-", First).Known, std::nullopt);
}

TEST_F(DescriptionBesideTest, OneThatARecordingLeftBehindIsTaken) {
  PutDescription("x.bin.json.part");
  EXPECT_EQ(Found(), "x.bin.json.part");  // the records were renamed, or the process ended between two names
  PutText("y.bin.part", "records");
  PutDescription("y.bin.json.part");
  EXPECT_EQ(Found("y.bin.part"), "y.bin.json.part");
}

TEST_F(DescriptionBesideTest, OneOfRecordsThatAreOnTheirWayIsTheirs) {
  PutDescription("x.bin.json.part");
  PutText("x.bin.part", "records");
  EXPECT_EQ(Found(), "nothing");
  EXPECT_EQ(Found("x.bin.part"), "x.bin.json.part");
}

TEST_F(DescriptionBesideTest, OneOfOtherRecordsIsLeftAsideAndNamed) {
  PutDescription("x.bin.json");
  const std::string other = "\"" + PathOf("x.bin.json") + "\" describes another recording; it is left aside";
  EXPECT_EQ(Found("x.bin", First + 1), other);
  PutDescription("x.bin.json", {1, 99, First});
  EXPECT_EQ(Found(), other);                      // there are more records than it knows
  PutDescription("x.bin.json", {3, 101, First});  // the records were cut off
  EXPECT_EQ(Found(), "x.bin.json");
}

TEST_F(DescriptionBesideTest, TheNextOneIsTakenInPlaceOfABadOne) {
  PutText("x.bin.json", "{");
  PutDescription("x.bin.json.part");
  const auto found = FindDescription(PathOf("x.bin"), First);
  ASSERT_TRUE(found.Known);
  EXPECT_EQ(found.Known->Title, "x.bin.json.part");
  EXPECT_EQ(found.Remarks, std::vector<std::string>{"\"" + PathOf("x.bin.json") + "\" is no JSON; it is left aside"});
}

TEST_F(DescriptionBesideTest, WhatCannotBeReadIsNamedWithTheReason) {
  const auto remark = [&](const char* why) { return "\"" + PathOf("x.bin.json") + "\" " + why + "; it is left aside"; };
  fs::create_directory("x.bin.json");
  EXPECT_EQ(Found(), remark("is no file"));
  fs::remove("x.bin.json");
  PutText("x.bin.json", R"({"schema": "qor-trace-recording", "version": 9})");
  EXPECT_EQ(Found(), remark("is a description of version 9, and this program reads version 1; use a newer one"));
  PutText("x.bin.json", "");
  fs::resize_file("x.bin.json", 17ul << 20);
  EXPECT_EQ(Found(), remark("is too long for a description"));
}

TEST_F(DescriptionBesideTest, TimesOfTheFilesMeanNothing) {
  PutDescription("x.bin.json");
  const auto before = FindDescription(PathOf("x.bin"), First).Known;
  fs::last_write_time("x.bin", fs::file_time_type::clock::now() + std::chrono::hours(1000));
  fs::last_write_time("x.bin.json", fs::file_time_type::clock::now() - std::chrono::hours(1000));
  EXPECT_EQ(FindDescription(PathOf("x.bin"), First).Known, before);
}

}  // namespace
}  // namespace client

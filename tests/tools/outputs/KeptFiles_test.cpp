#include "outputs/KeptFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/TemporaryDirectory.h"

namespace client {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class KeptFilesTest : public testing::Test {
 protected:
  /// A file of so many bytes with a description of 10 beside it.
  void Write(KeptFiles& kept, const std::string& name, size_t size = 100) const {
    test::WriteFile(name, test::Bytes(size));
    test::WriteFile(name + ".json", test::Bytes(10));
    kept.Add({.Path = name}, {name + ".json"});
  }
  KeptFiles Kept(const SeriesPlan& plan) {
    return {plan, [this](const SeriesEvent& event) { Events.emplace_back(event.What, event.File.Path); }};
  }
  static Names Files() {
    Names names;
    for (const auto& file : fs::directory_iterator(".")) names.push_back(file.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }

  using Kind = SeriesEvent::Kind;
  test::TemporaryDirectory Directory;
  std::vector<std::pair<Kind, std::string>> Events;
};

TEST_F(KeptFilesTest, WithoutALimitAllStay) {
  KeptFiles kept = Kept({});
  for (const char* name : {"1", "2", "3"}) Write(kept, name);
  kept.MakeRoom(1ul << 40);
  EXPECT_EQ(kept.Names(), (Names{"1", "2", "3"}));
  EXPECT_EQ(Files().size(), 6u);
}

TEST_F(KeptFilesTest, TheOldestGoWithWhatLiesBesideThem) {
  KeptFiles kept = Kept({.KeepFiles = 2});
  for (const char* name : {"1", "2", "3"}) Write(kept, name);
  kept.MakeRoom(0);
  EXPECT_EQ(Files(), (Names{"2", "2.json", "3", "3.json"}));
  EXPECT_EQ(kept.Names(), (Names{"2", "3"}));
  EXPECT_EQ(kept.Deleted(), 1ul);
  EXPECT_EQ(Events.back(), (std::pair<Kind, std::string>{Kind::Deleted, "1"}));
}

TEST_F(KeptFilesTest, TheSizeOfAllFilesCounts) {
  KeptFiles kept = Kept({.KeepSize = 400});
  for (const char* name : {"1", "2", "3"}) Write(kept, name);
  EXPECT_EQ(kept.Bytes(), 330ul);
  kept.MakeRoom(70);
  EXPECT_EQ(kept.Names().size(), 3u);
  kept.MakeRoom(71);
  EXPECT_EQ(kept.Names(), (Names{"2", "3"}));
  kept.MakeRoom(1000);
  EXPECT_TRUE(kept.Empty());
}

TEST_F(KeptFilesTest, AFileThatSomebodyTookAwayIsNoFailure) {
  KeptFiles kept = Kept({.KeepFiles = 1});
  Write(kept, "1");
  Write(kept, "2");
  fs::remove("1");
  kept.MakeRoom(0);
  EXPECT_EQ(Events.back(), (std::pair<Kind, std::string>{Kind::Gone, "1"}));
  EXPECT_EQ(kept.Deleted(), 0ul);
  EXPECT_EQ(kept.Remark(), "");
  EXPECT_TRUE(fs::exists("2"));
}

TEST_F(KeptFilesTest, WhatSomebodyElsePutInAFilesPlaceStays) {
  KeptFiles kept = Kept({.KeepFiles = 1});
  Write(kept, "1");
  Write(kept, "2");
  test::WriteFile("other", {1, 2, 3});
  fs::rename("other", "1");
  kept.MakeRoom(0);
  EXPECT_EQ(fs::file_size("1"), 3u);
  EXPECT_TRUE(fs::exists("1.json"));
  fs::remove("2.json");
  fs::create_symlink("1", "2.json");
  Write(kept, "3");
  kept.MakeRoom(0);
  EXPECT_FALSE(fs::exists("2"));
  EXPECT_TRUE(fs::is_symlink("2.json"));
}

TEST_F(KeptFilesTest, OneThatCannotBeDeletedIsToldAndLeftAside) {
  KeptFiles kept = Kept({.KeepFiles = 1});
  Write(kept, "1");
  fs::create_directory("folder");
  // A file whose identity is that of a folder, which can't be unlinked.
  kept.Add({.Path = "folder"}, {});
  Write(kept, "3");
  kept.MakeRoom(0);
  EXPECT_EQ(Events.back(), (std::pair<Kind, std::string>{Kind::Undeleted, "folder"}));
  EXPECT_EQ(kept.Names(), Names{"3"});
  EXPECT_EQ(kept.Remark(), "\"folder\" should have been deleted for newer files: Is a directory");
}

}  // namespace
}  // namespace client

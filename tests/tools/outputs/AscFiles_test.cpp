#include "outputs/AscFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>

#include "outputs/AscWriter.h"
#include "outputs/ExportedAsc.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

/// What a log ends with, and what a frame with the one byte 01 has in its line.
template <class Writer>
struct Words;

template <>
struct Words<AscWriter> {
  static constexpr const char* kFrame = " Rx d 1 01\n";
  static constexpr const char* kTrailer = "End TriggerBlock\n";
};

template <>
struct Words<ExportedAsc> {
  static constexpr const char* kFrame = "CANFD 1";
  static constexpr const char* kTrailer = "End Triggerblock\n";
};

/// The files of a log, the same for both of those that compose its text.
template <class Writer>
class AscLogFiles : public testing::Test {
 protected:
  std::string Text(const std::string& name) const { return test::FileText(Folder / name); }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.asc").string();
};

struct WriterNames {
  template <class Writer>
  static std::string GetName(int /*index*/) {
    return std::is_same_v<Writer, AscWriter> ? "AscWriter" : "ExportedAsc";
  }
};

using Writers = testing::Types<AscWriter, ExportedAsc>;
TYPED_TEST_SUITE(AscLogFiles, Writers, WriterNames);

TYPED_TEST(AscLogFiles, HaveTheirNameOnlyWhenComplete) {
  TypeParam output(this->Path, {});
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  output.Pause();
  EXPECT_FALSE(fs::exists(this->Path));
  EXPECT_NE(this->Text("x.asc.part").find(Words<TypeParam>::kFrame), std::string::npos);
  EXPECT_TRUE(output.Finish());
  EXPECT_FALSE(fs::exists(this->Path + ".part"));
  EXPECT_TRUE(this->Text("x.asc").ends_with(Words<TypeParam>::kTrailer));
}

TYPED_TEST(AscLogFiles, HaveWholeLinesOnAFullDiskAndTheErrorSaysHowMany) {
  TypeParam output(this->Path, {});
  {
    const test::FileSizeLimit limit(1000);
    bool taken = true;
    for (int index = 0; index < 100; ++index) taken = Put(output, RecordOf(test::CanItem().Data({1, 2})));
    EXPECT_TRUE(taken);  // in the buffer
    output.Pause();
  }
  EXPECT_NE(output.Error().find("File too large"), std::string::npos) << output.Error();
  EXPECT_FALSE(Put(output, RecordOf(test::CanItem())));
  EXPECT_FALSE(output.Finish());
  const std::string text = this->Text("x.asc.part");
  EXPECT_TRUE(text.ends_with('\n'));
  EXPECT_GT(text.size(), 900u);
  const auto lines = std::count(text.begin(), text.end(), '\n');
  EXPECT_NE(output.Error().find("The " + std::to_string(lines) + " lines before that"), std::string::npos)
      << output.Error();
}

TYPED_TEST(AscLogFiles, AreCompleteOneByOneInASeries) {
  TypeParam output(this->Path, {.Split = 512});
  while (!fs::exists(this->Folder / "x_1.asc.part"))
    ASSERT_TRUE(Put(output, RecordOf(test::CanItem().Data({1, 2, 3, 4, 5, 6, 7, 8}))));
  EXPECT_TRUE(this->Text("x.asc").ends_with(Words<TypeParam>::kTrailer));
  EXPECT_TRUE(output.Finish());
  EXPECT_NE(this->Text("x_1.asc").find(" previous log file: " + this->Path + "\n"), std::string::npos);
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["files"], nlohmann::json({this->Path, (this->Folder / "x_1.asc").string()}));
}

TYPED_TEST(AscLogFiles, EndWhereTheNextOfASeriesCannotBeMade) {
  TypeParam output(this->Path, {.Split = 512});
  fs::create_directory(this->Folder / "x_1.asc.part");
  bool taken = true;
  for (int index = 0; index < 40; ++index) taken = Put(output, RecordOf(test::CanItem().Data({1, 2})));
  EXPECT_FALSE(taken);
  EXPECT_NE(output.Error().find("x_1.asc"), std::string::npos) << output.Error();
  EXPECT_FALSE(output.Finish());
  EXPECT_TRUE(this->Text("x.asc").ends_with(Words<TypeParam>::kTrailer));
}

TYPED_TEST(AscLogFiles, AreRefusedWhereACrashLeftOneOfTheSeriesIncomplete) {
  std::ofstream(this->Folder / "x_1.asc.part") << "precious";
  EXPECT_THROW(TypeParam(this->Path, {.Split = 512}), Failure);
  EXPECT_EQ(this->Text("x_1.asc.part"), "precious");
  EXPECT_FALSE(fs::exists(this->Folder / "x.asc.part"));
}

TYPED_TEST(AscLogFiles, StayClaimedWhileLaterOnesOfTheSeriesAreWritten) {
  TypeParam output(this->Path, {.Split = 512});
  for (int index = 0; index < 40; ++index) Put(output, RecordOf(test::CanItem().Data({1, 2})));
  ASSERT_TRUE(fs::exists(this->Path));
  EXPECT_THROW(TypeParam(this->Path, {}), Failure);
  EXPECT_TRUE(output.Finish());
}

TYPED_TEST(AscLogFiles, AreNamedWhereTheyAreLeftOfALongerSeries) {
  std::ofstream(this->Folder / "x_1.asc") << "older";
  TypeParam output(this->Path, {.Split = 100000});
  Put(output, RecordOf(test::CanItem().Data({1})));
  EXPECT_TRUE(output.Finish());
  EXPECT_NE(output.RemarkText().find("x_1.asc"), std::string::npos) << output.RemarkText();
}

TYPED_TEST(AscLogFiles, AreRemovedWhenUnfinishedAndWithoutEntries) {
  { const TypeParam output(this->Path, {}); }
  EXPECT_TRUE(fs::is_empty(this->Folder));
}

TYPED_TEST(AscLogFiles, KeepTheirLinesUnderTheTemporaryNameWhenUnfinished) {
  { Put(*std::make_unique<TypeParam>(this->Path, AscOptions()), RecordOf(test::CanItem().Data({1}))); }
  EXPECT_FALSE(fs::exists(this->Path));
  EXPECT_NE(this->Text("x.asc.part").find(Words<TypeParam>::kFrame), std::string::npos);
}

TYPED_TEST(AscLogFiles, OfAnEarlierLogAreKeptWhereTheEntriesBreakOff) {
  std::ofstream(this->Path) << "whole";
  {
    TypeParam output(this->Path, {});
    Put(output, RecordOf(test::CanItem().Data({1})));
    output.KeepExisting();
    EXPECT_FALSE(output.Finish());
  }
  EXPECT_EQ(this->Text("x.asc"), "whole");
  EXPECT_TRUE(fs::exists(this->Folder / "x.asc.part"));
}

TYPED_TEST(AscLogFiles, ThatCannotBeMadeAreAFailure) {
  EXPECT_THROW(TypeParam((this->Folder / "missing" / "x.asc").string(), {}), Failure);
}

}  // namespace
}  // namespace client

#include "outputs/ExportedAsc.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "export/AscHeaderClock.h"
#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

/// A second of four buses, with lines of all lengths and number formats that lines leave to the next ones.
std::vector<Bytes> FourBuses() {
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 200; ++index) {
    const unsigned long time = index * 5000000ul;
    const auto byte = static_cast<unsigned char>(index);
    records.push_back(RecordOf(test::CanItem().Channel(1).At(time).Id(index % 7).Data({byte, 2})));
    records.push_back(RecordOf(test::LinItem().Channel(2).At(time + 1).Id(index % 5).Data({byte}, 2)));
    records.push_back(RecordOf(test::FlexRayItem().Channel(30).At(time + 2).Slot(4).Data({byte, 2})));
    records.push_back(RecordOf(test::EthernetItem().Channel(4).At(time + 3).Frame(test::Counting(index))));
  }
  return records;
}

class ExportedAscTest : public testing::Test {
 protected:
  ExportedAscTest() {
    AscHeaderClock = [] { return std::time_t{1794733219}; };
  }
  ~ExportedAscTest() override {
    AscHeaderClock = [] { return std::time(nullptr); };
  }

  std::string Text(const std::string& name) const { return test::FileText(Folder / name); }

  /// The files of a folder by name; they are removed.
  std::map<std::string, std::string> TakeFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(Folder))
      files[entry.path().filename()] = Text(entry.path().filename());
    for (const auto& [name, text] : files) fs::remove(Folder / name);
    return files;
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.asc").string();
};

TEST_F(ExportedAscTest, FileHasItsNameOnlyWhenComplete) {
  ExportedAsc output(Path, {});
  EXPECT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  output.Pause();
  EXPECT_FALSE(fs::exists(Path));
  EXPECT_NE(Text("x.asc.part").find("CANFD 1"), std::string::npos);
  EXPECT_TRUE(output.Finish());
  EXPECT_FALSE(fs::exists(Path + ".part"));
  EXPECT_TRUE(Text("x.asc").ends_with("End Triggerblock\n"));
}

TEST_F(ExportedAscTest, BytesAreThoseOfTheLibrarysOwnExport) {
  const std::vector<Bytes> records = FourBuses();
  for (const AscOptions& options : {AscOptions{}, AscOptions{.Decimal = true}, AscOptions{.Split = 20000}}) {
    const unsigned int flags =
        (options.Decimal ? QOR_TRACE_ASC_DECIMAL : 0) | (options.Split ? QOR_TRACE_ASC_SPLIT : 0);
    {
      Qor_Trace_Export_ASC writer(flags, Path.c_str(), 0, static_cast<unsigned int>(options.Split.value_or(0)));
      for (const Bytes& record : records) writer.WriteEntry(*reinterpret_cast<const Qor_Trace_Entry_t*>(record.data()));
    }
    const auto expected = TakeFiles();
    ExportedAsc output(Path, options);
    for (const Bytes& record : records) {
      EXPECT_TRUE(Put(output, record));
      output.Pause();
    }
    EXPECT_TRUE(output.Finish());
    EXPECT_EQ(TakeFiles(), expected);
    EXPECT_EQ(expected.size() > 3, options.Split.has_value());
  }
}

TEST_F(ExportedAscTest, FilesOfASeriesAreCompleteOneByOne) {
  ExportedAsc output(Path, {.Split = 512});
  while (!fs::exists(Folder / "x_1.asc.part")) ASSERT_TRUE(Put(output, RecordOf(test::CanItem().Data({1}))));
  EXPECT_TRUE(Text("x.asc").ends_with("End Triggerblock\n"));
  EXPECT_TRUE(output.Finish());
  EXPECT_NE(Text("x_1.asc").find(" previous log file: " + Path + "\n"), std::string::npos);
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["files"], nlohmann::json({Path, (Folder / "x_1.asc").string()}));
}

TEST_F(ExportedAscTest, RelativeTimesAreThoseOfTheMessage) {
  ExportedAsc output(Path, {.Relative = true});
  for (const unsigned long time : {5000000000ul, 7000000000ul}) {
    Put(output, RecordOf(test::CanItem().At(time).Id(1).Data({1})));
    Put(output, RecordOf(test::CanItem().At(time + 500000000).Id(2).Data({1})));
  }
  Put(output, RecordOf(test::CanItem().At(7250000000).Id(1).Data({1})));
  EXPECT_TRUE(output.Finish());
  std::vector<std::string> times;
  std::istringstream text(Text("x.asc"));
  for (std::string line; std::getline(text, line);)
    if (line.find("CANFD") != std::string::npos) times.push_back(line.substr(0, 11));
  EXPECT_EQ(times,
            (std::vector<std::string>{"0.000000000", "0.000000000", "2.000000000", "2.000000000", "0.250000000"}));
}

TEST_F(ExportedAscTest, FullDiskLeavesWholeLinesAndSaysSo) {
  ExportedAsc output(Path, {});
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
  const std::string text = Text("x.asc.part");
  EXPECT_TRUE(text.ends_with('\n'));
  EXPECT_GT(text.size(), 900u);
  const auto lines = std::count(text.begin(), text.end(), '\n');
  EXPECT_NE(output.Error().find("The " + std::to_string(lines) + " lines before that"), std::string::npos)
      << output.Error();
}

TEST_F(ExportedAscTest, NextFileOfASeriesThatCannotBeMadeEndsTheOutput) {
  ExportedAsc output(Path, {.Split = 512});
  fs::create_directory(Folder / "x_1.asc.part");
  bool taken = true;
  for (int index = 0; index < 20; ++index) taken = Put(output, RecordOf(test::CanItem().Data({1, 2})));
  EXPECT_FALSE(taken);
  EXPECT_NE(output.Error().find("x_1.asc"), std::string::npos) << output.Error();
  EXPECT_FALSE(output.Finish());
  EXPECT_TRUE(Text("x.asc").ends_with("End Triggerblock\n"));
}

TEST_F(ExportedAscTest, PartFileThatACrashLeftInASeriesIsRefusedAtOnce) {
  std::ofstream(Folder / "x_1.asc.part") << "precious";
  EXPECT_THROW(ExportedAsc(Path, {.Split = 512}), Failure);
  EXPECT_EQ(Text("x_1.asc.part"), "precious");
  EXPECT_FALSE(fs::exists(Folder / "x.asc.part"));
}

TEST_F(ExportedAscTest, SeriesStaysClaimedWhileItsLaterFilesAreWritten) {
  ExportedAsc output(Path, {.Split = 512});
  for (int index = 0; index < 20; ++index) Put(output, RecordOf(test::CanItem().Data({1, 2})));
  ASSERT_TRUE(fs::exists(Path));
  EXPECT_THROW(ExportedAsc(Path, {}), Failure);
  EXPECT_TRUE(output.Finish());
}

TEST_F(ExportedAscTest, OlderFilesThatFollowAShorterSeriesAreNamed) {
  std::ofstream(Folder / "x_1.asc") << "older";
  ExportedAsc output(Path, {.Split = 100000});
  Put(output, RecordOf(test::CanItem().Data({1})));
  EXPECT_TRUE(output.Finish());
  EXPECT_NE(output.RemarkText().find("x_1.asc"), std::string::npos) << output.RemarkText();
}

TEST_F(ExportedAscTest, LogWithoutEntriesThatIsNotFinishedLeavesNothing) {
  { const ExportedAsc output(Path, {}); }
  EXPECT_TRUE(fs::is_empty(Folder));
}

TEST_F(ExportedAscTest, ExistingFileIsKeptWhereTheEntriesBreakOff) {
  std::ofstream(Path) << "whole";
  {
    ExportedAsc output(Path, {});
    Put(output, RecordOf(test::CanItem().Data({1})));
    output.KeepExisting();
    EXPECT_FALSE(output.Finish());
  }
  EXPECT_EQ(Text("x.asc"), "whole");
  EXPECT_TRUE(fs::exists(Folder / "x.asc.part"));
}

TEST_F(ExportedAscTest, UnfinishedFileKeepsItsLinesUnderTheTemporaryName) {
  { Put(*std::make_unique<ExportedAsc>(Path, AscOptions()), RecordOf(test::CanItem().Data({1}))); }
  EXPECT_FALSE(fs::exists(Path));
  EXPECT_NE(Text("x.asc.part").find("CANFD 1"), std::string::npos);
}

TEST_F(ExportedAscTest, FileThatCannotBeMadeIsAFailure) {
  EXPECT_THROW(ExportedAsc((Folder / "missing" / "x.asc").string(), {}), Failure);
}

TEST_F(ExportedAscTest, WhatHasNoLineIsCountedAndNamed) {
  ExportedAsc output(Path, {});
  Bytes odd = RecordOf(test::LinItem().Data({1}, 2));
  Put(output, odd);
  Put(output, RecordOf(test::EthernetItem().Frame({1})));
  EXPECT_EQ(output.ShortfallText(), "");
  odd[28] = 1;  // to be skipped
  Put(output, odd);
  Put(output, RecordOf(test::EthernetItem().Kind(2).Frame({1})));
  Put(output, RecordOf(test::EthernetItem().Kind(0)));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.ShortfallText(),
            ", as the format has no line for them: 2 Ethernet entries that are no frames, 1 malformed entries");
  const std::string text = Text("x.asc");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5 + 2 + 1);
}

}  // namespace
}  // namespace client

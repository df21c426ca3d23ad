#include "outputs/ExportedAsc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "export/AscHeaderClock.h"
#include "support/TemporaryDirectory.h"
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
    records.push_back(RecordOf(test::LinItem().Channel(2).At(time).Id(index % 5).Data({byte}, 2)));
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

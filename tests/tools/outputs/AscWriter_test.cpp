#include "outputs/AscWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/TemporaryDirectory.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

namespace fs = std::filesystem;

/// 15 November 2026, 09:00:19.123456 UTC.
constexpr unsigned long kBegin = 1'794'733'219'123'456'000;

/// One of each of what the buses have, half a millisecond apart, on a clock that counts since 1970.
std::vector<Bytes> FourBuses() {
  unsigned long time = kBegin - 500'000;
  const auto next = [&time] { return time += 500'000; };
  std::vector<Bytes> records;
  records.push_back(RecordOf(test::CanItem().At(next()).Id(0x123).Data(test::Counting(8))));
  records.push_back(
      RecordOf(test::CanItem().At(next()).Id(0x18FE0102).Extended().Fd().Brs().Tx().Data(test::Counting(12))));
  records.push_back(RecordOf(test::LinItem().Channel(2).At(next()).Id(0x10).Data({1, 2}, 0x3C)));
  records.push_back(RecordOf(test::CanItem().Channel(12).At(next()).Id(0x7FF).Tx()));
  records.push_back(RecordOf(test::CanItem().At(next()).Id(0x18FE0102).Extended().Dlc(8)));
  records.push_back(RecordOf(test::FlexRayItem()
                                 .Channel(3)
                                 .At(next() + 501)
                                 .Slot(5)
                                 .Cycle(3)
                                 .HeaderCrc(0x2A5)
                                 .Data({1, 2, 3, 4})));  // rounded up
  records.push_back(RecordOf(test::FlexRayItem().Channel(3).At(next()).Kind(10).EventCode(1)));
  records.push_back(RecordOf(test::CanItem().At(next()).ErrorFrame(1)));
  records.push_back(RecordOf(test::EthernetItem().Channel(4).At(next()).Frame(test::Counting(14))));
  records.push_back(RecordOf(test::CanItem().At(next()).Id(0x123).Overrun().Data({1})));
  records.push_back(RecordOf(test::CanItem().At(kBegin + 1'000'000'000).RisingEdge()));
  return records;
}

/// What is known of a recording whose clock showed `entryTime` at `utc`.
Description StartedAt(unsigned long entryTime, unsigned long utc) {
  Description description;
  description.Anchor = ClockAnchor{entryTime, utc};
  return description;
}

class AscWriterTest : public testing::Test {
 protected:
  AscWriterTest() {
    setenv("TZ", "UTC", 1);
    tzset();
  }
  ~AscWriterTest() override {
    unsetenv("TZ");
    tzset();
  }

  std::string Text(const std::string& name) const { return test::FileText(Folder / name); }
  static std::string Golden(const std::string& name) { return test::FileText(fs::path(QOR_GOLDEN_DIR) / name); }

  void Write(const std::vector<Bytes>& records, const AscOptions& options, const Description& described = {}) const {
    AscWriter output(Path, options);
    output.Describe(described);
    for (const Bytes& record : records) {
      ASSERT_TRUE(Put(output, record));
      output.Pause();
    }
    ASSERT_TRUE(output.Finish());
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.asc").string();
};

TEST_F(AscWriterTest, FourBusesAreTheGoldenFile) {
  Write(FourBuses(), {}, StartedAt(kBegin, kBegin));
  EXPECT_EQ(Text("x.asc"), Golden("client-four-buses.asc"));
  Write(FourBuses(), {.Decimal = true, .Relative = true}, StartedAt(kBegin, kBegin));
  EXPECT_EQ(Text("x.asc"), Golden("client-four-buses-relative-dec.asc"));
}

TEST_F(AscWriterTest, LogWithoutEntriesHasHeaderAndTrailer) {
  Write({}, {});
  EXPECT_EQ(Text("x.asc"),
            "date Thu Jan 01 12:00:00.000 am 1970\n"
            "base hex  timestamps absolute\n"
            "internal events logged\n"
            "// version 8.1.0\n"
            "Begin Triggerblock Thu Jan 01 12:00:00.000 am 1970\n"
            "End TriggerBlock\n");
}

TEST_F(AscWriterTest, DateIsTheStartAndNotTheMomentOfWriting) {
  struct {
    const char* Name;
    Description Described;
    unsigned long FirstTime;
    const char* Date;
    const char* Column;
  } const cases[] = {
      {"clock since 1970", StartedAt(kBegin, kBegin), kBegin, "date Sun Nov 15 09:00:19.123 am 2026\n",
       "\n0.000456 1  "},
      {"clock that began with the recording", StartedAt(0, kBegin - 456'000), 2'000'000'000,
       "date Sun Nov 15 09:00:19.123 am 2026\n", "\n2.000000 1  "},
      {"clock that was running before", StartedAt(1'500'000'000, kBegin - 456'000), 2'000'000'000,
       "date Sun Nov 15 09:00:19.123 am 2026\n", "\n0.500000 1  "},
      {"nothing is known", {}, 2'000'000'000, "date Thu Jan 01 12:00:00.000 am 1970\n", "\n2.000000 1  "},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Name);
    Write({RecordOf(test::CanItem().At(one.FirstTime))}, {}, one.Described);
    EXPECT_TRUE(Text("x.asc").starts_with(one.Date)) << Text("x.asc");
    EXPECT_NE(Text("x.asc").find(one.Column), std::string::npos) << Text("x.asc");
  }
}

TEST_F(AscWriterTest, LinesAfterALinLineKeepTheirPrecision) {
  Write({RecordOf(test::CanItem().At(1'000'000'007)), RecordOf(test::LinItem().At(1'000'000'008)),
         RecordOf(test::CanItem().At(1'000'000'009))},
        {.Decimals = 9});
  const std::string text = Text("x.asc");
  EXPECT_NE(text.find("\n1.000000007 1 "), std::string::npos) << text;
  EXPECT_NE(text.find(" SOF = 1.000000008 "), std::string::npos) << text;
  EXPECT_NE(text.find("\n1.000000009 1 "), std::string::npos) << text;
}

TEST_F(AscWriterTest, NoLineHasACarriageReturn) {
  std::vector<Bytes> records;
  for (unsigned int kind = 0; kind < 14; ++kind) records.push_back(RecordOf(test::FlexRayItem().Kind(kind)));
  Write(records, {});
  EXPECT_EQ(Text("x.asc").find('\r'), std::string::npos);
}

TEST_F(AscWriterTest, FilesOfASeriesNameTheOneBeforeAndHaveTheSameDate) {
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 30; ++index)
    records.push_back(RecordOf(test::CanItem().At(index * 1'000'000ul).Id(index).Data(test::Counting(8))));
  Write(records, {.Split = 600}, StartedAt(0, kBegin - 456'000));
  const std::string first = Text("x.asc");
  const std::string second = Text("x_1.asc");
  const std::string header = first.substr(0, first.find("Begin"));
  const std::string begin = "Begin Triggerblock Sun Nov 15 09:00:19.123 am 2026\n";
  // A file ends after the line that takes it beyond its size; each line has 54 bytes.
  const std::size_t lines = (600 - header.size() - begin.size()) / 54 + 1;
  EXPECT_EQ(first.size(), header.size() + begin.size() + lines * 54 + sizeof("End TriggerBlock"));
  char last[16];
  std::snprintf(last, sizeof last, "0.%06zu", (lines - 1) * 1000);
  EXPECT_TRUE(second.starts_with(header + "// " + last + " previous log file: " + Path + "\n" + begin)) << second;
  EXPECT_TRUE(second.ends_with("\nEnd TriggerBlock\n"));
}

TEST_F(AscWriterTest, SeriesHasAllLinesAndNoFileWithoutAny) {
  for (const unsigned int count : {1u, 7u, 8u, 9u, 100u}) {
    SCOPED_TRACE(count);
    std::vector<Bytes> records;
    for (unsigned int index = 0; index < count; ++index)
      records.push_back(RecordOf(test::CanItem().At(index * 1'000'000ul).Id(index).Data(test::Counting(8))));
    Write(records, {.Split = 512});
    unsigned int lines = 0;
    for (const auto& entry : fs::directory_iterator(Folder)) {
      const std::string text = Text(entry.path().filename());
      unsigned int frames = 0;
      for (std::size_t at = text.find(" Rx d 8 "); at != std::string::npos; at = text.find(" Rx d 8 ", at + 1))
        ++frames;
      EXPECT_GT(frames, 0u) << entry.path();
      lines += frames;
      fs::remove(entry.path());
    }
    EXPECT_EQ(lines, count);
  }
}

TEST_F(AscWriterTest, FirstRelativeTimeOfEachFileCountsFromTheDate) {
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 30; ++index)
    records.push_back(RecordOf(test::CanItem().At(index * 1'000'000ul).Id(1).Data(test::Counting(8))));
  Write(records, {.Relative = true, .Split = 600});
  const std::string second = Text("x_1.asc");
  const std::size_t comment = second.find("// 0.") + 3;
  const double before = std::stod(second.substr(comment));
  const std::size_t line = second.find('\n', second.find("Begin")) + 1;
  EXPECT_NEAR(std::stod(second.substr(line)), before + 0.001, 1e-9);
  EXPECT_EQ(second.substr(second.find('\n', line) + 1, 9), "0.001000 ");
}

/// Readers add up the times of lines, and pass over comments.
TEST_F(AscWriterTest, RelativeTimesCountFromTheLastLineThatIsNoComment) {
  Write({RecordOf(test::CanItem().At(1'000'000)), RecordOf(test::EthernetItem().At(2'000'000).Kind(0)),
         RecordOf(test::EthernetItem().At(3'000'000).Kind(2)), RecordOf(test::CanItem().At(4'000'000).Dlc(16)),
         RecordOf(test::CanItem().At(5'000'000))},
        {.Relative = true});
  const std::string text = Text("x.asc");
  EXPECT_NE(text.find("\n0.004000 1  0 "), std::string::npos) << text;
}

TEST_F(AscWriterTest, EntriesBeforeTheStartAreCounted) {
  AscWriter output(Path, {});
  output.Describe(StartedAt(kBegin, kBegin));
  Put(output, RecordOf(test::CanItem().At(kBegin)));
  Put(output, RecordOf(test::CanItem().At(kBegin - 1'000'000)));
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.ShortfallText(), ", the times of 1 entry before the start, written as 0");
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["before_start"], 1);
}

TEST_F(AscWriterTest, WhatHasNoLineIsCountedAndNamed) {
  AscWriter output(Path, {});
  Put(output, RecordOf(test::EthernetItem().Kind(2).Frame({1})));
  Put(output, RecordOf(test::CanItem().Dlc(16)));
  Put(output, RecordOf(test::EthernetItem().Kind(0)));  // the mark of a loss has a comment
  EXPECT_TRUE(output.Finish());
  EXPECT_EQ(output.ShortfallText(),
            ", as the format has no line for them: 1 Ethernet entries that are no frames, 1 malformed entries");
  nlohmann::json json;
  output.AddJson(json);
  EXPECT_EQ(json["omitted"], nlohmann::json({{"Ethernet entries that are no frames", 1}, {"malformed entries", 1}}));
}

TEST_F(AscWriterTest, LiveLogIsUpToDateWithEveryPause) {
  AscWriter output(Path, {.Live = true});
  for (unsigned int index = 0; index < 10; ++index) {
    Put(output, RecordOf(test::CanItem().At(index)));
    output.Pause();
    const std::string text = Text("x.asc.part");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5 + index + 1);
  }
}

TEST_F(AscWriterTest, MoreThanTheBufferHoldsIsWrittenInOrder) {
  std::vector<Bytes> records;
  for (unsigned int index = 0; index < 40; ++index)
    records.push_back(RecordOf(test::EthernetItem().At(index * 1000ul).Frame(test::Counting(60000, index))));
  Write(records, {});
  std::istringstream text(Text("x.asc"));
  std::string line;
  for (unsigned int skipped = 0; skipped < 5; ++skipped) std::getline(text, line);
  for (unsigned int index = 0; index < 40; ++index) {
    std::getline(text, line);
    char begin[64];
    std::snprintf(begin, sizeof begin, "0.%06u ETH 1 Rx ea60:%02x", index, index);
    EXPECT_TRUE(line.starts_with(begin)) << line.substr(0, 60);
    EXPECT_EQ(line.size(), 23 + 120000u);
  }
}

TEST_F(AscWriterTest, LossIsACommentBeforeTheFirstLineOfItsChannelAfterIt) {
  Description description = StartedAt(kBegin, kBegin);
  description.Channels = {{.Number = 1, .BusType = BusType_Can}};
  description.Losses = {{1, LossCause::CaptureBufferFull, kBegin + 1'000'000, kBegin + 2'000'000, 17},
                        {2, LossCause::InterfaceGone, kBegin + 1'000'000, kBegin + 1'000'000, std::nullopt},
                        {1, LossCause::OverrunMark, kBegin + 4'000'000, kBegin + 5'000'000, std::nullopt}};
  std::vector<Bytes> records;
  for (unsigned long ms = 1; ms <= 3; ++ms) records.push_back(RecordOf(test::CanItem().At(kBegin + ms * 1'000'000)));
  records.push_back(RecordOf(test::CanItem().At(kBegin + 4'000'000).Overrun()));
  records.push_back(RecordOf(test::CanItem().At(kBegin + 5'000'000)));
  Write(records, {}, description);
  const std::string text = Text("x.asc");
  EXPECT_EQ(text.substr(text.find("0.001456")),
            "0.001456 1  0          Rx d 0\n"
            "0.002456 1  0          Rx d 0\n"
            "// LOST on CAN 1: 17 items found the capture buffer full, 0.001456000 s to 0.002456000 s\n"
            "0.003456 1  0          Rx d 0\n"
            "0.004456 1  0          Rx d 0\n"
            "// 0.004456 CAN 1: overrun, data were lost here\n"
            "0.005456 1  0          Rx d 0\n"
            "// LOST on channel 2: an unknown number of items are missing as the interface was gone, 0.001456000 s to "
            "0.001456000 s\n"
            "End TriggerBlock\n");
}

}  // namespace
}  // namespace client

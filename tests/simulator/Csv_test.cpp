#include "Csv.h"

#include <gtest/gtest.h>

#include "TextFile.h"
#include "Thrown.h"

using namespace qor_sim;

namespace {

const std::string kHeader = std::string(kCsvHeader) + "\n";
const std::string kBoth =
    kHeader +
    "400,A,status,,,,,\n300,2,wakeup,,,,,\n200,10,wakeup,,,,,\n300,2,sync_error,,,,,\n250,2,trigger,rising,,,,\n";

/// What the parts of kBoth are called in errors.
const std::string kBothParts = "LIN channel 2, LIN channel 10, FlexRay";

std::vector<Item> Drain(ItemSource& source) {
  std::vector<Item> items;
  for (const Item* item = source.Peek(); item != nullptr; item = source.Peek()) {
    items.push_back(*item);
    source.Advance();
  }
  return items;
}

CsvSettings Settings(const CsvChoice& choice, TimeOrigin origin = TimeOrigin::File) {
  CsvSettings settings;
  settings.Choice = choice;
  settings.Origin = origin;
  return settings;
}

std::string Complaint(const std::string& text, const CsvChoice& choice = {}) {
  return ThrownBy([&] { ParseCsv(text, "F", Settings(choice)); }).Text;
}

}  // namespace

TEST(Csv, ItemsOfAChannelAreSortedByTimeFromTheEarliestOfTheFile) {
  const auto source = ParseCsv(kBoth, "F", Settings({.Bus = CsvBus::Lin, .LinChannel = 2}));
  EXPECT_EQ(source.Bus, CsvBus::Lin);
  const auto items = Drain(*source.Items);
  ASSERT_EQ(items.size(), 3U);
  const uint64_t times[] = {50, 100, 100};
  const int flags[] = {0x10, 0x20, 0x04};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(items[i].Due, times[i]);
    EXPECT_EQ(items[i].Timestamp, times[i]);
    EXPECT_EQ(items[i].Bytes.at(4), times[i]);
    EXPECT_EQ(items[i].Bytes.at(12), flags[i]);
  }
}

TEST(Csv, AbsoluteTimesAreThoseOfTheLines) {
  const auto source = ParseCsv(kBoth, "F", Settings({.Bus = CsvBus::FlexRay}, TimeOrigin::Absolute));
  EXPECT_EQ(source.Bus, CsvBus::FlexRay);
  const auto items = Drain(*source.Items);
  ASSERT_EQ(items.size(), 1U);
  EXPECT_EQ(items[0].Timestamp, 400U);
  EXPECT_EQ(items[0].Due, 200U);
}

TEST(Csv, BusFollowsFromTheChannelsAndOnePartNeedsNoChoice) {
  EXPECT_EQ(ParseCsv(kHeader + "0,3,wakeup,,,,,", "F", {}).Bus, CsvBus::Lin);
  EXPECT_EQ(ParseCsv(kHeader + "0,B,status,,,,,\n1,A,status,,,,,\n2,AB,status,,,,,", "F", {}).Bus, CsvBus::FlexRay);
  EXPECT_EQ(ParseCsv(kBoth, "F", Settings({.LinChannel = 10})).Bus, CsvBus::Lin);
}

TEST(Csv, SeveralPartsNeedAChoiceAmongThem) {
  EXPECT_EQ(Complaint(kBoth), "Cannot replay F without the option bus: it holds " + kBothParts + ".");
  EXPECT_EQ(Complaint(kBoth, {.Bus = CsvBus::Lin}),
            "Cannot replay F without the option channel: it holds " + kBothParts + ".");
  EXPECT_EQ(Complaint(kBoth, {.LinChannel = 3}),
            "Cannot replay what the options choose of F: it holds " + kBothParts + ".");
  EXPECT_EQ(Complaint(kHeader + "0,1,wakeup,,,,,", {.Bus = CsvBus::FlexRay}),
            "Cannot replay what the options choose of F: it holds LIN channel 1.");
}

TEST(Csv, FilesThatCanNotBeReplayedSayWhy) {
  EXPECT_EQ(Complaint(""), "Cannot replay F: it holds no frames.");
  EXPECT_EQ(Complaint(kHeader), "Cannot replay F: it holds no frames.");
  EXPECT_EQ(Complaint("time,channel\n"),
            "Cannot read F, line 1: the first line is not timestamp_ns,channel,kind,flags,id,cycle,crc,data.");
  EXPECT_EQ(Complaint("\n0,1,wakeup,,,,,\n"),
            "Cannot read F, line 2: the first line is not timestamp_ns,channel,kind,flags,id,cycle,crc,data.");
  EXPECT_EQ(Complaint(kHeader + "0,1,wakeup,,,,,\n\n0,1,wakeup\n"),
            "Cannot read F, line 4: the line has 3 columns, not 8.");
}

TEST(Csv, UnreadableLineIsLeftOutWhereLinesMayBeSkipped) {
  CsvSettings settings;
  settings.Bad = BadLines::Skip;
  const std::string text = kHeader + "0,1,wakeup,,,,,\n0,1,wakeup\n5,1,wakeup,,,,,\n";
  const auto source = ParseCsv(text, "F", settings);
  EXPECT_EQ(Drain(*source.Items).size(), 2U);
  const SkippedLines skipped = source.Items->Skipped();
  ASSERT_EQ(skipped.Count(), 1U);
  EXPECT_EQ(skipped.Kept()[0].Number, 3U);
  EXPECT_EQ(skipped.Kept()[0].Reason, "the line has 3 columns, not 8");
  const TextFile file(text);
  EXPECT_EQ(ListCsv(file.Path, {}, BadLines::Skip).Parts, (std::vector<CsvPart>{{CsvBus::Lin, 1}}));
}

TEST(Csv, FileWithoutItsHeaderIsRefusedEvenWhereLinesMayBeSkipped) {
  CsvSettings settings;
  settings.Bad = BadLines::Skip;
  EXPECT_EQ(ThrownBy([&] { ParseCsv("0,1,wakeup,,,,,\n5,1,wakeup,,,,,\n", "F", settings); }).Text,
            "Cannot read F, line 1: the first line is not timestamp_ns,channel,kind,flags,id,cycle,crc,data.");
}

TEST(Csv, FileIsReadAsItsTextIs) {
  const TextFile file("timestamp_ns,channel,kind,flags,id,cycle,crc,data\r\n7,1,wakeup,,,,,\r\n");
  const auto source = MakeCsvSource(file.Path, Settings({}, TimeOrigin::Absolute));
  EXPECT_EQ(Drain(*source.Items).at(0).Timestamp, 7U);
  EXPECT_EQ(ThrownBy([] { MakeCsvSource("/no/such.csv", {}); }).Text,
            "Cannot read /no/such.csv: there is no such file.");
}

TEST(Csv, ListHoldsTheChosenPartsInOrder) {
  const TextFile file(kBoth);
  const auto all = ListCsv(file.Path, {});
  EXPECT_EQ(all.Parts, (std::vector<CsvPart>{{CsvBus::Lin, 2}, {CsvBus::Lin, 10}, {CsvBus::FlexRay, 0}}));
  EXPECT_TRUE(all.HoldsBoth);
  const auto flexRay = ListCsv(file.Path, {.Bus = CsvBus::FlexRay});
  EXPECT_EQ(flexRay.Parts, (std::vector<CsvPart>{{CsvBus::FlexRay, 0}}));
  EXPECT_TRUE(flexRay.HoldsBoth);
  const TextFile lin(kHeader + "0,1,wakeup,,,,,");
  EXPECT_FALSE(ListCsv(lin.Path, {}).HoldsBoth);
}

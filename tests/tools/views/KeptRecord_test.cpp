#include "views/KeptRecord.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/views/Compared.h"

namespace client {
namespace {

/// Are two records the same when they come back from a format? Of one that has no place for either: nothing is compared.
std::string AsKept(const char* format, const Bytes& one, const Bytes& other) {
  ComparisonPlan plan;
  plan.Formats.Add(KeptFormatNamed(format).value());
  const auto compared = Compared({one}, {other}, plan);
  if (compared->LeftOut(Side::A) == 1 && compared->LeftOut(Side::B) == 1) return "left out";
  return compared->AnyDifference() ? "different" : "equal";
}

struct Case {
  std::string What;
  Bytes One;
  Bytes Other;
  // By format.
  const char* Asc;
  const char* Mdf;
  const char* Pcapng;
  const char* Log;
};

/// A record with one byte changed.
Bytes With(Bytes record, size_t place, unsigned char value) {
  record[place] = value;
  return record;
}

TEST(KeptRecord, NamesOfFormatsAreFoundAgain) {
  for (size_t format = 0; format < kKeptFormatCount; ++format)
    EXPECT_EQ(KeptFormatNamed(NameOf(static_cast<KeptFormat>(format))), static_cast<KeptFormat>(format));
  EXPECT_EQ(KeptFormatNamed("bin"), std::nullopt);
}

TEST(KeptRecord, WhatAFormatHasNoPlaceForIsTheSame) {
  using test::CanItem, test::EthernetItem, test::FlexRayItem, test::LinItem;
  const Bytes frame = RecordOf(CanItem().Id(1).Data({1, 2, 3, 4, 5, 6, 7, 8}));
  const auto lin = [](const LinItem& item) { return RecordOf(item); };
  const auto flexray = [](const FlexRayItem& item) { return RecordOf(item); };
  const Case cases[] = {
      {"CAN data", frame, With(frame, 44, 9), "different", "different", "different", "different"},
      {"CAN reserved byte", frame, With(frame, 41, 9), "equal", "equal", "equal", "equal"},
      {"CAN length code", frame, With(frame, 42, 15), "different", "different", "different", "equal"},
      {"CAN error codes 4 and 5", RecordOf(CanItem().ErrorFrame(4)), RecordOf(CanItem().ErrorFrame(5)), "equal",
       "different", "different", "different"},
      {"CAN error codes 0 and 7", RecordOf(CanItem().ErrorFrame(0)), RecordOf(CanItem().ErrorFrame(7)), "different",
       "different", "equal", "equal"},
      {"CAN error identifier", RecordOf(CanItem().ErrorFrame(1).Id(1)), RecordOf(CanItem().ErrorFrame(1).Id(2)),
       "equal", "different", "equal", "equal"},
      {"CAN event identifier", RecordOf(CanItem().RisingEdge().Id(1)), RecordOf(CanItem().RisingEdge().Id(2)), "equal",
       "equal", "left out", "left out"},
      {"CAN event kind", RecordOf(CanItem().RisingEdge()), RecordOf(CanItem().FallingEdge()), "different", "different",
       "left out", "left out"},
      {"LIN parity bits", lin(LinItem().Id(0x11)), lin(LinItem().Id(0x51)), "equal", "equal", "equal", "left out"},
      {"LIN bit time, less than 1 ns", lin(LinItem().Id(1).Data({1}, 2).BitTime(416664)),
       lin(LinItem().Id(1).Data({1}, 2).BitTime(416667)), "equal", "equal", "equal", "left out"},
      {"LIN without data, checksum 0", lin(LinItem().Id(1).Data({}, 0)), lin(LinItem().Id(1).DataLength(0)), "equal",
       "equal", "equal", "left out"},
      {"LIN checksum", lin(LinItem().Id(1).Data({1}, 2)), lin(LinItem().Id(1).Data({1}, 3)), "different", "different",
       "different", "left out"},
      {"LIN sync error identifier", lin(LinItem().SyncError().Id(1)), lin(LinItem().SyncError().Id(2)), "equal",
       "equal", "different", "left out"},
      {"FlexRay null frame data", flexray(FlexRayItem().FrameFlags(QOR_TRACE_FLEXRAY_NULL).Data({1, 2})),
       flexray(FlexRayItem().FrameFlags(QOR_TRACE_FLEXRAY_NULL).Data({3, 4})), "equal", "equal", "equal", "left out"},
      {"FlexRay errors 8 and 10", flexray(FlexRayItem().Kind(8)), flexray(FlexRayItem().Kind(10)), "equal", "different",
       "left out", "left out"},
      {"FlexRay errors 7 and 8", flexray(FlexRayItem().Kind(7)), flexray(FlexRayItem().Kind(8)), "different", "equal",
       "left out", "left out"},
      {"Ethernet record", RecordOf(EthernetItem().Kind(2).Frame({1})), RecordOf(EthernetItem().Kind(2).Frame({2})),
       "left out", "left out", "left out", "left out"},
      {"Ethernet frame", RecordOf(EthernetItem().Frame(Bytes(60, 1))), RecordOf(EthernetItem().Frame(Bytes(60, 2))),
       "different", "different", "different", "left out"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(AsKept("asc", row.One, row.Other), row.Asc) << row.What;
    EXPECT_EQ(AsKept("mf4", row.One, row.Other), row.Mdf) << row.What;
    EXPECT_EQ(AsKept("pcapng", row.One, row.Other), row.Pcapng) << row.What;
    EXPECT_EQ(AsKept("log", row.One, row.Other), row.Log) << row.What;
  }
}

TEST(KeptRecord, WhatOneOfSeveralFormatsLosesIsLost) {
  KeptFormats formats;
  EXPECT_TRUE(formats.Empty());
  EXPECT_EQ(formats.TimeStep(), 0u);
  formats.Add(KeptFormat::Mdf);
  EXPECT_EQ(formats.TimeStep(), 0u);
  formats.Add(KeptFormat::Candump);
  EXPECT_EQ(formats.TimeStep(), 1000u);
  ComparedRecord lin(ViewOf(RecordOf(test::LinItem())), 0, 1);
  EXPECT_FALSE(formats.Keep(lin));
}

}  // namespace
}  // namespace client

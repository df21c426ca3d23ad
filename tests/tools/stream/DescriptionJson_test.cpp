#include "stream/DescriptionJson.h"

#include <gtest/gtest.h>

#include "qor_api_trace.h"
#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned long Noon = 1795262400123456000;  // some day in 2026, ns

Description Whole() {
  Description description;
  description.Id = "00112233-4455-6677-8899-aabbccddeeff";
  description.Title = "cold start \"3\"";
  description.Tool = "qor-trace 2.0.0";
  description.Host = "bench-7";
  description.System = "Linux 6.1.0";
  description.Machine = "x86_64";
  description.Complete = true;
  description.Epoch = ClockEpoch::Own;
  description.Anchor = ClockAnchor{0, Noon, 250000, AnchorOrigin::RecordingStart};
  description.Channels = {{1, BusType_Can, "can?seed=7", "CAN-1", "simulated", 500000, 2000000, "id < 0x100"},
                          {.Number = 3, .BusType = BusType_FlexRay, .Source = "flexray"},
                          {.Number = 4}};
  description.Losses = {{1, LossCause::CaptureBufferFull, 5, 6, 7}, {3, LossCause::OverrunMark, 8, 8, std::nullopt}};
  description.Records = RecordsDescription{100, 4600, 0xFFFFFFFFFFFFFFFF};
  return description;
}

std::string WhyNot(const std::string& text) {
  try {
    DescriptionFromJson(text);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

/// The smallest description, with more fields.
std::string With(const std::string& fields) {
  return R"({"schema": "qor-trace-recording", "version": 1)" + (fields.empty() ? "" : ", " + fields) + "}";
}

TEST(DescriptionJson, WhatIsWrittenIsRead) {
  EXPECT_EQ(DescriptionFromJson(ToJson(Whole())), Whole());
  EXPECT_EQ(DescriptionFromJson(ToJson({})), Description());
}

TEST(DescriptionJson, EveryWordIsReadAsItWasMeant) {
  for (const auto epoch : {ClockEpoch::Unknown, ClockEpoch::Since1970, ClockEpoch::Own}) {
    Description description;
    description.Epoch = epoch;
    EXPECT_EQ(DescriptionFromJson(ToJson(description)), description);
  }
  for (const auto origin :
       {AnchorOrigin::RecordingStart, AnchorOrigin::FirstEntries, AnchorOrigin::Clock, AnchorOrigin::Given}) {
    Description description;
    description.Anchor = ClockAnchor{1, 2, std::nullopt, origin};
    EXPECT_EQ(DescriptionFromJson(ToJson(description)), description);
  }
  for (const auto cause : {LossCause::CaptureBufferFull, LossCause::OverrunMark, LossCause::MemoryLimit,
                           LossCause::DiskFull, LossCause::Reordering, LossCause::InterfaceGone}) {
    Description description;
    description.Losses = {{1, cause, 2, 3, 4}};
    EXPECT_EQ(DescriptionFromJson(ToJson(description)), description);
  }
  for (const unsigned char bus : {BusType_Can, BusType_Lin, BusType_FlexRay, BusType_Ethernet}) {
    Description description;
    description.Channels = {{.Number = 1, .BusType = bus}};
    EXPECT_EQ(DescriptionFromJson(ToJson(description)), description);
  }
}

// The schema as docs/file-formats.md shows it.
TEST(DescriptionJson, TextIsThatOfTheSchema) {
  Description description;
  description.Id = "x";
  description.Complete = true;
  description.Epoch = ClockEpoch::Own;
  description.Anchor = ClockAnchor{0, Noon, 250000, AnchorOrigin::RecordingStart};
  description.Channels = {{.Number = 1, .BusType = BusType_Lin, .Source = "lin", .BitRate = 19200}};
  description.Losses = {{1, LossCause::CaptureBufferFull, 5, 6, std::nullopt}};
  description.Records = RecordsDescription{2, 96, 1};
  EXPECT_EQ(ToJson(description), R"({
  "schema": "qor-trace-recording",
  "version": 1,
  "id": "x",
  "title": "",
  "tool": "",
  "host": "",
  "system": "",
  "machine": "",
  "complete": true,
  "clock": {
    "epoch": "own",
    "start": {
      "entry_time_ns": 0,
      "utc_ns": 1795262400123456000,
      "utc": "2026-11-21T12:00:00.123456Z",
      "uncertainty_ns": 250000,
      "origin": "recording_start"
    }
  },
  "channels": [
    {
      "number": 1,
      "bus": "LIN",
      "source": "lin",
      "name": "",
      "hardware": "",
      "bit_rate": 19200,
      "data_bit_rate": 0,
      "filter": ""
    }
  ],
  "losses": [
    {
      "channel": 1,
      "cause": "capture_buffer_full",
      "first_time_ns": 5,
      "last_time_ns": 6,
      "count": null
    }
  ],
  "records": {
    "count": 2,
    "bytes": 96,
    "first_record_fnv1a": 1
  }
}
)");
}

TEST(DescriptionJson, TextsOfAnyBytesStayOneJsonDocument) {
  Description description;
  description.Channels = {{.Number = 1, .Source = "a\x1b\n\xff\"\\z"}};
  const std::string text = ToJson(description);
  for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~'));
  EXPECT_EQ(DescriptionFromJson(text).Channels[0].Source, "a\x1b\n\xEF\xBF\xBD\"\\z");
}

TEST(DescriptionJson, WhatIsMissingOrNullOrNewIsNotKnown) {
  EXPECT_EQ(DescriptionFromJson(With("")), Description());
  EXPECT_EQ(DescriptionFromJson(With(R"("clock": null, "records": null, "colour": {"deep": [1]})")), Description());
  EXPECT_EQ(DescriptionFromJson(With(R"("clock": {"epoch": null, "start": null}, "channels": [])")), Description());
}

TEST(DescriptionJson, ChannelsComeInTheOrderOfTheirNumbers) {
  const auto channels = DescriptionFromJson(With(R"("channels": [{"number": 9}, {"number": 2}])")).Channels;
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels[0].Number, 2u);
  EXPECT_EQ(channels[1].Number, 9u);
}

TEST(DescriptionJson, OtherThingsAreRefusedWithTheReason) {
  EXPECT_EQ(WhyNot(""), "is no JSON");
  EXPECT_EQ(WhyNot("{"), "is no JSON");
  EXPECT_EQ(WhyNot(ToJson(Whole()).substr(0, 300)), "is no JSON");
  EXPECT_EQ(WhyNot(std::string(100000, '[')), "is no JSON");
  for (const char* text :
       {"[]", "3", "null", "{}", R"({"schema": 5, "version": 1})", R"({"schema": "other", "version": 1})"})
    EXPECT_EQ(WhyNot(text), "is no description of a recording") << text;
  for (const char* version : {"0", "-1", "1.5", "\"1\"", "null"})
    EXPECT_EQ(WhyNot(R"({"schema": "qor-trace-recording", "version": )" + std::string(version) + "}"),
              "is a description without a version")
        << version;
  EXPECT_EQ(WhyNot(R"({"schema": "qor-trace-recording", "version": 2})"),
            "is a description of version 2, and this program reads version 1; use a newer one");
}

struct WrongField {
  const char* Fields;
  const char* Why;
};

TEST(DescriptionJson, WrongFieldsAreNamedWithTheirPlace) {
  constexpr WrongField cases[] = {
      {R"("host": 5)", "host: a text is wanted there"},
      {R"("complete": "yes")", "complete: true or false is wanted there"},
      {R"("clock": [])", "clock: an object is wanted there"},
      {R"("clock": {"epoch": "1980"})", R"(clock.epoch: one of "unknown", "1970", "own" is wanted there)"},
      {R"("clock": {"start": {"entry_time_ns": 1}})", R"(clock.start: "utc_ns" is wanted there)"},
      {R"("clock": {"start": {"entry_time_ns": -1, "utc_ns": 1}})",
       "clock.start.entry_time_ns: a whole number from 0 to 18446744073709551615 is wanted there"},
      {R"("channels": {})", "channels: an array is wanted there"},
      {R"("channels": [{}])", R"(channels[0]: "number" is wanted there)"},
      {R"("channels": [{"number": 1}, {"number": 0}])",
       "channels[1].number: a whole number from 1 to 4294967295 is wanted there"},
      {R"("channels": [{"number": 2}, {"number": 2}])", "channels: channel 2 only once is wanted there"},
      {R"("channels": [{"number": 2, "bus": "can"}])",
       R"(channels[0].bus: one of "CAN", "LIN", "FlexRay", "Ethernet" is wanted there)"},
      {R"("losses": [{"channel": 1, "cause": "capture_buffer_full", "first_time_ns": 5, "last_time_ns": 4}])",
       "losses[0].last_time_ns: a whole number from 5 to 18446744073709551615 is wanted there"},
      {R"("records": {"count": 1, "bytes": 1.5, "first_record_fnv1a": 0})",
       "records.bytes: a whole number from 0 to 18446744073709551615 is wanted there"},
  };
  for (const WrongField& wrong : cases)
    EXPECT_EQ(WhyNot(With(wrong.Fields)), std::string("has something wrong at ") + wrong.Why) << wrong.Fields;
}

}  // namespace
}  // namespace client

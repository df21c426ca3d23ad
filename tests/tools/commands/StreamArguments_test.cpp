// What is typed about the part of a stream that is wanted.
#include "commands/StreamArguments.h"

#include <gtest/gtest.h>

#include "stream/FilterError.h"
#include "system/Failure.h"

namespace client {
namespace {

constexpr unsigned long kSecond = 1'000'000'000;

TEST(StreamArguments, NothingTypedIsEverything) { EXPECT_TRUE(StreamArguments().Plan().IsEverything()); }

TEST(StreamArguments, BecomeAPlan) {
  StreamArguments typed;
  typed.Filter = "fd";
  typed.From = "1.5s";
  typed.To = "1m";
  typed.Count = 3;
  typed.Channels = {"1=2", "2=1", "7=255"};
  const SelectionPlan plan = typed.Plan();
  EXPECT_FALSE(plan.IsEverything());
  EXPECT_TRUE(plan.Wanted.has_value());
  EXPECT_EQ(plan.Times.From, (TimeBound{kSecond * 3 / 2, false}));
  EXPECT_EQ(plan.Times.To, (TimeBound{60 * kSecond, false}));
  EXPECT_EQ(plan.Count, 3ul);
  EXPECT_EQ(plan.Channels.Of(7), 255u);
}

TEST(StreamArguments, AreSaidAsTyped) {
  EXPECT_EQ(StreamArguments().Typed(), "");
  const StreamArguments typed{.Filter = "id == 0x123",
                              .StartOn = "error",
                              .StopOn = "loss",
                              .From = "1.5s",
                              .To = "1m",
                              .Count = 3,
                              .StopAfter = {"5s", "1MB"},
                              .Channels = {"1=2"}};
  EXPECT_EQ(typed.Typed(),
            "--filter id == 0x123 --from 1.5s --to 1m --start-on error --stop-on loss --stop-after 5s --stop-after 1MB "
            "--count 3 --channel 1=2");
}

TEST(StreamArguments, TimesMayBeWhenItWas) {
  StreamArguments typed;
  typed.From = "2026-11-21T14:30:00Z";
  typed.To = "2026-11-21T16:30:01+02:00";
  const TimeBounds times = typed.Plan().Times;
  EXPECT_EQ(times.From, (TimeBound{1'795'271'400 * kSecond, true}));
  EXPECT_EQ(times.To, (TimeBound{1'795'271'401 * kSecond, true}));
  EXPECT_TRUE(times.NeedUtc());
  typed.From = "1s";
  EXPECT_TRUE(typed.Plan().Times.NeedUtc());
  typed.To = "2s";
  EXPECT_FALSE(typed.Plan().Times.NeedUtc());
}

TEST(StreamArguments, CutsByUtcNeedARecordingThatKnowsIt) {
  StreamArguments typed;
  typed.To = "2026-11-21T14:30:00Z";
  Description recording;
  EXPECT_THROW(CheckTimes(typed.Plan(), recording, "x.bin"), Failure);
  recording.Anchor = ClockAnchor{0, kSecond};
  EXPECT_NO_THROW(CheckTimes(typed.Plan(), recording, "x.bin"));
  EXPECT_NO_THROW(CheckTimes(StreamArguments().Plan(), {}, "x.bin"));
}

/// The sentence that refuses the arguments; "" if they are taken.
std::string Refusal(const StreamArguments& typed) {
  try {
    static_cast<void>(typed.Plan());
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

StreamArguments WithTimes(const char* from, const char* to) {
  StreamArguments typed;
  typed.From = from;
  typed.To = to;
  return typed;
}

StreamArguments WithChannels(std::vector<std::string> channels) {
  StreamArguments typed;
  typed.Channels = std::move(channels);
  return typed;
}

TEST(StreamArguments, MistakesAreRefused) {
  StreamArguments typed;
  typed.Filter = "idd == 1";
  EXPECT_THROW(static_cast<void>(typed.Plan()), FilterError);
  typed.Filter = "";
  typed.Count = 0;
  EXPECT_EQ(Refusal(typed), "--count is at least 1");
  EXPECT_EQ(
      Refusal(WithTimes("soon", "")),
      "--from \"soon\" is no time; write 90s or 1h30m, counted from the first entry, or 2026-11-21T14:30:00 in local "
      "time, or with Z after it in UTC");
  EXPECT_TRUE(Refusal(WithTimes("", "-1s")).starts_with("--to \"-1s\" is no time; write 90s"));
  for (const auto& times : {WithTimes("2s", "1s"), WithTimes("1s", "1000ms"), WithTimes("", "0s"),
                            WithTimes("2026-11-21T14:30:00Z", "2026-11-21T14:29:59Z")})
    EXPECT_EQ(Refusal(times), "--from is not before --to, so nothing would be left; give an earlier one");
  for (const char* channel : {"1", "1=", "=1", "1=2=3", "0=1", "1=0", "1=256", "a=1", "1=-1", " 1=2"})
    EXPECT_EQ(Refusal(WithChannels({channel})),
              "--channel \"" + std::string(channel) +
                  "\" isn't understood; write OLD=NEW with numbers from 1 to 255, as in 3=1");
  EXPECT_EQ(Refusal(WithChannels({"1=2", "1=3"})),
            "--channel 1=3: this channel has a new number already, or another one gets it");
  EXPECT_EQ(Refusal(WithChannels({"1=3", "2=3"})),
            "--channel 2=3: this channel has a new number already, or another one gets it");
}

std::string ChannelRefusal(std::vector<std::string> channels, std::size_t count) {
  try {
    CheckChannels(WithChannels(std::move(channels)).Plan().Channels, count);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(StreamArguments, TheChannelsOfARecordingAreKnownBeforeItBegins) {
  EXPECT_EQ(ChannelRefusal({"1=2", "2=1"}, 2), "");
  EXPECT_EQ(ChannelRefusal({"1=3", "2=1"}, 2), "");
  EXPECT_EQ(ChannelRefusal({"1=1"}, 2), "");
  EXPECT_EQ(ChannelRefusal({"3=1"}, 2), "--channel 3=1: there is no channel 3; the sources have 2 channels");
  EXPECT_EQ(ChannelRefusal({"1=2"}, 2),
            "--channel 1=2: channel 2 is another one; give that one another number as well, as in --channel 2=1");
}

TEST(StreamArguments, ARecordingEndsWithWhatIsWantedOfIt) {
  SelectionPlan wanted;
  RecordingOptions options;
  EndWithSelection(options, wanted);
  EXPECT_EQ(options.Duration, std::nullopt);
  wanted.Times.To = TimeBound{5};
  EndWithSelection(options, wanted);
  EXPECT_EQ(options.Duration, 5ul);
  options.Duration = 3;
  EndWithSelection(options, wanted);
  EXPECT_EQ(options.Duration, 3ul);
}

}  // namespace
}  // namespace client

#include "views/ReportPage.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/ClientEntries.h"
#include "views/Intervals.h"
#include "views/ReportCharts.h"
#include "views/ReportOverTime.h"
#include "views/ReportStyle.h"
#include "views/ReportTables.h"
#include "views/TimeBins.h"

namespace client {
namespace {

using test::CanItem;
using test::LinItem;

constexpr size_t kMostBytes = 3'000'000;  // of a page

/// A recording, and its page.
class ReportPageTest : public testing::Test {
 protected:
  ReportPageTest() {
    Facts.Inputs = {"drives/one.bin"};
    Facts.Tool = "qor-trace 1.2.3";
  }

  template <class Item>
  void Take(const Item& item) {
    const Bytes record = RecordOf(item);
    EXPECT_TRUE(Put(Data, record));
    EXPECT_TRUE(Put(Held, record));
  }
  /// A message every 10 ms, from 0 s to 1 s.
  void TakeCycle(unsigned int id = 0x123) {
    for (unsigned long index = 0; index <= 100; ++index) Take(CanItem().Id(id).At(index * 10 * kMillisecond));
  }
  void Lose(const Loss& loss) { Facts.Known.Losses.push_back(loss); }

  [[nodiscard]] std::string Page() {
    Data.Finish();
    Held.SetLosses(Facts.Known.Losses);
    return ReportPage({Data, Held, Facts});
  }

  ReportData Data{[](unsigned int /*channel*/, unsigned char /*busType*/) { return ChannelRates{}; }};
  Summary Held;
  ReportFacts Facts;
};

/// How often a text is in another one.
size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t place = text.find(part); place != std::string::npos; place = text.find(part, place + 1)) ++count;
  return count;
}

#define EXPECT_HAS(page, part) EXPECT_NE((page).find(part), std::string::npos) << (part)
#define EXPECT_HAS_NOT(page, part) EXPECT_EQ((page).find(part), std::string::npos) << (part)

TEST_F(ReportPageTest, NeedsNothingFromElsewhere) {
  TakeCycle();
  const std::string page = Page();
  EXPECT_TRUE(page.starts_with("<!DOCTYPE html>\n<html lang=\"en\">"));
  EXPECT_HAS(page,
             std::string("default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-") + kReportScriptSha256);
  for (const char* part : {"http://", "https://", "//www", " src=", "<link", "@import", "url("})
    EXPECT_HAS_NOT(page, part);
}

TEST_F(ReportPageTest, TextsOfARecordingAreNothingButText) {
  const std::string hostile = "<script>alert('x')</script>\"'><img src=x onerror=y>\x1b]0;z\x07";
  Facts.Inputs = {hostile, hostile};
  Facts.Format = Facts.Selected = Facts.LeftOut = Facts.Error = hostile;
  Facts.Known.Title = Facts.Known.Host = Facts.Known.System = Facts.Known.Machine = Facts.Known.Tool = Facts.Known.Id =
      hostile;
  Facts.Known.Channels = {{.Number = 1, .Source = hostile, .Name = hostile + "1", .Hardware = hostile + "2"}};
  Facts.Found.Add(FindingKind::Unread, hostile, hostile);
  TakeCycle();
  const std::string page = Page();
  EXPECT_EQ(CountOf(page, "<script>"), 1u);
  EXPECT_EQ(CountOf(page, "<img"), 0u);
  EXPECT_EQ(CountOf(page, "\x1b"), 0u);
  EXPECT_GE(
      CountOf(
          page,
          "&lt;script&gt;alert(&#39;x&#39;)&lt;/script&gt;&quot;&#39;&gt;&lt;img src=x onerror=y&gt;\\x1b]0;z\\x07"),
      15u);
}

TEST_F(ReportPageTest, SaysWhatIsKnownOfTheRecording) {
  Facts.Known.Title = "wet road";
  Facts.Known.Host = "bench-7";
  Facts.Known.Tool = "qor-trace 2.0.0";
  Facts.Known.Complete = true;
  Facts.Known.Anchor = ClockAnchor{.EntryTime = 0, .Utc = 1795271400 * kSecond, .Uncertainty = 2 * kMillisecond};
  Facts.Known.Channels = {{.Number = 1, .Source = "can?seed=7", .Name = "CAN-1"}};
  Facts.Times.Moment = TimesOf(Facts.Known);
  Facts.Format = "raw records";
  Facts.Size = 2048;
  TakeCycle();
  const std::string page = Page();
  EXPECT_HAS(page, "<title>wet road</title>");
  EXPECT_HAS(page, "<h1>wet road</h1>");
  EXPECT_HAS(page, "<dt>Host</dt><dd>bench-7</dd>");
  EXPECT_HAS(page, "<dt>Recorded by</dt><dd>qor-trace 2.0.0</dd>");
  EXPECT_HAS(page, "<dt>Start</dt><dd>2026-11-21T14:30:00.000000Z (");
  EXPECT_HAS(page, " local time), within 2 ms</dd>");
  EXPECT_HAS(page, "<dt>Entries</dt><dd>0.000000 s to 1.000000 s</dd>");
  EXPECT_HAS(page, "<dt>Format</dt><dd>raw records</dd>");
  EXPECT_HAS(page, "<dt>Size</dt><dd>2K</dd>");
  EXPECT_HAS(page, "<dt>Complete</dt><dd>yes</dd>");
  EXPECT_HAS(page, "<td class=\"w\">can?seed=7, CAN-1</td>");
  EXPECT_HAS(page, "<li><b>1 s</b><span>length</span></li>");
  EXPECT_HAS(page, "<li><b>101</b><span>entries</span></li>");
  EXPECT_HAS(page, "Nothing is known to be lost.");
}

TEST_F(ReportPageTest, ARecordingWithoutAStartSaysSo) {
  TakeCycle();
  EXPECT_HAS(Page(), "<dt>Start</dt><dd>not known when it was made</dd>");
}

TEST_F(ReportPageTest, AMessageHasItsCycleAndNoOutliers) {
  TakeCycle();
  const std::string page = Page();
  EXPECT_HAS(
      page,
      "<tr><td class=\"n\">1</td><td class=\"id\">123</td><td>CAN</td><td>Rx</td><td class=\"n\">101</td>"
      "<td class=\"n\">10.000</td><td class=\"n\">10.000</td><td class=\"n\">10.000</td><td class=\"n\">0.000</td>");
  EXPECT_HAS(page, "<td data-v=\"0\">none</td>");
  EXPECT_HAS(page, "aria-label=\"100 times, 10 ms to 10 ms; the highest bar is 100\"");
}

TEST_F(ReportPageTest, OutliersAreNamedWithTheirTimes) {
  TakeCycle();
  Take(CanItem().Id(0x123).At(1050 * kMillisecond));
  Take(CanItem().Id(0x123).At(1052 * kMillisecond));
  const std::string page = Page();
  EXPECT_HAS(page,
             "<summary>1 long, 1 short</summary><ul><li>50 ms (5 cycles) from 1.000000 s</li>"
             "<li>2 ms (0.2 cycles) from 1.050000 s</li></ul>");
  EXPECT_HAS(
      page,
      "1 cyclic message with <a href=\"#messages\">outliers</a>; farthest off: CAN 123 on channel 1, with 50 ms in "
      "place of 10 ms from 1.000000 s.");
}

TEST_F(ReportPageTest, AnIntervalOfExactlyTheLimitIsAnOutlier) {
  Intervals cycle;
  for (unsigned long index = 0; index <= 100; ++index) cycle.Add(index * 10 * kMillisecond);
  TakeCycle();
  Take(CanItem().Id(0x123).At(kSecond + cycle.LongLimit()));
  Take(CanItem().Id(0x123).At(kSecond + cycle.LongLimit() + cycle.ShortLimit()));
  const std::string page = Page();
  EXPECT_HAS(page, "<summary>1 long</summary><ul><li>");
  EXPECT_EQ(CountOf(page, " cycles) from "), 1u) << "what is as long as the limit for short ones is none of them";
}

TEST_F(ReportPageTest, OneOutlierIsEnoughToBeNamedFirst) {
  TakeCycle();
  Take(CanItem().Id(0x123).At(1050 * kMillisecond));
  EXPECT_HAS(Page(),
             "1 cyclic message with <a href=\"#messages\">outliers</a>; farthest off: CAN 123 on channel 1, with ");
}

TEST_F(ReportPageTest, MessagesWithoutACycleSaySo) {
  unsigned long time = 0;
  for (unsigned long index = 0; index < 40; ++index)
    Take(CanItem().Id(7).At(time += (index * index % 13 + 1) * kMillisecond));
  Take(CanItem().Id(8).At(0));
  const std::string page = Page();
  EXPECT_HAS(page, "<summary>not cyclic</summary><ul><li>13 ms from ");
  EXPECT_HAS(page, "aria-label=\"39 times, 1 ms to 13 ms; the highest bar is 6\"");
  EXPECT_HAS(page, "<text y=\"42\">999.4 µs</text><text x=\"192\" y=\"42\" text-anchor=\"end\">13.37 ms</text>");
  EXPECT_HAS(page, "<td data-v=\"-2\">–</td>");
}

TEST_F(ReportPageTest, ErrorsLossesAndSilencesAreNamedAtTheirTimes) {
  TakeCycle();
  for (unsigned long index = 500; index <= 600; ++index) Take(CanItem().Id(0x123).At(index * 10 * kMillisecond));
  Take(CanItem().At(6100 * kMillisecond).ErrorFrame(1));
  Take(CanItem().At(6200 * kMillisecond).ErrorFrame(1));
  Lose({.Channel = 1, .Cause = LossCause::CaptureBufferFull, .First = 2 * kSecond, .Last = 3 * kSecond, .Count = 311});
  const std::string page = Page();
  EXPECT_HAS(page, "<li class=\"bad\"><b>2</b><span>errors</span></li>");
  EXPECT_HAS(page,
             "<tr><td class=\"n\">1</td><td>error frames</td><td class=\"n\">2</td><td class=\"t\">6.100000 s</td>"
             "<td class=\"t\">6.200000 s</td></tr>");
  EXPECT_HAS(
      page,
      "<td>311 items found the capture buffer full</td><td class=\"t\">2.000000 s</td><td class=\"t\">3.000000 s</td>"
      "<td class=\"n\">1 s</td>");
  EXPECT_HAS(page, "<td class=\"t\">1.000000 s</td><td class=\"t\">5.000000 s</td><td class=\"n\">4 s</td>");
  EXPECT_HAS(page, "Items are missing at <a href=\"#losses\">1 place</a>; how many: 311.");
  EXPECT_HAS(page, "Channel 1: <a href=\"#errors\">2 error frames</a>.");
  EXPECT_HAS(page, "Channel 1 was <a href=\"#silences\">silent</a> once, longest for 4 s from 1.000000 s.");
  EXPECT_HAS(page, "<title>311 items found the capture buffer full, from 2.000000 s</title>");
  EXPECT_HAS(page, "<title>no entry for 4 s, from 1.000000 s</title>");
}

TEST_F(ReportPageTest, LoadsOfMoreThanABusCanCarryNameTheBitRate) {
  for (unsigned long index = 0; index < 4000; ++index)  // a frame of 106 us each 50 us
    Take(CanItem().Id(1).At(index * 50 * kMicrosecond));
  EXPECT_HAS(Page(), " % can't be, so its bit rate is another one than 500k bit/s (assumed)");
}

TEST_F(ReportPageTest, AnInputThatEndsEarlyIsSaidFirst) {
  TakeCycle();
  Facts.Error = "\"one.bin\" is damaged at byte 17";
  const std::string page = Page();
  EXPECT_HAS(page, "<li class=\"lost\">This report ends early: &quot;one.bin&quot; is damaged at byte 17.</li>");
  EXPECT_HAS(page, "<dt>Complete</dt><dd>no, or not known to be</dd>");
}

TEST_F(ReportPageTest, ASingleMomentHasNoCharts) {
  Take(LinItem().WakeUp().At(5).BitTime(1));
  Take(CanItem().Channel(2).RisingEdge().At(5));
  EXPECT_HAS(Page(), "<section id=\"messages\">");
}

TEST_F(ReportPageTest, TenHoursOfManyChannelsStaySmall) {
  constexpr unsigned long kChannels = 30;
  for (unsigned long step = 0; step < 36000; step += 7) {  // s
    for (unsigned int channel = 1; channel <= kChannels; ++channel) {
      const unsigned long time = step * kSecond + channel * kMillisecond;
      const unsigned int id = static_cast<unsigned int>(step * channel * 2654435761 >> 7) & 0x3F;
      if (id == 5)
        Take(CanItem().Channel(channel).At(time).ErrorFrame(1));
      else
        Take(CanItem().Channel(channel).At(time).Id(id).Fd().Data(Bytes(id)));
    }
  }
  for (unsigned long index = 0; index < 1000; ++index)
    Lose({.Channel = static_cast<unsigned int>(index % kChannels + 1),
          .First = index * 36 * kSecond,
          .Last = (index * 36 + 1) * kSecond});
  const std::string page = Page();
  EXPECT_LT(page.size(), kMostBytes);
  EXPECT_EQ(CountOf(page, "<figure>"), kMostCharts);
  EXPECT_HAS(page, "The 24 channels with most entries have a chart; these don't: ");
  EXPECT_EQ(CountOf(page, "<svg class=\"times\""), kMostMessages);
  EXPECT_HAS(page, "<p class=\"muted\">and 700 more</p>");
}

TEST_F(ReportPageTest, VeryManyChannelsAreCounted) {
  for (unsigned int channel = 1; channel <= ChannelTimes::kMost + 100; ++channel)
    for (unsigned long time = 0; time < 3; ++time) Take(CanItem().Channel(channel).At(time * kSecond));
  const std::string page = Page();
  EXPECT_LT(page.size(), kMostBytes);
  EXPECT_HAS(page, "<p>300 entries are of channels beyond the first 256, which were only counted.</p>");
  EXPECT_HAS(page, "<p class=\"muted\">and 56 more</p>");
}

TEST_F(ReportPageTest, VeryManyMessagesAreNamedUpToABoundAndCounted) {
  for (unsigned long round = 0; round < 20; ++round)
    for (unsigned int id = 0; id < 5000; ++id)
      Take(CanItem().Extended().Id(id * 977).At((round * 5000 + id) * 360 * kMillisecond +
                                                id % 97 * round * kMillisecond));
  const std::string page = Page();
  EXPECT_LT(page.size(), kMostBytes);
  EXPECT_EQ(CountOf(page, "<svg class=\"times\""), kMostMessages);
  EXPECT_HAS(page, "The tables show the 400 messages with most entries.");
  EXPECT_HAS(page, "<summary>3696 messages with 73920 entries aren't in them.</summary>");
  EXPECT_HAS(page, " and 1696 more</p>");
  EXPECT_HAS(page, "18080 entries are of still other messages, which were not told apart.");
}

// ---- Charts ---------------------------------------------------------------------------------------------------------

TEST(ReportCharts, TheTopOfALoadIsTheNextRoundNumber) {
  EXPECT_DOUBLE_EQ(LoadTop(0), 0.01);
  EXPECT_DOUBLE_EQ(LoadTop(0.9), 1);
  EXPECT_DOUBLE_EQ(LoadTop(25.5), 50);
  EXPECT_DOUBLE_EQ(LoadTop(50), 50);
  EXPECT_DOUBLE_EQ(LoadTop(101), 200);
}

TEST(ReportCharts, ALoadIsDrawnFromZeroByItsBins) {
  LoadCurve curve;
  curve.Add(0, 500);      // bins of 1 us: 50 %
  curve.Add(2000, 1000);  // 100 %
  curve.Finish();
  const TimeAxis axis(0, 4000, {});
  EXPECT_DOUBLE_EQ(GreatestLoad(curve, axis), 100);
  const std::string svg = LoadChart(curve, axis, 100, "load");
  EXPECT_HAS(svg, "<path class=\"mean\" d=\"M0 100V50H250V100H500V0H750V100H1000V100Z\"/>");
  EXPECT_HAS_NOT(svg, "class=\"peak\"");
}

TEST(ReportCharts, AMarkIsWideEnoughToBeSeenAndNamesItself) {
  const TimeAxis axis(0, 1000 * kSecond, {});
  const std::string svg = StretchStrip({{kSecond, kSecond, "lost & gone"}}, axis, "lost", "losses");
  EXPECT_HAS(svg,
             "<rect class=\"lost\" x=\"1\" width=\"2.5\" y=\"1\" height=\"9\"><title>lost &amp; gone</title></rect>");
}

TEST(ReportCharts, CountsAreHigherWhereThereAreMore) {
  TimeBins<unsigned long> counts;
  counts.At(0) += 1;
  counts.At(500 * kMicrosecond) += 4;
  const std::string svg = CountStrip(counts, TimeAxis(0, kMillisecond, {}), "bad", "errors");
  EXPECT_HAS(svg, "<path class=\"bad\" d=\"M0 10V5H2.5V10ZM500 10V0H502.5V10Z\"/>");
}

}  // namespace
}  // namespace client

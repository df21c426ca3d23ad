#include "views/BusLoad.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

template <class... Item>
BusLoad LoadOf(const BitRates& rates, const Item&... items) {
  BusLoad load;
  const auto add = [&](const Bytes& record) { load.Add(ViewOf(record), BitTimes(rates)); };
  (add(RecordOf(items)), ...);
  return load;
}

/// Busy time of a single frame in ns, taken from its share of 1 s.
template <class Item>
double BusyTime(const Item& item, const BitRates& rates = {}, std::size_t lane = 0) {
  const double share = *LoadOf(rates, item).Percent(lane, 1000000000) / 100;
  return share * 1e9 / (1 - share);  // the frame's own time is observed as well
}

TEST(BusLoad, FramesTakeTheTimeOfTheirBits) {
  EXPECT_NEAR(BusyTime(test::CanItem()), 53 * 2000, 1e-3);  // 53 bits of 2 us
  EXPECT_NEAR(BusyTime(test::CanItem(), {.CanNominal = 1000000}), 53 * 1000, 1e-3);
  const auto fd = test::CanItem().Id(0x555).Fd().Brs().Data({0x55});
  EXPECT_NEAR(BusyTime(fd), 29 * 2000 + 41 * 500, 1e-3);
  EXPECT_NEAR(BusyTime(fd, {.CanNominal = 500000, .CanData = 5000000}), 29 * 2000 + 41 * 200, 1e-3);
  EXPECT_NEAR(BusyTime(test::LinItem().Data({1, 2}, 3).BitTime(400000)), 64 * 50000, 1e-3);
  EXPECT_NEAR(BusyTime(test::LinItem().Data({1, 2}, 3).BitTime(0)), 64 * 1e9 / 19200, 1e-3);
  EXPECT_NEAR(BusyTime(test::LinItem().DataLength(0).BitTime(400000)), 34 * 50000, 1e-3);
  EXPECT_NEAR(BusyTime(test::LinItem().WakeUp().BitTime(400000)), 5 * 50000, 1e-3);
  EXPECT_NEAR(BusyTime(test::FlexRayItem().Data(Bytes(16))), (12 + 10 * 24) * 100, 1e-3);
  EXPECT_NEAR(BusyTime(test::EthernetItem().Frame(Bytes(1000))), (24 + 1000) * 80, 1e-3);
  EXPECT_NEAR(BusyTime(test::EthernetItem().Frame(Bytes(42))), 84 * 80, 1e-3);
  EXPECT_NEAR(BusyTime(test::EthernetItem().Frame(Bytes(42)), {.Ethernet = 1000000000}), 84 * 8, 1e-3);
}

TEST(BusLoad, FlexRayChannelsAndEthernetDirectionsAreBusyByThemselves) {
  EXPECT_EQ(*LoadOf({}, test::FlexRayItem().Code(0)).Percent(1, 1000), 0);
  EXPECT_EQ(*LoadOf({}, test::FlexRayItem().Code(1)).Percent(0, 1000), 0);
  EXPECT_GT(*LoadOf({}, test::FlexRayItem().Code(2)).Percent(0, 1000), 0);
  EXPECT_GT(*LoadOf({}, test::FlexRayItem().Code(2)).Percent(1, 1000), 0);
  EXPECT_EQ(*LoadOf({}, test::EthernetItem().Tx()).Percent(0, 1000), 0);
  EXPECT_GT(*LoadOf({}, test::EthernetItem().Tx()).Percent(1, 1000), 0);
}

TEST(BusLoad, FramesBackToBackAreHundredPercent) {
  const auto frame = test::LinItem().Data({1, 2}, 3).BitTime(400000);  // 3.2 ms
  EXPECT_NEAR(*LoadOf({}, frame, frame, frame).Percent(0, 2 * 3200000), 100, 1e-9);
  EXPECT_NEAR(*LoadOf({}, frame, frame, frame).Percent(0, 5 * 3200000), 50, 1e-9);
}

TEST(BusLoad, EventsTakeNoTimeAndASingleMomentHasNoLoad) {
  const auto nothing = LoadOf({}, test::CanItem().RisingEdge(), test::LinItem().Event(), test::FlexRayItem().Kind(3),
                              test::EthernetItem().Kind(2));
  EXPECT_EQ(*nothing.Percent(0, 1000), 0);
  EXPECT_FALSE(LoadOf({}, test::CanItem()).Percent(0, 0));
}

TEST(BusLoad, BitRatesAreReadAndWrittenWithTheirUnits) {
  const std::pair<const char*, unsigned long> rates[] = {{"500k", 500000},   {"2M", 2000000},  {"1G", 1000000000},
                                                         {"83.333k", 83333}, {"33333", 33333}, {"19.2k", 19200}};
  for (const auto& [text, rate] : rates) EXPECT_EQ(ParseBitRate(text), rate) << text;
  for (const char* text : {"", "k", "0", "-5k", "5K", "5 k", "5kbit", "1e3", "nan", "inf", "0.0001", "99999999999G"})
    EXPECT_FALSE(ParseBitRate(text)) << text;
  EXPECT_EQ(FormatBitRate(500000), "500k");
  EXPECT_EQ(FormatBitRate(83333), "83.333k");
  EXPECT_EQ(FormatBitRate(2000000), "2M");
  EXPECT_EQ(FormatBitRate(1000000000), "1G");
  EXPECT_EQ(FormatBitRate(125), "125");
}

}  // namespace
}  // namespace client

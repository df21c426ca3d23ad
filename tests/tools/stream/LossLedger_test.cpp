// Losses at their places, and what becomes of many.
#include "stream/LossLedger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace client {
namespace {

constexpr auto kBuffer = LossCause::CaptureBufferFull;
constexpr auto kMark = LossCause::OverrunMark;
constexpr auto kLate = LossCause::Reordering;

using Losses = std::vector<Loss>;

Losses After(const Losses& added) { return LossLedger(added).All(); }

unsigned long CountOf(const Losses& losses, unsigned int channel) {
  return std::accumulate(losses.begin(), losses.end(), 0ul, [&](unsigned long sum, const Loss& loss) {
    return sum + (loss.Channel == channel ? loss.Count.value_or(0) : 0);
  });
}

TEST(LossLedger, EachLossHasItsPlaceInTheOrderOfTheirTimes) {
  EXPECT_EQ(
      After({{2, kBuffer, 30, 40, 3}, {1, kBuffer, 50, 60, 5}, {1, kBuffer, 10, 20, 1}, {1, kMark, 15, 16, {}}}),
      (Losses{{1, kBuffer, 10, 20, 1}, {1, kMark, 15, 16, {}}, {2, kBuffer, 30, 40, 3}, {1, kBuffer, 50, 60, 5}}));
}

TEST(LossLedger, LossesThatTouchAreOne) {
  EXPECT_EQ(After({{1, kBuffer, 10, 20, 1}, {1, kBuffer, 20, 30, 2}}), (Losses{{1, kBuffer, 10, 30, 3}}));
  EXPECT_EQ(After({{1, kBuffer, 20, 30, 2}, {1, kBuffer, 10, 20, 1}}), (Losses{{1, kBuffer, 10, 30, 3}}));
  EXPECT_EQ(After({{1, kBuffer, 10, 20, 1}, {1, kBuffer, 12, 13, 2}}), (Losses{{1, kBuffer, 10, 20, 3}}));
  EXPECT_EQ(After({{1, kBuffer, 10, 20, 1}, {1, kBuffer, 30, 40, 2}, {1, kBuffer, 15, 30, 4}}),
            (Losses{{1, kBuffer, 10, 40, 7}}));
  EXPECT_EQ(LossLedger({{1, kBuffer, 10, 20, 1}, {1, kBuffer, 21, 30, 2}}).Size(), 2u);
}

TEST(LossLedger, NumberIsKnownIfItIsOfEveryPart) {
  EXPECT_EQ(After({{1, kBuffer, 10, 20, 1}, {1, kBuffer, 20, 30, std::nullopt}}),
            (Losses{{1, kBuffer, 10, 30, std::nullopt}}));
}

TEST(LossLedger, EntriesThatCameTooLateTogetherAreOneLoss) {
  const unsigned long burst = LossLedger::kOneBurst;
  EXPECT_EQ(After({{1, kLate, 5, 5, 1}, {1, kLate, 3, 3, 1}, {1, kLate, 5 + burst, 5 + burst, 1}}),
            (Losses{{1, kLate, 3, 5 + burst, 3}}));
  EXPECT_EQ(LossLedger({{1, kLate, 5, 5, 1}, {1, kLate, 6 + burst, 6 + burst, 1}}).Size(), 2u);
}

TEST(LossLedger, MarkThatIsKnownAlreadyIsNoNews) {
  LossLedger ledger({{1, kMark, 10, 20, 4}});
  const unsigned long before = ledger.Changes();
  ledger.Add({1, kMark, 10, 10, std::nullopt});
  ledger.Add({1, kMark, 10, 20, std::nullopt});
  EXPECT_EQ(ledger.Changes(), before);
  EXPECT_EQ(ledger.All(), (Losses{{1, kMark, 10, 20, 4}}));
  ledger.Add({2, kMark, 10, 20, std::nullopt});
  EXPECT_NE(ledger.Changes(), before);
}

TEST(LossLedger, GetsCoarserWhereItHasTheMostToTellAndLosesNothing) {
  LossLedger ledger;
  const size_t many = LossLedger::kMost + 100;
  for (unsigned long number = 0; number < many; ++number) {
    const unsigned long time = number * 1000 + (number % 2) * 900;  // pairs, 100 from each other
    ledger.Add({1, kBuffer, time, time, 2});
  }
  ledger.Add({2, kBuffer, 7, 7, 1});
  const Losses all = ledger.All();
  EXPECT_EQ(all.size(), LossLedger::kMost);
  EXPECT_EQ(CountOf(all, 1), 2 * many);
  EXPECT_EQ(CountOf(all, 2), 1u);
  for (const Loss& loss : all) EXPECT_LE(loss.Last - loss.First, 100u) << "only neighbours that are near became one";
}

TEST(LossLedger, ChannelsAndCausesStayApartHoweverMany) {
  LossLedger ledger;
  const auto channels = static_cast<unsigned int>(LossLedger::kMost) + 5;
  for (unsigned int channel = 1; channel <= channels; ++channel) {
    ledger.Add({channel, kBuffer, 1, 1, 1});
    ledger.Add({channel, kBuffer, 3, 3, 1});
  }
  ASSERT_EQ(ledger.Size(), channels);
  for (const Loss& loss : ledger.All()) EXPECT_EQ(loss.Count, 2u);
}

TEST(LossLedger, AnyOrderGivesTheSame) {
  Losses losses;
  for (unsigned long number = 0; number < 300; ++number)
    losses.push_back({1 + static_cast<unsigned int>(number % 3), number % 2 == 0 ? kBuffer : kLate, number * number,
                      number * number + number % 50, number});
  const Losses expected = After(losses);
  std::mt19937 random(3);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(losses.begin(), losses.end(), random);
    EXPECT_EQ(After(losses), expected);
  }
}

}  // namespace
}  // namespace client

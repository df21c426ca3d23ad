#include "outputs/SeriesLosses.h"

#include <gtest/gtest.h>

namespace client {
namespace {

using Losses = std::vector<Loss>;

Loss Lost(unsigned long first, unsigned long last, std::optional<unsigned long> count = 1, unsigned int channel = 1) {
  return {channel, LossCause::CaptureBufferFull, first, last, count};
}

TEST(SeriesLosses, TheFirstFileHasAllOfItsTime) {
  SeriesLosses losses;
  losses.BeginFile(100);
  const Losses known = {Lost(110, 120), Lost(190, 200), Lost(210, 220)};
  EXPECT_EQ(losses.Of(known), known);
  EXPECT_EQ(losses.Of(known, 200), (Losses{known[0], known[1]})) << "the third one begins in the next file";
}

TEST(SeriesLosses, TheNextFileHasThoseThatTheOneBeforeHasNot) {
  SeriesLosses losses;
  losses.BeginFile(100);
  const Losses known = {Lost(110, 120), Lost(210, 220)};
  losses.EndFile(known, 200);
  losses.BeginFile(200);
  EXPECT_EQ(losses.Of(known), Losses{known[1]});
}

TEST(SeriesLosses, OneAcrossTheSeamStandsInBothFiles) {
  SeriesLosses losses;
  losses.BeginFile(100);
  const Losses known = {Lost(190, 210, 7)};
  EXPECT_EQ(losses.Of(known, 200), known);
  losses.EndFile(known, 200);
  losses.BeginFile(200);
  EXPECT_EQ(losses.Of(known), known);
  losses.EndFile(known, 300);
  losses.BeginFile(300);
  EXPECT_EQ(losses.Of(known), Losses());
}

TEST(SeriesLosses, OfOneThatHasGrownTheNextFileHasWhatWasAdded) {
  SeriesLosses losses;
  losses.BeginFile(100);
  losses.EndFile({Lost(150, 190, 7), Lost(150, 190, 3, 2)}, 200);
  losses.BeginFile(200);
  EXPECT_EQ(losses.Of({Lost(150, 250, 10), Lost(150, 190, 3, 2)}), Losses{Lost(190, 250, 3)});
}

TEST(SeriesLosses, OneThatIsLearnedLateStandsInTheOpenFile) {
  SeriesLosses losses;
  losses.BeginFile(100);
  losses.EndFile({}, 200);
  losses.BeginFile(200);
  EXPECT_EQ(losses.Of({Lost(150, 160)}), Losses{Lost(150, 160)});
}

TEST(SeriesLosses, HowManyWereLostMayNotBeKnown) {
  SeriesLosses losses;
  losses.BeginFile(100);
  losses.EndFile({Lost(150, 190, std::nullopt)}, 200);
  losses.BeginFile(200);
  EXPECT_EQ(losses.Of({Lost(150, 190, std::nullopt)}), Losses());
  EXPECT_EQ(losses.Of({Lost(150, 250, std::nullopt)}), Losses{Lost(190, 250, std::nullopt)});
}

}  // namespace
}  // namespace client

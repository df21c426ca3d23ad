// Each loss is told once, in front of what comes after it.
#include "outputs/UntoldLosses.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

using Losses = std::vector<Loss>;

Loss BufferLoss(unsigned int channel, unsigned long first, unsigned long last, unsigned long count) {
  return {channel, LossCause::CaptureBufferFull, first, last, count};
}
Loss MarkedLoss(unsigned int channel, unsigned long first, unsigned long last) {
  return {channel, LossCause::OverrunMark, first, last, std::nullopt};
}

class UntoldLossesTest : public testing::Test {
 protected:
  Losses Before(unsigned int channel, unsigned long time) {
    const Bytes record = RecordOf(test::CanItem().Channel(channel).At(time));
    return Untold.Before(ViewOf(record));
  }
  UntoldLosses Untold;
};

TEST_F(UntoldLossesTest, LossIsToldOnceBeforeTheFirstRecordOfItsChannelAfterIt) {
  Untold.Describe({BufferLoss(1, 10, 20, 3), BufferLoss(2, 15, 15, 1)});
  EXPECT_EQ(Before(1, 20), Losses());
  EXPECT_EQ(Before(2, 15), Losses());
  EXPECT_EQ(Before(2, 21), Losses{BufferLoss(2, 15, 15, 1)});
  EXPECT_EQ(Before(1, 21), Losses{BufferLoss(1, 10, 20, 3)});
  EXPECT_EQ(Before(1, 22), Losses());
  EXPECT_EQ(Untold.Rest(), Losses());
}

TEST_F(UntoldLossesTest, MoreThanSomebodyCanTakeComeWithTheNextRecords) {
  Untold.Describe({BufferLoss(1, 10, 10, 3), BufferLoss(1, 12, 12, 4), BufferLoss(1, 14, 14, 5)});
  const Bytes record = RecordOf(test::CanItem().At(20));
  EXPECT_EQ(Untold.Before(ViewOf(record), 2), (Losses{BufferLoss(1, 10, 10, 3), BufferLoss(1, 12, 12, 4)}));
  EXPECT_EQ(Untold.Before(ViewOf(record), 2), Losses{BufferLoss(1, 14, 14, 5)});
}

TEST_F(UntoldLossesTest, WhatNoRecordComesAfterIsTheRest) {
  Untold.Describe({BufferLoss(2, 30, 40, 3), BufferLoss(1, 10, 20, 3)});
  EXPECT_EQ(Untold.Rest(), (Losses{BufferLoss(1, 10, 20, 3), BufferLoss(2, 30, 40, 3)}));
  EXPECT_EQ(Untold.Rest(), Losses());
}

TEST_F(UntoldLossesTest, OfALossThatHasGrownThePartThatIsNewIsTold) {
  Untold.Describe({BufferLoss(1, 10, 20, 3)});
  EXPECT_EQ(Before(1, 21), Losses{BufferLoss(1, 10, 20, 3)});
  Untold.Describe({BufferLoss(1, 10, 40, 8)});
  EXPECT_EQ(Before(1, 30), Losses());
  EXPECT_EQ(Before(1, 41), Losses{BufferLoss(1, 20, 40, 5)});
  Untold.Describe({BufferLoss(1, 10, 40, 8)});
  EXPECT_EQ(Untold.Rest(), Losses());
}

TEST_F(UntoldLossesTest, LossesThatBecameOneAreNotToldAgain) {
  Untold.Describe({BufferLoss(1, 10, 20, 3), BufferLoss(1, 30, 40, 4)});
  EXPECT_EQ(Before(1, 50).size(), 2u);
  Untold.Describe({BufferLoss(1, 10, 40, 7), BufferLoss(1, 60, 70, 1)});
  EXPECT_EQ(Before(1, 80), Losses{BufferLoss(1, 60, 70, 1)});
}

TEST_F(UntoldLossesTest, LossesOfAnUnknownNumberAreToldOnceAsWell) {
  const Losses losses = {{1, LossCause::InterfaceGone, 10, 20, std::nullopt}};
  Untold.Describe(losses);
  EXPECT_EQ(Before(1, 21), losses);
  Untold.Describe(losses);
  EXPECT_EQ(Before(1, 22), Losses());
}

TEST_F(UntoldLossesTest, LossAfterAnOverrunMarkEndsWithTheRecordItIsToldBefore) {
  Untold.Describe({MarkedLoss(1, 10, 20), MarkedLoss(2, 30, 30)});
  EXPECT_EQ(Before(1, 10), Losses());
  EXPECT_EQ(Before(1, 20), Losses{MarkedLoss(1, 10, 20)});
  EXPECT_EQ(Before(2, 30), Losses()) << "this is the marked one";
}

TEST_F(UntoldLossesTest, LossWhoseMarkIsShownIsNotTold) {
  const Bytes mark = RecordOf(test::CanItem().Channel(1).At(10).Overrun());
  Untold.Shown(ViewOf(mark));
  Untold.Describe({MarkedLoss(1, 10, 20), MarkedLoss(1, 30, 40), BufferLoss(1, 5, 15, 2)});
  EXPECT_EQ(Before(1, 20), Losses{BufferLoss(1, 5, 15, 2)});
  EXPECT_EQ(Before(1, 50), Losses{MarkedLoss(1, 30, 40)});
}

}  // namespace
}  // namespace client

// The marks of a stream, and where something is missing after them.
#include "stream/OverrunMarks.h"

#include <gtest/gtest.h>

#include "tools/ClientEntries.h"

namespace client {
namespace {

using Losses = std::vector<Loss>;

Loss MarkedLoss(unsigned int channel, unsigned long first, unsigned long last) {
  return {channel, LossCause::OverrunMark, first, last, std::nullopt};
}

Bytes Plain(unsigned int channel, unsigned long time) { return RecordOf(test::CanItem().Channel(channel).At(time)); }
Bytes Marked(unsigned int channel, unsigned long time) {
  return RecordOf(test::CanItem().Channel(channel).At(time).Overrun());
}

class OverrunMarksTest : public ::testing::Test {
 protected:
  Collector Sink;
  LossLedger Ledger;
  std::vector<size_t> Told;  // records that had been handed on then
  OverrunMarks Marks{Sink, Ledger, [this] { Told.push_back(Sink.Records.size()); }};
};

TEST_F(OverrunMarksTest, LossLiesBetweenTheMarkAndTheNextRecordOfItsChannel) {
  for (const Bytes& record : {Plain(1, 10), Marked(1, 20), Plain(2, 25), Plain(1, 30), Plain(1, 40)})
    EXPECT_TRUE(Put(Marks, record));
  EXPECT_EQ(Ledger.All(), Losses{MarkedLoss(1, 20, 30)});
  EXPECT_EQ(Sink.Records.size(), 5u);
  EXPECT_EQ(Told, std::vector<size_t>{3}) << "before the record that follows it";
}

TEST_F(OverrunMarksTest, MarkAtTheVeryEndIsALossAsWell) {
  Put(Marks, Marked(1, 20));
  EXPECT_EQ(Ledger.All(), Losses{MarkedLoss(1, 20, 20)});
}

TEST_F(OverrunMarksTest, MarkAfterMarkIsOneLoss) {
  for (const Bytes& record : {Marked(1, 20), Marked(1, 30), Marked(1, 40), Plain(1, 50)}) Put(Marks, record);
  EXPECT_EQ(Ledger.All(), Losses{MarkedLoss(1, 20, 50)});
}

TEST_F(OverrunMarksTest, MarkOfEveryBusCounts) {
  Put(Marks, RecordOf(test::LinItem().Channel(1).At(1).Flags(QOR_TRACE_LIN_OVERRUN)));
  Put(Marks, RecordOf(test::FlexRayItem().Channel(2).At(2).Kind(0)));
  Put(Marks, RecordOf(test::EthernetItem().Channel(3).At(3).Kind(0)));
  EXPECT_EQ(Ledger.All(), (Losses{MarkedLoss(1, 1, 1), MarkedLoss(2, 2, 2), MarkedLoss(3, 3, 3)}));
}

TEST_F(OverrunMarksTest, LossThatIsKnownAlreadyIsNoNews) {
  Ledger.Add(MarkedLoss(1, 20, 30));
  Put(Marks, Marked(1, 20));
  Put(Marks, Plain(1, 30));
  EXPECT_TRUE(Told.empty());
}

TEST_F(OverrunMarksTest, RecordThatIsOlderThanTheMarkBeforeItEndsTheLossAtTheMark) {
  Put(Marks, Marked(1, 20));
  Put(Marks, Plain(1, 15));
  EXPECT_EQ(Ledger.All(), Losses{MarkedLoss(1, 20, 20)});
}

}  // namespace
}  // namespace client

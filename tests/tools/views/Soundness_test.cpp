#include "views/Soundness.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "inputs/MadeRecord.h"
#include "stream/LinChecksum.h"
#include "tools/ClientEntries.h"

namespace client {
namespace {

/// "entry 2: a ..., 3 times" of all findings.
std::vector<std::string> Found(const Soundness& judge) {
  std::vector<std::string> texts;
  for (const Finding& finding : judge.Found().All())
    texts.push_back(finding.Where + ": " + finding.What + ", " + std::to_string(finding.Count));
  return texts;
}

std::vector<std::string> FoundIn(const std::vector<Bytes>& records) {
  Soundness judge;
  for (const Bytes& record : records) EXPECT_TRUE(Put(judge, record));
  return Found(judge);
}

Bytes BytesOf(const RecordView* record) { return {record->Bytes().begin(), record->Bytes().end()}; }

Bytes Can(const CanParts& parts, unsigned long time = 0) {
  MadeRecord made;
  return BytesOf(made.Can({1, time}, parts));
}

using Texts = std::vector<std::string>;

TEST(Soundness, OfSoundRecordsIsNotDoubted) {
  MadeRecord made;
  std::vector<Bytes> records;
  const Bytes data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const std::span<const unsigned char> eight(data.data(), 8);
  records.push_back(Can({.Identifier = 1, .Dlc = 8, .Data = eight}, 5));
  records.push_back(Can({.Identifier = 1, .Dlc = 15, .Data = eight}, 5));
  records.push_back(Can({.Identifier = 1, .Dlc = 4}, 6));  // remote
  records.push_back(Can({.Identifier = 1, .Flags = QOR_TRACE_CAN_FD, .Dlc = 9, .Data = data}, 7));
  records.push_back(Can({.Flags = QOR_TRACE_CAN_ERROR, .Data = eight.first(1)}, 8));
  unsigned int sum = 0;
  for (const unsigned char byte : eight.first(2)) sum += byte;
  records.push_back(BytesOf(
      made.Lin({2, 9}, {.Identifier = 2, .Data = eight.first(2), .Checksum = static_cast<unsigned char>(~sum)})));
  records.push_back(BytesOf(made.Lin({2, 9}, {.Identifier = 2})));
  records.push_back(BytesOf(made.FlexRay({3, 10}, {.SlotId = 1, .PayloadWords = 4, .Data = eight})));
  records.push_back(BytesOf(made.Ethernet({4, 11}, {.Frame = data})));
  EXPECT_EQ(FoundIn(records), Texts());
}

TEST(Soundness, EntriesThatGoBackInTimeAreCounted) {
  EXPECT_EQ(FoundIn({Can({}, 5), Can({}, 4), Can({}, 4), Can({}, 9), Can({}, 8)}),
            Texts{"entry 2: an entry earlier than the one before, 2"});
}

TEST(Soundness, CanFramesHaveTheLengthOfTheirDlc) {
  const Bytes data(12, 0);
  const std::span<const unsigned char> bytes(data);
  const Texts odd{"entry 1: a CAN frame whose data length isn't that of its DLC, 1"};
  EXPECT_EQ(FoundIn({Can({.Dlc = 8, .Data = bytes.first(7)})}), odd);
  EXPECT_EQ(FoundIn({Can({.Dlc = 9, .Data = bytes})}), odd);  // a classic frame
  EXPECT_EQ(FoundIn({Can({.Flags = QOR_TRACE_CAN_FD, .Dlc = 10, .Data = bytes})}), odd);
}

TEST(Soundness, RecordsHoldWhatTheyAnnounce) {
  MadeRecord made;
  const Bytes data(8, 0);
  Bytes can = Can({.Dlc = 8, .Data = data});
  can.pop_back();
  EXPECT_EQ(FoundIn({can}), Texts{"entry 1: a CAN entry with fewer data than it announces, 1"});
  EXPECT_EQ(FoundIn({BytesOf(made.FlexRay({}, {.PayloadWords = 5, .Data = data}))}),
            Texts{"entry 1: a FlexRay frame with less payload than it announces, 1"});
  Bytes ethernet = BytesOf(made.Ethernet({}, {.Frame = data}));
  ethernet.pop_back();
  EXPECT_EQ(FoundIn({ethernet}), Texts{"entry 1: an Ethernet frame with fewer bytes than it announces, 1"});
  Bytes cut = Can({});
  cut.resize(RecordView::kHeader + 3);
  EXPECT_EQ(FoundIn({cut}), Texts{"entry 1: an entry that is cut short or of no known kind, 1"});
}

TEST(Soundness, LinChecksumsFitAModel) {
  MadeRecord made;
  const Bytes data = {1, 2};
  EXPECT_EQ(FoundIn({BytesOf(made.Lin({}, {.Identifier = 2, .Data = data, .Checksum = 0x55}))}),
            Texts{"entry 1: a LIN frame whose checksum fits neither model, 1"});
}

TEST(Soundness, LossesAreDefects) {
  Soundness judge;
  EXPECT_TRUE(Put(judge, Can({.Flags = QOR_TRACE_CAN_OVERRUN})));
  Description known;
  known.Complete = true;
  known.Losses = {{.Channel = 3, .Cause = LossCause::CaptureBufferFull, .Count = 7}, {.Cause = LossCause::OverrunMark}};
  judge.Compare(known);
  EXPECT_EQ(Found(judge),
            (Texts{"entry 1: a mark of the interface after which data were lost, 1",
                   "its description: a loss that the recording noted: 7 items of channel 3, capture buffer full, 1"}));
  EXPECT_TRUE(judge.Found().Lossy());
}

TEST(Soundness, DescriptionIsComparedWithTheRecords) {
  Soundness judge;
  EXPECT_TRUE(Put(judge, Can({})));
  Description known;
  known.Channels = {{.Number = 2}};
  known.Records = RecordsDescription{.Count = 5};
  judge.Compare(known);
  EXPECT_EQ(Found(judge), (Texts{"its description: a recording that didn't come to its end, 1",
                                 "its description: another number of entries than the 5 that it was closed with, 1",
                                 "its description: nothing of channel 1, which has entries, 1"}));
}

}  // namespace
}  // namespace client

// Several inputs as one: order, clocks, channels, descriptions, and inputs that fail.
#include "inputs/MergedReader.h"

#include <gtest/gtest.h>

#include <deque>

#include "system/Failure.h"
#include "tools/ReadInput.h"

namespace client {
namespace {

using test::CanItem;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;

constexpr unsigned long kNoon = 1'795'262'400'000'000'000;  // ns

/// An input that has what it is given.
class FakeReader : public Reader {
 public:
  FakeReader& Has(const std::vector<unsigned long>& times, unsigned int channel = 1) {
    for (const unsigned long time : times) All.push_back(RecordOf(CanItem().Channel(channel).At(time)));
    return *this;
  }
  FakeReader& HasRecord(Bytes record) { return All.push_back(std::move(record)), *this; }
  /// Its clock was at 0 then.
  FakeReader& BeganAt(unsigned long utc) { return Known.Anchor = ClockAnchor{0, utc}, *this; }
  FakeReader& HasChannel(unsigned int number, const std::string& source) {
    return Known.Channels.push_back({.Number = number, .BusType = BusType_Can, .Source = source}), *this;
  }
  /// What the end of the file describes.
  FakeReader& Ends(const Description& known) { return AtEnd = known, *this; }
  FakeReader& Fails(const std::string& sentence) { return Sentence = sentence, *this; }

  const RecordView* Next() override {
    if (Present.MayGoOn && !Present.MayGoOn()) IsStopped = true;
    if (IsStopped) return nullptr;
    if (All.empty()) {
      if (AtEnd) Known = *AtEnd;
      if (!Sentence.empty()) throw Failure(Sentence);
      return nullptr;
    }
    Latest = std::move(All.front());
    All.pop_front();
    ++Count;
    return &View.emplace(ViewOf(Latest));
  }
  void Attend(Attendance attendance) override { Present = std::move(attendance); }
  bool Stopped() const override { return IsStopped; }
  Description Describe() const override { return Known; }
  std::vector<std::string> Remarks() const override { return Said; }
  unsigned long Position() const override { return 10; }
  unsigned long Size() const override { return 100; }
  const Findings& Found() const override { return Noted; }
  unsigned long Records() const override { return Count; }

  Description Known{.Complete = true};
  std::optional<Description> AtEnd;
  Findings Noted;
  std::vector<std::string> Said;

 private:
  std::deque<Bytes> All;
  Bytes Latest;
  std::optional<RecordView> View;
  std::string Sentence;
  Attendance Present;
  bool IsStopped = false;
  unsigned long Count = 0;
};

/// Inputs named a, b, c, ... and what comes of them.
class MergedReaderTest : public testing::Test {
 protected:
  FakeReader& Add() {
    Inputs.push_back({std::string(1, static_cast<char>('a' + Inputs.size())), std::make_unique<FakeReader>()});
    return static_cast<FakeReader&>(*Inputs.back().Source);
  }
  MergedReader& Merged(ChannelMerging channels = ChannelMerging::Apart) {
    Reader = std::make_unique<MergedReader>(std::move(Inputs), channels);
    return *Reader;
  }
  ReadOut Read(ChannelMerging channels = ChannelMerging::Apart) { return ReadToEnd(Merged(channels)); }

  std::vector<MergedInput> Inputs;
  std::unique_ptr<MergedReader> Reader;
};

using Place = std::pair<unsigned long, unsigned int>;  // time, channel

std::vector<Place> PlacesOf(const ReadOut& out) {
  std::vector<Place> places;
  for (size_t index = 0; index < out.Records.size(); ++index)
    places.emplace_back(out.At(index).Timestamp(), out.At(index).ChannelId());
  return places;
}

TEST_F(MergedReaderTest, RecordsComeInTheOrderOfTheirTimesThoseOfTheSameOneInThatOfTheInputs) {
  Add().Has({10, 20, 20, 40});
  Add().Has({5, 20, 50}, 2);
  Add().Has({20}, 3);
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{5, 2}, {10, 1}, {20, 1}, {20, 1}, {20, 2}, {20, 3}, {40, 1}, {50, 2}}));
  EXPECT_EQ(Reader->Records(), 8u);
  EXPECT_TRUE(out.Found.empty());
}

TEST_F(MergedReaderTest, InputsThatKnowTheirUtcAreMergedByIt) {
  Add().BeganAt(kNoon).Has({0, 30});
  Add().BeganAt(kNoon - 100).Has({110, 150}, 2);
  Add().Has({kNoon + 20, kNoon + 60}, 3);  // whose clock counts since 1970
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out),
            (std::vector<Place>{
                {kNoon, 1}, {kNoon + 10, 2}, {kNoon + 20, 3}, {kNoon + 30, 1}, {kNoon + 50, 2}, {kNoon + 60, 3}}));
  EXPECT_EQ(out.Known.Epoch, ClockEpoch::Since1970);
  EXPECT_EQ(out.Known.Anchor, (ClockAnchor{kNoon - 100, kNoon - 100, std::nullopt, AnchorOrigin::Clock}));
  EXPECT_TRUE(Reader->Remarks().empty());
}

TEST_F(MergedReaderTest, ItemTimesOfAllBusesFollow) {
  FakeReader& input = Add().BeganAt(kNoon);
  input.HasRecord(RecordOf(CanItem().At(1).Data({1})));
  input.HasRecord(RecordOf(LinItem().At(2).Channel(2).Data({1}, 2)));
  input.HasRecord(RecordOf(FlexRayItem().At(3).Channel(3).Data({1, 2})));
  input.HasRecord(RecordOf(EthernetItem().At(4).Channel(4).Frame(Bytes(60))));
  Add().BeganAt(kNoon).Has({9}, 5);
  const ReadOut out = Read();
  ASSERT_EQ(out.Records.size(), 5u);
  EXPECT_EQ(out.Records[0], RecordOf(CanItem().At(kNoon + 1).Data({1})));
  EXPECT_EQ(out.Records[1], RecordOf(LinItem().At(kNoon + 2).Channel(2).Data({1}, 2)));
  EXPECT_EQ(out.Records[2], RecordOf(FlexRayItem().At(kNoon + 3).Channel(3).Data({1, 2})));
  EXPECT_EQ(out.Records[3], RecordOf(EthernetItem().At(kNoon + 4).Channel(4).Frame(Bytes(60))));
}

TEST_F(MergedReaderTest, OneThatDoesNotKnowItsUtcLeavesAllOnTheirOwnClocks) {
  Add().BeganAt(kNoon).Has({10, 30});
  Add().Has({5, 20}, 2);
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{5, 2}, {10, 1}, {20, 2}, {30, 1}}));
  EXPECT_EQ(Reader->Remarks(), std::vector<std::string>{"It isn't known when \"b\" was recorded, so the entries of "
                                                        "each input are merged by the times of its own clock"});
  EXPECT_FALSE(out.Known.Anchor);
}

TEST_F(MergedReaderTest, InputThatIsOutOfOrderIsToldWithItsGreatestStepBack) {
  Add().Has({10, 8, 30, 27, 40});
  Add().Has({9, 29}, 2);
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{9, 2}, {10, 1}, {8, 1}, {29, 2}, {30, 1}, {27, 1}, {40, 1}}));
  ASSERT_EQ(out.Found.size(), 1u);
  EXPECT_EQ(out.Found[0].Kind, FindingKind::Odd);
  EXPECT_EQ(out.Found[0].What, "a: an entry older than the one before, by up to 0.000000003 s");
  EXPECT_EQ(out.Found[0].Count, 2u);
  EXPECT_EQ(out.Found[0].Where, "entry 2");
}

// ---- Channels -------------------------------------------------------------------------------------------------------

TEST_F(MergedReaderTest, ChannelsThatAnEarlierInputHasGetTheNextNumbers) {
  Add().HasChannel(1, "can0").HasChannel(2, "can1").Has({1}).Has({3}, 2);
  Add().HasChannel(1, "can0").HasChannel(4, "can3").Has({2}).Has({4}, 4);
  Add().HasChannel(2, "").Has({5}, 2).Has({6}, 1);
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{1, 1}, {2, 5}, {3, 2}, {4, 4}, {5, 6}, {6, 7}}));
  EXPECT_EQ(Reader->Notes(),
            (std::vector<std::string>{"\"b\": channel 1 becomes 5, as another input has these channels",
                                      "\"c\": channel 2 becomes 6, as another input has these channels",
                                      "\"c\": channel 1 becomes 7, as another input has this channel"}));
  std::vector<std::pair<unsigned int, std::string>> channels;
  for (const ChannelDescription& channel : out.Known.Channels) channels.emplace_back(channel.Number, channel.Source);
  EXPECT_EQ(channels, (std::vector<std::pair<unsigned int, std::string>>{{1, "can0"},
                                                                         {2, "can1"},
                                                                         {4, "can3"},
                                                                         {5, "can0 (channel 1 of b)"},
                                                                         {6, "channel 2 of c"},
                                                                         {7, "channel 1 of c"}}));
  EXPECT_EQ(out.Known.Channels.back().BusType, BusType_Can);
}

TEST_F(MergedReaderTest, PartsOfOneRecordingShareTheirChannels) {
  for (const unsigned long time : {1ul, 2ul}) {
    FakeReader& part = Add().HasChannel(1, "can0").Has({time});
    part.Known.Id = "same";
  }
  FakeReader& other = Add().HasChannel(1, "can0").Has({3});
  other.Known.Id = "another";
  const ReadOut out = Read();
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{1, 1}, {2, 1}, {3, 2}}));
  EXPECT_EQ(out.Known.Channels.size(), 2u);
  EXPECT_NE(out.Known.Id, "same");
  EXPECT_FALSE(out.Known.Id.empty());
}

TEST_F(MergedReaderTest, ChannelsAreOneWhereThatIsAskedFor) {
  Add().HasChannel(1, "can0").Has({1});
  Add().HasChannel(1, "can0").Has({2}).Has({3}, 2);
  const ReadOut out = Read(ChannelMerging::Same);
  EXPECT_EQ(PlacesOf(out), (std::vector<Place>{{1, 1}, {2, 1}, {3, 2}}));
  EXPECT_EQ(out.Known.Channels.size(), 1u);
  EXPECT_TRUE(Reader->Notes().empty());
}

// ---- What is known of them ------------------------------------------------------------------------------------------

TEST_F(MergedReaderTest, DescriptionsAreMerged) {
  FakeReader& first = Add().BeganAt(kNoon).HasChannel(1, "can0").Has({1});
  first.Known.Title = "morning";
  first.Known.Tool = "qor-trace 1";
  first.Known.Id = "one";
  FakeReader& second = Add().BeganAt(kNoon - 1'000).HasChannel(1, "can0").Has({2'000});
  Description end = second.Known;
  end.Title = "evening";
  end.Tool = "qor-trace 1";
  end.Losses = {{1, LossCause::DiskFull, 1'500, 1'600, 3}};
  end.Complete = false;
  second.Ends(end);
  const ReadOut out = Read();
  EXPECT_EQ(out.Known.Title, "morning + evening");
  EXPECT_EQ(out.Known.Tool, "qor-trace 1");
  EXPECT_FALSE(out.Known.Complete);
  EXPECT_EQ(out.Known.Losses, (std::vector<Loss>{{2, LossCause::DiskFull, kNoon + 500, kNoon + 600, 3}}));
  EXPECT_EQ(Reader->Describe().Id, out.Known.Id) << "the same whenever it is asked for";
}

TEST_F(MergedReaderTest, FindingsRemarksAndProgressAreThoseOfAllInputs) {
  FakeReader& first = Add().Has({1});
  FakeReader& second = Add().Has({2}, 2);
  first.Noted.AtLine(FindingKind::LeftOut, "a comment", 3);
  second.Noted.AtLine(FindingKind::LeftOut, "a comment", 4);
  first.Said = {"one"};
  second.Said = {"two"};
  const ReadOut out = Read();
  ASSERT_EQ(out.Found.size(), 2u);
  EXPECT_EQ(out.Found[0].What, "a: a comment");
  EXPECT_EQ(out.Found[1].What, "b: a comment");
  EXPECT_EQ(Reader->Remarks().at(0), "one");
  EXPECT_EQ(Reader->Remarks().at(1), "two");
  EXPECT_EQ(Reader->Position(), 20u);
  EXPECT_EQ(Reader->Size(), 200u);
}

// ---- Ends -----------------------------------------------------------------------------------------------------------

TEST_F(MergedReaderTest, DamagedInputEndsAloneAndFailsAfterTheOthers) {
  Add().Has({1, 2}).Fails("damaged");
  Add().Has({3, 4}, 2);
  const ReadOut out = Read();
  EXPECT_EQ(out.Records.size(), 4u);
  EXPECT_EQ(out.Failed, "damaged");
}

TEST_F(MergedReaderTest, InputThatCannotBeReadAtAllIsAFailureBeforeTheFirstRecord) {
  Add().Has({1});
  Add().Fails("damaged");
  const ReadOut out = Read();
  EXPECT_TRUE(out.Records.empty());
  EXPECT_EQ(out.Failed, "damaged");
}

TEST_F(MergedReaderTest, InputWithoutRecordsIsNamed) {
  Add().Has({1});
  Add();
  const ReadOut out = Read();
  EXPECT_TRUE(out.Records.empty());
  EXPECT_EQ(out.Failed, "There are no records in \"b\"");
}

TEST_F(MergedReaderTest, StandardInputMayBeEmpty) {
  Add().Has({1});
  Add();
  Inputs.back().Name = "-";
  EXPECT_EQ(Read().Records.size(), 1u);
}

TEST_F(MergedReaderTest, ReadingEndsWhenAsked) {
  Add().Has({1, 2, 3});
  Add().Has({1, 2, 3}, 2);
  MergedReader& merged = Merged();
  int left = 4;
  merged.Attend({[&] { return left-- > 0; }, nullptr});
  size_t records = 0;
  while (merged.Next() != nullptr) ++records;
  EXPECT_EQ(records, 3u);
  EXPECT_TRUE(merged.Stopped());
}

TEST(OpenInputs, FilesOfASeriesThatAreAllNamedAreReadOnce) {
  const test::TemporaryDirectory directory;
  const auto log = [](const std::string& name, const std::string& previous, const std::string& time) {
    const std::string text = "date Sat Nov 21 12:00:00 2026\nbase hex  timestamps absolute\n" + previous +
                             "Begin Triggerblock\n" + time + " 1 123 Rx d 1 11\nEnd TriggerBlock\n";
    test::WriteFile(name, Bytes(text.begin(), text.end()));
  };
  log("x.asc", "", "1.000000");
  log("x_1.asc", "// 1.000000 previous log file: x.asc\n", "2.000000");
  log("y.asc", "", "1.500000");
  const auto reader = OpenInputs({"x_1.asc", "y.asc", "x.asc"}, ChannelMerging::Same);
  const ReadOut out = ReadToEnd(*reader);
  EXPECT_EQ(out.Records.size(), 3u);
  EXPECT_EQ(reader->Notes().front(), "\"x_1.asc\" is read with \"x.asc\", the first file of its series");
}

TEST(OpenInputs, StandardInputIsReadOnce) { EXPECT_THROW((void)OpenInputs({"-", "x.bin", "-"}), UsageError); }

}  // namespace
}  // namespace client

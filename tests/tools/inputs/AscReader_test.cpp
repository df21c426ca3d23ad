#include "inputs/AscReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

#include "outputs/AscWriter.h"
#include "outputs/ExportedAsc.h"
#include "system/Failure.h"
#include "tools/ReadText.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr unsigned long kSecond = 1'000'000'000;
constexpr unsigned long kMillisecond = 1'000'000;
/// 15 November 2026, 09:00:19.123 UTC: a whole millisecond, as dates of logs are.
constexpr unsigned long kBegin = 1'794'733'219'123'000'000;

constexpr const char* kHead =
    "date Sun Nov 15 09:00:19.123 am 2026\n"
    "base hex  timestamps absolute\n"
    "no internal events logged\n"
    "Begin Triggerblock Sun Nov 15 09:00:19.123 am 2026\n";
constexpr const char* kTail = "End TriggerBlock\n";

/// A record and what an ASC log keeps of it.
struct Kept {
  Bytes Original;
  Bytes Read;
};

template <class Item>
Kept Same(const Item& item) {
  return {RecordOf(item), RecordOf(item)};
}

template <class Item, class Other>
Kept Becomes(const Item& item, const Other& other) {
  return {RecordOf(item), RecordOf(other)};
}

/// An error frame or event as it is read: only its code is in a line.
test::CanItem ErrorOf(unsigned char code) { return test::CanItem().ErrorFrame(code).Dlc(0); }

void AddCan(std::vector<Kept>& all) {
  using test::CanItem;
  using test::Counting;
  for (unsigned int size = 0; size <= 8; ++size) all.push_back(Same(CanItem().Id(0x123).Data(Counting(size, 0xF8))));
  all.push_back(Same(CanItem().Id(0x7FF).Tx().Data({0xFF})));
  all.push_back(Same(CanItem().Channel(12).Id(0x18FE0102).Extended().Data(Counting(8))));
  all.push_back(Same(CanItem().Id(1).Extended().Tx()));
  for (const unsigned int dlc : {1u, 8u, 9u, 15u}) all.push_back(Same(CanItem().Id(0x321).Dlc(dlc)));
  all.push_back(Same(CanItem().Id(0x321).Data(Counting(8)).Dlc(15)));
  all.push_back(Same(CanItem().Id(0x321).Data(Counting(2)).Dlc(5)));
  for (const unsigned int size : {0u, 1u, 8u, 12u, 16u, 20u, 24u, 32u, 48u, 64u})
    all.push_back(Same(CanItem().Id(0x123).Fd().Data(Counting(size, 0xE0))));
  all.push_back(Same(CanItem().Id(0x18FE0102).Extended().Fd().Brs().Tx().Data(Counting(12))));
  all.push_back(Same(CanItem().Id(1).Fd().Esi().Brs().Data(Counting(64))));
  all.push_back(Same(CanItem().Id(0x123).Overrun().Data({1})));
  constexpr unsigned char kCodeRead[] = {0, 1, 2, 0, 4, 4, 0, 4};
  for (unsigned char code = 0; code < 8; ++code) {
    all.push_back(Becomes(CanItem().Id(0x77).ErrorFrame(code), ErrorOf(kCodeRead[code])));
    all.push_back(Becomes(CanItem().Tx().ErrorFrame(code), ErrorOf(kCodeRead[code]).Tx()));
  }
  all.push_back(Becomes(CanItem().RisingEdge(), CanItem().RisingEdge().Dlc(0)));
  all.push_back(Becomes(CanItem().FallingEdge(), CanItem().FallingEdge().Dlc(0)));
  all.push_back(Becomes(CanItem().UserEvent({2, 0xFF, 0}), CanItem().UserEvent({2, 0xFF, 0}).Dlc(0)));
}

void AddLin(std::vector<Kept>& all) {
  const auto lin = [] { return test::LinItem().Channel(2).BitTime(52083 * 8); };
  for (unsigned int size = 1; size <= 8; ++size)
    all.push_back(Same(lin().Id(0x10 + size).Data(test::Counting(size, 0xF8), 0x3C)));
  all.push_back(Same(lin().Id(0x3F).Tx().Data({}, 0x55)));
  all.push_back(Same(lin().Id(5).DataLength(0)));
  all.push_back(Becomes(lin().Id(0x91).Data({1}, 2), lin().Id(0x11).Data({1}, 2)));
  all.push_back(Becomes(lin().BitTime(416667).Data({1}, 2), lin().Data({1}, 2)));
  all.push_back(Same(lin().Id(5).ChecksumError().Data({1, 2}, 0xFF)));
  all.push_back(Same(lin().Id(5).Flags(QOR_TRACE_LIN_OVERRUN).Data({1, 2}, 0xFF)));
  all.push_back(Becomes(lin().Id(5).ParityError().Data({1}, 2), lin().ParityError().DataLength(0)));
  all.push_back(Becomes(lin().SyncError().DataLength(0), lin().SyncError().DataLength(0)));
  all.push_back(Becomes(lin().Id(5).TransmitError().Data({1}, 2), lin().Id(5).TransmitError().DataLength(0)));
  all.push_back(Same(lin().Tx().WakeUp().DataLength(0)));
  all.push_back(Same(lin().WakeUp().DataLength(0)));
  all.push_back(Becomes(lin().Event().DataLength(0), lin().BitTime(0).Event().DataLength(0)));
  all.push_back(Becomes(lin().Event().Id(1).DataLength(0), lin().BitTime(0).Event().Id(1).DataLength(0)));
}

void AddFlexRay(std::vector<Kept>& all) {
  const auto flexRay = [] { return test::FlexRayItem().Channel(3); };
  for (const unsigned int code : {0u, 1u, 2u})
    all.push_back(
        Same(flexRay().Code(code).Slot(5).Cycle(63).HeaderCrc(0x2A5).FrameFlags(0x1A).Data(test::Counting(4))));
  all.push_back(Same(flexRay().Tx().Slot(2047).Data(test::Counting(254))));
  all.push_back(Same(flexRay().Slot(1)));
  all.push_back(
      Becomes(flexRay().Slot(64).FrameFlags(0x04).Data({1, 2}), flexRay().Slot(64).FrameFlags(0x04).PayloadWords(1)));
  all.push_back(Same(flexRay().Kind(3).Code(17)));
  for (unsigned int state = 0; state < 8; ++state) all.push_back(Same(flexRay().Kind(4).Code(state)));
  all.push_back(Becomes(flexRay().Kind(4).Code(8), flexRay().Kind(4).Code(1)));
  all.push_back(Same(flexRay().Kind(5)));
  for (const unsigned int code : {0u, 1u, 2u}) {
    all.push_back(Same(flexRay().Kind(6).Code(code)));
    for (const unsigned int kind : {7u, 8u, 9u}) all.push_back(Same(flexRay().Kind(kind).EventCode(code)));
    all.push_back(Becomes(flexRay().Kind(10).EventCode(code), flexRay().Kind(8).EventCode(code)));
  }
  all.push_back(Becomes(flexRay().Kind(7).Slot(12).EventCode(1), flexRay().Kind(7).EventCode(1)));
  all.push_back(Becomes(flexRay().Kind(0).Slot(7), flexRay().Kind(0)));
}

void AddEthernet(std::vector<Kept>& all) {
  const auto ethernet = [] { return test::EthernetItem().Channel(4); };
  all.push_back(Same(ethernet().Frame(test::Counting(14))));
  all.push_back(Same(ethernet().Tx().Frame(test::Counting(1514, 0xF0))));
  all.push_back(Same(ethernet().Frame({})));
  all.push_back(Same(ethernet().CrcError().Frame(test::Counting(60))));
  all.push_back(Becomes(ethernet().Kind(0).Frame(test::Counting(60)), ethernet().Kind(0)));
  all.push_back(Same(ethernet().Frame(test::Counting(MadeRecord::kMostEthernet))));
}

class AscReaderTest : public testing::Test {
 protected:
  AscReaderTest() { SetZone("UTC"); }
  ~AscReaderTest() override {
    unsetenv("TZ");
    tzset();
  }
  static void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

  static WholeInput ReadLines(const std::string& lines) { return ReadText(kHead + lines + kTail, "x.asc"); }

  template <class Writer = AscWriter>
  void Write(const std::vector<Bytes>& records, const AscOptions& options) const {
    Writer output(Path, options);
    Description known;
    known.Anchor = ClockAnchor{kBegin, kBegin};
    output.Describe(known);
    for (const Bytes& record : records) ASSERT_TRUE(Put(output, record));
    ASSERT_TRUE(output.Finish());
  }

  test::TemporaryDirectory Directory;
  fs::path Folder = fs::current_path();
  std::string Path = (Folder / "x.asc").string();
};

void SetTime(Bytes& record, unsigned long time) {
  std::memcpy(record.data() + offsetof(Qor_Trace_Entry_t, Timestamp), &time, sizeof time);
  // All but LIN have it a second time: behind the header, or behind size and type.
  const unsigned char bus = ViewOf(record).Bus();
  if (bus == BusType_Lin) return;
  const size_t place = RecordView::kHeader + (bus == BusType_Can ? 0 : 4);
  std::memcpy(record.data() + place, &time, sizeof time);
}

/// One after the other, half a millisecond apart, on a clock that counts since 1970.
std::vector<Kept> AllKinds() {
  std::vector<Kept> all;
  AddCan(all);
  AddLin(all);
  AddFlexRay(all);
  AddEthernet(all);
  all.push_back(Same(test::CanItem().Id(0x123).Data({1})));  // after the last comment
  unsigned long time = 0;
  for (Kept& one : all) {
    SetTime(one.Original, kBegin + time);
    SetTime(one.Read, time);
    time += kMillisecond / 2;
  }
  return all;
}

std::vector<Bytes> Originals(const std::vector<Kept>& all) {
  std::vector<Bytes> records;
  for (const Kept& one : all) records.push_back(one.Original);
  return records;
}

void ExpectSame(const std::vector<Bytes>& read, const std::vector<Kept>& kept) {
  ASSERT_EQ(read.size(), kept.size());
  for (size_t place = 0; place < kept.size(); ++place) EXPECT_EQ(read[place], kept[place].Read) << "record " << place;
}

TEST_F(AscReaderTest, WhatTheWriterWritesComesBackInEveryStyle) {
  const auto all = AllKinds();
  for (const AscOptions& options : {AscOptions{}, AscOptions{.Decimal = true}, AscOptions{.Relative = true},
                                    AscOptions{.Decimal = true, .Relative = true, .Decimals = 9}}) {
    SCOPED_TRACE(testing::Message() << options.Decimal << options.Relative);
    Write(Originals(all), options);
    const WholeInput input = ReadWhole(Path);
    ExpectSame(input.Records, all);
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
    EXPECT_TRUE(input.Known.Complete);
    EXPECT_EQ(input.Known.Epoch, ClockEpoch::Own);
    EXPECT_EQ(input.Known.Anchor, (ClockAnchor{0, kBegin, std::nullopt, AnchorOrigin::RecordingStart}));
  }
}

TEST_F(AscReaderTest, LogThatIsWrittenFromWhatWasReadIsTheSame) {
  Write(Originals(AllKinds()), {});
  const std::string text = test::FileText(Path);
  const WholeInput input = ReadWhole(Path);
  AscWriter output(Path, {});
  output.Describe(input.Known);
  for (const Bytes& record : input.Records) ASSERT_TRUE(Put(output, record));
  ASSERT_TRUE(output.Finish());
  EXPECT_EQ(test::FileText(Path), text);
}

TEST_F(AscReaderTest, LossesComeBackFromTheirComments) {
  Description known;
  known.Channels = {{.Number = 1, .BusType = BusType_Can}};
  known.Losses = {{1, LossCause::CaptureBufferFull, kSecond, kSecond + 1, 17},
                  {9, LossCause::InterfaceGone, 3 * kSecond, 4 * kSecond, std::nullopt}};
  for (const bool relative : {false, true}) {
    AscWriter output(Path, {.Relative = relative});
    output.Describe(known);
    for (const unsigned long second : {1ul, 2ul, 5ul}) Put(output, RecordOf(test::CanItem().At(second * kSecond)));
    ASSERT_TRUE(output.Finish());
    const WholeInput input = ReadWhole(Path);
    EXPECT_EQ(input.Known.Losses, known.Losses);
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
    ASSERT_EQ(input.Records.size(), 3u);
    EXPECT_EQ(ViewOf(input.Records[2]).Timestamp(), 5 * kSecond);
  }
}

TEST_F(AscReaderTest, LossIsKnownBeforeTheEntryAfterItIsHandedOut) {
  const std::string text = std::string(kHead) + "1.0 1  123        Rx d 0\n2.0 1  123        Rx d 0\n" +
                           "// LOST on CAN 1: 3 items found the capture buffer full, 2.000000001 s to 3.000000000 s\n" +
                           "4.0 1  123        Rx d 0\n" + kTail;
  std::ofstream(Path) << text;
  const auto reader = OpenInput(Path);
  ASSERT_NE(reader->Next(), nullptr);
  const unsigned long before = reader->LossesKnown();
  ASSERT_NE(reader->Next(), nullptr);
  ASSERT_NE(reader->Next(), nullptr);
  EXPECT_NE(reader->LossesKnown(), before);
  EXPECT_EQ(reader->Describe().Losses.size(), 1u);
}

TEST_F(AscReaderTest, LibrarysExportIsReadInEitherBase) {
  // Its lines have no place for the mark of a loss and a CRC error, and it leaves Ethernet's mark out.
  auto all = AllKinds();
  std::erase_if(all, [](const Kept& one) {
    const RecordView record = ViewOf(one.Original);
    return record.HasOverrunMark() || record.Kind() == RecordKind::EthernetCrcError;
  });
  for (const bool decimal : {false, true}) {
    SCOPED_TRACE(decimal);
    Write<ExportedAsc>(Originals(all), {.Decimal = decimal});
    const WholeInput input = ReadWhole(Path);
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
    ASSERT_EQ(input.Records.size(), all.size());
    for (size_t place = 0; place < all.size(); ++place) {
      Bytes expected = all[place].Read;
      const unsigned long time = ViewOf(input.Records[place]).Timestamp();
      SetTime(expected, time);
      EXPECT_EQ(input.Records[place], expected) << "record " << place;
      EXPECT_NEAR(static_cast<double>(time), static_cast<double>(ViewOf(all[place].Original).Timestamp()), 1000.0);
    }
    EXPECT_EQ(input.Known.Epoch, ClockEpoch::Since1970);
  }
}

/// The clock of an interface: the date in the head is that of the export.
TEST_F(AscReaderTest, DateOfTheLibrarysExportIsNotThatOfTheRecording) {
  Write<ExportedAsc>({RecordOf(test::CanItem().At(kSecond))}, {});
  const WholeInput input = ReadWhole(Path);
  EXPECT_EQ(input.Known.Anchor, std::nullopt);
  EXPECT_EQ(ViewOf(input.Records.at(0)).Timestamp(), kSecond);
}

TEST_F(AscReaderTest, RelativeTimesOfTheLibrarysExportKeepOrderAndCycleTimes) {
  std::vector<Bytes> records;
  const auto add = [&](unsigned int id, unsigned long milliseconds) {
    records.push_back(RecordOf(test::CanItem().Id(id).At(milliseconds * kMillisecond)));
  };
  for (unsigned long cycle = 0; cycle < 10; ++cycle) {
    add(0x100, 10 * cycle);
    add(0x200, 10 * cycle + 3);
    if (cycle % 2 == 1) add(0x300, 10 * cycle + 7);
  }
  Write<ExportedAsc>(records, {.Relative = true});
  const WholeInput input = ReadWhole(Path);
  ASSERT_EQ(input.Records.size(), records.size());
  unsigned long before = 0;
  std::map<unsigned int, std::vector<unsigned long>> times;
  for (size_t place = 0; place < records.size(); ++place) {
    const RecordView record = ViewOf(input.Records[place]);
    EXPECT_EQ(record.Can().Identifier, ViewOf(records[place]).Can().Identifier);
    EXPECT_GE(record.Timestamp(), before);
    EXPECT_LE(record.Timestamp(), ViewOf(records[place]).Timestamp());
    before = record.Timestamp();
    times[record.Can().Identifier].push_back(before);
  }
  for (const auto& [id, list] : times)
    for (size_t place = 1; place < list.size(); ++place)
      EXPECT_EQ(list[place] - list[place - 1], (id == 0x300 ? 20 : 10) * kMillisecond) << id << " " << place;
}

TEST_F(AscReaderTest, LinesOfOtherToolsAreRead) {
  using test::CanItem;
  const auto can = [](unsigned int id, Bytes data) { return CanItem().At(kSecond).Id(id).Data(std::move(data)); };
  const struct {
    const char* Line;
    Bytes Record;
  } cases[] = {
      {"1.0 1  123             Rx   d 2 01 FF  Length = 215910 BitCount = 110 ID = 291",
       RecordOf(can(0x123, {1, 0xFF}))},
      {"   1.000000 1  123             Rx   d 2 01 FF", RecordOf(can(0x123, {1, 0xFF}))},
      {"1.0\t1\t123\tTx\td\t1\tA1", RecordOf(can(0x123, {0xA1}).Tx())},
      {"1.000000000000 1 18FE0102X Rx d 0", RecordOf(can(0x18FE0102, {}).Extended())},
      {"1.0 1 EngineData Rx d 1 07 Length = 1 BitCount = 1 ID = 291", RecordOf(can(0x123, {7}))},
      {"1.0 1 EngineData Rx d 1 07 Length = 1 BitCount = 1 ID = 419299586x", RecordOf(can(0x18FE0102, {7}).Extended())},
      {"1.0 1 123 Rx r", RecordOf(can(0x123, {}))},
      {"1.0 1 123 Rx r Length = 0 BitCount = 0 ID = 291", RecordOf(can(0x123, {}))},
      {"1.0 1 123 Rx r 4 Length = 0", RecordOf(can(0x123, {}).Dlc(4))},
      {"1.0 1 123 Rx d f 01 02 03 04 05 06 07 08", RecordOf(can(0x123, test::Counting(8)).Dlc(15))},
      {"1.0 1 ErrorFrame", RecordOf(ErrorOf(7).At(kSecond))},
      {"1.0 14 ErrorFrame ECC: 10100000", RecordOf(ErrorOf(1).Channel(14).At(kSecond))},
      {"1.0 1 ErrorFrame Flags = 0xe CodeExt = 0x20a2 Code = 0x82 ID = 0 DLC = 0 Position = 5 Length = 11300",
       RecordOf(ErrorOf(7).At(kSecond))},
      {"1.0 CANFD   1 ErrorFrame Not Acknowledge error, dominant error flag fffe c7 31ca Arb. 556 44 0 0 f 0",
       RecordOf(ErrorOf(7).At(kSecond))},
      {"1.0 CANFD   1 Rx        123                                   1 0 2  2 01 02   102203  133   303000 e 46500250 "
       "4",
       RecordOf(can(0x123, {1, 2}).Fd().Brs())},
      {"1.0 CANFD   1 Rx        123  EngineData                       0 1 2  2 01 02   102203  133   305000 e 46500250 "
       "4",
       RecordOf(can(0x123, {1, 2}).Fd().Esi())},
      {"1.0 CANFD   1 Tx        123x 0 0 2  2 01 02   102203  133   200000 e 46500250 4",
       RecordOf(can(0x123, {1, 2}).Extended().Tx())},
      {"1.0 CANFD 1 Rx 123 1 0 2 2 01 02", RecordOf(can(0x123, {1, 2}).Fd().Brs())},
      {"1.0 L1 2d Rx 2 00 f0 checksum = 70 header time = 40, full time = 130 SOF = 1.0 BR = 20000 break = 937125 "
       "114062 "
       "EOH = 1.1 EOB = 1.2 1.3 sim = 0 EOF = 1.4 RBR = 19230 HBR = 19230.769231 HSO = 26000 RSO = 26000 CSM = "
       "enhanced",
       RecordOf(test::LinItem().At(kSecond).Id(0x2D).Data({0, 0xF0}, 0x70).BitTime(400000))},
      {"1.0 Fr RMSG  0 0 1 1 16 e Rx 0 140001 5 20 3f5  Name 4 0  0 ffff",
       RecordOf(test::FlexRayItem().At(kSecond).Slot(0x16).Cycle(0xE).FrameFlags(4).HeaderCrc(0x3F5).PayloadWords(2))},
      {"1.0 ETH 1 Rx 3:0102ff", RecordOf(test::EthernetItem().At(kSecond).Frame({1, 2, 0xFF}))},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Line);
    const WholeInput input = ReadLines(std::string(one.Line) + "\n");
    EXPECT_EQ(input.Records, std::vector<Bytes>{one.Record});
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
  }
}

TEST_F(AscReaderTest, WhatNoRecordHoldsIsLeftOutAndWhatIsDamagedIsUnread) {
  const struct {
    const char* Line;
    const char* Finding;  // nullptr: none
  } cases[] = {
      {"1.0 Start of measurement", nullptr},
      {"// a comment", nullptr},
      {"", nullptr},
      {"1.0 1 Statistic: D 0 R 0 XD 0 XR 0 E 0 O 0 B 0.00%", "left_out: a CAN line that is no frame"},
      {"1.0 1 OverloadFrame", "left_out: a CAN line that is no frame"},
      {"1.0 1 123 TxRq d 0", "left_out: a request to send, which is no frame on the bus"},
      {"1.0 CAN 1 Status:chip status error active", "left_out: a line of a kind that no record has"},
      {"1.0 SV: 2 0 1 ::Sys::Var = 1", "left_out: a line of a kind that no record has"},
      {"1.0 Li SleepModeEvent", "left_out: a LIN line of a kind that no record has"},
      {"1.0 Fr PDU 0 0 1 1", "left_out: a FlexRay line of a kind that no record has"},
      {"// 1.0 CAN 1: malformed record of 30 bytes", "left_out: a malformed entry, which is a comment only"},
      {"garbage", "unread: a line without a time"},
      {"1.0x 1 123 Rx d 0", "unread: a line whose time can't be read"},
      {"99999999999.0 1 123 Rx d 0", "unread: a line whose time can't be read"},
      {"1.0 1 123 Rx d 3 01 02", "unread: a CAN line"},
      {"1.0 1 123 Rx d 3 01 02 0g", "unread: a CAN line"},
      {"1.0 1 123 Rx d 10 01", "unread: a CAN line"},
      {"1.0 1 123 Rx x 0", "unread: a CAN line"},
      {"1.0 99999999999 123 Rx d 0", "unread: a CAN line"},
      {"1.0 70000 123 Rx d 0", "unread: a line with a channel above 65535"},
      {"1.0 1 800 Rx d 0", "unread: a CAN line whose identifier isn't known, or out of range"},
      {"1.0 1 20000000x Rx d 0", "unread: a CAN line whose identifier isn't known, or out of range"},
      {"1.0 1 EngineData Rx d 0", "unread: a CAN line whose identifier isn't known, or out of range"},
      {"1.0 CANFD 1 Rx 123 1 0 f 64 01 02", "unread: a CAN line"},
      {"1.0 CANFD 1 Rx 123 1 0 f 65", "unread: a CAN line"},
      {"1.0 CANFD 1 Rx 123 0 0 9 12 01 02 03 04 05 06 07 08 09 0a 0b 0c 0 0 0 0", "unread: a CAN line"},
      {"1.0 L2 10 Rx 2 01 checksum = 3c", "unread: a LIN line"},
      {"1.0 L2 10 Rx 9 01", "unread: a LIN line"},
      {"1.0 Fr RMSG  1 0 3 1 5 3 Rx 0 80002 5 28 2a5 FlexRay_Frame_[x|x|x] 4 4 01 02 03", "unread: a FlexRay line"},
      {"1.0 ETH 4 Rx 4 :010203", "unread: an Ethernet line"},
      {"1.0 ETH 4 Rx fffff:01", "unread: an Ethernet line"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.Line);
    const WholeInput input = ReadLines(std::string("\n") + one.Line + "\n0.5 1 123 Rx d 0\n");
    EXPECT_EQ(input.Records.size(), 1u);
    std::vector<std::string> expected;
    if (one.Finding != nullptr) expected.push_back(std::string(one.Finding) + ", line 6");
    EXPECT_EQ(input.Findings(), expected);
  }
}

TEST_F(AscReaderTest, EitherNewlineWillDo) {
  Write(Originals(AllKinds()), {});
  const auto records = ReadWhole(Path).Records;
  std::string text;
  for (const char character : test::FileText(Path)) {
    if (character == '\n') text += '\r';
    text += character;
  }
  const WholeInput input = ReadText("\xEF\xBB\xBF" + text, "y.asc");
  EXPECT_EQ(input.Records, records);
  EXPECT_EQ(input.Findings(), std::vector<std::string>());
}

TEST_F(AscReaderTest, LogThatIsCutAnywhereGivesTheRecordsBeforeThat) {
  const std::string text = test::FileText(fs::path(QOR_GOLDEN_DIR) / "client-four-buses.asc");
  const auto records = ReadText(text, "y.asc").Records;
  ASSERT_EQ(records.size(), 11u);
  const size_t head = text.find("\nBegin") + 1;
  for (size_t size = head + 50; size + 1 < text.size(); ++size) {
    const WholeInput input = ReadText(text.substr(0, size), "y.asc");
    // A comment after the line in question may be what is missing.
    size_t count = input.Records.size();
    if (count > 0 && input.Records.back() != records[count - 1]) --count;
    ASSERT_TRUE(
        std::equal(input.Records.begin(), input.Records.begin() + static_cast<std::ptrdiff_t>(count), records.begin()))
        << size;
    ASSERT_FALSE(input.Known.Complete) << size;
    ASSERT_EQ(input.Found.size(), 1u) << size;
    ASSERT_EQ(input.Found[0].Kind, FindingKind::CutOff) << size;
  }
}

TEST_F(AscReaderTest, LogThatHasNoBlockNeedsNoEnd) {
  const WholeInput input = ReadText("base dec timestamps absolute\n1.0 1 291 Rx d 2 001 255\n", "x.asc");
  EXPECT_EQ(input.Records, std::vector<Bytes>{RecordOf(test::CanItem().At(kSecond).Id(0x123).Data({1, 0xFF}))});
  EXPECT_EQ(input.Findings(), std::vector<std::string>());
  EXPECT_TRUE(input.Known.Complete);
  EXPECT_EQ(input.Known.Anchor, std::nullopt);
}

TEST_F(AscReaderTest, DateIsLocalTime) {
  SetZone("CET-1");
  EXPECT_EQ(ReadLines("1.0 1 123 Rx d 0\n").Known.Anchor->Utc, kBegin - 3600 * kSecond);
}

TEST_F(AscReaderTest, StartOfTheMeasurementIsThatOfItsBlock) {
  const auto start = [](const std::string& line) {
    return ReadText(
               "date Sun Nov 15 23:59:59.000 2026\nbase hex  timestamps absolute\n"
               "Begin Triggerblock Sun Nov 15 09:00:19.123 am 2026\n" +
                   line + "\n1.0 1 123 Rx d 0\n",
               "x.asc")
        .Known.Anchor->Utc;
  };
  EXPECT_EQ(start("0.000000 Start of measurement"), kBegin);
  // A block that a trigger began later: its times count from the head all the same.
  EXPECT_EQ(start("0.500000 Start of measurement"), 1'794'787'199 * kSecond);
  EXPECT_EQ(start(""), 1'794'787'199 * kSecond);
}

TEST_F(AscReaderTest, DateThatNobodyKnewIsNone) {
  const WholeInput input =
      ReadText("date Thu Jan 01 12:00:00.000 am 1970\nbase hex  timestamps absolute\n1.0 1 123 Rx d 0\n", "x.asc");
  EXPECT_EQ(input.Known.Anchor, std::nullopt);
}

TEST_F(AscReaderTest, RelativeTimesCountFromEachLineBeforeWhateverItIs) {
  const WholeInput input = ReadText(
      "date Sun Nov 15 09:00:19.123 am 2026\nbase hex timestamps relative\n"
      "0.5 1 123 Rx d 0\n0.25 1 Statistic: D 0\n// 9.0 a comment\n0.25 1 123 Rx d 0\n",
      "x.asc");
  ASSERT_EQ(input.Records.size(), 2u);
  EXPECT_EQ(ViewOf(input.Records[1]).Timestamp(), kSecond);
}

TEST_F(AscReaderTest, ChannelsOfTheSameNumberOnDifferentBusesStayApart) {
  const WholeInput input = ReadLines(
      "1.0 1 123 Rx d 0\n1.0 Li 5 Rx 0 checksum = 00\n1.0 2 123 Rx d 0\n1.0 ETH 2 Rx 1:00\n1.0 Li 5 Rx 0 checksum = "
      "00\n");
  std::vector<unsigned int> channels;
  for (const Bytes& record : input.Records) channels.push_back(ViewOf(record).ChannelId());
  EXPECT_EQ(channels, (std::vector<unsigned int>{1, 101, 2, 302, 101}));
  ASSERT_EQ(input.Known.Channels.size(), 4u);
  EXPECT_EQ(input.Known.Channels[0], (ChannelDescription{.Number = 1, .BusType = BusType_Can}));
  EXPECT_EQ(input.Known.Channels[2], (ChannelDescription{.Number = 101, .BusType = BusType_Lin, .Name = "LIN 1"}));
}

TEST_F(AscReaderTest, EventWithoutAChannelIsOfTheFirstCanChannel) {
  const WholeInput input = ReadLines("1.0 7 123 Rx d 0\n2.0 log trigger event (rising edge on trigger input)\n");
  EXPECT_EQ(ViewOf(input.Records.at(1)).ChannelId(), 7u);
}

TEST_F(AscReaderTest, SeriesIsReadFromItsFirstFileOn) {
  std::vector<Kept> all;
  for (const auto& one : AllKinds())
    if (one.Original.size() < 2000) all.push_back(one);
  for (const bool relative : {false, true}) {
    for (const auto& entry : fs::directory_iterator(Folder)) fs::remove(entry.path());
    Write(Originals(all), {.Relative = relative, .Split = 1000});
    ASSERT_TRUE(fs::exists(Folder / "x_3.asc"));
    const WholeInput input = ReadWhole(Path);
    ExpectSame(input.Records, all);
    EXPECT_EQ(input.Findings(), std::vector<std::string>());
    const auto reader = OpenInput(Path);
    while (reader->Next() != nullptr) EXPECT_LE(reader->Position(), reader->Size());
    EXPECT_EQ(reader->Position(), reader->Size());
  }
}

TEST_F(AscReaderTest, FindingInALaterFileOfASeriesNamesIt) {
  std::vector<Bytes> records(40, RecordOf(test::CanItem().At(kBegin).Data(test::Counting(8))));
  Write(records, {.Split = 600});
  std::string text = test::FileText(Folder / "x_1.asc");
  text.replace(text.find(" Rx d 8 "), 8, " Rx d 9x");
  std::ofstream(Folder / "x_1.asc") << text;
  const auto findings = ReadWhole(Path).Findings();
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0], "unread: a CAN line, line 7 of \"" + (Folder / "x_1.asc").string() + "\"");
}

TEST_F(AscReaderTest, FileOfAnotherLogIsNoneOfTheSeries) {
  const std::string one = std::string(kHead) + "1.0 1 123 Rx d 0\n" + kTail;
  std::ofstream(Folder / "x_1.asc") << one;
  EXPECT_EQ(ReadText(one, "x.asc").Records.size(), 1u);
  std::ofstream(Folder / "x_1.asc") << "// 1.0 previous log file: /there/y.asc\n" << one;
  EXPECT_EQ(ReadWhole(Path).Records.size(), 1u);
  std::ofstream(Folder / "x_1.asc") << "// 1.0 previous log file: /there/x.asc\n" << one;
  EXPECT_EQ(ReadWhole(Path).Records.size(), 2u);
}

TEST_F(AscReaderTest, LineThatIsTooLongIsPassedOver) {
  const WholeInput input = ReadLines("1.0 ETH 1 Rx 3:" + std::string(5'000'000, '0') + "\n1.0 1 123 Rx d 0\n");
  EXPECT_EQ(input.Records.size(), 1u);
  EXPECT_EQ(input.Findings(), std::vector<std::string>{"unread: a line that is too long, line 5"});
}

TEST_F(AscReaderTest, PipeIsALogOnceItBegins) {
  ASSERT_EQ(mkfifo(Path.c_str(), 0600), 0);
  const int end = open(Path.c_str(), O_RDWR);
  bool waited = false;
  const auto reader = OpenInput(Path);
  reader->Attend({[&] { return !waited; }, [&] { waited = true; }});
  EXPECT_EQ(reader->Next(), nullptr);
  EXPECT_TRUE(reader->Stopped());
  waited = false;
  const auto again = OpenInput(Path);
  const std::string text = std::string(kHead) + "1.0 1 123 Rx d 0\n2.0 1 123 Rx d 0\n";
  ASSERT_EQ(write(end, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  again->Attend({[&] { return !waited; }, [&] { waited = true; }});
  EXPECT_NE(again->Next(), nullptr);
  EXPECT_EQ(again->Describe().Anchor->Utc, kBegin);
  close(end);
}

TEST_F(AscReaderTest, FormatIsKnownByTheContentBeforeTheName) {
  const std::string log = std::string(kHead) + "1.0 1 123 Rx d 0\n" + kTail;
  EXPECT_EQ(ReadText(log, "x.bin").Records.size(), 1u);
  EXPECT_EQ(ReadText("// by hand\n" + log, "y.asc").Records.size(), 1u);
  EXPECT_THROW(ReadText("// by hand\n" + log, "y.bin"), Failure);
}

}  // namespace
}  // namespace client

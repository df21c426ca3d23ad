// The records that entries become, byte for byte.
#include <gtest/gtest.h>

#include <array>

#include "support/MdfEntries.h"
#include "support/MdfFiles.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::CanItem;
using test::Counting;
using test::FlexRayItem;
using test::LinItem;

constexpr unsigned long kTime = 0x0807060504030201;
const std::string kT = "01 02 03 04 05 06 07 08";
const std::string kZeros8 = "00 00 00 00 00 00 00 00";

std::string Times(unsigned int count, const std::string& byte) {
  std::string bytes;
  while (count-- > 0) bytes += byte + " ";
  return bytes;
}

std::string Hex(const std::string& bytes) {
  static const char* const kDigits = "0123456789ABCDEF";
  std::string hex;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (!hex.empty()) hex += ' ';
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return hex;
}

/// An entry, the group that it belongs to, and the bytes there.
struct RecordCase {
  const char* Name;
  unsigned char BusType;
  std::vector<test::Record> Entries;
  unsigned int Group;
  std::string Records;
  std::string Vlsd;
};

void PrintTo(const RecordCase& record, std::ostream* out) { *out << record.Name; }

class BusRecord : public MdfFiles, public ::testing::WithParamInterface<RecordCase> {
 protected:
  /// Writes the entries into a file with one bus.
  void Write(const RecordCase& record) {
    const std::string path = NewFile();
    StrictMdfReader::Options options;
    options.Records = true;
    Options(options);
    MdfFile file(path.substr(0, path.size() - 4), 0);
    ASSERT_TRUE(file.Bus_Add(1, record.BusType));
    for (const test::Record& entry : record.Entries) ASSERT_TRUE(file.Data_Insert(test::Entry(entry)));
    ASSERT_TRUE(file.File_Close(kTime));
    Reader = std::make_unique<StrictMdfReader>(Contents(), options);
    Reader->ReadFile();
  }

  std::unique_ptr<StrictMdfReader> Reader;
};

TEST_P(BusRecord, HasTheBytesOfItsTable) {
  const RecordCase& record = GetParam();
  Write(record);
  unsigned int index = 0;
  for (uint64_t group = Reader->At(64).Links[0]; group != 0; group = Reader->At(group).Links[0]) {
    const bool meant = index++ == record.Group;
    EXPECT_EQ(Hex(Reader->DataBehind(Reader->At(group).Links[2])), meant ? Hex(Bytes(record.Records)) : "");
  }
  std::string vlsd;
  for (const uint64_t position : Reader->Of("CN")) {
    const auto& channel = Reader->At(position);
    const bool variable = StrictMdfReader::Number(channel.Data, 0, 1) == 1;
    if (variable) vlsd += Reader->DataBehind(channel.Links[5]);
  }
  EXPECT_EQ(Hex(vlsd), Hex(Bytes(record.Vlsd)));
}

std::string Name(const ::testing::TestParamInfo<RecordCase>& row) { return row.param.Name; }

template <class Item>
test::Record Made(Item item) {
  return test::Record(*item.At(kTime).Entry());
}

// --- CAN ---

RecordCase Can(const char* name, std::vector<test::Record> entries, const std::string& records,
               const std::string& vlsd) {
  return {name, 0, std::move(entries), 0, records, vlsd};
}

// time, ID, FlagsEx, DLC, DataLength, offset of the data
INSTANTIATE_TEST_SUITE_P(
    CanData, BusRecord,
    ::testing::Values(
        Can("Classic", {Made(CanItem().Id(0x123).Data({0x11, 0x22, 0x33}))},
            kT + "23 01 00 00  00 00 00 00  03 03" + kZeros8, "03 00 00 00 11 22 33"),
        Can("ExtendedTransmitted", {Made(CanItem().Id(0x18DAF110).Extended().Tx().Data({0xAA}))},
            kT + "10 F1 DA 98  40 00 00 00  01 01" + kZeros8, "01 00 00 00 AA"),
        Can("Empty", {Made(CanItem().Id(0x7FF).Data({}))}, kT + "FF 07 00 00  00 00 00 00  00 00" + kZeros8,
            "00 00 00 00"),
        Can("FdOf32Bytes", {Made(CanItem().Id(1).Fd().Data(test::Bytes(32, 0x55)))},
            kT + "01 00 00 00  00 10 00 00  0D 20" + kZeros8, "20 00 00 00" + Times(32, "55")),
        Can("FdOf64BytesWithAllFlags", {Made(CanItem().Id(1).Fd().Brs().Esi().Tx().Data(test::Bytes(64, 0x66)))},
            kT + "01 00 00 00  40 70 00 00  0F 40" + kZeros8, "40 00 00 00" + Times(64, "66")),
        Can("FdWithDlcNineHasTwelveBytes", {Made(CanItem().Id(1).Fd().Data(test::Bytes(12, 0x77)))},
            kT + "01 00 00 00  00 10 00 00  09 0C" + kZeros8, "0C 00 00 00" + Times(12, "77")),
        Can("ClassicWithDlcFifteenHasEightBytes", {Made(CanItem().Id(1).Data(test::Bytes(8, 0x88)).Dlc(15))},
            kT + "01 00 00 00  00 00 00 00  0F 08" + kZeros8, "08 00 00 00" + Times(8, "88")),
        Can("ClassicWithDlcNineHasEightBytes", {Made(CanItem().Id(1).Data(test::Bytes(8, 0x88)).Dlc(9))},
            kT + "01 00 00 00  00 00 00 00  09 08" + kZeros8, "08 00 00 00" + Times(8, "88")),
        Can("DlcBeyondFifteenHasNone", {Made(CanItem().Id(1).Fd().Data({1, 2}).Dlc(16))},
            kT + "01 00 00 00  00 10 00 00  10 00" + kZeros8, "00 00 00 00"),
        Can("ReservedByteIsR1", {Made(CanItem().Id(1).Data({1})).Put<unsigned char>(41, 4)},
            kT + "01 00 00 00  00 08 00 00  01 01" + kZeros8, "01 00 00 00 01"),
        Can("LogTriggerIsADataFrame", {Made(CanItem().RisingEdge())}, kT + "00 00 00 00  00 00 00 00  01 01" + kZeros8,
            "01 00 00 00 00"),
        Can("DataThatIsMissingIsZero", {Made(CanItem().Id(1).Data({9, 8, 7}).Dlc(6))},
            kT + "01 00 00 00  00 00 00 00  06 06" + kZeros8, "06 00 00 00 09 08 07 00 00 00"),
        Can("RecordCutInItsHeadIsZeroBehindIt", {Made(CanItem().Id(0x12345).Extended().Data({1})).CutTo(38)},
            kT + "45 23 00 00  00 00 00 00  00 00" + kZeros8, "00 00 00 00"),
        Can("RecordWithoutPayloadIsAllZero", {Made(CanItem().Id(1).Data({1})).CutTo(28)},
            kT + "00 00 00 00  00 00 00 00  00 00" + kZeros8, "00 00 00 00"),
        Can("SecondOffsetCountsLengthAndData",
            {Made(CanItem().Id(1).Data({1, 2, 3})), Made(CanItem().Id(2).Data({})), Made(CanItem().Id(3).Data({4}))},
            kT + "01 00 00 00  00 00 00 00  03 03  00 00 00 00 00 00 00 00" + kT +
                "02 00 00 00  00 00 00 00  00 00  07 00 00 00 00 00 00 00" + kT +
                "03 00 00 00  00 00 00 00  01 01  0B 00 00 00 00 00 00 00",
            "03 00 00 00 01 02 03  00 00 00 00  01 00 00 00 04")),
    Name);

/// time, ID, 0, direction, 0, constant data, 0, error flags
RecordCase CanError(const char* name, CanItem item, const std::string& direction, const std::string& last) {
  return {name,
          0,
          {Made(std::move(item.Id(0x321)))},
          1,
          kT + "21 03 00 00  00" + direction + "00  00 00 00 00 00 00 FF F5  00 00 00 00  05 00 00 00" + last,
          ""};
}

INSTANTIATE_TEST_SUITE_P(
    CanError, BusRecord,
    ::testing::Values(CanError("Kind1", CanItem().ErrorFrame(1), "00", "A1 A1 00"),
                      CanError("Kind2", CanItem().ErrorFrame(2), "00", "61 61 00"),
                      CanError("Kind3", CanItem().ErrorFrame(3), "00", "E1 E1 01"),
                      CanError("Kind4", CanItem().ErrorFrame(4), "00", "2D 2D 00"),
                      CanError("Kind5", CanItem().ErrorFrame(5), "00", "29 29 00"),
                      CanError("Kind6", CanItem().ErrorFrame(6), "00", "30 31 01"),
                      CanError("Kind7", CanItem().ErrorFrame(7), "00", "21 21 00"),
                      CanError("Kind0", CanItem().ErrorFrame(0), "00", "E1 E1 00"),
                      CanError("Kind8", CanItem().ErrorFrame(8), "00", "E1 E1 00"),
                      CanError("Overrun", CanItem().ErrorFrame(0).Overrun(), "00", "20 22 02"),
                      CanError("KnownKindGoesBeforeOverrun", CanItem().ErrorFrame(2).Overrun(), "00", "61 61 00"),
                      CanError("OverrunDataFrame", CanItem().Data({9, 1}).Overrun(), "00", "20 22 02"),
                      CanError("EmptyOverrunDataFrame", CanItem().Overrun(), "00", "20 22 02"),
                      CanError("SentKind1", CanItem().ErrorFrame(1).Tx(), "80", "81 81 00"),
                      CanError("SentKind2", CanItem().ErrorFrame(2).Tx(), "80", "41 41 00"),
                      CanError("SentKind3", CanItem().ErrorFrame(3).Tx(), "80", "C1 C1 01"),
                      CanError("SentKind4", CanItem().ErrorFrame(4).Tx(), "80", "0D 0D 00"),
                      CanError("SentKind5", CanItem().ErrorFrame(5).Tx(), "80", "09 09 00"),
                      CanError("SentKind6", CanItem().ErrorFrame(6).Tx(), "80", "10 11 01"),
                      CanError("SentKind7", CanItem().ErrorFrame(7).Tx(), "80", "01 01 00"),
                      CanError("SentKind9", CanItem().ErrorFrame(9).Tx(), "80", "C1 C1 00"),
                      CanError("SentOverrun", CanItem().ErrorFrame(0).Overrun().Tx(), "80", "00 02 02")),
    Name);

INSTANTIATE_TEST_SUITE_P(CanErrorId, BusRecord,
                         ::testing::Values(RecordCase{
                             "ExtendedIsTheTopBit",
                             0,
                             {Made(CanItem().Id(0x1ABCDEF0).Extended().ErrorFrame(7))},
                             1,
                             kT + "F0 DE BC 9A  00 00 00  00 00 00 00 00 00 FF F5  00 00 00 00  05 00 00 00 21 21 00",
                             ""}),
                         Name);

// --- LIN ---

const std::string kBaud20000 = "00 00 00 00 00 88 D3 40";

LinItem Lin() { return LinItem().Id(0x2A).Data({1, 2, 3}, 0x99).BitTime(400'000); }

RecordCase LinCase(const char* name, LinItem item, unsigned int kind, const std::string& behindTime) {
  return {name, 1, {Made(std::move(item))}, kind, kT + behindTime, ""};
}

const std::string kLinData = "2A 03  01 02 03 00 00 00 00 00";

// ID, length, data, flags, checksum, start of frame, baud rate
INSTANTIATE_TEST_SUITE_P(
    Lin, BusRecord,
    ::testing::Values(
        LinCase("Frame", Lin(), 0, kLinData + "02 99" + kT + kBaud20000),
        LinCase("SentFrame", Lin().Tx(), 0, kLinData + "07 99" + kT + kBaud20000),
        LinCase("FrameOfEightBytes", Lin().Data(Counting(8), 0x77), 0,
                "2A 08  01 02 03 04 05 06 07 08  02 77" + kT + kBaud20000),
        LinCase("FrameWithoutData", Lin().Data({}, 0x55), 0, "2A 00" + kZeros8 + "02 55" + kT + kBaud20000),
        LinCase("FrameOfLengthZero", Lin().Data({}, 0x55).DataLength(0), 0,
                "2A 00" + kZeros8 + "02 00" + kT + kBaud20000),
        LinCase("BaudRate", Lin().BitTime(416'667), 0, kLinData + "02 99" + kT + "C3 5F 47 DD 07 C0 D2 40"),
        LinCase("LongestBitTime", Lin().BitTime(0xFFFF'FFFF), 0, kLinData + "02 99" + kT + "27 6B EE 00 65 CD FD 3F"),
        LinCase("NoBitTime", Lin().BitTime(0), 0, kLinData + "02 99" + kT + "00 00 00 00 00 00 F0 7F"),
        LinCase("ChecksumError", Lin().ChecksumError(), 1, kLinData + "03 99" + kT + kBaud20000),
        LinCase("SentChecksumError", Lin().ChecksumError().Tx(), 1, kLinData + "0F 99" + kT + kBaud20000),
        LinCase("ReceiveError", Lin().ParityError(), 2, kLinData + "03" + kT + kBaud20000 + "13"),
        LinCase("ParityGoesBeforeSyncAndChecksum", Lin().ParityError().SyncError().ChecksumError(), 2,
                kLinData + "03" + kT + kBaud20000 + "13"),
        LinCase("SyncError", Lin().SyncError(), 3, kT + kBaud20000),
        LinCase("SyncGoesBeforeChecksum", Lin().SyncError().ChecksumError(), 3, kT + kBaud20000),
        LinCase("TransmissionError", Lin().TransmitError(), 4, "2A 03 01" + kT + kBaud20000),
        LinCase("TransmissionErrorGoesFirst", Lin().Flags(0x48 | 0x01 | 0x10 | 0x80), 4, "2A 03 01" + kT + kBaud20000),
        LinCase("TransmitErrorOfAReceiverIsAFrame", Lin().Flags(0x08), 0, kLinData + "02 99" + kT + kBaud20000),
        LinCase("WakeUp", Lin().WakeUp(), 5, kT + kBaud20000 + "03 04"),
        LinCase("SentWakeUp", Lin().WakeUp().Tx(), 5, kT + kBaud20000 + "03 00"),
        LinCase("ChecksumErrorGoesBeforeWakeUp", Lin().WakeUp().ChecksumError(), 1,
                kLinData + "03 99" + kT + kBaud20000),
        LinCase("ErrorOfAnOverrunMarkedEntry", Lin().Flags(0x04 | 0x80), 3, kT + kBaud20000)),
    Name);

test::Record Lin(size_t cutTo) { return Made(Lin()).CutTo(cutTo); }

INSTANTIATE_TEST_SUITE_P(LinOdd, BusRecord,
                         ::testing::Values(RecordCase{"DataCutOff",
                                                      1,
                                                      {Lin(37)},
                                                      0,
                                                      kT + "2A 03 01 02 00 00 00 00 00 00 02 00" + kT +
                                                          "00 00 00 00 00 00 F0 7F",
                                                      ""},
                                           RecordCase{"LengthBeyondTheData",
                                                      1,
                                                      {Made(Lin().Data(Counting(8), 0x77)).Put<unsigned char>(32, 200)},
                                                      0,
                                                      kT + "2A C7 01 02 03 04 05 06 07 08 02 00" + kT + kBaud20000,
                                                      ""}),
                         Name);

// --- FlexRay ---

RecordCase Flx(const char* name, FlexRayItem item, unsigned int group, const std::string& behindTime,
               const std::string& vlsd = "") {
  return {name, 2, {Made(std::move(item))}, group, kT + behindTime, vlsd};
}

FlexRayItem Frame() { return FlexRayItem().Slot(0x123).Cycle(9).HeaderCrc(0x2BC).Data({1, 2, 3, 4}); }

// slot, cycle with channel and direction, length, flags, CRC, words, offset of the data
INSTANTIATE_TEST_SUITE_P(
    FlexRayFrame, BusRecord,
    ::testing::Values(
        Flx("OnA", Frame(), 0, "23 01 09 04  00 00 08 00  BC 02 02" + kZeros8, "04 00 00 00 01 02 03 04"),
        Flx("OnB", Frame().Code(1), 0, "23 01 49 04  00 00 08 00  BC 02 02" + kZeros8, "04 00 00 00 01 02 03 04"),
        Flx("Sent", Frame().Tx(), 0, "23 01 89 04  00 00 08 00  BC 02 02" + kZeros8, "04 00 00 00 01 02 03 04"),
        Flx("OnBoth", Frame().Code(2), 0,
            "23 01 09 04  00 00 88 00  BC 02 02" + kZeros8 + kT +
                "23 01 49 04  00 00 88 00  BC 02 02  08 00 00 00 00 00 00 00",
            "04 00 00 00 01 02 03 04  04 00 00 00 01 02 03 04"),
        Flx("NullFrame", Frame().FrameFlags(0x04), 0, "23 01 09 04  01 00 08 00  BC 02 02" + kZeros8,
            "04 00 00 00 01 02 03 04"),
        Flx("SyncFrame", Frame().FrameFlags(0x08), 0, "23 01 09 04  04 00 08 00  BC 02 02" + kZeros8,
            "04 00 00 00 01 02 03 04"),
        Flx("StartUpFrame", Frame().FrameFlags(0x10), 0, "23 01 09 04  08 00 08 00  BC 02 02" + kZeros8,
            "04 00 00 00 01 02 03 04"),
        Flx("PayloadPreamble", Frame().FrameFlags(0x02), 0, "23 01 09 04  10 00 08 00  BC 02 02" + kZeros8,
            "04 00 00 00 01 02 03 04"),
        Flx("CycleIsSixBits", Frame().Cycle(0xFF), 0, "23 01 3F 04  00 00 08 00  BC 02 02" + kZeros8,
            "04 00 00 00 01 02 03 04"),
        Flx("WithoutPayload", Frame().Data({}), 0, "23 01 09 00  00 00 08 00  BC 02 00" + kZeros8, "00 00 00 00"),
        Flx("MostWords", Frame().Data(test::Bytes(254, 7)), 0, "23 01 09 FE  00 00 08 00  BC 02 7F" + kZeros8,
            "FE 00 00 00" + Times(254, "07")),
        Flx("MoreWordsThanThereAreBytes", Frame().PayloadWords(4), 0, "23 01 09 08  00 00 08 00  BC 02 04" + kZeros8,
            "08 00 00 00 01 02 03 04 00 00 00 00"),
        Flx("MoreWordsThanALengthHolds", Frame().PayloadWords(255), 0, "23 01 09 FE  00 00 08 00  BC 02 FF" + kZeros8,
            "FE 01 00 00 01 02 03 04" + Times(506, "00"))),
    Name);

// cycle, channel, error data
std::string ErrorData(const std::string& kind, const std::string& code) { return "23" + kind + code + Times(10, "00"); }

INSTANTIATE_TEST_SUITE_P(
    FlexRayError, BusRecord,
    ::testing::Values(
        Flx("SevenOnA", FlexRayItem().Kind(7).Slot(0x0023), 1, ErrorData("00 05 00 00 00", "00 00 01 00")),
        Flx("SevenOnB", FlexRayItem().Kind(7).Slot(0x0123), 1, ErrorData("01 05 00 00 00", "00 00 00 01")),
        Flx("SevenOnBoth", FlexRayItem().Kind(7).Slot(0x0223), 1, ErrorData("02 05 00 00 00", "00 00 01 01")),
        Flx("SevenElsewhere", FlexRayItem().Kind(7).Slot(0x0323), 1, ErrorData("03 05 00 00 00", "00 00 00 00")),
        Flx("EightOnBoth", FlexRayItem().Kind(8).Slot(0x0223), 1, ErrorData("02 05 00 00 00", "00 00 01 01")),
        Flx("NineOnA", FlexRayItem().Kind(9).Slot(0x0023), 1, ErrorData("00 05 00 00 00", "00 00 04 00")),
        Flx("NineOnB", FlexRayItem().Kind(9).Slot(0x0123), 1, ErrorData("01 05 00 00 00", "00 00 00 04")),
        Flx("NineOnBoth", FlexRayItem().Kind(9).Slot(0x0223), 1, ErrorData("02 05 00 00 00", "00 00 04 04")),
        Flx("TenOnA", FlexRayItem().Kind(10).Slot(0x0023), 1, ErrorData("00 05 00 00 00", "00 00 02 00")),
        Flx("TenOnB", FlexRayItem().Kind(10).Slot(0x0123), 1, ErrorData("01 05 00 00 00", "00 00 00 02")),
        Flx("TenOnBoth", FlexRayItem().Kind(10).Slot(0x0223), 1, ErrorData("02 05 00 00 00", "00 00 02 02")),
        Flx("Overrun", FlexRayItem().Kind(0).Slot(0x0123), 1, ErrorData("01 06 00 00 00", "00 00 00 00"))),
    Name);

std::string State(const std::string& a, const std::string& b) {
  return "00 00  00 00 00 00" + a + "00 00 00" + b + "00 00 00" + Times(36, "00");
}

RecordCase StateCase(const char* name, unsigned int code, const std::string& a, const std::string& b) {
  return Flx(name, FlexRayItem().Kind(4).Code(code), 3, State(a, b));
}

INSTANTIATE_TEST_SUITE_P(FlexRayState, BusRecord,
                         ::testing::Values(StateCase("Code0", 0, "02", "0F"), StateCase("Code1", 1, "02", "00"),
                                           StateCase("Code2", 2, "02", "04"), StateCase("Code3", 3, "01", "02"),
                                           StateCase("Code4", 4, "01", "03"), StateCase("Code5", 5, "02", "01"),
                                           StateCase("Code6", 6, "02", "20"), StateCase("Code7", 7, "02", "13"),
                                           StateCase("Code8", 8, "00", "0F"), StateCase("Code255", 255, "00", "0F")),
                         Name);

std::string Symbol(const std::string& channels) { return "00" + channels + Times(12, "00") + "00 00 28 AA 00"; }

INSTANTIATE_TEST_SUITE_P(
    FlexRayOther, BusRecord,
    ::testing::Values(Flx("StartCycle", FlexRayItem().Kind(3).Code(0x2D), 2, "2D"),
                      Flx("SymbolOnA", FlexRayItem().Kind(6).Code(0), 4, Symbol("43")),
                      Flx("SymbolOnB", FlexRayItem().Kind(6).Code(1), 4, Symbol("83")),
                      Flx("SymbolOnBoth", FlexRayItem().Kind(6).Code(2), 4, Symbol("C3")),
                      Flx("SymbolElsewhere", FlexRayItem().Kind(6).Code(3), 4, Symbol("03")),
                      Flx("SymbolAtTheEndOfAByte", FlexRayItem().Kind(6).Code(255), 4, Symbol("03")),
                      RecordCase{"FrameOfNoChannelNeedsNoRecord", 2, {Made(Frame().Code(3))}, 0, "", ""}),
    Name);

// --- what isn't recorded ---

struct RefusedCase {
  const char* Name;
  unsigned char BusType;
  test::Record Entry;
};

void PrintTo(const RefusedCase& refused, std::ostream* out) { *out << refused.Name; }

class RefusedEntry : public MdfFiles, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedEntry, LeavesNoRecord) {
  const std::string path = NewFile();
  MdfFile file(path.substr(0, path.size() - 4), 0);
  ASSERT_TRUE(file.Bus_Add(1, GetParam().BusType));
  EXPECT_FALSE(file.Data_Insert(test::Entry(GetParam().Entry)));
  EXPECT_EQ(file.Bus_Cycles(1, GetParam().BusType), 0U);
  EXPECT_TRUE(file.File_Close(0));
}

INSTANTIATE_TEST_SUITE_P(BusRecords, RefusedEntry,
                         ::testing::Values(RefusedCase{"LinEventTriggerOnly", 1, Made(Lin().Event())},
                                           RefusedCase{"LinOverrunOnly", 1, Made(Lin().Flags(0x80))},
                                           RefusedCase{"LinOverrunWakeUp", 1, Made(Lin().Flags(0x80 | 0x20))},
                                           RefusedCase{"LinOfAnotherKind", 1, Made(Lin()).Put<unsigned short>(28, 1)},
                                           RefusedCase{"FlexRayKind5", 2, Made(FlexRayItem().Kind(5))},
                                           RefusedCase{"FlexRayKind11", 2, Made(FlexRayItem().Kind(11))},
                                           RefusedCase{"FlexRayKind65535", 2, Made(FlexRayItem().Kind(65535))},
                                           RefusedCase{"CutHeader", 0, Made(CanItem().Data({1})).CutTo(27)},
                                           RefusedCase{"OnlyALength", 0, Made(CanItem().Data({1})).CutTo(4)},
                                           RefusedCase{"OtherChannel", 0, Made(CanItem().Channel(2).Data({1}))},
                                           RefusedCase{"OtherBus", 0, Made(LinItem().Data({1}, 1))},
                                           RefusedCase{"Ethernet", 0, Made(test::EthernetItem().Frame(Counting(60)))}),
                         [](const auto& row) { return row.param.Name; });

// --- the bus by itself ---

TEST(Bus, DlcTableIsThatOfCanFd) {
  const std::map<unsigned char, unsigned char> table = {{0, 0},   {1, 1},   {2, 2},   {3, 3},  {4, 4},   {5, 5},
                                                        {6, 6},   {7, 7},   {8, 8},   {9, 12}, {10, 16}, {11, 20},
                                                        {12, 24}, {13, 32}, {14, 48}, {15, 64}};
  EXPECT_EQ(Bus::_canDlcBytes, table);
  EXPECT_EQ(Bus::CreateMap_CanDlc(), table);
}

TEST(Bus, FramesAreRefusedWhereTheirDataHaveNoChannel) {
  for (const auto& [type, entry] : {std::pair(Bus::Info::Can, test::Record(*CanItem().Data({1}).Entry())),
                                    std::pair(Bus::Info::FlexRay, test::Record(*FlexRayItem().Data({1, 2}).Entry()))}) {
    SCOPED_TRACE(type);
    FileStream stream;
    MDF::DGBLOCK group(false);
    Bus bus(1, type, &group, stream);
    unsigned long time = 1;
    EXPECT_FALSE(bus.Data_Insert(test::Entry(entry), time));
    EXPECT_EQ(bus.CycleCount_Get(), 0U);
  }
}

/// A bus in a file that is never opened.
class LoneBus : public ::testing::Test {
 protected:
  void Add(unsigned char type) {
    ASSERT_TRUE(Root.Bus_Add(1, type));
    Ptr = Root.Bus_Get(1, type);
  }
  bool Insert(const test::EntryPtr& entry) { return Root.Data_Insert(Ptr, test::Entry(test::Record(*entry))); }

  FileStream Stream;
  MDF::HDBLOCK* Header = new MDF::HDBLOCK(0);
  BusRoot Root{Header, Stream};
  Tree Blocks{Header};
  Bus* Ptr = nullptr;
};

TEST_F(LoneBus, CountsRecordsAndDataPerGroup) {
  Add(0);
  ASSERT_TRUE(Insert(CanItem().Data({1, 2, 3}).Entry()));
  ASSERT_TRUE(Insert(CanItem().Data({4}).Entry()));
  ASSERT_TRUE(Insert(CanItem().ErrorFrame(1).Entry()));
  EXPECT_EQ(Ptr->CycleCount_Get(0), 2U);
  EXPECT_EQ(Ptr->CycleCount_Get(1), 1U);
  EXPECT_EQ(Ptr->CycleCount_Get(), 3U);
  EXPECT_EQ(Ptr->DataBytes_Get(0), 12U);
  EXPECT_EQ(Ptr->DataBytes_VLSD(0), 4U);
  EXPECT_EQ(Ptr->DataBytes_VLSD(1), 0U);
  EXPECT_EQ(Ptr->DataBytes_Est(), 2 * 26 / 4U + 12 / 4U + 34 / 4U);
  EXPECT_EQ(Root.DataBytes_Est(), Ptr->DataBytes_Est());
  Root.Bus_Reset();
  EXPECT_EQ(Ptr->CycleCount_Get(), 0U);
  EXPECT_EQ(Ptr->DataBytes_Get(0), 0U);
  EXPECT_EQ(Ptr->DataBytes_Est(), 0U);
}

TEST_F(LoneBus, ResetAfterAFlushTakesTheListsOutOfTheTree) {
  const test::TemporaryDirectory directory;
  Stream.open("bus.mf4", std::ios_base::binary | std::ios_base::trunc);
  Add(0);
  PlaceAndWrite(*Header, Stream);
  ASSERT_TRUE(Insert(CanItem().Data({1, 2, 3}).Entry()));
  ASSERT_TRUE(Root.Write());
  const MDF::DGBLOCK* group = Ptr->Block_Get(0);
  EXPECT_NE(group->Links_Get(MDF::kDgData), nullptr);
  Root.Bus_Reset();
  EXPECT_EQ(group->Links_Get(MDF::kDgData), nullptr);
  EXPECT_FALSE(Ptr->Data_Waiting());
}

// Frames without data fill a block of records long before their lengths fill one.
TEST_F(LoneBus, RecordsCountInEachFileOnceTheirDataAreInItToo) {
  constexpr unsigned long kMoreThanABlock = 0x200000 / 26 + 1;
  const test::TemporaryDirectory directory;
  Add(0);
  const auto* channels = static_cast<MDF::CGBLOCK*>(Ptr->Block_Get(0)->Links_Get(MDF::kDgFirstGroup));
  const test::EntryPtr frame = CanItem().Data({}).Entry();
  for (const char* name : {"first.mf4", "second.mf4"}) {
    SCOPED_TRACE(name);
    Stream.open(name, std::ios_base::binary | std::ios_base::trunc);
    PlaceAndWrite(*Header, Stream);
    EXPECT_EQ(channels->CycleCount_Get(), 0U);
    for (unsigned long i = 0; i < kMoreThanABlock; ++i) ASSERT_TRUE(Insert(frame));
    EXPECT_EQ(channels->CycleCount_Get(), 0U) << "a block of records is there, none of their lengths";
    ASSERT_TRUE(Root.Write());
    EXPECT_EQ(channels->CycleCount_Get(), kMoreThanABlock);
    Stream.close();
    Header->Block_Reset(true);
    Root.Bus_Reset();
  }
}

TEST_F(LoneBus, GroupsBeyondTheLastAreOutOfRange) {
  Add('c');
  EXPECT_EQ(Ptr->Type(), Bus::Info::Can);
  EXPECT_TRUE(Insert(CanItem().Data({1}).Entry()));
  EXPECT_THROW((void)Insert(CanItem().ErrorFrame(1).Entry()), std::out_of_range);
  EXPECT_THROW((void)Ptr->Block_Get(1), std::out_of_range);
  EXPECT_THROW((void)Ptr->CycleCount_Get(1), std::out_of_range);
}

TEST_F(LoneBus, BlocksBeginByThemselves) {
  Add(0);
  EXPECT_TRUE(Insert(CanItem().Data({1}).Entry()));
  EXPECT_TRUE(Ptr->Data_NewBlock());
  EXPECT_TRUE(Root.Data_NewBlock());
  EXPECT_TRUE(Ptr->Data_Waiting()) << "nothing was written";
}

TEST_F(LoneBus, ReadsEveryEntryByItsOwnType) {
  Add(1);
  EXPECT_TRUE(Insert(LinItem().Channel(9).Data({1}, 2).Entry()));
  EXPECT_EQ(Ptr->CycleCount_Get(0), 1U);
}

// The rows stand in the order of precedence: the first one whose bits are all set decides the group.
TEST_F(LoneBus, ChoosesTheGroupOfALinEntryByAllItsFlags) {
  constexpr unsigned int kGroups = 6;
  constexpr unsigned int kNone = kGroups;
  struct Row {
    unsigned int Bits;
    unsigned int Group;
  };
  constexpr Row kRows[] = {{0x48, 4},     {0x01, 2},     {0x04, 3}, {0x02, 1},
                           {0x10, kNone}, {0x80, kNone}, {0x20, 5}, {0x00, 0}};
  Add(1);
  std::array<unsigned long, kGroups> expected{};
  for (unsigned int flags = 0; flags <= 0xFFFF; ++flags) {
    const Row* row = kRows;
    while ((flags & row->Bits) != row->Bits) ++row;
    if (row->Group != kNone) ++expected[row->Group];
    const auto entry = test::Record(*Lin().Entry()).Put(30, static_cast<unsigned short>(flags));
    ASSERT_EQ(Root.Data_Insert(Ptr, test::Entry(entry)), row->Group != kNone) << std::hex << flags;
    for (unsigned int group = 0; group < kGroups; ++group) {
      ASSERT_EQ(Ptr->CycleCount_Get(group), expected[group]) << std::hex << flags;
    }
  }
}

TEST_F(LoneBus, NumbersItsGroups) {
  Add(2);
  const std::vector<unsigned int> groups = {1, 0, 0, 2, 3, ~0U, 4, 1, 1, 1, 1, ~0U};
  for (unsigned int kind = 0; kind < groups.size(); ++kind) EXPECT_EQ(Ptr->ChannelNum_Get(kind, false), groups[kind]);
}

TEST_F(LoneBus, WithoutAFileCollectsUntilABlockIsFull) {
  Add(0);
  const test::EntryPtr entry = CanItem().ErrorFrame(1).Entry();
  unsigned long records = 0;
  while (Insert(entry)) ++records;
  EXPECT_EQ(records, (0x200000 - 48) / 34);
  EXPECT_EQ(Ptr->CycleCount_Get(1), records);
  EXPECT_FALSE(Root.Write());
  EXPECT_TRUE(Insert(CanItem().Data({1}).Entry()));  // the other group isn't full
}

TEST_F(LoneBus, RecordIdsRunTo255AndWrap) {
  unsigned char id = 7;
  EXPECT_EQ(Root.Mod_RecId(id), 0);
  EXPECT_EQ(id, 0);
  for (unsigned int next = 1; next <= 255; ++next) EXPECT_EQ(Root.NextID(), next);
  EXPECT_EQ(Root.Mod_RecId(id), 255);
  EXPECT_EQ(Root.NextID(), 0);
}

TEST_F(LoneBus, TestBusTakesTheEntriesOfACanBusThatIsNotThere) {
  Add('c');
  const test::Record entry(*CanItem().Data({1}).Entry());
  EXPECT_TRUE(Root.Data_Insert(test::Entry(entry)));
  EXPECT_EQ(Ptr->CycleCount_Get(), 1U);
  ASSERT_TRUE(Root.Bus_Add(1, 0));
  EXPECT_TRUE(Root.Data_Insert(test::Entry(entry)));
  EXPECT_EQ(Ptr->CycleCount_Get(), 1U);
  EXPECT_EQ(Root.Bus_Get(1, 0)->CycleCount_Get(), 1U);
}

TEST_F(LoneBus, EntryWithoutAWholeHeaderIsRefusedWhereverItIsGiven) {
  Add(0);
  const test::Record cut = test::Record(*CanItem().Data({1}).Entry()).CutTo(27);
  EXPECT_FALSE(Root.Data_Insert(test::Entry(cut)));
  EXPECT_FALSE(Root.Data_Insert(Ptr, test::Entry(cut)));
  EXPECT_EQ(Ptr->CycleCount_Get(), 0U);
}

TEST_F(LoneBus, BusIsTakenOverOnce) {
  auto* bus = BusGenerator::Get_LIN(5, Root);
  ASSERT_NE(bus, nullptr);
  EXPECT_TRUE(Root.BusChannel_Available(BusRoot::channelKey_t(5, 1)));
  EXPECT_TRUE(Root.Bus_Add(bus));
  EXPECT_FALSE(Root.BusChannel_Available(BusRoot::channelKey_t(5, 1)));
  EXPECT_FALSE(Root.Bus_Add(bus));
  EXPECT_FALSE(Root.Bus_Add(nullptr));
  EXPECT_EQ(Root.Bus_Get(5, 1), bus);
}

}  // namespace

#include "record/RecordView.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/EntryBuilder.h"

using namespace test;

namespace {

constexpr unsigned int kKnownFlexRayTypes = 11;

Bytes Copied(RecordPayload bytes) { return {bytes.begin(), bytes.end()}; }

/// The same record, followed by zeros up to a length at which nothing is missing.
Record Completed(const Record& record) {
  Bytes bytes(record.Data(), record.Data() + record.Length());
  bytes.resize(2000);
  return Record(bytes);
}

/// A record of a bus that the library doesn't know.
Record OfBus(unsigned int bus) { return Record(*CanItem().Entry()).Put(24, static_cast<unsigned char>(bus)); }

Record LinWithFlags(unsigned int flags, size_t dataLength = 3) {
  return Record(*LinItem().Data({1, 2}, 0x3C).DataLength(dataLength).Entry())
      .Put(30, static_cast<unsigned short>(flags));
}

Record FlexRayOfType(unsigned int type) { return Record(*FlexRayItem().Kind(type).Entry()); }

}  // namespace

// ---- The header

TEST(RecordView, ReadsTheHeader) {
  const auto entry = CanItem().Channel(7).At(0x1122334455667788).Relative(-5).Data({1}).Entry();
  const RecordView record(*entry->GetEntry());
  EXPECT_EQ(record.Bus(), BusType_Can);
  EXPECT_EQ(record.ChannelId(), 7U);
  EXPECT_EQ(record.Timestamp(), 0x1122334455667788U);
  EXPECT_EQ(record.RelativeTimestamp(), -5);
  EXPECT_EQ(record.Length(), 45U);
  EXPECT_EQ(record.Bytes().data(), reinterpret_cast<const unsigned char*>(entry->GetEntry()));
  EXPECT_EQ(record.Bytes().size(), 45U);
  EXPECT_EQ(record.Payload().data(), record.Bytes().data() + 28);
  EXPECT_EQ(record.Payload().size(), 17U);
}

TEST(RecordView, ReadsARecordAtAnyAddress) {
  const auto entry = CanItem().Channel(7).At(0x1122334455667788).Id(0x123).Data({0xA1}).Entry();
  Bytes buffer(8 + entry->GetLength());
  for (size_t offset = 0; offset < 8; ++offset) {
    entry->CopyTo(buffer.data() + offset, 0x0102030405060708);
    const RecordView record(buffer.data() + offset, entry->GetLength());
    EXPECT_EQ(record.RelativeTimestamp(), 0x0102030405060708);
    EXPECT_EQ(record.Timestamp(), 0x1122334455667788U);
    EXPECT_EQ(record.Can().Identifier, 0x123U);
    EXPECT_EQ(Copied(record.Can().Data()), Bytes{0xA1});
  }
}

TEST(RecordView, FindsARecordsOwnLengthAtAnyAddress) {
  const auto entry = CanItem().Data({1, 2, 3}).Entry();
  for (size_t offset = 0; offset < 8; ++offset) {
    Bytes buffer(offset + entry->GetLength());
    entry->CopyTo(buffer.data() + offset, 0);
    EXPECT_EQ(RecordView::LengthAt(buffer.data() + offset), 47U);
  }
  const Bytes lengthAlone = {0x78, 0x56, 0x34, 0x12};
  EXPECT_EQ(RecordView::LengthAt(lengthAlone.data()), 0x12345678U);
}

TEST(RecordView, IsARecordAgainForCallsThatTakeNoView) {
  const auto entry = CanItem().Channel(7).Entry();
  EXPECT_EQ(&RecordView(*entry->GetEntry()).Entry(), entry->GetEntry());
}

TEST(RecordView, BelievesTheLengthThatItIsGivenRatherThanTheRecordsOwn) {
  const Record whole(*CanItem().Data({1, 2, 3, 4}).Entry());
  const RecordView record(whole.Data(), 46);
  EXPECT_EQ(record.Length(), 46U);
  EXPECT_EQ(Copied(record.Can().Data()), (Bytes{1, 2}));
}

// ---- The fields of each bus, from records that are whole

TEST(RecordView, ReadsCan) {
  const Record bytes =
      Record(*CanItem().Id(0x18FE0102).Extended().Fd().Brs().Tx().Data(Counting(12)).Entry()).Put(41, '\x5A');
  const CanView can = RecordView(bytes.Get()).Can();
  EXPECT_EQ(can.Identifier, 0xD8FE0102U);
  EXPECT_EQ(can.PlainIdentifier(), 0x18FE0102U);
  EXPECT_EQ(can.Flags, 0x2BU);
  EXPECT_EQ(can.Reserved, 0x5AU);
  EXPECT_EQ(can.Dlc, 9U);
  EXPECT_EQ(can.DataLength, 12U);
  EXPECT_EQ(Copied(can.Data()), Counting(12));
  EXPECT_EQ(can.Code(), 1U);
  EXPECT_TRUE(can.Has(QOR_TRACE_CAN_BRS));
  EXPECT_FALSE(can.Has(QOR_TRACE_CAN_ESI));
}

TEST(RecordView, ReadsLin) {
  const Record bytes = Record(*LinItem().Id(0xD0).Data({1, 2}, 0x3C).Tx().BitTime(416667).Entry());
  const LinView lin = RecordView(bytes.Get()).Lin();
  EXPECT_EQ(lin.Reserved, 0U);
  EXPECT_EQ(lin.Flags, QOR_TRACE_LIN_TRANSMITTED);
  EXPECT_EQ(lin.DataLength, 3U);
  EXPECT_EQ(lin.DataCount(), 2U);
  EXPECT_EQ(lin.Identifier, 0xD0U);
  EXPECT_EQ(lin.PlainIdentifier(), 0x10U);
  EXPECT_EQ(Copied(lin.Data()), (Bytes{1, 2}));
  EXPECT_EQ(lin.Checksum(), 0x3C);
  EXPECT_EQ(lin.BitTime, 416667U);
  EXPECT_EQ(lin.BitTimeInNanoseconds(), 52083U);
}

TEST(RecordView, ReadsFlexRay) {
  const auto entry =
      FlexRayItem().Tx().Code(2).FrameFlags(0x18).Slot(0x7FE).Cycle(63).HeaderCrc(0x2A5).Data(Counting(4)).Entry();
  const FlexRayView flexRay = RecordView(*entry->GetEntry()).FlexRay();
  EXPECT_EQ(flexRay.Type, FlexRayItemType::TransmittedFrame);
  EXPECT_EQ(flexRay.Channel, 2U);
  EXPECT_EQ(flexRay.FrameFlags, 0x18U);
  EXPECT_TRUE(flexRay.Has(QOR_TRACE_FLEXRAY_SYNC));
  EXPECT_FALSE(flexRay.Has(QOR_TRACE_FLEXRAY_NULL));
  EXPECT_EQ(flexRay.SlotId, 0x7FEU);
  EXPECT_EQ(flexRay.Cycle, 63U);
  EXPECT_EQ(flexRay.HeaderCrc, 0x2A5U);
  EXPECT_EQ(flexRay.PayloadLength, 2U);
  EXPECT_EQ(flexRay.PayloadBytes(), 4U);
  EXPECT_EQ(Copied(flexRay.Data()), Counting(4));
}

TEST(RecordView, ReadsAFlexRayError) {
  const auto entry = FlexRayItem().Kind(7).Code(9).Slot(0x0105).Entry();
  const FlexRayView flexRay = RecordView(*entry->GetEntry()).FlexRay();
  EXPECT_TRUE(flexRay.IsError());
  EXPECT_EQ(flexRay.ErrorCycle(), 5U);
  EXPECT_EQ(flexRay.ErrorChannel(), 1U);
}

TEST(RecordView, ReadsEthernet) {
  const auto entry = EthernetItem().Tx().CrcError().Frame(Counting(60)).Entry();
  const EthernetView ethernet = RecordView(*entry->GetEntry()).Ethernet();
  EXPECT_EQ(ethernet.Type, EthernetItemType::Frame);
  EXPECT_TRUE(ethernet.Has(QOR_TRACE_ETHERNET_TRANSMITTED));
  EXPECT_EQ(ethernet.Flags, 3U);
  EXPECT_EQ(ethernet.FrameLength, 60U);
  EXPECT_EQ(Copied(ethernet.Frame()), Counting(60));
}

// ---- The kinds

namespace {

struct KindCase {
  const char* Name;
  Record Bytes;
  RecordKind Kind;
  bool Frame = false;
  bool Transmitted = false;
  bool Overrun = false;
};

void PrintTo(const KindCase& row, std::ostream* out) { *out << row.Name; }

class KindOf : public testing::TestWithParam<KindCase> {};

}  // namespace

TEST_P(KindOf, RecordIsThatOfTheTable) {
  const KindCase& row = GetParam();
  const RecordView record(row.Bytes.Get());
  EXPECT_EQ(record.Kind(), row.Kind);
  EXPECT_EQ(record.IsFrame(), row.Frame);
  EXPECT_EQ(record.IsTransmitted(), row.Transmitted);
  EXPECT_EQ(record.HasOverrunMark(), row.Overrun);
}

INSTANTIATE_TEST_SUITE_P(
    Can, KindOf,
    testing::Values(KindCase{"Classic", Record(*CanItem().Entry()), RecordKind::CanFrame, true},
                    KindCase{"ClassicSent", Record(*CanItem().Tx().Entry()), RecordKind::CanFrame, true, true},
                    KindCase{"ClassicBeforeALoss", Record(*CanItem().Overrun().Entry()), RecordKind::CanFrame, true,
                             false, true},
                    KindCase{"Fd", Record(*CanItem().Fd().Entry()), RecordKind::CanFdFrame, true},
                    KindCase{"ErrorFrame", Record(*CanItem().ErrorFrame(1).Entry()), RecordKind::CanErrorFrame},
                    KindCase{"FdErrorFrame", Record(*CanItem().Fd().ErrorFrame(1).Entry()), RecordKind::CanErrorFrame},
                    KindCase{"Event", Record(*CanItem().RisingEdge().Entry()), RecordKind::CanEvent},
                    KindCase{"EventBeforeErrorFrame", Record(*CanItem().Flags(0x1C).Entry()), RecordKind::CanEvent}),
    [](const auto& row) { return row.param.Name; });

INSTANTIATE_TEST_SUITE_P(
    Lin, KindOf,
    testing::Values(KindCase{"Frame", LinWithFlags(0), RecordKind::LinFrame, true},
                    KindCase{"FrameSent", LinWithFlags(0x40), RecordKind::LinFrame, true, true},
                    KindCase{"FrameBeforeALoss", LinWithFlags(0x80), RecordKind::LinFrame, true, false, true},
                    KindCase{"FrameWithChecksumAlone", LinWithFlags(0, 1), RecordKind::LinFrame, true},
                    KindCase{"NoResponse", LinWithFlags(0, 0), RecordKind::LinNoResponse},
                    KindCase{"WakeUp", LinWithFlags(0x20), RecordKind::LinWakeUp},
                    KindCase{"WakeUpWithoutData", LinWithFlags(0x20, 0), RecordKind::LinWakeUp},
                    KindCase{"Event", LinWithFlags(0x10), RecordKind::LinEvent},
                    KindCase{"ChecksumError", LinWithFlags(0x02), RecordKind::LinChecksumError},
                    KindCase{"SyncError", LinWithFlags(0x04), RecordKind::LinSyncError},
                    KindCase{"ParityError", LinWithFlags(0x01), RecordKind::LinParityError},
                    KindCase{"TransmitError", LinWithFlags(0x48), RecordKind::LinTransmitError, false, true},
                    KindCase{"HalfATransmitError", LinWithFlags(0x08), RecordKind::LinFrame, true},
                    KindCase{"OneThatReadersSkip", LinWithFlags(0xC0).Put(28, '\1'), RecordKind::Unknown}),
    [](const auto& row) { return row.param.Name; });

INSTANTIATE_TEST_SUITE_P(
    FlexRay, KindOf,
    testing::Values(KindCase{"Received", FlexRayOfType(1), RecordKind::FlexRayFrame, true},
                    KindCase{"Sent", FlexRayOfType(2), RecordKind::FlexRayFrame, true, true},
                    KindCase{"Null", Record(*FlexRayItem().FrameFlags(4).Entry()), RecordKind::FlexRayNullFrame, true},
                    KindCase{"NullSent", Record(*FlexRayItem().Tx().FrameFlags(4).Entry()),
                             RecordKind::FlexRayNullFrame, true, true},
                    KindCase{"CycleStart", FlexRayOfType(3), RecordKind::FlexRayCycleStart},
                    KindCase{"CycleStartWithANullFlag", Record(*FlexRayItem().Kind(3).FrameFlags(4).Entry()),
                             RecordKind::FlexRayCycleStart},
                    KindCase{"State", FlexRayOfType(4), RecordKind::FlexRayState},
                    KindCase{"Status", FlexRayOfType(5), RecordKind::FlexRayStatus},
                    KindCase{"Symbol", FlexRayOfType(6), RecordKind::FlexRaySymbol},
                    KindCase{"NitSyntaxError", FlexRayOfType(7), RecordKind::FlexRayError},
                    KindCase{"SyntaxError", FlexRayOfType(8), RecordKind::FlexRayError},
                    KindCase{"NitBoundaryViolation", FlexRayOfType(9), RecordKind::FlexRayError},
                    KindCase{"ContentError", FlexRayOfType(10), RecordKind::FlexRayError},
                    KindCase{"Overrun", FlexRayOfType(0), RecordKind::OverrunMark, false, false, true}),
    [](const auto& row) { return row.param.Name; });

INSTANTIATE_TEST_SUITE_P(
    Ethernet, KindOf,
    testing::Values(
        KindCase{"Frame", Record(*EthernetItem().Entry()), RecordKind::EthernetFrame, true},
        KindCase{"FrameSent", Record(*EthernetItem().Tx().Entry()), RecordKind::EthernetFrame, true, true},
        KindCase{"CrcError", Record(*EthernetItem().CrcError().Entry()), RecordKind::EthernetCrcError, true},
        KindCase{"Custom", Record(*EthernetItem().Kind(2).CrcError().Entry()), RecordKind::EthernetRecord},
        KindCase{"AnyOther", Record(*EthernetItem().Kind(3).Tx().Entry()), RecordKind::EthernetRecord, false, true},
        KindCase{"Overrun", Record(*EthernetItem().Kind(0).Entry()), RecordKind::OverrunMark, false, false, true}),
    [](const auto& row) { return row.param.Name; });

TEST(RecordView, OfAnUnknownBusHasNoKind) {
  for (const unsigned int bus : {4U, 5U, 255U}) {
    const Record bytes = OfBus(bus).Put(40, '\xFF').Put(30, '\x01');
    const RecordView record(bytes.Get());
    EXPECT_EQ(record.Bus(), bus);
    EXPECT_EQ(record.Kind(), RecordKind::Unknown);
    EXPECT_FALSE(record.IsWellFormed());
    EXPECT_FALSE(record.IsCutShort());
    EXPECT_FALSE(record.IsTransmitted());
    EXPECT_FALSE(record.HasOverrunMark());
  }
}

TEST(RecordView, OfFlexRayAboveTheLastKnownTypeHasNoKind) {
  for (unsigned int type = kKnownFlexRayTypes; type <= 0xFFFF; ++type) {
    const Record bytes = FlexRayOfType(type);
    ASSERT_EQ(RecordView(bytes.Get()).Kind(), RecordKind::Unknown) << type;
    ASSERT_TRUE(RecordView(bytes.Get()).IsWellFormed()) << type;
  }
}

// The rows stand in the order of precedence: the first one whose bits are all set decides the kind.
TEST(RecordView, LinFlagsHaveOneOrderOfPrecedence) {
  struct Row {
    unsigned int Bits;
    RecordKind Kind;
  };
  constexpr Row kPrecedence[] = {{0x0048, RecordKind::LinTransmitError}, {0x0001, RecordKind::LinParityError},
                                 {0x0004, RecordKind::LinSyncError},     {0x0002, RecordKind::LinChecksumError},
                                 {0x0010, RecordKind::LinEvent},         {0x0020, RecordKind::LinWakeUp},
                                 {0x0000, RecordKind::LinFrame}};
  for (unsigned int flags = 0; flags <= 0xFFFF; ++flags) {
    const auto* row = kPrecedence;
    while ((flags & row->Bits) != row->Bits) ++row;
    const Record bytes = LinWithFlags(flags);
    const RecordView record(bytes.Get());
    ASSERT_EQ(record.Kind(), row->Kind) << std::hex << flags;
    ASSERT_EQ(record.IsTransmitted(), flags / 0x40 % 2 == 1) << std::hex << flags;
    ASSERT_EQ(record.HasOverrunMark(), flags / 0x80 % 2 == 1) << std::hex << flags;
  }
}

TEST(RecordView, OnlyALinFrameThatWasSentHasATransmitError) {
  for (unsigned int flags = 0; flags <= 0xFF; ++flags) {
    const Record bytes = LinWithFlags(flags);
    EXPECT_EQ(RecordView(bytes.Get()).Lin().HasTransmitError(), flags / 0x40 % 2 == 1 && flags / 0x08 % 2 == 1)
        << flags;
  }
}

TEST(RecordView, FlexRayTypeTellsWhereTheChannelStands) {
  const std::optional<unsigned char> none;
  const std::optional<unsigned char> byte40 = 2;
  const std::optional<unsigned char> byte43 = 1;
  const std::optional<unsigned char> expected[] = {none,   byte40, byte40, none,   none,   none,
                                                   byte40, byte43, byte43, byte43, byte43, none};
  for (unsigned int type = 0; type < std::size(expected); ++type) {
    const auto entry = FlexRayItem().Kind(type).Code(2).EventCode(1).Entry();
    EXPECT_EQ(RecordView(*entry->GetEntry()).FlexRay().ChannelCode(), expected[type]) << type;
  }
}

TEST(RecordView, OnlyFlexRayFramesHaveData) {
  for (unsigned int type = 0; type <= kKnownFlexRayTypes; ++type) {
    const auto entry = FlexRayItem().Kind(type).Data({1, 2}).Entry();
    const bool frame = type == 1 || type == 2;
    EXPECT_EQ(Copied(RecordView(*entry->GetEntry()).FlexRay().Data()), frame ? (Bytes{1, 2}) : Bytes()) << type;
  }
}

// ---- Records that end early. They lie in heap blocks of their own size, where a sanitizer sees what is read past the end.

TEST(RecordView, OfACutCanRecordReadsWhatIsThere) {
  const Record whole =
      Record(*CanItem().Id(0x18FE0102).Extended().Flags(0x82).Dlc(8).Data(Counting(8, 0x81)).Entry()).Put(41, '\x5A');
  for (size_t length = 28; length <= whole.Length(); ++length) {
    SCOPED_TRACE(length);
    const Record cut = Record(whole).CutTo(length);
    const Record completed = Completed(cut);
    const CanView can = RecordView(cut.Get()).Can();
    const CanView expected = RecordView(completed.Get()).Can();
    EXPECT_EQ(can.Identifier, expected.Identifier);
    EXPECT_EQ(can.Flags, expected.Flags);
    EXPECT_EQ(can.Reserved, expected.Reserved);
    EXPECT_EQ(can.Dlc, expected.Dlc);
    EXPECT_EQ(can.DataLength, expected.DataLength);
    EXPECT_EQ(can.Code(), expected.Code());
    EXPECT_EQ(Copied(can.Data()), Counting(length < 44 ? 0 : length - 44, 0x81));
    EXPECT_EQ(Copied(can.Held), Copied(can.Data()));
    EXPECT_EQ(RecordView(cut.Get()).IsCutShort(), length < 44);
    EXPECT_EQ(RecordView(cut.Get()).Kind(), length < 44 ? RecordKind::Unknown : RecordKind::CanFrame);
    EXPECT_EQ(RecordView(cut.Get()).IsTransmitted(), length >= 44);
    EXPECT_EQ(RecordView(cut.Get()).HasOverrunMark(), length >= 44);
  }
}

TEST(RecordView, OfACutLinRecordReadsWhatIsThere) {
  const Record whole(*LinItem().Id(0x91).Flags(0xC0).Data(Counting(8, 0x81), 0x77).BitTime(0x12345678).Entry());
  for (size_t length = 28; length <= whole.Length(); ++length) {
    SCOPED_TRACE(length);
    const Record cut = Record(whole).CutTo(length);
    const Record completed = Completed(cut);
    const LinView lin = RecordView(cut.Get()).Lin();
    const LinView expected = RecordView(completed.Get()).Lin();
    EXPECT_EQ(lin.Reserved, expected.Reserved);
    EXPECT_EQ(lin.Flags, expected.Flags);
    EXPECT_EQ(lin.DataLength, expected.DataLength);
    EXPECT_EQ(lin.Identifier, expected.Identifier);
    EXPECT_EQ(lin.BitTime, expected.BitTime);
    EXPECT_EQ(Copied(lin.Data()), Counting(length < 35 ? 0 : std::min<size_t>(length - 35, 8), 0x81));
    EXPECT_EQ(lin.Checksum(), length < 44 ? std::optional<unsigned char>() : 0x77);
    EXPECT_EQ(RecordView(cut.Get()).IsCutShort(), length < 35);
    EXPECT_EQ(RecordView(cut.Get()).Kind(), length < 35 ? RecordKind::Unknown : RecordKind::LinFrame);
    EXPECT_EQ(RecordView(cut.Get()).IsTransmitted(), length >= 35);
    EXPECT_EQ(RecordView(cut.Get()).HasOverrunMark(), length >= 35);
  }
}

// The bytes after the record are not zero here: what is read past its end shows without a sanitizer as well.
TEST(RecordView, LinChecksumIsNoneWhereTheRecordEndsBeforeIt) {
  for (unsigned int count = 0; count <= 8; ++count) {
    SCOPED_TRACE(count);
    const Record whole(*LinItem().Data(Counting(count, 0x81), 0x77).BitTime(0x12345678).Entry());
    const unsigned int checksum = 35 + count;
    EXPECT_EQ(RecordView(whole.Data(), checksum).Lin().Checksum(), std::nullopt);
    EXPECT_EQ(RecordView(whole.Data(), checksum + 1).Lin().Checksum(), 0x77);
  }
}

TEST(RecordView, OfACutFlexRayRecordReadsWhatIsThere) {
  const Record whole(
      *FlexRayItem().Tx().Code(2).FrameFlags(0x1A).Slot(0x7FE).Cycle(63).HeaderCrc(0x2A5).Data(Counting(6)).Entry());
  for (size_t length = 28; length <= whole.Length(); ++length) {
    SCOPED_TRACE(length);
    const Record cut = Record(whole).CutTo(length);
    const Record completed = Completed(cut);
    const FlexRayView flexRay = RecordView(cut.Get()).FlexRay();
    const FlexRayView expected = RecordView(completed.Get()).FlexRay();
    EXPECT_EQ(flexRay.Type, expected.Type);
    EXPECT_EQ(flexRay.Channel, expected.Channel);
    EXPECT_EQ(flexRay.FrameFlags, expected.FrameFlags);
    EXPECT_EQ(flexRay.SlotId, expected.SlotId);
    EXPECT_EQ(flexRay.Cycle, expected.Cycle);
    EXPECT_EQ(flexRay.PayloadLength, expected.PayloadLength);
    EXPECT_EQ(flexRay.HeaderCrc, expected.HeaderCrc);
    EXPECT_EQ(Copied(flexRay.Data()), Counting(length < 48 ? 0 : length - 48));
    EXPECT_EQ(RecordView(cut.Get()).IsCutShort(), length < 32);
    EXPECT_EQ(RecordView(cut.Get()).Kind(), length < 32 ? RecordKind::Unknown : RecordKind::FlexRayFrame);
    EXPECT_EQ(RecordView(cut.Get()).IsTransmitted(), length >= 32);
    EXPECT_FALSE(RecordView(cut.Get()).HasOverrunMark());
  }
}

TEST(RecordView, OfACutEthernetRecordReadsWhatIsThere) {
  const Record whole(*EthernetItem().Tx().Frame(Counting(20)).Entry());
  for (size_t length = 28; length <= whole.Length(); ++length) {
    SCOPED_TRACE(length);
    const Record cut = Record(whole).CutTo(length);
    const Record completed = Completed(cut);
    const EthernetView ethernet = RecordView(cut.Get()).Ethernet();
    const EthernetView expected = RecordView(completed.Get()).Ethernet();
    EXPECT_EQ(ethernet.Type, expected.Type);
    EXPECT_EQ(ethernet.Flags, expected.Flags);
    EXPECT_EQ(ethernet.FrameLength, expected.FrameLength);
    EXPECT_EQ(Copied(ethernet.Frame()), Counting(length < 44 ? 0 : length - 44));
    EXPECT_EQ(RecordView(cut.Get()).IsCutShort(), length < 32);
    EXPECT_EQ(RecordView(cut.Get()).Kind(), length < 32 ? RecordKind::Unknown : RecordKind::EthernetFrame);
    EXPECT_EQ(RecordView(cut.Get()).IsTransmitted(), length > 40);
    EXPECT_FALSE(RecordView(cut.Get()).HasOverrunMark());
  }
}

TEST(RecordView, OfAMarkThatIsCutOffHasNoMark) {
  for (const auto& entry : {FlexRayItem().Kind(0).Entry(), EthernetItem().Kind(0).Entry()}) {
    const Record cut = Record(*entry).CutTo(31);
    EXPECT_FALSE(RecordView(cut.Get()).HasOverrunMark());
  }
}

TEST(RecordView, HasNoMoreDataThanTheRecordHoldsHoweverMuchIsAnnounced) {
  const Record can = Record(*CanItem().Data({1, 2}).Entry()).Put(43, '\xFF');
  EXPECT_EQ(RecordView(can.Get()).Can().DataLength, 255U);
  EXPECT_EQ(Copied(RecordView(can.Get()).Can().Data()), (Bytes{1, 2}));

  const auto flexRay = FlexRayItem().Data({1, 2}).PayloadWords(255).Entry();
  EXPECT_EQ(RecordView(*flexRay->GetEntry()).FlexRay().PayloadBytes(), 510U);
  EXPECT_EQ(Copied(RecordView(*flexRay->GetEntry()).FlexRay().Data()), (Bytes{1, 2}));

  const auto ethernet = EthernetItem().Frame({1, 2}).FrameLength(65535).Entry();
  EXPECT_EQ(RecordView(*ethernet->GetEntry()).Ethernet().FrameLength, 65535U);
  EXPECT_EQ(Copied(RecordView(*ethernet->GetEntry()).Ethernet().Frame()), (Bytes{1, 2}));
}

TEST(RecordView, HasNoMoreDataThanIsAnnouncedHoweverMuchTheRecordHolds) {
  const Record can = Record(*CanItem().Data({1, 2, 3}).Entry()).Put(43, '\1');
  EXPECT_EQ(Copied(RecordView(can.Get()).Can().Data()), Bytes{1});
  EXPECT_EQ(Copied(RecordView(can.Get()).Can().Held), (Bytes{1, 2, 3}));

  const auto flexRay = FlexRayItem().Data({1, 2, 3, 4}).PayloadWords(1).Entry();
  EXPECT_EQ(Copied(RecordView(*flexRay->GetEntry()).FlexRay().Data()), (Bytes{1, 2}));
  EXPECT_EQ(Copied(RecordView(*flexRay->GetEntry()).FlexRay().Held), (Bytes{1, 2, 3, 4}));

  const auto ethernet = EthernetItem().Frame({1, 2, 3}).FrameLength(1).Entry();
  EXPECT_EQ(Copied(RecordView(*ethernet->GetEntry()).Ethernet().Frame()), Bytes{1});
  EXPECT_EQ(Copied(RecordView(*ethernet->GetEntry()).Ethernet().Held), (Bytes{1, 2, 3}));
}

// Eight data bytes and a checksum fill the room for both; what is announced beyond has no checksum in the record.
TEST(RecordView, LinChecksumIsTheByteAfterTheAnnouncedData) {
  struct Row {
    unsigned int Announced;
    size_t Data;
    std::optional<unsigned char> Checksum;
  };
  const Row rows[] = {{0, 0, std::nullopt}, {1, 0, 0x81},          {2, 1, 0x82},          {8, 7, 0x88},
                      {9, 8, 0x89},         {10, 8, std::nullopt}, {11, 8, std::nullopt}, {255, 8, std::nullopt}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.Announced);
    const Record bytes =
        Record(*LinItem().Data(Counting(8, 0x81), 0x89).Entry()).Put(32, static_cast<unsigned char>(row.Announced));
    const LinView lin = RecordView(bytes.Get()).Lin();
    EXPECT_EQ(lin.DataLength, row.Announced);
    EXPECT_EQ(lin.DataCount(), row.Announced == 0 ? 0 : row.Announced - 1);
    EXPECT_EQ(Copied(lin.Data()), Counting(row.Data, 0x81));
    EXPECT_EQ(lin.Checksum(), row.Checksum);
  }
}

TEST(RecordView, OfACanRecordWithoutDataHasTheCode0) {
  const auto entry = CanItem().Flags(QOR_TRACE_CAN_ERROR).Entry();
  EXPECT_EQ(RecordView(*entry->GetEntry()).Can().Code(), 0U);
}

TEST(RecordView, RemoteFrameIsAClassicFrameWithALengthCodeButNoData) {
  using test::CanItem;
  struct Case {
    CanItem Item;
    bool Remote;
  };
  const Case cases[] = {
      {CanItem().Data({}).Dlc(8), true},
      {CanItem().Extended().Tx().Data({}).Dlc(1), true},
      {CanItem().Data({}), false},
      {CanItem().Data({1}), false},
      {CanItem().Fd().Data({}).Dlc(8), false},
      {CanItem().Flags(QOR_TRACE_CAN_ERROR).Data({}).Dlc(8), false},
      {CanItem().Flags(QOR_TRACE_CAN_TRIGGER).Data({}).Dlc(8), false},
  };
  for (const Case& one : cases) {
    const test::Record record(*one.Item.Entry());
    EXPECT_EQ(RecordView(record.Get()).Can().IsRemote(), one.Remote) << &one - cases;
  }
}

TEST(RecordView, FindsTheCodeWhateverLengthIsAnnounced) {
  const Record bytes = Record(*CanItem().ErrorFrame(5).Entry()).Put(43, '\0');
  EXPECT_EQ(RecordView(bytes.Get()).Can().Code(), 5U);
  EXPECT_TRUE(RecordView(bytes.Get()).Can().Data().empty());
}

TEST(RecordView, MayBeReadByAnyBusesFields) {
  for (size_t length = 28; length < 50; ++length) {
    const Record bytes(Bytes(length, 0xFF));
    const RecordView record(bytes.Get());
    EXPECT_EQ(record.Kind(), RecordKind::Unknown);
    EXPECT_EQ(record.Can().Data().size(), length < 44 ? 0 : length - 44);
    EXPECT_EQ(record.Lin().Data().size(), std::min<size_t>(length < 35 ? 0 : length - 35, 8));
    EXPECT_TRUE(record.FlexRay().Data().empty());
    EXPECT_EQ(record.Ethernet().Frame().size(), length < 44 ? 0 : length - 44);
  }
}

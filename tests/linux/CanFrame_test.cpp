#include "linux/CanFrame.h"

#include <gtest/gtest.h>
#include <linux/can.h>
#include <linux/can/error.h>

#include <cstring>
#include <vector>

using qor_linux::CanNews;
using qor_linux::DecodeCanFrame;
using qor_linux::DecodedCan;

namespace {

constexpr uint64_t kTime = 1'700'000'000'123'456'789;

template <class Frame>
std::optional<DecodedCan> Decoded(const Frame& frame, bool transmitted = false) {
  std::vector<unsigned char> bytes(sizeof frame);
  std::memcpy(bytes.data(), &frame, sizeof frame);
  return DecodeCanFrame(bytes, kTime, transmitted);
}

can_frame Classic(canid_t id, unsigned char length) {
  can_frame frame{};
  frame.can_id = id;
  frame.len = length;
  for (unsigned char index = 0; index < sizeof frame.data; ++index)
    frame.data[index] = static_cast<unsigned char>(0x11 * (index + 1));
  return frame;
}

canfd_frame Fd(canid_t id, unsigned char length, unsigned char flags) {
  canfd_frame frame{};
  frame.can_id = id;
  frame.len = length;
  frame.flags = flags;
  for (unsigned char index = 0; index < sizeof frame.data; ++index) frame.data[index] = index;
  return frame;
}

can_frame Error(canid_t errorClass, std::vector<unsigned char> data) {
  can_frame frame{};
  frame.can_id = CAN_ERR_FLAG | errorClass;
  frame.len = CAN_ERR_DLC;
  std::copy(data.begin(), data.end(), frame.data);
  return frame;
}

std::vector<unsigned char> DataOf(const qor_sim::CanItem& item) { return {item.Data, item.Data + item.DataLength}; }

}  // namespace

TEST(CanFrame, ClassicFrameKeepsIdentifierLengthDataAndTime) {
  const auto decoded = Decoded(Classic(0x123, 3));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->Item.Timestamp, kTime);
  EXPECT_EQ(decoded->Item.Identifier, 0x123u);
  EXPECT_EQ(decoded->Item.Flags, 0);
  EXPECT_EQ(decoded->Item.Dlc, 3);
  EXPECT_EQ(DataOf(decoded->Item), (std::vector<unsigned char>{0x11, 0x22, 0x33}));
  EXPECT_EQ(decoded->News, CanNews::None);
}

TEST(CanFrame, ExtendedIdentifierIsMarkedInFlagsAndIdentifier) {
  const auto decoded = Decoded(Classic(0x18FEF100 | CAN_EFF_FLAG, 0));
  EXPECT_EQ(decoded->Item.Identifier, 0x18FEF100u | qor_sim::kCanIdExtended);
  EXPECT_EQ(decoded->Item.Flags, qor_sim::kCanExtended);
}

TEST(CanFrame, FrameOfAProgramOnThisMachineIsTransmitted) {
  EXPECT_EQ(Decoded(Classic(1, 0), true)->Item.Flags, qor_sim::kCanTransmitted);
  EXPECT_EQ(Decoded(Fd(1, 0, 0), true)->Item.Flags, qor_sim::kCanTransmitted | qor_sim::kCanFd);
}

TEST(CanFrame, RemoteFrameHasItsLengthCodeAndNoData) {
  const auto decoded = Decoded(Classic(0x123 | CAN_RTR_FLAG, 5));
  EXPECT_EQ(decoded->Item.Identifier, 0x123u);
  EXPECT_EQ(decoded->Item.Dlc, 5);
  EXPECT_EQ(decoded->Item.DataLength, 0);
}

TEST(CanFrame, RawLengthCodeOfEightBytesIsKept) {
  for (const auto& [length, raw, expected] : {std::tuple{8, 8, 8}, {8, 9, 9}, {8, 15, 15}, {8, 16, 8}, {7, 12, 7}}) {
    can_frame frame = Classic(1, static_cast<unsigned char>(length));
    frame.len8_dlc = static_cast<unsigned char>(raw);
    const auto decoded = Decoded(frame);
    EXPECT_EQ(decoded->Item.Dlc, expected) << length << " " << raw;
    EXPECT_EQ(decoded->Item.DataLength, length);
  }
}

TEST(CanFrame, FdFrameKeepsItsFlagsAndAllItsData) {
  const auto decoded = Decoded(Fd(0x7FF, 64, CANFD_BRS | CANFD_ESI | CANFD_FDF));
  EXPECT_EQ(decoded->Item.Identifier, 0x7FFu | qor_sim::kCanIdFd);
  EXPECT_EQ(decoded->Item.Flags, qor_sim::kCanFd | qor_sim::kCanBrs | qor_sim::kCanEsi);
  EXPECT_EQ(decoded->Item.Dlc, 15);
  ASSERT_EQ(decoded->Item.DataLength, 64);
  EXPECT_EQ(decoded->Item.Data[63], 63);
}

TEST(CanFrame, FdLengthWithoutACodeHasTheNextOne) {
  const auto decoded = Decoded(Fd(1, 9, 0));
  EXPECT_EQ(decoded->Item.Dlc, 9);
  EXPECT_EQ(decoded->Item.DataLength, 9);
}

TEST(CanFrame, ErrorFrameHasItsKind) {
  using Data = std::vector<unsigned char>;
  const std::tuple<canid_t, Data, int, bool> cases[] = {
      {CAN_ERR_PROT, {0, 0, CAN_ERR_PROT_STUFF}, qor_sim::kCanStuffError, false},
      {CAN_ERR_PROT, {0, 0, CAN_ERR_PROT_FORM}, qor_sim::kCanFormError, false},
      {CAN_ERR_PROT, {0, 0, CAN_ERR_PROT_BIT1 | CAN_ERR_PROT_TX}, qor_sim::kCanBit1Error, true},
      {CAN_ERR_PROT, {0, 0, CAN_ERR_PROT_BIT0}, qor_sim::kCanBit0Error, false},
      {CAN_ERR_PROT, {0, 0, 0, CAN_ERR_PROT_LOC_CRC_SEQ}, qor_sim::kCanCrcError, false},
      {CAN_ERR_ACK, {}, qor_sim::kCanAckError, false},
      {CAN_ERR_LOSTARB, {}, qor_sim::kCanOtherError, false},
  };
  for (const auto& [errorClass, data, kind, transmitted] : cases) {
    const auto decoded = Decoded(Error(errorClass, data));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->Item.Identifier, 0u);
    EXPECT_EQ(decoded->Item.Flags, qor_sim::kCanError | (transmitted ? qor_sim::kCanTransmitted : 0));
    EXPECT_EQ(DataOf(decoded->Item), Data{static_cast<unsigned char>(kind)}) << errorClass;
  }
}

TEST(CanFrame, FrameThatTheControllerLostIsAnOverrun) {
  const auto lost = Decoded(Error(CAN_ERR_CRTL, {0, CAN_ERR_CRTL_RX_OVERFLOW}));
  EXPECT_EQ(lost->Item.Flags, qor_sim::kCanError | qor_sim::kCanOverrun);
  const auto sending = Decoded(Error(CAN_ERR_CRTL, {0, CAN_ERR_CRTL_TX_OVERFLOW}));
  EXPECT_EQ(sending->Item.Flags, qor_sim::kCanError);
}

TEST(CanFrame, ControllerLeavesTheBusAndComesBack) {
  EXPECT_EQ(Decoded(Error(CAN_ERR_BUSOFF, {}))->News, CanNews::BusOff);
  EXPECT_EQ(Decoded(Error(CAN_ERR_RESTARTED, {}))->News, CanNews::Restarted);
  EXPECT_EQ(Decoded(Error(CAN_ERR_CRTL, {0, CAN_ERR_CRTL_RX_PASSIVE}))->News, CanNews::None);
}

TEST(CanFrame, BytesThatAreNoFrameAreRefused) {
  EXPECT_FALSE(Decoded(Classic(1, 9)));
  EXPECT_FALSE(Decoded(Fd(1, 65, 0)));
  for (const size_t length : {0u, 1u, 15u, 17u, 71u, 73u})
    EXPECT_FALSE(DecodeCanFrame(std::vector<unsigned char>(length), kTime, false)) << length;
}

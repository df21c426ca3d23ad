#include "views/CanBits.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tools/ClientEntries.h"

namespace client {
namespace {

CanBits BitsOf(const test::CanItem& item) {
  const Bytes record = RecordOf(item);
  return CanBitsOf(ViewOf(record).Can());
}

// A frame as its bits are sent, each written down as '0' or '1'.
class PlainFrame {
 public:
  explicit PlainFrame(const CanView& can) : Can(can) {
    PutHeadAndData();
    if (!IsFd()) PutClassicCrc();
  }

  CanBits Bits() const {
    constexpr size_t kTail = 2 + 7 + 3;  // acknowledge, end of frame, intermission
    if (!IsFd()) return Of(SentOf(Plain, true) + 1 + kTail, 0);
    // Stuff count, CRC with a fixed stuff bit before each four bits, CRC delimiter.
    const size_t check = Can.DataLength > 16 ? 4 + 21 + 7 + 1 : 4 + 17 + 6 + 1;
    const size_t sent = SentOf(Plain, false) + check;
    if (!Can.Has(QOR_TRACE_CAN_BRS)) return Of(sent + kTail, 0);
    const size_t head = SentOf(Plain.substr(0, SwitchedAt), false);
    return Of(head + kTail, sent - head);
  }

 private:
  static CanBits Of(size_t nominal, size_t data) {
    return {static_cast<unsigned int>(nominal), static_cast<unsigned int>(data)};
  }
  bool IsFd() const { return Can.Kind() == RecordKind::CanFdFrame; }

  void Put(unsigned int value, unsigned int count) {
    for (unsigned int bit = count; bit > 0; --bit) Plain += (value >> (bit - 1)) % 2 != 0 ? '1' : '0';
  }

  void PutHeadAndData() {
    const unsigned int identifier = Can.PlainIdentifier();
    const bool extended = Can.Has(QOR_TRACE_CAN_EXTENDED);
    const std::string remote = Can.IsRemote() ? "1" : "0";
    Plain += "0";
    Put(extended ? identifier >> 18 : identifier, 11);
    if (extended) {
      Plain += "11";
      Put(identifier, 18);
      Plain += remote;
    } else {
      Plain += remote + "0";
    }
    if (IsFd()) {
      Plain += "10";
      Plain += Can.Has(QOR_TRACE_CAN_BRS) ? "1" : "0";
      SwitchedAt = Plain.size();
      Plain += Can.Has(QOR_TRACE_CAN_ESI) ? "1" : "0";
    } else {
      Plain += extended ? "00" : "0";
    }
    Put(Can.Dlc, 4);
    for (const unsigned char byte : Can.Data()) Put(byte, 8);
  }

  // By long division, as on paper.
  void PutClassicCrc() {
    const std::string polynomial = "1100010110011001";
    std::string rest = Plain + std::string(15, '0');
    for (size_t at = 0; at < Plain.size(); ++at) {
      if (rest[at] == '0') continue;
      for (size_t i = 0; i < polynomial.size(); ++i) rest[at + i] = rest[at + i] == polynomial[i] ? '0' : '1';
    }
    Plain += rest.substr(Plain.size());
  }

  // A stuff bit after the last bit is sent only if `dueBit`.
  static size_t SentOf(const std::string& plain, bool dueBit) {
    std::string sent;
    size_t run = 0;
    const auto send = [&](char bit) {
      run = !sent.empty() && sent.back() == bit ? run + 1 : 1;
      sent += bit;
    };
    const auto stuff = [&] { send(sent.back() == '0' ? '1' : '0'); };
    for (const char bit : plain) {
      if (run == 5) stuff();
      send(bit);
    }
    if (dueBit && run == 5) stuff();
    return sent.size();
  }

  const CanView Can;
  std::string Plain;
  size_t SwitchedAt = 0;
};

// Frames of all kinds and lengths; half of them with data, and a quarter with an identifier, of long runs.
class AnyFrame {
 public:
  CanView Next() {
    const bool fd = Pick(2) != 0;
    CanView can;
    unsigned int flags = Maybe(QOR_TRACE_CAN_EXTENDED);
    if (fd) {
      flags |= QOR_TRACE_CAN_FD;
      flags |= Maybe(QOR_TRACE_CAN_BRS);
      flags |= Maybe(QOR_TRACE_CAN_ESI);
    }
    can.Flags = static_cast<unsigned char>(flags);
    can.Identifier = Identifier(can.Has(QOR_TRACE_CAN_EXTENDED) ? 0x1FFFFFFF : 0x7FF);
    can.DataLength = static_cast<unsigned char>(Pick(fd ? 65 : 9));
    // No data with a DLC is a remote frame.
    can.Dlc = can.DataLength == 0 && !fd ? static_cast<unsigned char>(Pick(16)) : test::DlcOf(can.DataLength);
    Fill(can.DataLength);
    can.Held = Data;
    return can;
  }

 private:
  unsigned int Pick(unsigned int choices) { return static_cast<unsigned int>(Random() % choices); }
  unsigned int Maybe(unsigned int flag) { return Pick(2) != 0 ? flag : 0; }

  unsigned int Identifier(unsigned int mask) {
    constexpr unsigned int kRuns[] = {0, 0xFFFFFFFF, 0x1F1F1F1F, 0x07C1F07C};
    return (Pick(4) == 0 ? kRuns[Pick(4)] : static_cast<unsigned int>(Random())) & mask;
  }
  void Fill(size_t length) {
    constexpr unsigned char kRuns[] = {0x00, 0xFF, 0x1F, 0xE0, 0x07, 0xF8, 0x0F, 0xF0};
    Data.resize(length);
    const unsigned int how = Pick(4);
    const unsigned char same = kRuns[Pick(8)];
    for (unsigned char& byte : Data) {
      if (how == 0) byte = same;
      if (how == 1) byte = kRuns[Pick(8)];
      if (how > 1) byte = static_cast<unsigned char>(Random());
    }
  }

  std::mt19937 Random{15};
  Bytes Data;
};

struct BitsCase {
  const char* What;
  test::CanItem Item;
  unsigned int Nominal, Data;
};

// Counted by a bit-by-bit writing down of each frame in another program. The first one by hand: 34 zeros from the start to the
// end of the CRC, with a stuff bit after each five of them that aren't the last, and 13 bits that are never stuffed.
TEST(CanBits, CountEveryBitOfAFrameWithItsStuffBits) {
  const BitsCase cases[] = {
      {"nothing but zeros", test::CanItem().Id(0), 34 + 6 + 13, 0},
      {"alternating bits", test::CanItem().Id(0x555).Data({0x55}), 57, 0},
      {"eight bytes", test::CanItem().Id(0x123).Data(test::Counting(8)), 119, 0},
      {"zeros behind ones", test::CanItem().Id(0x7FF).Data(Bytes(8, 0)), 126, 0},
      {"nothing but ones", test::CanItem().Id(0x1FFFFFFF).Extended().Data(Bytes(8, 0xFF)), 149, 0},
      {"remote frame", test::CanItem().Id(0x123).Dlc(8), 48, 0},
      {"FD, switched", test::CanItem().Id(0x555).Fd().Brs().Data({0x55}), 29, 41},
      {"FD, long CRC", test::CanItem().Id(0x555).Fd().Brs().Data(Bytes(32, 0x55)), 29, 294},
      {"FD at one rate", test::CanItem().Id(0).Extended().Fd().Data(Bytes(64, 0)), 53 + 652, 0},
  };
  for (const BitsCase& c : cases) {
    EXPECT_EQ(BitsOf(c.Item).Nominal, c.Nominal) << c.What;
    EXPECT_EQ(BitsOf(c.Item).Data, c.Data) << c.What;
  }
}

TEST(CanBits, AgreeWithEachBitWrittenDownForAnyFrame) {
  AnyFrame frames;
  for (int i = 0; i < 20'000; ++i) {
    const CanView can = frames.Next();
    const CanBits bits = CanBitsOf(can), plain = PlainFrame(can).Bits();
    ASSERT_EQ(bits.Nominal, plain.Nominal) << "frame " << i << ", identifier " << can.Identifier;
    ASSERT_EQ(bits.Data, plain.Data) << "frame " << i << ", identifier " << can.Identifier;
  }
}

// Start, identifier, DLC 1000 and CRC without data: 34 bits, one stuff bit, and the 13 at the end. RTR is 0.
TEST(CanBits, RecordThatHasLostItsDataIsNoRemoteFrame) {
  const test::Record whole(*test::CanItem().Id(0x555).Data({0x55}).Dlc(8).Entry());
  const test::Record cut = test::Record(whole).CutTo(whole.Length() - 1);
  EXPECT_EQ(CanBitsOf(RecordView(cut.Get()).Can()).Nominal, 48u);
}

TEST(CanBits, ErrorFramesTakeTheLeastAndEventsNothing) {
  EXPECT_EQ(BitsOf(test::CanItem().ErrorFrame(1)).Nominal, 17u);
  EXPECT_EQ(BitsOf(test::CanItem().RisingEdge()).Nominal, 0u);
}

}  // namespace
}  // namespace client

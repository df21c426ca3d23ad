#include "Protocol.h"

#include <gtest/gtest.h>

#include "Channel.h"
#include "Thrown.h"

using namespace qor_sim;

namespace {

constexpr unsigned char kTypes[] = {4, 5, 9, 14};
constexpr unsigned char kInstance = 3;

struct Form {
  Call Kind;
  unsigned int Mode;
  Bytes Request;
};

std::vector<Form> FormsOf(const BusCommands& bus) {
  return {{Call::Configure, 1, bus.Configure},
          {Call::Start, 1, bus.Start},
          {Call::Stop, 1, bus.Stop},
          {Call::Poll, bus.PollMode, bus.Poll}};
}

unsigned int RefusalOf(unsigned char type, const CommandCall& call) {
  return ThrownBy([&] { Recognise(*FindProtocol(type), kInstance, call); }).Code;
}

}  // namespace

TEST(Protocol, KnowsFourInterfaceTypes) {
  for (int type = 0; type < 256; ++type) {
    const bool known = type == 4 || type == 5 || type == 9 || type == 14;
    EXPECT_EQ(FindProtocol(static_cast<unsigned char>(type)) != nullptr, known) << type;
  }
}

TEST(Protocol, RecognisesTheCommandsOfEachBus) {
  for (const auto type : kTypes) {
    const BusCommands bus = CommandsOf(type, kInstance);
    for (const Form& form : FormsOf(bus)) {
      EXPECT_EQ(Recognise(*FindProtocol(type), kInstance, {1, 0, bus.Command, form.Mode, form.Request}), form.Kind);
    }
  }
}

TEST(Protocol, RefusesEveryOtherByte) {
  for (const auto type : kTypes) {
    const BusCommands bus = CommandsOf(type, kInstance);
    for (const Form& form : FormsOf(bus)) {
      for (size_t i = 1; i < form.Request.size(); ++i) {
        Bytes wrong = form.Request;
        ++wrong[i];
        EXPECT_EQ(RefusalOf(type, {1, 0, bus.Command, form.Mode, wrong}), unsigned{QOR_SIM_ERROR_COMMAND})
            << int{type} << " byte " << i;
      }
    }
  }
}

TEST(Protocol, RefusesOtherSubCommandsCodesModesAndZeros) {
  for (const auto type : kTypes) {
    const BusCommands bus = CommandsOf(type, kInstance);
    for (const Form& form : FormsOf(bus)) {
      Bytes wrong = form.Request;
      wrong[0] = 0x77;
      const unsigned int command = bus.Command;
      EXPECT_EQ(RefusalOf(type, {1, 0, command, form.Mode, wrong}), unsigned{QOR_SIM_ERROR_COMMAND});
      EXPECT_EQ(RefusalOf(type, {1, 0, command + 1, form.Mode, form.Request}), unsigned{QOR_SIM_ERROR_COMMAND});
      EXPECT_EQ(RefusalOf(type, {1, 0, command, form.Mode + 1, form.Request}), unsigned{QOR_SIM_ERROR_COMMAND});
      EXPECT_EQ(RefusalOf(type, {1, 1, command, form.Mode, form.Request}), unsigned{QOR_SIM_ERROR_COMMAND});
    }
  }
}

TEST(Protocol, RefusesOtherRequestLengths) {
  for (const auto type : kTypes) {
    const BusCommands bus = CommandsOf(type, kInstance);
    for (const Form& form : FormsOf(bus)) {
      Bytes longer = form.Request;
      longer.push_back(0);
      Bytes shorter = form.Request;
      shorter.pop_back();
      for (const Bytes& wrong : {longer, shorter, Bytes(), Bytes(1000, 0)}) {
        EXPECT_EQ(RefusalOf(type, {1, 0, bus.Command, form.Mode, wrong}), unsigned{QOR_SIM_ERROR_COMMAND});
      }
    }
  }
}

TEST(Protocol, RefusalSaysWhatCame) {
  const Bytes request = {0x0C, 0x09, 0x00, 0x00};
  EXPECT_EQ(ThrownBy([&] {
              Recognise(*FindProtocol(4), kInstance, {1, 0, 0x50, 1, request});
            }).Text,
            "No CAN trace channel sends the command 0x50, mode 1, zero 0, 4 request bytes: 0C 09 00 00");
}

// ---- Responses -------------------------------------------------------------------------------------------------------

TEST(ResponseWriter, PadsEveryItemToTheAlignmentOfTheBus) {
  Bytes buffer(64, 0xEE);
  ResponseWriter writer({4, false, 4}, buffer);
  EXPECT_TRUE(writer.Add(Bytes{1, 2, 3, 4, 5}));
  EXPECT_TRUE(writer.Add(Bytes{6}));
  buffer.resize(writer.Length());
  EXPECT_EQ(buffer, (Bytes{0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0, 6, 0, 0, 0}));
}

TEST(ResponseWriter, CountsItemsInTheHeadWithoutPaddingWhereTheBusDoes) {
  Bytes buffer(64, 0xEE);
  ResponseWriter writer({8, true, 1}, buffer);
  EXPECT_TRUE(writer.Add(Bytes{1, 2, 3}));
  EXPECT_TRUE(writer.Add(Bytes{4}));
  buffer.resize(writer.Length());
  EXPECT_EQ(buffer, (Bytes{0, 0, 0, 0, 2, 0, 0, 0, 1, 2, 3, 4}));
}

TEST(ResponseWriter, FillsUpToTheCapacityAndNoFurther) {
  Bytes buffer(4 + 12 + 1, 0xEE);
  ResponseWriter writer({4, false, 4}, {buffer.data(), 4 + 12});
  EXPECT_TRUE(writer.Add(Bytes(8, 1)));
  EXPECT_FALSE(writer.Add(Bytes(5, 2)));  // five bytes, but eight with their padding
  EXPECT_TRUE(writer.Add(Bytes(4, 3)));
  EXPECT_FALSE(writer.Add(Bytes(1, 4)));
  EXPECT_EQ(writer.Length(), 16u);
  EXPECT_EQ(writer.ItemCount(), 2u);
  EXPECT_EQ(buffer.back(), 0xEE);
}

TEST(ResponseWriter, NeedsRoomForItsHead) {
  Bytes buffer(7, 0xEE);
  EXPECT_EQ(ThrownBy([&] { ResponseWriter({8, true, 1}, buffer); }).Code, unsigned{QOR_SIM_ERROR_CAPACITY});
}

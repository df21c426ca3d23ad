#include "linux/Ancillary.h"

#include <gtest/gtest.h>

#include "FakeKernel.h"

using qor_linux::Ancillary;
using qor_linux::Message;

namespace {

Ancillary Parsed(const Message& message, size_t length) {
  // A copy of the exact size, so that a read beyond it is seen.
  const std::vector<unsigned char> control(message.Control.begin(),
                                           message.Control.begin() + static_cast<std::ptrdiff_t>(length));
  return qor_linux::ParseAncillary(control);
}

Ancillary Parsed(const Message& message) { return Parsed(message, message.ControlLength); }

}  // namespace

TEST(Ancillary, BothTimesAndTheDropsAreFoundInAnyOrder) {
  Message message;
  AddDropped(message, 42);
  AddTimes(message, 1'700'000'000'000'000'001, 5'000'000'007);
  const Ancillary told = Parsed(message);
  EXPECT_EQ(told.Software, 1'700'000'000'000'000'001u);
  EXPECT_EQ(told.Hardware, 5'000'000'007u);
  EXPECT_EQ(told.Dropped, 42u);
}

TEST(Ancillary, TimeThatIsNotThereIsNone) {
  Message message;
  AddTimes(message, 1'700'000'000'000'000'001);
  EXPECT_EQ(Parsed(message).Software, 1'700'000'000'000'000'001u);
  EXPECT_FALSE(Parsed(message).Hardware);
  EXPECT_FALSE(Parsed(message).Dropped);
}

TEST(Ancillary, TimeThatCannotBeIsNone) {
  Message message;
  const timespec times[3] = {{-1, 0}, {}, {1, 2'000'000'000}};
  AddControl(message, SCM_TIMESTAMPING, times);
  EXPECT_FALSE(Parsed(message).Software);
  EXPECT_FALSE(Parsed(message).Hardware);
}

TEST(Ancillary, MessagesThatAreCutOffAreLeftOut) {
  Message message;
  AddTimes(message, 1'700'000'000'000'000'001);
  const size_t first = message.ControlLength;
  AddDropped(message, 42);
  for (size_t length = 0; length <= message.ControlLength; ++length) {
    const Ancillary told = Parsed(message, length);
    EXPECT_EQ(told.Software.has_value(), length >= first) << length;
    EXPECT_EQ(told.Dropped.has_value(), length >= first + CMSG_LEN(sizeof(uint32_t))) << length;
  }
}

TEST(Ancillary, LengthThatContradictsItselfEndsTheReading) {
  for (const size_t wrong : {size_t{0}, size_t{15}, size_t{1000}, ~size_t{0}}) {
    Message message;
    AddDropped(message, 42);
    std::memcpy(message.Control.data(), &wrong, sizeof wrong);
    EXPECT_FALSE(Parsed(message).Dropped) << wrong;
  }
}

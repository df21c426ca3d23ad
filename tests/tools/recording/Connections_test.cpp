#include "recording/Connections.h"

#include <gtest/gtest.h>

namespace client {
namespace {

constexpr bool kPoll = true, kControl = false;

void Open(unsigned int port, unsigned int connection) {
  Connections::NextIsOf(port);
  Connections::NoteOpened(connection);
}

TEST(Connections, AnInterfaceIsGoneOnceAPollHasFailed) {
  Open(1, 71);
  Open(2, 72);
  EXPECT_FALSE(Connections::IsGone(1));
  Connections::NoteRefusal(71, 0x101, kPoll);
  EXPECT_TRUE(Connections::IsGone(1));
  EXPECT_FALSE(Connections::IsGone(2));
}

TEST(Connections, ARefusedCommandIsNoLostInterface) {
  Open(3, 73);
  Connections::NoteRefusal(73, 0x102, kControl);
  EXPECT_FALSE(Connections::IsGone(3));
  EXPECT_FALSE(Connections::IsAnswerOfGone(0x102));
}

TEST(Connections, TheLatestAnswerOfAnInterfaceThatIsGoneIsKnown) {
  Open(4, 74);
  Connections::NoteRefusal(74, 0x103, kPoll);
  EXPECT_TRUE(Connections::IsAnswerOfGone(0x103));
  Connections::NoteRefusal(74, 0x104, kControl);
  EXPECT_TRUE(Connections::IsAnswerOfGone(0x104));
  EXPECT_FALSE(Connections::IsAnswerOfGone(0x103));
  EXPECT_TRUE(Connections::IsGone(4));
}

TEST(Connections, HandlesThatComeAgainBeginAnew) {
  Open(5, 75);
  Connections::NoteRefusal(75, 0x105, kPoll);
  Open(6, 75);
  EXPECT_FALSE(Connections::IsGone(5));
  EXPECT_FALSE(Connections::IsGone(6));
  Connections::NoteRefusal(75, 0x105, kPoll);
  EXPECT_TRUE(Connections::IsGone(6));
  Open(6, 76);
  EXPECT_FALSE(Connections::IsGone(6));
}

}  // namespace
}  // namespace client

#include "linux/Inbox.h"

#include <gtest/gtest.h>

#include "qor_api.h"

using qor_linux::Inbox;

namespace {

qor_sim::Item ItemAt(uint64_t time, size_t size = 16) {
  return {time, time, std::vector<unsigned char>(size, static_cast<unsigned char>(time))};
}

/// The first bytes of what a poll of that many bytes gets.
std::vector<unsigned int> Fetched(Inbox& inbox, size_t capacity) {
  std::vector<unsigned char> bytes(capacity);
  qor_sim::ResponseWriter writer(qor_sim::FindProtocol(QOR_INTERFACE_CAN)->Response, bytes);
  EXPECT_TRUE(inbox.MoveTo(writer));
  std::vector<unsigned int> first;
  for (size_t place = 4; place < writer.Length(); place += 16) first.push_back(bytes[place]);
  return first;
}

}  // namespace

TEST(Inbox, HandsOnWhatFitsInItsOrder) {
  Inbox inbox(10);
  for (const uint64_t time : {1u, 2u, 3u}) inbox.Offer(ItemAt(time));
  EXPECT_EQ(Fetched(inbox, 4 + 32), (std::vector<unsigned int>{1, 2}));
  EXPECT_EQ(inbox.Status().Buffered, 1u);
  EXPECT_EQ(Fetched(inbox, 4 + 32), (std::vector<unsigned int>{3}));
  EXPECT_EQ(inbox.Status().Delivered, 3u);
  EXPECT_EQ(inbox.Status().Finished, 0u);
}

TEST(Inbox, ItemThatFitsInNoResponseIsSaid) {
  Inbox inbox(10);
  inbox.Offer(ItemAt(1, 64));
  std::vector<unsigned char> bytes(20);
  qor_sim::ResponseWriter writer(qor_sim::FindProtocol(QOR_INTERFACE_CAN)->Response, bytes);
  EXPECT_FALSE(inbox.MoveTo(writer));
  EXPECT_EQ(inbox.Status().Buffered, 1u);
}

TEST(Inbox, WhatTheKernelDroppedLiesAfterTheLatestItem) {
  Inbox inbox(10);
  inbox.Offer(ItemAt(100));
  inbox.NoteDropped(5, 130);
  inbox.Offer(ItemAt(130));
  inbox.NoteDropped(2, 150);
  const Qor_Sim_Status_t status = inbox.Status();
  EXPECT_EQ(status.Lost, 7u);
  EXPECT_EQ(status.FirstLostTime, 100u);
  EXPECT_EQ(status.LastLostTime, 150u);
  EXPECT_EQ(status.Offered, 9u);
}

TEST(Inbox, LossesOfBothBuffersAreOneNumber) {
  Inbox inbox(2);
  for (const uint64_t time : {10u, 20u, 30u, 40u}) inbox.Offer(ItemAt(time));
  inbox.NoteDropped(3, 60);
  const Qor_Sim_Status_t status = inbox.Status();
  EXPECT_EQ(status.Lost, 5u);
  EXPECT_EQ(status.FirstLostTime, 30u);
  EXPECT_EQ(status.LastLostTime, 60u);
  EXPECT_EQ(status.Offered, 7u);
}

TEST(Inbox, DropsBeforeTheFirstItemLieBeforeIt) {
  Inbox inbox(2);
  inbox.NoteDropped(0, 50);
  EXPECT_EQ(inbox.Status().Lost, 0u);
  inbox.NoteDropped(3, 60);
  EXPECT_EQ(inbox.Status().FirstLostTime, 60u);
}

TEST(Inbox, LatestNoticesAreKept) {
  Inbox inbox(1);
  for (unsigned int number = 0; number < 1003; ++number) inbox.Tell({number, QOR_SIM_NOTICE_GONE, "gone"});
  const qor_sim::Notices notices = inbox.Notices();
  EXPECT_EQ(notices.Count(), 1003u);
  EXPECT_EQ(notices.At(2), nullptr);
  ASSERT_NE(notices.At(3), nullptr);
  EXPECT_EQ(notices.At(3)->Time, 3u);
  EXPECT_EQ(notices.At(1003), nullptr);
}

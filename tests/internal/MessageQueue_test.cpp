// Message queues once they exist: open, send and receive, close, destroy.
#include <array>
#include <cstdint>
#include <cstring>
#include <thread>

#include "internal/MessageQueueFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned int kMessageFailed = 0x02000100;

}  // namespace

// ---- Open --------------------------------------------------------------------------------------------------

TEST_F(MessageQueues, AreOpenedForReadingOrForWriting) {
  mq_close(Create_MsgQueue(Name("q").c_str(), 8, 0));
  const int reading = Open_MsgQueue(Name("q").c_str(), 0, 0, nullptr);
  const int writing = Open_MsgQueue(Name("q").c_str(), 1, 0666, nullptr);
  EXPECT_EQ(fcntl(reading, F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(fcntl(writing, F_GETFL) & O_ACCMODE, O_WRONLY);
  EXPECT_THAT(Log.Lines, IsEmpty());
  mq_close(reading);
  mq_close(writing);
}

TEST_F(MessageQueues, AreNotCreatedByOpening) {
  mq_attr attributes{};
  attributes.mq_maxmsg = 1;
  attributes.mq_msgsize = 8;
  const std::string name = Name("missing");
  EXPECT_EQ(Open_MsgQueue(name.c_str(), 1, 0666, &attributes), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(Exists(name));
  EXPECT_THAT(Log.Lines, ElementsAre("   Error 2 (No such file or directory) on server mq_open qname " + name + ".\n"));
  EXPECT_THAT(Log.Priorities, ElementsAre(3));
}

TEST_F(MessageQueues, AreNotOpenedWithABadName) {
  EXPECT_EQ(Open_MsgQueue("no-slash", 0, 0, nullptr), -1);
  EXPECT_EQ(Open_MsgQueue(nullptr, 0, 0, nullptr), -1);
  EXPECT_EQ(Open_MsgQueue(LongName(300).c_str(), 0, 0, nullptr), -1);
  EXPECT_THAT(Log.Lines,
              ElementsAre("   Error 22 (Invalid argument) on server mq_open qname no-slash.\n",
                          "   Error 22 (Invalid argument) on server mq_open qname (null).\n",
                          "   Error 36 (File name too long) on server mq_open qname " + LongName(300) + ".\n"));
}

// ---- Close and destroy -------------------------------------------------------------------------------------

TEST_F(MessageQueues, AreClosedOnce) {
  auto queue = static_cast<unsigned int>(Create_MsgQueue(Name("q").c_str(), 8, 0));
  EXPECT_EQ(close_message_queue(&queue), 0);
  EXPECT_EQ(queue, kClosed);
  EXPECT_EQ(OpenFiles(), FilesBefore);
  EXPECT_EQ(close_message_queue(&queue), 0);
  EXPECT_EQ(queue, kClosed);
  EXPECT_TRUE(Exists(Name("q")));
  EXPECT_THAT(Log.Lines, IsEmpty());
}

TEST_F(MessageQueues, LogADescriptorThatCanNotBeClosed) {
  unsigned int queue = 9999;
  EXPECT_EQ(close_message_queue(&queue), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(queue, kClosed);
  EXPECT_THAT(Log.Lines, ElementsAre(std::string("[") + std::to_string(gettid()) +
                                     "]:close_message_queue : < 9999 > Error Bad file descriptor \n"));
  EXPECT_THAT(Log.Priorities, ElementsAre(3));
}

TEST_F(MessageQueues, RefuseToCloseNothing) {
  errno = 0;
  EXPECT_EQ(close_message_queue(nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_THAT(Log.Lines, IsEmpty());
}

TEST_F(MessageQueues, AreDestroyedWithTheirName) {
  auto queue = static_cast<unsigned int>(Create_MsgQueue(Name("q").c_str(), 8, 0));
  EXPECT_EQ(destroy_message_queue(&queue, Name("q").c_str()), 0);
  EXPECT_EQ(queue, kClosed);
  EXPECT_FALSE(Exists(Name("q")));
  EXPECT_THAT(Log.Lines, IsEmpty());
}

TEST_F(MessageQueues, AreDestroyedWhenClosedAlready) {
  mq_close(Create_MsgQueue(Name("q").c_str(), 8, 0));
  unsigned int queue = kClosed;
  EXPECT_EQ(destroy_message_queue(&queue, Name("q").c_str()), 0);
  EXPECT_FALSE(Exists(Name("q")));
}

TEST_F(MessageQueues, KeepTheirNameIfTheyCanNotBeClosed) {
  mq_close(Create_MsgQueue(Name("q").c_str(), 8, 0));
  unsigned int queue = 9999;
  EXPECT_EQ(destroy_message_queue(&queue, Name("q").c_str()), -1);
  EXPECT_EQ(queue, kClosed);
  EXPECT_TRUE(Exists(Name("q")));
  EXPECT_EQ(Log.Lines.size(), 1u);  // the close
  EXPECT_EQ(destroy_message_queue(nullptr, Name("q").c_str()), -1);
  EXPECT_TRUE(Exists(Name("q")));
}

TEST_F(MessageQueues, AreClosedThoughTheirNameCanNotBeRemoved) {
  for (const auto& [name, text] : {std::pair<std::string, std::string>{Name("missing"), "No such file or directory"},
                                   {"no-slash", "Invalid argument"},
                                   {LongName(300), "File name too long"}}) {
    Log.Lines.clear();
    auto queue = static_cast<unsigned int>(Create_MsgQueue(Name("q").c_str(), 8, 0));
    mq_unlink(Name("q").c_str());
    EXPECT_EQ(destroy_message_queue(&queue, name.c_str()), -1);
    EXPECT_EQ(queue, kClosed);
    EXPECT_THAT(Log.Lines,
                ElementsAre("destroy_message_queue : Error on unlink file < " + name + " >  : " + text + "\n"));
  }
}

TEST_F(MessageQueues, AreClosedThoughThereIsNoName) {
  auto queue = static_cast<unsigned int>(Create_MsgQueue(Name("q").c_str(), 8, 0));
  EXPECT_EQ(destroy_message_queue(&queue, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(queue, kClosed);
  EXPECT_THAT(Log.Lines, ElementsAre("destroy_message_queue : Error on unlink file < (null) >  : Invalid argument\n"));
}

TEST_F(MessageQueues, AreDestroyedInPairs) {
  auto read = static_cast<unsigned int>(Create_MsgQueue(Name("pair-R").c_str(), 8, 0));
  auto write = static_cast<unsigned int>(Create_MsgQueue(Name("pair-W").c_str(), 8, 1));
  EXPECT_EQ(destroy_message_queues(&read, &write, Name("pair").c_str()), 0);
  EXPECT_EQ(read, kClosed);
  EXPECT_EQ(write, kClosed);
  EXPECT_FALSE(Exists(Name("pair-R")));
  EXPECT_FALSE(Exists(Name("pair-W")));
  EXPECT_THAT(Log.Lines, IsEmpty());
}

TEST_F(MessageQueues, KeepTheWritingOneOfAPairIfTheReadingOneFails) {
  unsigned int read = kClosed;
  auto write = static_cast<unsigned int>(Create_MsgQueue(Name("pair-W").c_str(), 8, 1));
  EXPECT_EQ(destroy_message_queues(&read, &write, Name("pair").c_str()), -1);
  EXPECT_NE(write, kClosed);
  EXPECT_TRUE(Exists(Name("pair-W")));
  EXPECT_THAT(Log.Lines, ElementsAre(std::string("destroy_message_queue : Error on unlink file < ") + Name("pair") +
                                     "-R >  : No such file or directory\n"));
  mq_close(static_cast<mqd_t>(write));
}

TEST_F(MessageQueues, GiveTheResultOfTheWritingOneOfAPair) {
  auto read = static_cast<unsigned int>(Create_MsgQueue(Name("pair-R").c_str(), 8, 0));
  unsigned int write = 9999;
  EXPECT_EQ(destroy_message_queues(&read, &write, Name("pair").c_str()), -1);
  EXPECT_FALSE(Exists(Name("pair-R")));
  EXPECT_EQ(write, kClosed);
}

// A base name that is cut off must not hit another queue.
TEST_F(MessageQueues, OfAnOverlongBaseNameAreNotDestroyed) {
  for (const std::size_t length : {254u, 1020u, 1023u, 1024u, 5000u}) {
    Log.Lines.clear();
    const std::string base = LongName(length);
    unsigned int read = kClosed, write = kClosed;
    EXPECT_EQ(destroy_message_queues(&read, &write, base.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG) << length;
    EXPECT_EQ(Log.Lines.size(), 1u);
  }
}

TEST_F(MessageQueues, OfTheLongestBaseNameAreDestroyed) {
  const std::string base = LongName(253);
  auto read = static_cast<unsigned int>(Create_MsgQueue((base + "-R").c_str(), 8, 0));
  auto write = static_cast<unsigned int>(Create_MsgQueue((base + "-W").c_str(), 8, 1));
  EXPECT_EQ(destroy_message_queues(&read, &write, base.c_str()), 0);
  EXPECT_FALSE(Exists(base + "-R"));
  EXPECT_FALSE(Exists(base + "-W"));
}

TEST_F(MessageQueues, WithoutABaseNameAreNotDestroyed) {
  unsigned int read = kClosed, write = kClosed;
  EXPECT_EQ(destroy_message_queues(&read, &write, nullptr), -1);
  EXPECT_THAT(Log.Lines, ElementsAre("destroy_message_queue : Error on unlink file < (null) >  : Invalid argument\n"));
}

// ---- Send and receive --------------------------------------------------------------------------------------

TEST_F(MessageQueues, CarryAMessageAtPriorityZero) {
  const auto pipe = Make("q", 512);
  EXPECT_EQ(MsgSndLinux(pipe.Send, "hello", 5, kClosed, nullptr, 0), 0u);
  char received[512];
  unsigned int priority = 99;
  ASSERT_EQ(mq_receive(static_cast<mqd_t>(pipe.Receive), received, sizeof received, &priority), 5);
  EXPECT_EQ(std::string(received, 5), "hello");
  EXPECT_EQ(priority, 0u);
  EXPECT_THAT(Log.Lines, IsEmpty());
  Close(pipe);
}

TEST_F(MessageQueues, CarryAMessageThereAndAReplyBack) {
  const auto there = Make("there", 512);
  const auto back = Make("back", 512);
  std::thread server([&] {
    char request[512];
    const ssize_t length = mq_receive(static_cast<mqd_t>(there.Receive), request, sizeof request, nullptr);
    const std::string reply = std::string("re: ") + std::string(request, static_cast<std::size_t>(length));
    mq_send(static_cast<mqd_t>(back.Send), reply.data(), reply.size(), 0);
  });
  char reply[12];
  std::memset(reply, '#', sizeof reply);
  EXPECT_EQ(MsgSndLinux(there.Send, "hello", 5, back.Receive, reply, 10), 0u);
  server.join();
  EXPECT_EQ(std::string(reply, sizeof reply), "re: hello###");
  Close(there);
  Close(back);
}

TEST_F(MessageQueues, FillAReplyBufferToItsLastByteAndNoFurther) {
  const auto pipe = Make("q", 512);
  const std::string message(512, 'm');
  std::string reply(513, '#');
  EXPECT_EQ(MsgSndLinux(pipe.Send, message.data(), 512, pipe.Receive, reply.data(), 512), 0u);
  EXPECT_EQ(reply, message + "#");
  Close(pipe);
}

TEST_F(MessageQueues, CarryMessagesWithoutBytes) {
  const auto pipe = Make("q", 8);
  char reply = '#';
  EXPECT_EQ(MsgSndLinux(pipe.Send, "", 0, pipe.Receive, &reply, 0), 0u);
  EXPECT_EQ(MsgSndLinux(pipe.Send, nullptr, 0, pipe.Receive, &reply, 1), 0u);
  EXPECT_EQ(reply, '#');
  EXPECT_EQ(Waiting(pipe.Receive), 0);
  EXPECT_THAT(Log.Lines, IsEmpty());
  Close(pipe);
}

TEST_F(MessageQueues, LogAMessageThatCanNotBeSent) {
  const auto pipe = Make("q", 8);
  char reply = '#';
  EXPECT_EQ(MsgSndLinux(kClosed, "x", 1, pipe.Receive, &reply, 1), kMessageFailed);
  EXPECT_EQ(MsgSndLinux(9999, "x", 1, pipe.Receive, &reply, 1), kMessageFailed);
  EXPECT_EQ(MsgSndLinux(pipe.Receive, "x", 1, pipe.Receive, &reply, 1), kMessageFailed);  // is for reading
  EXPECT_EQ(MsgSndLinux(pipe.Send, "nine byte", 9, pipe.Receive, &reply, 1), kMessageFailed);
  EXPECT_EQ(MsgSndLinux(pipe.Send, nullptr, 1, pipe.Receive, &reply, 1), kMessageFailed);
  EXPECT_EQ(reply, '#');
  EXPECT_EQ(Waiting(pipe.Receive), 0);
  EXPECT_THAT(Log.Lines, ElementsAre("MsgSndLinux:   Error 9 (Bad file descriptor) on mq_send.\n",
                                     "MsgSndLinux:   Error 9 (Bad file descriptor) on mq_send.\n",
                                     "MsgSndLinux:   Error 9 (Bad file descriptor) on mq_send.\n",
                                     "MsgSndLinux:   Error 90 (Message too long) on mq_send.\n",
                                     "MsgSndLinux:   Error 14 (Bad address) on mq_send.\n"));
  EXPECT_THAT(Log.Priorities, testing::Each(3));
  Close(pipe);
}

TEST_F(MessageQueues, LogAReplyThatCanNotBeReceived) {
  const auto pipe = Make("q", 8);
  char reply = '#';
  EXPECT_EQ(MsgSndLinux(pipe.Send, "x", 1, kClosed, &reply, 1), kMessageFailed);
  EXPECT_EQ(MsgSndLinux(pipe.Send, "x", 1, pipe.Send, &reply, 1), kMessageFailed);  // is for writing
  EXPECT_EQ(reply, '#');
  EXPECT_EQ(Waiting(pipe.Receive), 2);
  EXPECT_THAT(Log.Lines, ElementsAre("MsgSndLinux  Error Bad file descriptor on client mq_receive.\n",
                                     "MsgSndLinux  Error Bad file descriptor on client mq_receive.\n"));
  Close(pipe);
}

TEST_F(MessageQueues, RefuseRepliesFromAQueueForMoreThan512Bytes) {
  const auto pipe = Make("q", 513);
  std::string reply(1024, '#');
  EXPECT_EQ(MsgSndLinux(pipe.Send, "x", 1, pipe.Receive, reply.data(), 1024), kMessageFailed);
  EXPECT_EQ(reply, std::string(1024, '#'));
  EXPECT_EQ(Waiting(pipe.Receive), 1);
  EXPECT_THAT(Log.Lines, ElementsAre("MsgSndLinux  Error Message too long on client mq_receive.\n"));
  Close(pipe);
}

TEST_F(MessageQueues, RefuseAReplyThatDoesNotFit) {
  const auto pipe = Make("q", 512);
  const std::string message(512, 'm');
  std::string reply(512, '#');
  EXPECT_EQ(MsgSndLinux(pipe.Send, message.data(), 512, pipe.Receive, reply.data(), 511), kMessageFailed);
  EXPECT_EQ(MsgSndLinux(pipe.Send, message.data(), 1, pipe.Receive, reply.data(), 0), kMessageFailed);
  EXPECT_EQ(reply, std::string(512, '#'));
  EXPECT_EQ(Waiting(pipe.Receive), 0);  // taken off and lost
  EXPECT_THAT(Log.Lines, ElementsAre("MsgSndLinux   Error : bytes received(512) to big.\n",
                                     "MsgSndLinux   Error : bytes received(1) to big.\n"));
  Close(pipe);
}

// ---- Disconnect --------------------------------------------------------------------------------------------

TEST_F(MessageQueues, CarryTheDisconnectMessage) {
  const auto pipe = Make("q", 512);
  EXPECT_EQ(Qor_Internal_DisconnectMq(pipe.Send, kClosed, 0xA1, 0xB2), 0u);
  std::array<unsigned char, 512> received{};
  ASSERT_EQ(
      mq_receive(static_cast<mqd_t>(pipe.Receive), reinterpret_cast<char*>(received.data()), received.size(), nullptr),
      12);
  const auto pid = static_cast<std::uint32_t>(getpid());
  // 0 kind | 1 first | 2 second | 3 zero | 4 length | 8 process id
  const std::array<unsigned char, 12> expected = {0x0B,
                                                  0xA1,
                                                  0xB2,
                                                  0x00,
                                                  0x0C,
                                                  0x00,
                                                  0x00,
                                                  0x00,
                                                  static_cast<unsigned char>(pid),
                                                  static_cast<unsigned char>(pid >> 8),
                                                  static_cast<unsigned char>(pid >> 16),
                                                  static_cast<unsigned char>(pid >> 24)};
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), received.begin()));
  EXPECT_THAT(Log.Lines, IsEmpty());
  Close(pipe);
}

TEST_F(MessageQueues, LogADisconnectMessageThatCanNotBeSent) {
  EXPECT_EQ(Qor_Internal_DisconnectMq(kClosed, kClosed, 1, 2), kMessageFailed);
  EXPECT_THAT(Log.Lines, ElementsAre("MsgSndLinux:   Error 9 (Bad file descriptor) on mq_send.\n"));
}

// Creating message queues, and all that can keep one from being created.
#include <linux/capability.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <fstream>
#include <latch>
#include <thread>
#include <vector>

#include "internal/MessageQueueFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A soft limit of this process, for the length of a scope.
class Limited {
 public:
  Limited(__rlimit_resource_t resource, rlim_t limit) : Resource(resource) {
    getrlimit(resource, &Before);
    rlimit lowered = Before;
    lowered.rlim_cur = limit;
    EXPECT_EQ(setrlimit(resource, &lowered), 0);
  }
  ~Limited() { setrlimit(Resource, &Before); }
  Limited(const Limited&) = delete;
  Limited& operator=(const Limited&) = delete;

 private:
  const __rlimit_resource_t Resource;
  rlimit Before{};
};

constexpr int kNoNamespace = 77;

// Gives up the right to go beyond the system's limits, for good.
void ObeyLimits() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> rights{};
  syscall(SYS_capget, &header, rights.data());
  rights[CAP_TO_INDEX(CAP_SYS_RESOURCE)].effective &= ~CAP_TO_MASK(CAP_SYS_RESOURCE);
  syscall(SYS_capset, &header, rights.data());
}

// Gives this process message queues of its own, as root or as any user who may. @return whether it has them
bool UnshareQueues() {
  const auto user = getuid();
  const auto group = getgid();
  if (unshare(CLONE_NEWIPC) == 0) return true;
  if (unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream users("/proc/self/uid_map");
  users << "0 " << user << " 1" << std::flush;
  std::ofstream groups("/proc/self/gid_map");
  groups << "0 " << group << " 1" << std::flush;
  return users.good() && groups.good();
}

// Runs `body` in a process that obeys the limits and has the system's message queues to itself, so that it can use
// them up. @return the exit code, kNoNamespace if that isn't allowed here; what `body` gave is put into `answer`
template <class Body>
int AloneWithTheQueues(Body body, std::string& answer) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe(ends.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (!UnshareQueues()) _exit(kNoNamespace);
    ObeyLimits();
    const std::string text = body();
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::array<char, 4096> text{};
  for (ssize_t got; (got = read(ends[0], text.data(), text.size())) > 0;) {
    answer.append(text.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST_F(MessageQueues, AreCreatedForThreeMessagesOfTheGivenSize) {
  const int queue = Create_MsgQueue(Name("q").c_str(), 100, 0);
  ASSERT_GE(queue, 0);
  mq_attr attributes{};
  ASSERT_EQ(mq_getattr(queue, &attributes), 0);
  EXPECT_EQ(attributes.mq_maxmsg, 3);
  EXPECT_EQ(attributes.mq_msgsize, 100);
  EXPECT_THAT(Log.Lines, IsEmpty());
  mq_close(queue);
}

TEST_F(MessageQueues, AreCreatedForReadingOrForWriting) {
  const int reading = Create_MsgQueue(Name("r").c_str(), 8, 0);
  const int writing = Create_MsgQueue(Name("w").c_str(), 8, 1);
  const int alsoWriting = Create_MsgQueue(Name("a").c_str(), 8, 0x80);
  EXPECT_EQ(fcntl(reading, F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(fcntl(writing, F_GETFL) & O_ACCMODE, O_WRONLY);
  EXPECT_EQ(fcntl(alsoWriting, F_GETFL) & O_ACCMODE, O_WRONLY);
  for (const int queue : {reading, writing, alsoWriting}) mq_close(queue);
}

TEST_F(MessageQueues, AreCreatedForEveryoneWhateverTheUmask) {
  umask(0077);
  const int queue = Create_MsgQueue(Name("q").c_str(), 8, 0);
  EXPECT_EQ(umask(UmaskBefore), 0077u);  // as it was before the call
  ASSERT_GE(queue, 0);
  EXPECT_EQ(PermissionsOf(queue), 0666u);
  mq_close(queue);
}

TEST_F(MessageQueues, LeaveTheUmaskAloneWhenManyThreadsCreate) {
  umask(0027);
  // Each attempt lets the others come in as well; a thread that changes the umask alone sees nobody.
  static std::atomic<int> inside;
  static std::atomic<bool> together;
  inside = 0;
  together = false;
  System.QueueOpen = [](const char* name, int flags, mode_t mode, mq_attr* attributes) {
    ++inside;
    for (int i = 0; i < 100 && !together; ++i) {
      if (inside > 1) together = true;
      std::this_thread::yield();
    }
    --inside;
    return mq_open(name, flags, mode, attributes);
  };
  System.Log = [](int, const char*, va_list) {};  // the one in memory is for one thread

  std::vector<std::string> names;
  for (int i = 0; i < 4; ++i) names.push_back(Name(std::to_string(i)));
  std::latch start(4);
  std::vector<std::thread> threads;
  for (const auto& name : names) {
    threads.emplace_back([&start, &name] {
      start.arrive_and_wait();
      for (int round = 0; round < 20; ++round) {
        const int queue = Create_MsgQueue(name.c_str(), 8, 0);
        EXPECT_GE(queue, 0);
        mq_close(queue);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(together);
  EXPECT_EQ(umask(UmaskBefore), 0027u);
}

TEST_F(MessageQueues, ReplaceOneOfTheSameNameAndLogThat) {
  const auto old = Make("q", 8);
  EXPECT_EQ(MsgSndLinux(old.Send, "old", 3, kClosed, nullptr, 0), 0u);
  const int fresh = Create_MsgQueue(Name("q").c_str(), 16, 0);
  ASSERT_GE(fresh, 0);
  EXPECT_EQ(Waiting(static_cast<unsigned int>(fresh)), 0);
  EXPECT_EQ(Waiting(old.Receive), 1);  // who has it open keeps it
  EXPECT_THAT(Log.Lines,
              ElementsAre(std::string("   Create_MsgQueue : Warning q-name ") + Name("q") + " already exists \n"));
  EXPECT_THAT(Log.Priorities, ElementsAre(3));
  mq_close(fresh);
  Close(old);
}

// A queue of that name appears again between the unlink and the attempt to create it, and stays.
TEST_F(MessageQueues, AreTriedTwiceIfTheNameIsTakenAgain) {
  const std::string name = Name("q");
  mq_close(Create_MsgQueue(name.c_str(), 8, 0));
  Log.OnLine = [&](const std::string& line) {
    if (line.find("Warning") != std::string::npos) mq_close(mq_open(name.c_str(), O_CREAT | O_RDONLY, 0600, nullptr));
  };
  EXPECT_EQ(Create_MsgQueue(name.c_str(), 8, 0), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_THAT(Log.Lines, ElementsAre("   Create_MsgQueue : Warning q-name " + name + " already exists \n",
                                     "Create_MsgQueue:   Error 17 (File exists) on mq_open qname < " + name + "> \n",
                                     "Create_MsgQueue:   Error 17 (File exists) on mq_open qname < " + name + ">\n"));
}

// The same, but it is gone again before the second attempt.
TEST_F(MessageQueues, AreCreatedWithFewerPermissionsAtTheSecondAttempt) {
  const std::string name = Name("q");
  mq_close(Create_MsgQueue(name.c_str(), 8, 0));
  Log.OnLine = [&](const std::string& line) {
    if (line.find("Warning") != std::string::npos) mq_close(mq_open(name.c_str(), O_CREAT | O_RDONLY, 0600, nullptr));
    if (line.find("Error") != std::string::npos) mq_unlink(name.c_str());
  };
  umask(0077);
  const int queue = Create_MsgQueue(name.c_str(), 8, 1);
  EXPECT_EQ(umask(UmaskBefore), 0077u);
  ASSERT_GE(queue, 0);
  EXPECT_EQ(PermissionsOf(queue), 0606u);
  EXPECT_EQ(fcntl(queue, F_GETFL) & O_ACCMODE, O_WRONLY);
  EXPECT_EQ(Log.Lines.size(), 2u);
  mq_close(queue);
}

TEST_F(MessageQueues, AreNotCreatedForMessagesWithoutBytes) {
  EXPECT_EQ(Create_MsgQueue(Name("q").c_str(), 0, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_THAT(Log.Lines,
              ElementsAre("Create_MsgQueue:   Error (Invalid argument) on mq_open , mq_msgsize 0, mq_maxmsg 3\n"));
}

TEST_F(MessageQueues, AreNotCreatedForMessagesTooLarge) {
  EXPECT_EQ(Create_MsgQueue(Name("q").c_str(), 0xFFFFFFFF, 0), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_THAT(
      Log.Lines,
      ElementsAre("Create_MsgQueue:   Error (Invalid argument) on mq_open , mq_msgsize 4294967295, mq_maxmsg 3\n"));
}

TEST_F(MessageQueues, AreNotCreatedWithoutASlashOrAName) {
  for (const char* name : {"no-slash", "", static_cast<const char*>(nullptr)}) {
    Log.Lines.clear();
    EXPECT_EQ(Create_MsgQueue(name, 8, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_THAT(Log.Lines,
                ElementsAre("Create_MsgQueue:   Error (Invalid argument) on mq_open , mq_msgsize 8, mq_maxmsg 3\n"));
  }
}

TEST_F(MessageQueues, AreNotCreatedWithAnOverlongName) {
  EXPECT_EQ(Create_MsgQueue(LongName(300).c_str(), 8, 0), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  const std::string line = "Create_MsgQueue:   Error 36 (File name too long) on mq_open qname < " + LongName(300);
  EXPECT_THAT(Log.Lines, ElementsAre(line + "> \n", line + ">\n"));
}

// EMFILE: tried twice, but only the second failure is logged.
TEST_F(MessageQueues, AreNotCreatedWithoutAFreeDescriptor) {
  const std::string name = Name("q");
  const int lowestFree = dup(0);
  close(lowestFree);
  {
    const Limited files(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFree));
    EXPECT_EQ(Create_MsgQueue(name.c_str(), 8, 0), -1);
    EXPECT_EQ(errno, EMFILE);
  }
  EXPECT_FALSE(Exists(name));
  EXPECT_THAT(Log.Lines,
              ElementsAre("Create_MsgQueue:   Error 24 (Too many open files) on mq_open qname < " + name + ">\n"));
}

TEST_F(MessageQueues, AreNotCreatedBeyondTheUsersMemoryForQueues) {
  const std::string name = Name("q");
  {
    const Limited bytes(RLIMIT_MSGQUEUE, 0);
    EXPECT_EQ(Create_MsgQueue(name.c_str(), 8, 0), -1);
    EXPECT_EQ(errno, EMFILE);
  }
  EXPECT_FALSE(Exists(name));
  EXPECT_THAT(Log.Lines,
              ElementsAre("Create_MsgQueue:   Error 24 (Too many open files) on mq_open qname < " + name + ">\n"));
}

// ENOSPC: not tried again.
TEST_F(MessageQueues, AreNotCreatedBeyondTheSystemsNumberOfQueues) {
  unsigned int limit = 0;
  std::ifstream("/proc/sys/fs/mqueue/queues_max") >> limit;
  ASSERT_GT(limit, 0u);
  const std::string base = Name("q");
  std::string answer;
  const int exitCode = AloneWithTheQueues(
      [&] {
        int queue = 0;
        int error = 0;
        for (unsigned int i = 0; i <= limit && queue >= 0; ++i) {
          queue = Create_MsgQueue((base + std::to_string(i)).c_str(), 8, 0);
          error = errno;
          if (queue >= 0) mq_close(queue);
        }
        return std::to_string(queue) + " " + std::to_string(error) + " " + testing::PrintToString(Log.Lines);
      },
      answer);
  if (exitCode == kNoNamespace) GTEST_SKIP() << "a process may not have message queues to itself here";
  EXPECT_EQ(exitCode, 0);
  const std::vector<std::string> lines = {
      "Create_MsgQueue:   Error ENOSPC (28) (No space left on device) on mq_open qname < " + base +
      std::to_string(limit) + "> \n"};
  EXPECT_EQ(answer, "-1 28 " + testing::PrintToString(lines));
}

// POSIX message queues: open, create, close, destroy, send with or without a reply.
#include <fcntl.h>
#include <mqueue.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "internal/Mutex.h"
#include "internal/SystemCalls.h"
#include "internal/qor_internal.h"

static_assert(sizeof(Qor_Internal_DisconnectMessage_t) == 12);
static_assert(offsetof(Qor_Internal_DisconnectMessage_t, Length) == 4);
static_assert(offsetof(Qor_Internal_DisconnectMessage_t, ProcessId) == 8);

namespace {

constexpr unsigned int kClosed = 0xFFFFFFFF;
constexpr unsigned int kMaxMessages = 3;
constexpr std::size_t kMaxReceived = 512;
constexpr mode_t kForEveryone = 0666;
constexpr mode_t kForEveryoneButTheGroup = 0606;

// The C library reads the name before the system could refuse it, so null is caught here.

mqd_t OpenQueue(const char* name, int flags, mode_t mode, mq_attr* attributes) {
  if (name != nullptr) return System.QueueOpen(name, flags, mode, attributes);
  errno = EINVAL;
  return -1;
}

int UnlinkQueue(const char* name) {
  if (name != nullptr) return mq_unlink(name);
  errno = EINVAL;
  return -1;
}

const char* Printable(const char* name) { return name != nullptr ? name : "(null)"; }

// The umask belongs to the whole process: two calls at once would each take the other's 0 for the one to restore.
Mutex MutexUmask;

// Makes a new queue whose permissions are `mode`, whatever the umask. @return the descriptor, negative on failure
mqd_t CreateQueue(const char* name, int flags, mode_t mode, unsigned int messageSize) {
  mq_attr attributes{};
  attributes.mq_maxmsg = kMaxMessages;
  attributes.mq_msgsize = messageSize;
  const MutexLock lock(MutexUmask);
  const mode_t umaskBefore = umask(0);
  const mqd_t queue = OpenQueue(name, flags, mode, &attributes);
  umask(umaskBefore);
  return queue;
}

// Reports why a queue could not be created. @return whether another attempt is worthwhile
//
// The texts of the log, odd blanks included, are part of the interface here and below.
bool IsWorthRetrying(const char* caller, const char* name, unsigned int messageSize) {
  switch (errno) {
    case ENOSPC:
      LogError("%s:   Error ENOSPC (%d) (%m) on mq_open qname < %s> \n", caller, errno, Printable(name));
      return false;
    case EINVAL:
      LogError("%s:   Error (%m) on mq_open , mq_msgsize %u, mq_maxmsg %u\n", caller, messageSize, kMaxMessages);
      return false;
    case EMFILE:
      return true;
    default:
      LogError("%s:   Error %d (%m) on mq_open qname < %s> \n", caller, errno, Printable(name));
      return true;
  }
}

bool Send(const char* caller, unsigned int queue, const void* message, unsigned int length) {
  if (message == nullptr && length == 0) message = "";
  int result = -1;
  if (message != nullptr) {
    result = mq_send(static_cast<mqd_t>(queue), static_cast<const char*>(message), length, 0);
  } else {
    errno = EFAULT;
  }
  if (result != 0) LogError("%s:   Error %d (%m) on mq_send.\n", caller, errno);
  return result == 0;
}

bool Receive(const char* caller, unsigned int queue, void* reply, unsigned int maxLength) {
  std::array<char, kMaxReceived> message;
  const ssize_t received = mq_receive(static_cast<mqd_t>(queue), message.data(), message.size(), nullptr);
  if (received < 0) {
    LogError("%s  Error %m on client mq_receive.\n", caller);
    return false;
  }
  const auto length = static_cast<std::size_t>(received);
  if (length > maxLength) {
    // "to big": sic, part of the interface.
    LogError("%s   Error : bytes received(%d) to big.\n", caller, static_cast<int>(received));
    return false;
  }
  std::memcpy(reply, message.data(), length);
  return true;
}

// Destroys the queue base + ending.
int DestroyOfPair(unsigned int* descriptor, const char* base, const char* ending) {
  if (base == nullptr) return destroy_message_queue(descriptor, nullptr);
  // What doesn't fit here is far longer than a queue's name may be, cut off or not, and so names no queue.
  char name[1024];
  std::snprintf(name, sizeof name, "%s%s", base, ending);
  return destroy_message_queue(descriptor, name);
}

}  // namespace

int Open_MsgQueue(const char* name, unsigned char writeFlag, unsigned int mode, mq_attr* attributes) {
  const mqd_t queue = OpenQueue(name, writeFlag != 0 ? O_WRONLY : O_RDONLY, mode, attributes);
  if (queue < 0) LogError("   Error %d (%m) on server mq_open qname %s.\n", errno, Printable(name));
  return queue;
}

int Create_MsgQueue(const char* name, unsigned int messageSize, unsigned char writeFlag) {
  if (UnlinkQueue(name) == 0) LogError("   %s : Warning q-name %s already exists \n", __func__, name);

  const int flags = O_CREAT | O_EXCL | (writeFlag != 0 ? O_WRONLY : O_RDONLY);
  mqd_t queue = CreateQueue(name, flags, kForEveryone, messageSize);
  if (queue >= 0 || !IsWorthRetrying(__func__, name, messageSize)) return queue;

  queue = CreateQueue(name, flags, kForEveryoneButTheGroup, messageSize);
  if (queue < 0) LogError("%s:   Error %d (%m) on mq_open qname < %s>\n", __func__, errno, Printable(name));
  return queue;
}

int close_message_queue(unsigned int* descriptor) {
  if (descriptor == nullptr) {
    errno = EINVAL;
    return -1;
  }
  if (*descriptor == kClosed) return 0;
  const int result = mq_close(static_cast<mqd_t>(*descriptor));
  if (result != 0) {
    LogError("[%ld]:%s : < %d > Error %m \n", static_cast<long>(gettid()), __func__, static_cast<int>(*descriptor));
  }
  *descriptor = kClosed;
  return result;
}

int destroy_message_queue(unsigned int* descriptor, const char* name) {
  const int closed = close_message_queue(descriptor);
  if (closed != 0) return closed;
  const int unlinked = UnlinkQueue(name);
  if (unlinked != 0) LogError("%s : Error on unlink file < %s >  : %m\n", __func__, Printable(name));
  return unlinked;
}

int destroy_message_queues(unsigned int* readDescriptor, unsigned int* writeDescriptor, const char* baseName) {
  const int read = DestroyOfPair(readDescriptor, baseName, "-R");
  if (read != 0) return read;
  return DestroyOfPair(writeDescriptor, baseName, "-W");
}

unsigned int MsgSndLinux(unsigned int send, const void* message, unsigned int length, unsigned int receive, void* reply,
                         unsigned int maxReplyLength) {
  if (!Send(__func__, send, message, length)) return QOR_INTERNAL_STATUS_MESSAGE_FAILED;
  if (reply == nullptr) return 0;
  return Receive(__func__, receive, reply, maxReplyLength) ? 0 : QOR_INTERNAL_STATUS_MESSAGE_FAILED;
}

unsigned int Qor_Internal_DisconnectMq(unsigned int send, unsigned int receive, unsigned char first,
                                       unsigned char second) {
  const Qor_Internal_DisconnectMessage_t message = {
      QOR_INTERNAL_MESSAGE_DISCONNECT, first, second, 0, sizeof message, static_cast<unsigned int>(getpid())};
  return MsgSndLinux(send, &message, sizeof message, receive, nullptr, 0);
}

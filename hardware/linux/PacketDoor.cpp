#include "PacketDoor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace qor_linux {
namespace {

constexpr const char* kHelper = "qor-trace-capture";

std::string OwnFolder() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return "";
  const std::string own(path, static_cast<size_t>(length));
  return own.substr(0, own.rfind('/') + 1);
}

/// The descriptor in a message, or -1.
int Received(int pair) {
  char byte = 0;
  iovec place{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &place;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  if (recvmsg(pair, &message, MSG_CMSG_CLOEXEC) != 1) return -1;
  const cmsghdr* const head = CMSG_FIRSTHDR(&message);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS || head->cmsg_len != CMSG_LEN(sizeof(int))) return -1;
  int descriptor = -1;
  std::memcpy(&descriptor, CMSG_DATA(head), sizeof descriptor);
  return descriptor;
}

/// The helper sends the socket through its standard input.
int AskHelper(const std::string& helper) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pair[1], STDIN_FILENO);
  char* const arguments[] = {const_cast<char*>(helper.c_str()), nullptr};
  pid_t child = -1;
  const int error = posix_spawn(&child, helper.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pair[1]);
  const int descriptor = error == 0 ? Received(pair[0]) : -1;
  close(pair[0]);
  if (error == 0) waitpid(child, nullptr, 0);
  return descriptor;
}

/// As it stands where it can; else in quotes.
std::string ShellWord(const std::string& word) {
  constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._+-";
  if (word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char letter : word) quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return quoted + '\'';
}

}  // namespace

std::string PacketHelper() { return OwnFolder() + kHelper; }

int OpenPacketDoor() {
  // Protocol 0 receives nothing until it is bound.
  const int opened = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (opened >= 0 || errno != EPERM) return opened;
  const int passed = AskHelper(PacketHelper());
  if (passed < 0) errno = EPERM;
  return passed;
}

std::string PacketRightsAdvice(const std::string& helper) {
  const std::string need = "capturing takes a right";
  if (access(helper.c_str(), X_OK) == 0)
    return need + "; give it with \"sudo setcap cap_net_raw+ep " + ShellWord(helper) + "\"";
  if (errno == EACCES) return need + "; it comes with " + helper + ", which this user may not run";
  return need + " that root has, and there is no " + helper + " that could be given it";
}

}  // namespace qor_linux

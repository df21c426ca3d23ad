// Opens a capture socket and sends it through standard input to the program that has started it: alone this small program needs
// the right to capture (CAP_NET_RAW). It reads nothing, takes no arguments and knows no files.
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

int main() {
  const int opened = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (opened < 0) return 1;
  char byte = 0;
  iovec place{&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof opened)] = {};
  msghdr message{};
  message.msg_iov = &place;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const head = CMSG_FIRSTHDR(&message);
  head->cmsg_level = SOL_SOCKET;
  head->cmsg_type = SCM_RIGHTS;
  head->cmsg_len = CMSG_LEN(sizeof opened);
  std::memcpy(CMSG_DATA(head), &opened, sizeof opened);
  return sendmsg(STDIN_FILENO, &message, MSG_NOSIGNAL) == 1 ? 0 : 1;
}

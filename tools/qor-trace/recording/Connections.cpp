#include "recording/Connections.h"

#include <algorithm>
#include <vector>

#include "system/Mutex.h"

namespace client::Connections {

namespace {

struct Connection {
  unsigned int Handle = 0;
  unsigned int Port = 0;
  bool IsGone = false;
  unsigned int LastRefusal = 0;
};

thread_local unsigned int PortOfNext = 0;

Mutex Guard;  // nests in nothing; held for a few lines only
std::vector<Connection> Known GUARDED_BY(Guard);

}  // namespace

void NextIsOf(unsigned int port) { PortOfNext = port; }

/// Handles, of ports as well, may come again after they were closed.
void NoteOpened(unsigned int connection) {
  const MutexLock lock(Guard);
  std::erase_if(Known, [&](const Connection& known) { return known.Handle == connection || known.Port == PortOfNext; });
  Known.push_back({connection, PortOfNext});
}

void NoteRefusal(unsigned int connection, unsigned int answer, bool poll) {
  const MutexLock lock(Guard);
  for (Connection& known : Known) {
    if (known.Handle != connection) continue;
    known.IsGone = known.IsGone || poll;
    known.LastRefusal = answer;
  }
}

bool IsGone(unsigned int port) {
  const MutexLock lock(Guard);
  return std::any_of(Known.begin(), Known.end(),
                     [&](const Connection& known) { return known.Port == port && known.IsGone; });
}

bool IsAnswerOfGone(unsigned int answer) {
  const MutexLock lock(Guard);
  return std::any_of(Known.begin(), Known.end(),
                     [&](const Connection& known) { return known.IsGone && known.LastRefusal == answer; });
}

}  // namespace client::Connections

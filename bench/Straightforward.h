// The straightforward way from a poll to the trace, as a bound for the library's: the containers that come to mind first.
//
// An entry is an object of its own with a record of its own, held by shared pointers. A poll becomes a tree of them by time and
// a tree of the newest ones by message; they are inserted into the sort queue's tree one by one, and from there, or at once
// with one channel, appended to a vector.
#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "record/Qor_Trace_Entry.h"

namespace bench {

/// Records CAN interfaces of the fake hardware on the calling thread, without locks.
class Straightforward {
 public:
  explicit Straightforward(unsigned int ports) : Ports(ports), Response(65535) {}

  /// Polls all ports in turns until they have delivered everything, and stores it.
  void Record();
  [[nodiscard]] size_t size() const { return Store.size(); }

 private:
  using EntryPtr = std::shared_ptr<Qor_Trace_Entry>;
  using Batch = std::multimap<unsigned long, EntryPtr>;
  using Latest = std::map<std::pair<unsigned int, unsigned int>, EntryPtr>;

  bool Poll(unsigned int port);
  void Deliver();
  void StoreQueued(unsigned long horizon);

  unsigned int Ports;
  std::vector<unsigned char> Response;
  Batch Entries;
  Latest Newest;
  Batch SortQueue;
  std::vector<EntryPtr> Store;
  Latest List;
};

}  // namespace bench

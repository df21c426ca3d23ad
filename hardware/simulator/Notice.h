// What happened to a real interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

namespace qor_sim {

struct Notice {
  uint64_t Time = 0;      // ns since 1970
  unsigned int Kind = 0;  // QOR_SIM_NOTICE_*
  std::string Text;       // without a full stop
};

/// Numbered from 0 in the order in which they came; the latest are kept.
class Notices {
 public:
  static constexpr size_t kKept = 1000;

  void Add(Notice notice) {
    Kept.push_back(std::move(notice));
    if (Kept.size() > kKept) Kept.pop_front();
    ++Number;
  }
  size_t Count() const { return Number; }
  /// Null for one that is not kept.
  const Notice* At(size_t index) const {
    const size_t first = Number - Kept.size();
    return index >= first && index < Number ? &Kept[index - first] : nullptr;
  }

 private:
  std::deque<Notice> Kept;
  size_t Number = 0;  // so far
};

}  // namespace qor_sim

// The lines of a text recording that can't be read and are left out of its replay.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qor_sim {

struct SkippedLine {
  uint64_t Number = 0;  // in its file, from 1
  std::string Reason;   // without a full stop
};

/// Counts all of them and keeps the first ones: a file of another kind may consist of nothing else.
class SkippedLines {
 public:
  static constexpr size_t kKept = 1000;

  void Add(uint64_t number, std::string reason) {
    ++Total;
    if (First.size() < kKept) First.push_back({number, std::move(reason)});
  }
  uint64_t Count() const { return Total; }
  const std::vector<SkippedLine>& Kept() const { return First; }

 private:
  uint64_t Total = 0;
  std::vector<SkippedLine> First;
};

/// What becomes of a line that can't be read.
enum class BadLines {
  Refuse,  // the whole file is refused
  Skip     // the line is left out and noted
};

}  // namespace qor_sim

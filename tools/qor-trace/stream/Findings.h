// What a reader found in an input besides sound records.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace client {

/// What it means for the recording.
enum class FindingKind {
  LeftOut,  // sound, but nothing that a record could hold
  Unread,   // damaged, and passed over: some of the recording is missing
  CutOff,   // the input ends in the middle of something: what would have followed is missing
  Odd,      // readable all the same, such as a count that isn't true
};

/// "left_out" and so on.
[[nodiscard]] const char* Word(FindingKind kind);

/// One thing, however often it was found.
struct Finding {
  FindingKind Kind = FindingKind::Odd;
  std::string What = {};    // "a packet of link type 147"
  unsigned long Count = 0;  // of the same kind and words
  std::string Where = {};   // the first of them: "byte 4711", "line 12"
};

/// In the order in which they were first found. Memory: bounded, as the words are a reader's own; at most kMost different
/// ones are told apart, the rest is counted with the last of its kind.
class Findings {
 public:
  static constexpr size_t kMost = 100;

  void Add(FindingKind kind, const std::string& what, const std::string& where, unsigned long count = 1);
  void AtByte(FindingKind kind, const std::string& what, unsigned long byte);
  void AtLine(FindingKind kind, const std::string& what, unsigned long line);
  /// Adds those of another input.
  void Append(const Findings& others);

  [[nodiscard]] const std::vector<Finding>& All() const { return Known; }
  [[nodiscard]] bool Empty() const { return Known.empty(); }
  /// Something of the recording is missing: Unread or CutOff.
  [[nodiscard]] bool Lossy() const;

 private:
  std::vector<Finding> Known;
};

}  // namespace client

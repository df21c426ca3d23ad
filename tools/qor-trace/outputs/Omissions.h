// What an output leaves out, since its format has no place for it.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// Counts the entries that an output has left out, by reason. A reason is an enumerator; enumerators count from 0.
class Omissions {
 public:
  /// @param names  of the reasons, in their order, as they follow a number: "CAN log-trigger events". They outlive this.
  explicit Omissions(std::span<const char* const> names) : Names(names), Counts(names.size()) {}

  template <class Reason>
  void Count(Reason reason) {
    ++Counts[static_cast<size_t>(reason)];
  }
  template <class Reason>
  [[nodiscard]] unsigned long Of(Reason reason) const {
    return Counts[static_cast<size_t>(reason)];
  }
  [[nodiscard]] unsigned long Total() const;

  /// ", as WHY: 2 CAN log-trigger events, 1 malformed entries"; empty if nothing was left out.
  [[nodiscard]] std::string Text(std::string_view why) const;
  /// Only reasons that occurred.
  [[nodiscard]] std::map<std::string, unsigned long> ByName() const;

 private:
  std::span<const char* const> Names;
  std::vector<unsigned long> Counts;
};

}  // namespace client

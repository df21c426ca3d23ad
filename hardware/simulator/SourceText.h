// The grammar of source texts: KIND[:PATH][?NAME=VALUE[&NAME=VALUE...]]
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Numbers.h"

namespace qor_sim {

struct SourceText {
  std::string Kind;
  std::string Path;                                          // empty without one
  std::vector<std::pair<std::string, std::string>> Options;  // in their order; no name twice
};

/// Failure: Error QOR_SIM_ERROR_SOURCE.
SourceText ParseSource(std::string_view text);
std::string ToText(const SourceText& source);

/// Reads the options of a source; each Take has the default for an option that is not there.
/// Failure of all calls: Error QOR_SIM_ERROR_SOURCE.
class OptionReader {
 public:
  explicit OptionReader(const SourceText& source) : Source(source), Taken(source.Options.size(), false) {}

  std::optional<std::string> TakeText(std::string_view name);
  /// One of the choices, by its place.
  size_t TakeChoice(std::string_view name, const std::vector<std::string_view>& choices, size_t fallback);
  uint64_t TakeUnsigned(std::string_view name, uint64_t least, uint64_t greatest, uint64_t fallback);
  std::optional<uint64_t> TakeDuration(std::string_view name);  // ns

  /// Refuses options that nobody took.
  void Finish() const;

 private:
  const SourceText& Source;
  std::vector<bool> Taken;
};

}  // namespace qor_sim

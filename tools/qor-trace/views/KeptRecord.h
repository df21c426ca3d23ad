// What of a record survives in a format: docs/convert.md has the tables.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <string_view>

#include "views/ComparedRecord.h"

namespace client {

/// Formats that don't keep everything.
enum class KeptFormat : unsigned char { Asc, Mdf, Pcapng, Candump };
inline constexpr size_t kKeptFormatCount = static_cast<size_t>(KeptFormat::Candump) + 1;

/// "asc", "mf4", "pcapng", "log": their extensions.
[[nodiscard]] const char* NameOf(KeptFormat format);
[[nodiscard]] std::optional<KeptFormat> KeptFormatNamed(std::string_view name);

/// Formats that a recording has gone through.
class KeptFormats {
 public:
  void Add(KeptFormat format) { Formats.set(static_cast<size_t>(format)); }
  [[nodiscard]] bool Has(KeptFormat format) const { return Formats.test(static_cast<size_t>(format)); }
  [[nodiscard]] bool Empty() const { return Formats.none(); }

  /// Makes a record what it is when it comes back from all of them.
  /// @return  false: one of them has no place for it
  [[nodiscard]] bool Keep(ComparedRecord& record) const;
  /// ns by which the time of a record may be another one.
  [[nodiscard]] unsigned long TimeStep() const;

 private:
  std::bitset<kKeptFormatCount> Formats;
};

}  // namespace client

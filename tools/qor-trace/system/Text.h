// Fitting text to a width.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace client {

/// Breaks lines that are longer than `columns` between words. What follows is indented: below the second column of a
/// line like "  --name   what it does", else two more than its line. Words that don't fit stay whole.
[[nodiscard]] std::string Wrapped(std::string_view text, size_t columns);

/// Cuts lines that are longer than `columns`, which is at least 4; "..." shows where.
[[nodiscard]] std::string CutLines(std::string_view text, size_t columns);

/// The file's extension in small letters, its dot included; empty without one.
[[nodiscard]] std::string ExtensionOf(std::string_view path);

}  // namespace client

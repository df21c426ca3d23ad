// Fitting text to a width.
#ifndef QOR_TRACE_TEXT_H
#define QOR_TRACE_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace client {

/// Breaks lines that are longer than `columns` between words. What follows is indented: below the second column of a
/// line like "  --name   what it does", else two more than its line. Words that don't fit stay whole.
std::string Wrapped(std::string_view text, std::size_t columns);

/// Cuts lines that are longer than `columns`, which is at least 4; "..." shows where.
std::string CutLines(std::string_view text, std::size_t columns);

/// The file's extension in small letters, its dot included; empty without one.
std::string ExtensionOf(std::string_view path);

}  // namespace client

#endif  // QOR_TRACE_TEXT_H

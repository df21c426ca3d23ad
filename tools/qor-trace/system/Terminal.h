// Standard output for results, standard error for talk.
#ifndef QOR_TRACE_TERMINAL_H
#define QOR_TRACE_TERMINAL_H

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace client {

bool StandardOutputIsTerminal();
bool StandardErrorIsTerminal();

/// Writes a result to standard output.
///
/// @return false when the reader has gone, which is no failure
/// Failure: Failure when it can't be written for another reason.
bool Print(std::string_view text);

/// Prints JSON in ASCII alone, so that no text in it steers a terminal; bytes in it that are no UTF-8 are replaced.
/// Failure: as Print.
void PrintJson(const nlohmann::json& json);

/// Writes a line, or several, to standard error, control characters in them shown. What can't be written there is let go.
void Say(std::string_view line);

/// Says a sentence as an error of this program; its closing full stop may be left out.
void SayError(std::string_view sentence);

/// The line that is overwritten while a recording runs; nothing unless standard error is a terminal.
class LiveLine {
 public:
  LiveLine() : Shown(StandardErrorIsTerminal()) {}
  ~LiveLine() { Clear(); }
  LiveLine(const LiveLine&) = delete;
  LiveLine& operator=(const LiveLine&) = delete;

  /// Whether it is time for the next text: five times a second.
  bool IsDue() const;
  void Show(const std::string& text);
  void Clear();

 private:
  const bool Shown;
  bool Dirty = false;
  std::chrono::steady_clock::time_point Next;
};

}  // namespace client

#endif  // QOR_TRACE_TERMINAL_H

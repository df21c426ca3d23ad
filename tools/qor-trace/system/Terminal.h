// Standard output for results, standard error for talk.
#pragma once

#include <chrono>
#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "system/Mutex.h"

namespace client {

[[nodiscard]] bool StandardOutputIsTerminal();
[[nodiscard]] bool StandardErrorIsTerminal();

/// Characters that fit a line there; nothing unless it is a terminal that reports its width.
[[nodiscard]] std::optional<size_t> ColumnsOfStandardOutput();
[[nodiscard]] std::optional<size_t> ColumnsOfStandardError();

/// Writes a result to standard output.
///
/// @return false when the reader has gone, which is no failure
/// Failure: Failure when it can't be written for another reason.
bool Print(std::string_view text);

/// Prints JSON in ASCII alone, so that no text in it steers a terminal; bytes in it that are no UTF-8 are replaced.
/// Failure: as Print.
void PrintJson(const nlohmann::json& json);

/// Writes a line, or several, to standard error: control characters in them shown, and broken between words where a terminal
/// is too narrow. What can't be written there is dropped.
void Say(std::string_view text);

/// Says a sentence as an error of this program; its closing full stop may be left out.
void SayError(std::string_view sentence);

/// As long as there is one, it keeps what is said, and no progress is shown: somebody has the whole terminal. At its end
/// all of it is said. One at a time.
///
/// Threads: any may say something meanwhile.
class TalkAside {
 public:
  static constexpr size_t kMost = 200;  // sentences; of more, the first ones stay

  TalkAside();
  ~TalkAside();
  TalkAside(const TalkAside&) = delete;
  TalkAside& operator=(const TalkAside&) = delete;

  /// What was said since the last call.
  [[nodiscard]] std::vector<std::string> TakeNew();

  /// From now on what is said goes to standard error; what was kept is lost. Waits for nobody.
  static void EndAtOnce();

  /// For Say.
  void Hear(std::string_view text);

 private:
  Mutex Guard;  // nests in nothing
  std::vector<std::string> Heard GUARDED_BY(Guard);
  std::vector<std::string> New GUARDED_BY(Guard);
  size_t Dropped GUARDED_BY(Guard) = 0;
};

/// Shows how far a command has come: on a terminal, a line that is overwritten five times a second, cut to its width;
/// elsewhere nothing, or one line every three seconds if asked for. Nothing is shown before the first interval is over.
class LiveLine {
 public:
  /// @param elsewhere  also without a terminal
  explicit LiveLine(bool elsewhere = false);
  ~LiveLine() { Clear(); }
  LiveLine(const LiveLine&) = delete;
  LiveLine& operator=(const LiveLine&) = delete;

  /// Whether it is time for the next text.
  [[nodiscard]] bool IsDue() const;
  void Show(const std::string& text);
  void Clear();

 private:
  enum class Kind { None, Overwritten, Appended };

  const Kind Shown;
  bool Dirty = false;
  std::chrono::steady_clock::time_point Next;
};

/// Shows a phase whose progress isn't known, with the seconds that it has taken: "stopping, 3 s". Runs a thread of its
/// own; the line disappears with this object.
class WaitingLine {
 public:
  /// @param elsewhere  as for LiveLine
  explicit WaitingLine(std::string phase, bool elsewhere = false);
  ~WaitingLine();
  WaitingLine(const WaitingLine&) = delete;
  WaitingLine& operator=(const WaitingLine&) = delete;

 private:
  void Run();

  const std::string Phase;
  const std::chrono::steady_clock::time_point Begun = std::chrono::steady_clock::now();
  LiveLine Line;  // of the thread
  Mutex Guard;    // nests in nothing
  Condition Changed;
  bool Over GUARDED_BY(Guard) = false;
  std::thread Thread;
};

}  // namespace client

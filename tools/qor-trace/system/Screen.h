// The terminal as a whole: pictures out, keys in.
#pragma once

#include <atomic>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "system/Descriptor.h"
#include "system/Grid.h"
#include "system/Key.h"
#include "system/Mutex.h"
#include "system/Signals.h"
#include "system/Terminal.h"

struct screen;  // of curses

namespace client {

/// Takes the terminal over until it is destroyed. A thread of its own draws and reads keys: nobody waits for a slow terminal,
/// of pictures that it had no time for only the latest is drawn. Ctrl-Z gives the terminal back until the program goes on.
///
/// What is said meanwhile (Say) is kept, to be shown and to be repeated afterwards on standard error.
///
/// Colours are used where the terminal has them, unless the environment has NO_COLOR. One at a time.
class Screen {
 public:
  /// Failure: UsageError unless standard output is a terminal on which a cursor can be placed, and that keys come from.
  explicit Screen(Signals& signals);
  /// Restores the terminal; what it doesn't take within a second is dropped.
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  /// For those who want to know before they begin anything. Failure: UsageError without a terminal.
  static void CheckTerminal();

  [[nodiscard]] ScreenSize Size() const;
  /// Draws a picture as soon as there is time. One of another size than the screen is cut.
  void Show(Grid picture);
  /// Those that were pressed since the last call.
  [[nodiscard]] std::vector<Key> TakeKeys();
  /// The terminal has gone: nobody sees anything, and no key will come.
  [[nodiscard]] bool IsGone() const { return Gone; }

  /// The sentences that were said since the last call.
  [[nodiscard]] std::vector<std::string> TakeSaid() { return Aside->TakeNew(); }

 private:
  struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
  };

  void Open();
  void Run();
  void Draw(const Grid& picture);
  void DrawLine(size_t line, const Grid& picture);
  void ReadKeys();
  void Suspend();
  void FitSize();
  void Wake();
  void Join();

  Signals& StopSignals;
  std::unique_ptr<FILE, CloseFile> Keyboard;  // where standard input is something else; else null
  int KeyFile = 0;
  Descriptor WakeUp;  // of the thread
  screen* Terminal = nullptr;
  bool Coloured = false;
  Grid Drawn;  // of the thread

  mutable Mutex Guard;  // nests in nothing
  Condition Changed;
  ScreenSize Extent GUARDED_BY(Guard);
  std::optional<Grid> Next GUARDED_BY(Guard);
  std::vector<Key> Pressed GUARDED_BY(Guard);
  bool Ended GUARDED_BY(Guard) = false;  // the thread has done its last
  std::atomic<bool> Ending = false;
  std::atomic<bool> StopAsked = false;
  std::atomic<bool> Gone = false;
  std::optional<TalkAside> Aside;
  std::thread Thread;
};

/// Restores the terminal if there is a Screen, whatever its thread is doing: before the process ends at once. Waits for
/// nothing. Whoever has something to say then says it on standard error.
void LeaveScreenAtOnce();

}  // namespace client

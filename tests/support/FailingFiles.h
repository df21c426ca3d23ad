// Files that fail when the test says so: an executable that links FailingFiles.cpp takes over the calls of the operating
// system that open, read, write, cut, synchronize, lock, close, link, rename and remove files, for the library and for the
// C++ library beneath it.
#pragma once

#include <string>

namespace test {

/// While it lives, calls on files fail, in all threads. Standard input, output and error are left alone.
class FailingFiles {
 public:
  enum How {
    Refused,  // the call does nothing and fails with ENOSPC; a close closes all the same
    Short,    // a read or write does half of what it should; the other calls count but work
    Empty,    // a read or write does nothing and says so with 0, errno as it was; the other calls count but work
    Ends,     // the process ends in place of the call, as if it had been killed
  };
  enum Duration { Once, FromThenOn };
  static constexpr int kEnded = 86;  // exit code of a process that ended so

  /// The `number`th call (from 1) fails; later ones too, or not.
  FailingFiles(unsigned long number, How how, Duration duration);
  /// Calls of this name are refused: each of them, or the first.
  explicit FailingFiles(const char* call, Duration duration = FromThenOn);
  ~FailingFiles();
  FailingFiles(const FailingFiles&) = delete;
  FailingFiles& operator=(const FailingFiles&) = delete;

  /// Whether a call has failed so far.
  [[nodiscard]] bool HasFailed() const;
  /// The first call that did, by name; empty without one.
  [[nodiscard]] std::string What() const;

  /// From now on, also without an object of this: called with each file or folder that is about to be synchronized, on the
  /// thread that does it. Null: nobody.
  static void WatchSynchronizing(void (*watcher)(int file));

 private:
  /// @param call  its name, or null for any
  FailingFiles(const char* call, unsigned long number, How how, Duration duration);
};

}  // namespace test

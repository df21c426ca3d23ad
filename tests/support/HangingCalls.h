// Calls that don't come back until the test lets them: an executable that links HangingCalls.cpp takes over munmap and the
// calls of the hardware library that poll, command and close an interface.
#pragma once

namespace test {

/// While it lives, one call hangs: the first of its kind after the object was made. One object at a time.
class HangingCall {
 public:
  enum Kind {
    Poll,     // of an interface's monitor
    Command,  // any other command to an interface
    Close,    // of a channel's own connection
    Unmap,    // of memory of the system's, by a thread that counts (CountUnmaps)
  };

  explicit HangingCall(Kind kind);
  /// Lets the call go on.
  ~HangingCall();
  HangingCall(const HangingCall&) = delete;
  HangingCall& operator=(const HangingCall&) = delete;

  /// Waits until a call hangs. False if none does.
  [[nodiscard]] static bool WaitUntilItHangs();
  /// Lets the call go on, and all later ones.
  static void Release();

  /// From now on the calling thread counts what it unmaps: the `number`th time (from 1) is a call of the kind Unmap.
  static void CountUnmaps(unsigned long number);
};

}  // namespace test

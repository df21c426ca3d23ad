// Memory that runs out when the test says so: an executable that links FailingAllocator.cpp takes over operator new and the
// calls by which zlib allocates.
//
// What the hardware library allocates inside its calls is not our subject: Qor_CommandWithResponseEx, Qor_ErrorHandler and
// the calls that open and close interfaces are wrapped, and never run out of memory.
#pragma once

namespace test {

/// While it lives, allocations fail on one side of the process.
class FailingAllocator {
 public:
  enum Threads {
    ThisThread,    // the one that made it
    OtherThreads,  // all the others: receive and sort threads
  };
  enum Duration { Once, FromThenOn };

  /// The `number`th allocation (from 1) of those threads fails; later ones too, or not.
  FailingAllocator(Threads threads, unsigned long number, Duration duration);
  ~FailingAllocator();
  FailingAllocator(const FailingAllocator&) = delete;
  FailingAllocator& operator=(const FailingAllocator&) = delete;

  /// Whether an allocation has failed so far.
  [[nodiscard]] bool HasFailed() const;
};

}  // namespace test

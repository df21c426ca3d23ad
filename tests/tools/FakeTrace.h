// A trace in memory, under the two calls of the C interface that reading needs: it retrieves, swaps and counts as a
// monitor does, and lets new entries arrive before any call.
#pragma once

#include <functional>
#include <vector>

class FakeTrace {
 public:
  static FakeTrace& The();

  /// Empties the trace and sets what every trace of a test begins with.
  void Reset(unsigned int memoryLimit);

  /// A batch of entries of the given lengths (28 or more), then the memory guard.
  void AddBatch(const std::vector<unsigned int>& lengths);

  /// Called before each retrieval and count, outside of it, as another thread would get in between.
  std::function<void()> Between;

  /// As the interface has it. `Calls` counts them, `Copied` the records they returned.
  unsigned int GetItems(unsigned int start, unsigned int* count, unsigned int* size, unsigned char* buffer);
  unsigned int EntryCount() const { return static_cast<unsigned int>(SwapFile.size() + Store.size()); }

  /// Number stands in the entry at its index; its bytes depend on it.
  static std::vector<unsigned char> Entry(unsigned int index, unsigned int length);

  unsigned int MemoryLimit = 0;
  unsigned long Calls = 0;
  unsigned long Copied = 0;
  unsigned long TooSmall = 0;
  std::vector<std::vector<unsigned char>> SwapFile;
  std::vector<std::vector<unsigned char>> Store;
};

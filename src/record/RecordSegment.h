// A piece of memory that holds a part of the trace.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>

/// Room for records in memory of the system's own, which never moves and goes back to the system at once, whatever the
/// process's allocator does with what it is given back. A segment is as large as a huge page, and aligned like one: in a long
/// trace, most of the time that storing takes would otherwise go into the faults of small pages.
///
/// The records lie back to back from the front, each at a multiple of 8; their offsets, one u32 each, grow towards them from
/// the back.
///
/// Threads: what is appended doesn't change what is there already, so that one thread may append while others read.
class RecordSegment {
 public:
  static constexpr size_t kBytes = size_t{2} << 20;

  /// Small pages suit a trace that may stay short: it takes no more memory than it has bytes.
  enum class Pages { Small, Huge };

  /// @throws std::bad_alloc
  explicit RecordSegment(Pages pages) : Memory(MapAligned()) {
    if (pages == Pages::Huge) madvise(Memory, kBytes, MADV_HUGEPAGE);  // where the system has none, small ones
  }
  ~RecordSegment() { munmap(Memory, kBytes); }
  RecordSegment(const RecordSegment&) = delete;
  RecordSegment& operator=(const RecordSegment&) = delete;

  [[nodiscard]] unsigned char* At(size_t offset) { return static_cast<unsigned char*>(Memory) + offset; }
  /// The offset of record `number`, counted from 0.
  [[nodiscard]] unsigned int& OffsetOf(size_t number) {
    return reinterpret_cast<unsigned int*>(At(kBytes))[-static_cast<std::ptrdiff_t>(number) - 1];
  }
  /// Do records that end at `bytes` leave room for the offsets of `count` records?
  [[nodiscard]] static constexpr bool Holds(size_t bytes, size_t count) {
    return bytes + count * sizeof(unsigned int) <= kBytes;
  }

 private:
  /// Maps twice as much as needed and gives back what lies before and after the part at a multiple of the size.
  [[nodiscard]] static void* MapAligned() {
    void* const mapped = mmap(nullptr, 2 * kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    auto* const first = static_cast<unsigned char*>(mapped);
    const size_t before = (kBytes - reinterpret_cast<uintptr_t>(first) % kBytes) % kBytes;
    if (before != 0) munmap(first, before);
    munmap(first + before + kBytes, kBytes - before);
    return first + before;
  }

  void* const Memory;
};

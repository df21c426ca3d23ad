#include "outputs/PackedFile.h"

#include <cerrno>
#include <new>
#include <utility>

#include "system/Descriptor.h"

namespace client {

namespace {

constexpr size_t kMostWaiting = size_t{4} << 20;  // bytes

}  // namespace

PackedFile::PackedFile(int file, Compression kind)
    : File(file), Packer(MakeCompressor(kind)), Thread([this] { Run(); }) {}

PackedFile::~PackedFile() { Stop(); }

size_t PackedFile::Write(const unsigned char* bytes, size_t size) {
  Block block{{bytes, bytes + size}};
  int failed = 0;
  {
    const MutexLock lock(Guard);
    while (WaitingBytes > kMostWaiting && FailedWith == 0) WaitForChange();
    failed = FailedWith;
    if (failed == 0) {
      WaitingBytes += size;
      Waiting.push_back(std::move(block));
    }
  }
  Changed.NotifyAll();
  errno = failed;
  return failed == 0 ? size : 0;
}

/// A block that is dropped after a failure ends the waiting as well, since its promise is broken.
std::shared_future<void> PackedFile::Flush() {
  Block block{{}, std::promise<void>()};
  std::shared_future<void> written = block.Awaited->get_future().share();
  {
    const MutexLock lock(Guard);
    if (FailedWith == 0) Waiting.push_back(std::move(block));
  }
  Changed.NotifyAll();
  return written;
}

unsigned long PackedFile::Size() {
  const MutexLock lock(Guard);
  return FileBytes + HeldBytes + WaitingBytes;
}

bool PackedFile::End() {
  Stop();
  const MutexLock lock(Guard);
  errno = FailedWith;
  return FailedWith == 0;
}

void PackedFile::Stop() {
  if (!Thread.joinable()) return;
  {
    const MutexLock lock(Guard);
    Over = true;
  }
  Changed.NotifyAll();
  Thread.join();
}

/// Or for something else; whoever waits looks again.
void PackedFile::WaitForChange() {
  Changed.WaitUntil(Guard, std::chrono::steady_clock::now() + std::chrono::seconds(1));
}

void PackedFile::Run() {
  for (bool ended = false; !ended;) {
    Block block;
    {
      const MutexLock lock(Guard);
      while (Waiting.empty() && !Over) WaitForChange();
      ended = Waiting.empty();
      if (!ended) {
        block = std::move(Waiting.front());
        Waiting.pop_front();
      }
    }
    const bool flush = block.Awaited.has_value() || FlushPace.IsDue();
    const auto until = ended ? Compressor::Until::End : flush ? Compressor::Until::Flush : Compressor::Until::Later;
    const int failed = Pack(block, until) ? 0 : errno;
    {
      const MutexLock lock(Guard);
      WaitingBytes -= block.Bytes.size();
      HeldBytes += block.Bytes.size();
      if (until != Compressor::Until::Later) {
        HeldBytes = 0;
        FileBytes = Packed;
      }
      if (FailedWith == 0) FailedWith = failed;
      if (FailedWith != 0) {
        Waiting.clear();
        WaitingBytes = 0;
      }
      ended = ended || FailedWith != 0;
    }
    if (block.Awaited) block.Awaited->set_value();
    Changed.NotifyAll();
  }
}

/// False, with errno, if it can't be written.
bool PackedFile::Pack(const Block& block, Compressor::Until until) {
  try {
    return Packer->Feed(block.Bytes.data(), block.Bytes.size(), until, [this](const unsigned char* bytes, size_t size) {
      Packed += size;
      return WriteAll(File, bytes, size) == size;
    });
  } catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return false;
  }
}

}  // namespace client

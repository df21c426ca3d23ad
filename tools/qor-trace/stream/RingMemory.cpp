#include "stream/RingMemory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>

#include <cerrno>
#include <fstream>

#include "system/Descriptor.h"
#include "system/Failure.h"
#include "system/Text.h"
#include "system/Units.h"

namespace client {

namespace {

[[noreturn]] void Refuse(size_t size, const std::string& where, const std::string& why) {
  throw Failure(fmt::format("There is no room for a ring of {} {}: {}", FormatSize(size), where, why));
}

unsigned char* Mapped(size_t size, int flags, int file, const std::string& where) {
  void* const bytes = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, file, 0);
  if (bytes == MAP_FAILED) Refuse(size, where, ErrnoText(errno));
  return static_cast<unsigned char*>(bytes);
}

unsigned char* InMemory(size_t size) {
  if (const size_t available = AvailableMemory(); size > available)
    Refuse(size, "in memory",
           fmt::format("this machine has {} to spare; give a smaller one, or --ring-on-disk", FormatSize(available)));
  return Mapped(size, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, "in memory");
}

unsigned char* OnDisk(size_t size, const std::string& folder) {
  const std::string where = fmt::format("in \"{}\"", folder);
  const Descriptor file(open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (file.Get() < 0) Refuse(size, where, ErrnoText(errno));
  // Now, since a page that finds no room later would end the process.
  const int error = posix_fallocate(file.Get(), 0, static_cast<off_t>(size));
  if (error != 0) Refuse(size, where, ErrnoText(error));
  return Mapped(size, MAP_SHARED, file.Get(), where);
}

}  // namespace

RingMemory::RingMemory(size_t size, const std::string& folder)
    : Size(size), Bytes(folder.empty() ? InMemory(size) : OnDisk(size, folder)) {}

RingMemory::~RingMemory() { munmap(Bytes, Size); }

size_t AvailableMemory() {
  std::ifstream file("/proc/meminfo");
  std::string name, unit;
  for (size_t kilobytes = 0; file >> name >> kilobytes;) {
    if (name == "MemAvailable:") return kilobytes << 10;
    std::getline(file, unit);
  }
  return ~size_t{0};
}

}  // namespace client

#include "system/Fifo.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>

#include "system/Failure.h"

namespace client {

namespace {

constexpr std::chrono::milliseconds kLookInterval{5};

bool IsFifo(int file) {
  struct stat about {};
  return fstat(file, &about) == 0 && S_ISFIFO(about.st_mode);
}

}  // namespace

/// An open that blocks would outlast every signal, as these are taken on a thread of their own.
Descriptor OpenFifo(const std::string& path, Signals& signals) {
  while (!signals.StopRequested()) {
    Descriptor file(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen() && errno != ENXIO) throw Failure(fmt::format("Cannot open \"{}\": {}", path, ErrnoText(errno)));
    if (!file.IsOpen()) {  // nobody reads it yet
      signals.Wait(kLookInterval);
      continue;
    }
    if (!IsFifo(file.Get())) throw Failure(fmt::format("\"{}\" is no named pipe", path));
    if (fcntl(file.Get(), F_SETFL, 0) != 0)  // writes wait for the reader
      throw Failure(fmt::format("Cannot open \"{}\": {}", path, ErrnoText(errno)));
    return file;
  }
  return {};
}

}  // namespace client

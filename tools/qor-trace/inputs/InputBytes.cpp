#include "inputs/InputBytes.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "system/Failure.h"

namespace client {

namespace {

constexpr size_t kBlockSize = 1u << 20;
constexpr int kLongestWait = 50;  // ms between two looks at whether to go on

}  // namespace

InputBytes::InputBytes(const std::string& path) : Name(path == "-" ? "standard input" : fmt::format("\"{}\"", path)) {
  if (path != "-") Opened = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  File = path == "-" ? STDIN_FILENO : Opened.Get();
  if (File < 0) throw Failure(fmt::format("Cannot open {}: {}", Name, ErrnoText(errno)));
  struct stat status {};
  Waits = fstat(File, &status) != 0 || !S_ISREG(status.st_mode);
  if (!Waits) FileSize = static_cast<unsigned long>(status.st_size);
}

bool InputBytes::Fill(size_t size) {
  while (Buffer.size() - WindowBegin < size) {
    Buffer.erase(Buffer.begin(), Buffer.begin() + static_cast<std::ptrdiff_t>(WindowBegin));
    Offset += std::exchange(WindowBegin, 0);
    if (!Begun) {
      if (!Begin()) return false;
      continue;
    }
    if (ReadMore().value_or(0) == 0) return false;
  }
  return true;
}

/// Reads the first bytes, and finds out whether they are compressed. False when reading is to end.
bool InputBytes::Begin() {
  for (bool more = true;;) {
    if (const auto kind = CompressionOfBytes(Buffer, more)) {
      Begun = true;
      PackedAs = *kind;
      if (*kind != Compression::None) Packed = std::make_unique<Unpacked>(*kind, std::exchange(Buffer, {}));
      return true;
    }
    const auto got = ReadSome(Buffer);
    if (!got) return false;
    more = *got > 0;
  }
}

/// Appends some bytes to the buffer: none at the end, nothing when reading is to end.
std::optional<size_t> InputBytes::ReadMore() { return Packed ? Unpack() : ReadSome(Buffer); }

std::optional<size_t> InputBytes::Unpack() {
  if (!MayGoOn()) return std::nullopt;
  const size_t kept = Buffer.size();
  Buffer.resize(kept + kBlockSize);
  size_t got = 0;
  const auto shrink = [&] { Buffer.resize(kept + got); };
  const auto read = [this](std::vector<unsigned char>& bytes) {
    bytes.clear();
    return ReadSome(bytes);
  };
  try {
    const auto some = Packed->Next(Buffer.data() + kept, kBlockSize, read, Name);
    got = some.value_or(0);
    shrink();
    return some;
  } catch (...) {
    shrink();
    throw;
  }
}

bool InputBytes::MayGoOn() {
  if (Present.MayGoOn && !Present.MayGoOn()) Ended = true;
  return !Ended;
}

bool InputBytes::WaitForBytes() {
  for (;;) {
    if (!MayGoOn()) return false;
    pollfd input{File, POLLIN, 0};
    if (!Waits || poll(&input, 1, kLongestWait) != 0) return true;  // a failure shows at the read
    if (Present.Waits) Present.Waits();
  }
}

/// Appends some bytes of the file: none at its end, nothing when reading is to end.
std::optional<size_t> InputBytes::ReadSome(std::vector<unsigned char>& bytes) {
  if (!WaitForBytes()) return std::nullopt;
  const size_t kept = bytes.size();
  bytes.resize(kept + kBlockSize);
  for (;;) {
    const ssize_t got = read(File, bytes.data() + kept, kBlockSize);
    if (got < 0 && errno == EINTR) continue;
    bytes.resize(kept + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0) throw Failure(fmt::format("Cannot read {}: {}", Name, ErrnoText(errno)));
    FromFile += static_cast<unsigned long>(got);
    return static_cast<size_t>(got);
  }
}

bool InputBytes::SkipFar(unsigned long size) {
  while (size > 0) {
    if (!Need(1)) return false;
    const size_t some = std::min<unsigned long>(size, Ready().size());
    Skip(some);
    size -= some;
  }
  return true;
}

bool InputBytes::SkipZerosToEnd() {
  while (Need(1)) {
    const auto ready = Ready();
    if (!std::all_of(ready.begin(), ready.end(), [](unsigned char byte) { return byte == 0; })) return false;
    Skip(ready.size());
  }
  return true;
}

std::optional<std::string_view> InputBytes::Line() {
  const auto text = [this] {
    const auto ready = Ready();
    return std::string_view(reinterpret_cast<const char*>(ready.data()), std::min(ready.size(), kLongestLine));
  };
  size_t searched = 0;
  size_t end = text().find('\n');
  while (end == std::string_view::npos && text().size() < kLongestLine) {
    searched = text().size();
    if (!Need(searched + 1)) break;
    end = text().find('\n', searched);
  }
  if (Ended || text().empty()) return std::nullopt;
  HadEnd = end != std::string_view::npos;
  std::string_view line = text().substr(0, end);
  Skip(line.size() + (HadEnd ? 1 : 0));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace client

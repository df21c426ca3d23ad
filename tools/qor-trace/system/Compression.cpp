#include "system/Compression.h"

#include <algorithm>
#include <array>

#include "system/Text.h"

namespace client {

namespace {

struct Mark {
  Compression Kind;
  std::array<unsigned char, kCompressionMark> Bytes;
  size_t Size;
};

constexpr Mark kMarks[] = {
    {Compression::Gzip, {0x1F, 0x8B, 0x08}, 3},        // "deflate" is the only method there is
    {Compression::Zstd, {0x28, 0xB5, 0x2F, 0xFD}, 4},  // low byte first, of 0xFD2FB528
};

}  // namespace

Compression CompressionOf(std::string_view name) {
  const std::string extension = ExtensionOf(name);
  if (extension == ".gz") return Compression::Gzip;
  return extension == ".zst" ? Compression::Zstd : Compression::None;
}

std::string_view WithoutCompression(std::string_view name) {
  return CompressionOf(name) == Compression::None ? name : name.substr(0, name.rfind('.'));
}

std::optional<Compression> CompressionOfBytes(std::span<const unsigned char> front, bool more) {
  for (const Mark& mark : kMarks) {
    const size_t size = std::min(front.size(), mark.Size);
    if (!std::equal(front.begin(), front.begin() + static_cast<std::ptrdiff_t>(size), mark.Bytes.begin())) continue;
    if (size == mark.Size) return mark.Kind;
    if (more) return std::nullopt;
  }
  return Compression::None;
}

}  // namespace client

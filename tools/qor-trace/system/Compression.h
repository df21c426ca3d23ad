// Compressed files: which ones are, by their names and by how they begin.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace client {

enum class Compression { None, Gzip, Zstd };

/// By the last extension of a name, .gz or .zst in large or small letters.
[[nodiscard]] Compression CompressionOf(std::string_view name);
/// The name without that extension: "drive.asc.gz" -> "drive.asc".
[[nodiscard]] std::string_view WithoutCompression(std::string_view name);

/// Bytes by which compressed data are known.
constexpr size_t kCompressionMark = 4;
/// By what data begin with. Nothing as long as there are too few bytes to tell, and `more` come.
/// @param front  the first bytes
/// @param more   there may be more than these
[[nodiscard]] std::optional<Compression> CompressionOfBytes(std::span<const unsigned char> front, bool more);

}  // namespace client

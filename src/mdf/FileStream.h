// The output stream beneath an MDF file, and the one way in which tables are stored in it.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <type_traits>

#include "internal/Span.h"
#include "internal/Visibility.h"

/// A standard output file stream with a mark that says whether anything was written.
///
/// Errors are the stream's own state; nobody here throws for them unless the caller asked for it (exceptions()).
class QOR_EXPORT FileStream : public std::ofstream {
 public:
  FileStream();
  explicit FileStream(const std::string& path,
                      openmode mode = std::ios_base::out | std::ios_base::binary | std::ios_base::trunc);

  /// Closes an open file. A failed close sets failbit; nothing is thrown.
  ~FileStream() override;

  /// Set by every header, link and data write of the MDF blocks; cleared by whoever asks what happened since.
  bool Written = false;
};

namespace MDF {

using ::FileStream;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "tables are stored as they are held: little-endian");

/// For a table, a number or an array of either, which is stored byte by byte as it is held.
template <class T>
using IfStorable = std::enable_if_t<std::is_trivially_copyable_v<T> && !std::is_pointer_v<T>>;

/// The Put family: every byte that a block stores goes through one of these. They set the stream's written mark;
/// errors show in its state.
inline void PutBytes(FileStream& stream, const void* bytes, size_t size) {
  stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  stream.Written = true;
}

template <class T, class = IfStorable<T>>
void Put(FileStream& stream, const T& value) {
  PutBytes(stream, &value, sizeof value);
}

template <class T, class = IfStorable<T>>
void Put(FileStream& stream, Span<const T> values) {
  PutBytes(stream, values.data(), values.size_bytes());
}

/// The offset of the next write; -1 when the stream is closed or has failed. A stream without a position has failed.
inline long Position(FileStream& stream) {
  const auto position = static_cast<long>(stream.tellp());
  if (position < 0) stream.setstate(std::ios_base::failbit);
  return position;
}

/// Goes to the end of the file and returns its offset; -1 as for Position.
inline long SeekEnd(FileStream& stream) {
  stream.seekp(0, std::ios_base::end);
  return Position(stream);
}

}  // namespace MDF

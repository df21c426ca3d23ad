// The buffers beneath every block that carries data: one of fixed size, one that records are appended to.
#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "internal/Visibility.h"
#include "mdf/FileStream.h"

struct z_stream_s;

namespace MDF {

class Block;
class DLBLOCK;

/// A data section of fixed size: a text, or the embedded data of an attachment. Owns its bytes.
class QOR_EXPORT DataBlockStatic {
 public:
  /// `size` zero bytes; no buffer for 0.
  explicit DataBlockStatic(unsigned int size);
  /// The text, padded with at least one zero to a multiple of 8 bytes. Null is an empty text.
  explicit DataBlockStatic(const char* text);
  ~DataBlockStatic();
  DataBlockStatic(const DataBlockStatic&) = delete;
  DataBlockStatic& operator=(const DataBlockStatic&) = delete;

  /// Copies `length` bytes to `offset`. False, and nothing copied, when compressed or beyond the size.
  [[nodiscard]] bool Insert(unsigned int offset, unsigned char length, unsigned char* data);
  /// Fills the buffer with zeros; it then counts as uncompressed.
  void Reset();
  /// The same with a buffer of a new size. False when memory is short; the old buffer then stays.
  [[nodiscard]] bool Reset(unsigned int size);
  /// Writes the whole buffer; returns the stream's position.
  long Write(FileStream& stream);

  /// Prepares compression. An object compresses once in its life: false when it was prepared before.
  [[nodiscard]] bool Zip_Init();
  /// Compresses `data` into the buffer, which shrinks to the packed size when that is done.
  ///
  /// Meant for one call with `last` set. Each call's output begins at the start of the buffer, so what an earlier call
  /// put there is replaced. False when the buffer has no room left over after the last piece, when compression can't
  /// be prepared, or when it was finished before.
  [[nodiscard]] bool Compressed_Insert(unsigned char* data, unsigned int length, bool last);

 protected:
  [[nodiscard]] unsigned int Size() const { return static_cast<unsigned int>(Buffer.size()); }
  [[nodiscard]] const unsigned char* Bytes() const { return Buffer.data(); }
  [[nodiscard]] bool IsCompressed() const { return Compressed; }

  bool BufferChanged = true;  // since the block that has this section was written

 private:
  [[nodiscard]] QOR_HIDDEN bool EndZip();

  struct ZipEnd {
    QOR_HIDDEN void operator()(z_stream_s* zip) const;
  };

  std::vector<unsigned char> Buffer;
  bool Compressed = false;  // Insert refuses
  bool ZipUsed = false;     // prepared once; never again
  std::unique_ptr<z_stream_s, ZipEnd> Zip;
};

/// A cache that records are appended to until it is written. Owns its bytes.
class QOR_EXPORT DataBlockDynamic {
 public:
  /// Bytes of the cache, and of the largest block unless MaxLength says otherwise.
  static constexpr unsigned int kCacheSize = 0x200000;
  /// Bytes that stay free below the maximum.
  static constexpr unsigned int kMargin = 48;

  /// @throws std::bad_alloc
  DataBlockDynamic();
  DataBlockDynamic(const DataBlockDynamic&) = delete;
  DataBlockDynamic& operator=(const DataBlockDynamic&) = delete;
  ~DataBlockDynamic();

  /// Appends `length` bytes. False, and nothing copied, when less than 48 bytes would stay free.
  [[nodiscard]] virtual bool Insert(unsigned char* data, unsigned int length);
  /// Writes the cached bytes at the stream's position and empties the cache. True when there was nothing to write,
  /// false otherwise; on a closed or failed stream the bytes stay.
  bool Write(FileStream& stream);
  /// The same for an open stream only. Always false.
  bool Cache_Write(FileStream& stream);

  /// Bytes in the cache.
  [[nodiscard]] unsigned int DataBytes() const;
  [[nodiscard]] bool IsEmpty() const;
  [[nodiscard]] unsigned int MaxLength() const;
  /// A new maximum in bytes; 0 is ignored. The cache grows when it has to.
  /// @throws std::bad_alloc; nothing is changed then.
  void MaxLength(unsigned int bytes);
  /// Forgets what is cached and what was written around the cache.
  void Reset();

  /// The block that must point at this one with the link `index` once this one has a place in the file. Not owned.
  void LinkedBlock(Block* block, unsigned int index);
  void LinkedBlock_Disable();

 protected:
  friend class DLBLOCK;

  [[nodiscard]] bool Takes(unsigned int length) const {
    return static_cast<unsigned long>(Held) + length + kMargin <= Max;
  }
  /// The rule of Insert, without the virtual call.
  [[nodiscard]] bool Append(const unsigned char* data, unsigned int length) {
    if (!Takes(length) || (data == nullptr && length != 0)) return false;
    if (length != 0) std::memcpy(Cache.get() + Held, data, length);
    Held += length;
    return true;
  }

  std::unique_ptr<unsigned char[]> Cache;
  unsigned int CacheSize = kCacheSize;
  unsigned int Held = 0;  // bytes in the cache
  unsigned int Max = kCacheSize;
  unsigned long WrittenAround = 0;  // bytes that went to the file without being cached
  Block* Linked = nullptr;
  unsigned int LinkedIndex = 0;

 private:
  DLBLOCK* List = nullptr;  // the list that owns this block, notified when the block is destroyed
};

}  // namespace MDF

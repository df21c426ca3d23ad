#include "mdf/DataBuffer.h"

#include <zlib.h>

#include <algorithm>
#include <new>

#include "mdf/BlockBase.h"
#include "mdf/DataList.h"

namespace MDF {
namespace {

constexpr int kLevel = 4;
constexpr int kWindowBits = 15;  // with the zlib wrapper
constexpr int kMemoryLevel = 8;
// Part of the interface, not the version compiled against: zlib compares the first character only.
constexpr const char* kZlibVersion = "1.2.11";

/// Bytes of the section that holds a text of `length` characters and its zeros. The terminating zero is added before the
/// 8 bytes of padding, so 7 characters take 16 bytes although 8 would hold them: the layout of files depends on it.
size_t TextSize(const char* text, size_t length) {
  const bool terminate = length > 0 && text[length - 1] != '\0';
  return ((length + (terminate ? 1 : 0)) & ~size_t{7}) + 8;
}

}  // namespace

// --- fixed size ---

DataBlockStatic::DataBlockStatic(unsigned int size) : Buffer(size) {}

DataBlockStatic::DataBlockStatic(const char* text) {
  const size_t length = text != nullptr ? std::strlen(text) : 0;
  Buffer.resize(TextSize(text, length));
  std::copy_n(text, length, Buffer.begin());
}

DataBlockStatic::~DataBlockStatic() = default;

bool DataBlockStatic::Insert(unsigned int offset, unsigned char length, unsigned char* data) {
  if (Compressed || (data == nullptr && length != 0)) return false;
  if (size_t{offset} + length > Buffer.size()) return false;
  std::copy_n(data, length, Buffer.begin() + offset);
  BufferChanged = true;
  return true;
}

void DataBlockStatic::Reset() {
  Compressed = false;
  std::fill(Buffer.begin(), Buffer.end(), static_cast<unsigned char>(0));
  BufferChanged = true;
}

bool DataBlockStatic::Reset(unsigned int size) {
  try {
    Buffer = std::vector<unsigned char>(size);
  } catch (const std::bad_alloc&) {
    return false;
  }
  Compressed = false;
  BufferChanged = true;
  return true;
}

long DataBlockStatic::Write(FileStream& stream) {
  if (!Buffer.empty()) PutBytes(stream, Buffer.data(), Buffer.size());
  return Position(stream);
}

void DataBlockStatic::ZipEnd::operator()(z_stream_s* zip) const {
  deflateEnd(zip);
  delete zip;
}

bool DataBlockStatic::Zip_Init() {
  if (ZipUsed) return false;
  auto zip = std::make_unique<z_stream>();
  const int made = deflateInit2_(zip.get(), kLevel, Z_DEFLATED, kWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY,
                                 kZlibVersion, static_cast<int>(sizeof(z_stream)));
  if (made != Z_OK) return false;
  Zip.reset(zip.release());
  ZipUsed = true;
  Compressed = true;
  return true;
}

bool DataBlockStatic::Compressed_Insert(unsigned char* data, unsigned int length, bool last) {
  if (data == nullptr && length != 0) return false;
  if (!Compressed && !Zip_Init()) return false;
  if (Zip == nullptr) return false;  // finished before
  BufferChanged = true;
  Zip->next_in = data;
  Zip->avail_in = length;
  Zip->next_out = Buffer.data();
  Zip->avail_out = Size();
  const int done = deflate(Zip.get(), last ? Z_FINISH : Z_NO_FLUSH);
  const bool roomLeft = Zip->avail_out > 0 && done != Z_STREAM_ERROR;
  if (!last && roomLeft) return true;
  return EndZip() && roomLeft;
}

bool DataBlockStatic::EndZip() {
  const size_t packed = Zip->total_out;
  Zip.reset();
  try {
    Buffer.resize(packed);
    Buffer.shrink_to_fit();
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

// --- growing ---

DataBlockDynamic::DataBlockDynamic() : Cache(std::make_unique_for_overwrite<unsigned char[]>(kCacheSize)) {}

DataBlockDynamic::~DataBlockDynamic() {
  if (List != nullptr) List->ForgetDataBlock();
}

bool DataBlockDynamic::Insert(unsigned char* data, unsigned int length) { return Append(data, length); }

bool DataBlockDynamic::Write(FileStream& stream) {
  if (IsEmpty()) return true;
  Cache_Write(stream);
  return false;
}

bool DataBlockDynamic::Cache_Write(FileStream& stream) {
  if (!stream.is_open() || !stream.good()) return false;
  PutBytes(stream, Cache.get(), Held);
  if (stream.good()) Held = 0;
  return false;
}

unsigned int DataBlockDynamic::DataBytes() const { return Held; }

bool DataBlockDynamic::IsEmpty() const { return Held == 0; }

unsigned int DataBlockDynamic::MaxLength() const { return Max; }

void DataBlockDynamic::MaxLength(unsigned int bytes) {
  if (bytes == 0) return;
  if (bytes > CacheSize) {
    auto larger = std::make_unique_for_overwrite<unsigned char[]>(bytes);
    std::copy_n(Cache.get(), Held, larger.get());
    Cache = std::move(larger);
    CacheSize = bytes;
  }
  Max = bytes;
}

void DataBlockDynamic::Reset() {
  Held = 0;
  WrittenAround = 0;
}

void DataBlockDynamic::LinkedBlock(Block* block, unsigned int index) {
  Linked = block;
  LinkedIndex = index;
}

void DataBlockDynamic::LinkedBlock_Disable() { LinkedBlock(nullptr, 0); }

}  // namespace MDF

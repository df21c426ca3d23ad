#include "system/Compressor.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <new>

namespace client {

namespace {

constexpr int kGzipWindow = 15 + 16;    // 32 KiB, in gzip's wrapping
constexpr int kZstdLongestWindow = 27;  // bits

unsigned int Part(size_t size) { return static_cast<unsigned int>(std::min<size_t>(size, 1u << 30)); }

class GzipCompressor : public Compressor {
 public:
  GzipCompressor() {
    constexpr int kMemory = 8;  // zlib's own default
    if (deflateInit2(&State, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemory, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~GzipCompressor() override { deflateEnd(&State); }

  bool Feed(const unsigned char* bytes, size_t size, Until until, const TakeBytes& take) override {
    do {
      const unsigned int part = Part(size);
      const bool last = part == size;
      State.next_in = const_cast<unsigned char*>(bytes);  // zlib only reads it
      State.avail_in = part;
      if (!Run(last ? until : Until::Later, take)) return false;
      bytes += part;
      size -= part;
    } while (size > 0);
    return true;
  }

 private:
  bool Run(Until until, const TakeBytes& take) {
    const int flush = until == Until::End ? Z_FINISH : until == Until::Flush ? Z_SYNC_FLUSH : Z_NO_FLUSH;
    do {
      State.next_out = Buffer.data();
      State.avail_out = static_cast<unsigned int>(Buffer.size());
      (void)deflate(&State, flush);  // can't fail with a sound state
      const size_t made = Buffer.size() - State.avail_out;
      if (made > 0 && !take(Buffer.data(), made)) return false;
    } while (State.avail_out == 0);
    return true;
  }

  z_stream State = {};
  std::array<unsigned char, 65536> Buffer;
};

class ZstdCompressor : public Compressor {
 public:
  ZstdCompressor() : State(ZSTD_createCCtx()) {
    if (State == nullptr) throw std::bad_alloc();
    (void)ZSTD_CCtx_setParameter(State, ZSTD_c_checksumFlag, 1);
  }
  ~ZstdCompressor() override { ZSTD_freeCCtx(State); }

  bool Feed(const unsigned char* bytes, size_t size, Until until, const TakeBytes& take) override {
    const auto mode = until == Until::End ? ZSTD_e_end : until == Until::Flush ? ZSTD_e_flush : ZSTD_e_continue;
    ZSTD_inBuffer input{bytes, size, 0};
    for (;;) {
      ZSTD_outBuffer output{Buffer.data(), Buffer.size(), 0};
      const size_t left = ZSTD_compressStream2(State, &output, &input, mode);
      if (ZSTD_isError(left) != 0) throw std::bad_alloc();  // nothing else goes wrong with sound parameters
      if (output.pos > 0 && !take(Buffer.data(), output.pos)) return false;
      if (mode == ZSTD_e_continue ? input.pos == input.size : left == 0) return true;
    }
  }

 private:
  ZSTD_CCtx* const State;
  std::array<unsigned char, 65536> Buffer;
};

class GzipDecompressor : public Decompressor {
 public:
  GzipDecompressor() {
    if (inflateInit2(&State, kGzipWindow) != Z_OK) throw std::bad_alloc();
  }
  ~GzipDecompressor() override { inflateEnd(&State); }

  Step Next(const unsigned char* bytes, size_t size, unsigned char* target, size_t room) override {
    if (Ended) (void)inflateReset(&State);
    Ended = false;
    State.next_in = const_cast<unsigned char*>(bytes);  // zlib only reads it
    State.avail_in = Part(size);
    State.next_out = target;
    State.avail_out = Part(room);
    const int state = inflate(&State, Z_NO_FLUSH);
    if (state == Z_MEM_ERROR) throw std::bad_alloc();
    Ended = state == Z_STREAM_END;
    return {.Taken = Part(size) - State.avail_in,
            .Made = Part(room) - State.avail_out,
            .Damaged = state != Z_OK && state != Z_STREAM_END && state != Z_BUF_ERROR,
            .Between = Ended};
  }

 private:
  z_stream State = {};
  bool Ended = false;  // of a member; others may follow
};

class ZstdDecompressor : public Decompressor {
 public:
  ZstdDecompressor() : State(ZSTD_createDCtx()) {
    if (State == nullptr) throw std::bad_alloc();
    (void)ZSTD_DCtx_setParameter(State, ZSTD_d_windowLogMax, kZstdLongestWindow);
  }
  ~ZstdDecompressor() override { ZSTD_freeDCtx(State); }

  Step Next(const unsigned char* bytes, size_t size, unsigned char* target, size_t room) override {
    ZSTD_inBuffer input{bytes, size, 0};
    ZSTD_outBuffer output{target, room, 0};
    const size_t left = ZSTD_decompressStream(State, &output, &input);
    return {.Taken = input.pos, .Made = output.pos, .Damaged = ZSTD_isError(left) != 0, .Between = left == 0};
  }

 private:
  ZSTD_DCtx* const State;
};

}  // namespace

std::unique_ptr<Compressor> MakeCompressor(Compression kind) {
  if (kind == Compression::Zstd) return std::make_unique<ZstdCompressor>();
  return std::make_unique<GzipCompressor>();
}

std::unique_ptr<Decompressor> MakeDecompressor(Compression kind) {
  if (kind == Compression::Zstd) return std::make_unique<ZstdDecompressor>();
  return std::make_unique<GzipDecompressor>();
}

}  // namespace client

#include "mdf/DataBuffer.h"

#include <zlib.h>

#include <numeric>
#include <random>

#include "support/MdfFiles.h"

namespace {

using MDF::DataBlockDynamic;
using MDF::DataBlockStatic;

/// What a buffer holds, in plain sight.
struct Static : DataBlockStatic {
  using DataBlockStatic::Bytes;
  using DataBlockStatic::DataBlockStatic;
  using DataBlockStatic::IsCompressed;
  using DataBlockStatic::Size;
  [[nodiscard]] std::string Text() const { return {reinterpret_cast<const char*>(Bytes()), Size()}; }
};

std::string Unzip(const std::string& packed, size_t size) {
  std::string plain(size, '\0');
  uLongf plainSize = size;
  EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(plain.data()), &plainSize,
                       reinterpret_cast<const Bytef*>(packed.data()), packed.size()),
            Z_OK);
  EXPECT_EQ(plainSize, size);
  return plain;
}

struct TextCase {
  const char* Text;
  unsigned int Size;
};

TEST(StaticBuffer, TextIsPaddedWithAtLeastOneZeroToAMultipleOfEight) {
  for (const TextCase& c : {TextCase{"", 8},
                            {"abc", 8},
                            {"12345", 8},
                            {"1234567", 16},
                            {"12345678", 16},
                            {"123456789012345", 24},
                            {nullptr, 8}}) {
    SCOPED_TRACE(c.Text != nullptr ? c.Text : "null");
    const std::string text = c.Text != nullptr ? c.Text : "";
    EXPECT_EQ(Static(c.Text).Text(), text + std::string(c.Size - text.size(), '\0'));
  }
}

TEST(StaticBuffer, SizeGivesZeroBytes) {
  EXPECT_EQ(Static(3U).Text(), std::string(3, '\0'));
  EXPECT_EQ(Static(0U).Size(), 0U);
}

TEST(StaticBuffer, InsertStaysWithinTheSize) {
  Static buffer(8U);
  std::string data = "xyz";
  EXPECT_TRUE(buffer.Insert(0, 3, Data(data)));
  EXPECT_TRUE(buffer.Insert(5, 3, Data(data)));
  EXPECT_TRUE(buffer.Insert(8, 0, nullptr));
  EXPECT_FALSE(buffer.Insert(6, 3, Data(data)));
  EXPECT_FALSE(buffer.Insert(9, 0, Data(data)));
  EXPECT_FALSE(buffer.Insert(0xFFFFFFFEU, 3, Data(data))) << "the sum is beyond 32 bits";
  EXPECT_FALSE(buffer.Insert(0, 1, nullptr));
  EXPECT_EQ(buffer.Text(), std::string("xyz\0\0xyz", 8));
}

TEST(StaticBuffer, ResetClearsOrReplaces) {
  Static buffer("text");
  buffer.Reset();
  EXPECT_EQ(buffer.Text(), std::string(8, '\0'));
  EXPECT_TRUE(buffer.Reset(3));
  EXPECT_EQ(buffer.Text(), std::string(3, '\0'));
}

TEST(StaticBuffer, CompressesInOneCallAndShrinks) {
  std::string plain(1000, 'a');
  Static buffer(1000U);
  ASSERT_TRUE(buffer.Compressed_Insert(Data(plain), 1000, true));
  EXPECT_LT(buffer.Size(), 100U);
  EXPECT_EQ(Unzip(buffer.Text(), 1000), plain);
  EXPECT_FALSE(buffer.Insert(0, 1, Data(plain))) << "compressed buffers take no plain bytes";
}

TEST(StaticBuffer, CompressesOnceInItsLife) {
  std::string plain(100, 'a');
  Static buffer(100U);
  ASSERT_TRUE(buffer.Compressed_Insert(Data(plain), 100, true));
  EXPECT_FALSE(buffer.Compressed_Insert(Data(plain), 100, true));
  EXPECT_FALSE(buffer.Zip_Init());
  buffer.Reset();
  EXPECT_TRUE(buffer.Insert(0, 1, Data(plain)));
  EXPECT_FALSE(buffer.Compressed_Insert(Data(plain), 100, true));
}

TEST(StaticBuffer, PreparedCompressionIsUsedAndNotPreparedTwice) {
  std::string plain(100, 'a');
  Static buffer(100U);
  EXPECT_TRUE(buffer.Zip_Init());
  EXPECT_FALSE(buffer.Zip_Init());
  EXPECT_TRUE(buffer.Compressed_Insert(Data(plain), 100, true));
  EXPECT_EQ(Unzip(buffer.Text(), 100), plain);
}

TEST(StaticBuffer, CompressionThatFillsTheBufferFails) {
  std::string plain(64, '\0');
  std::iota(plain.begin(), plain.end(), '\1');  // nothing to save here
  Static buffer(64U);
  EXPECT_FALSE(buffer.Compressed_Insert(Data(plain), 64, true));
  Static none(0U);
  EXPECT_FALSE(none.Compressed_Insert(Data(plain), 64, true));
}

TEST(StaticBuffer, UnfinishedCompressionIsReleased) {
  std::string plain(100, 'a');
  Static buffer(100U);
  EXPECT_TRUE(buffer.Compressed_Insert(Data(plain), 100, false));
  EXPECT_TRUE(buffer.IsCompressed());
  EXPECT_EQ(buffer.Size(), 100U);
}

TEST(DynamicBuffer, FortyEightBytesStayFree) {
  DataBlockDynamic buffer;
  EXPECT_EQ(buffer.MaxLength(), 0x200000U);
  std::string data(0x200000, 'd');
  EXPECT_FALSE(buffer.Insert(Data(data), 0x200000 - 47));
  EXPECT_TRUE(buffer.IsEmpty());
  EXPECT_TRUE(buffer.Insert(Data(data), 0x200000 - 49));
  EXPECT_TRUE(buffer.Insert(Data(data), 1));
  EXPECT_FALSE(buffer.Insert(Data(data), 1));
  EXPECT_EQ(buffer.DataBytes(), 0x200000U - 48);
}

TEST(DynamicBuffer, LengthsBeyond32BitsInSumAreRefused) {
  DataBlockDynamic buffer;
  std::string data(8, 'd');
  ASSERT_TRUE(buffer.Insert(Data(data), 8));
  EXPECT_FALSE(buffer.Insert(Data(data), 0xFFFFFFFFU));
  EXPECT_FALSE(buffer.Insert(Data(data), 0xFFFFFFFFU - 40));
  EXPECT_EQ(buffer.DataBytes(), 8U);
}

TEST(DynamicBuffer, NullDataIsRefusedUnlessEmpty) {
  DataBlockDynamic buffer;
  EXPECT_FALSE(buffer.Insert(nullptr, 1));
  EXPECT_TRUE(buffer.Insert(nullptr, 0));
}

TEST(DynamicBuffer, MaximumMayBeLoweredAndRaisedButNotToZero) {
  DataBlockDynamic buffer;
  std::string data(0x400000, 'd');
  buffer.MaxLength(0);
  EXPECT_EQ(buffer.MaxLength(), 0x200000U);
  buffer.MaxLength(64);
  EXPECT_TRUE(buffer.Insert(Data(data), 16));
  EXPECT_FALSE(buffer.Insert(Data(data), 1));
  buffer.MaxLength(0x400000);
  EXPECT_TRUE(buffer.Insert(Data(data), 0x400000 - 64));
  EXPECT_EQ(buffer.DataBytes(), 0x400000U - 48);
}

TEST(DynamicBuffer, ResetForgetsTheBytes) {
  DataBlockDynamic buffer;
  std::string data(8, 'd');
  ASSERT_TRUE(buffer.Insert(Data(data), 8));
  buffer.Reset();
  EXPECT_TRUE(buffer.IsEmpty());
}

TEST(DynamicBuffer, WriteSaysTrueOnlyWhenThereWasNothing) {
  const std::string path = (std::filesystem::temp_directory_path() / ("buffer" + std::to_string(getpid()))).string();
  FileStream stream(path);
  DataBlockDynamic buffer;
  std::string data = "data";
  EXPECT_TRUE(buffer.Write(stream));
  EXPECT_FALSE(stream.Written);
  ASSERT_TRUE(buffer.Insert(Data(data), 4));
  EXPECT_FALSE(buffer.Write(stream));
  EXPECT_TRUE(stream.Written);
  EXPECT_TRUE(buffer.IsEmpty());
  ASSERT_TRUE(buffer.Insert(Data(data), 4));
  EXPECT_FALSE(buffer.Cache_Write(stream));
  stream.close();
  EXPECT_EQ(StrictMdfReader::Load(path), "datadata");
  std::filesystem::remove(path);
}

TEST(DynamicBuffer, ClosedStreamLeavesTheBytes) {
  FileStream closed;
  DataBlockDynamic buffer;
  std::string data = "data";
  ASSERT_TRUE(buffer.Insert(Data(data), 4));
  EXPECT_FALSE(buffer.Write(closed));
  EXPECT_FALSE(buffer.Cache_Write(closed));
  EXPECT_EQ(buffer.DataBytes(), 4U);
}

}  // namespace

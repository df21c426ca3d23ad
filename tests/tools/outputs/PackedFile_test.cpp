#include "outputs/PackedFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "inputs/InputBytes.h"
#include "outputs/OutputFile.h"
#include "support/TemporaryDirectory.h"
#include "support/WaitUntil.h"
#include "system/Descriptor.h"
#include "system/Failure.h"

namespace client {
namespace {

namespace fs = std::filesystem;

/// Text that compresses to about a third.
std::string SomeText(size_t size) {
  std::string text;
  text.reserve(size + 32);
  for (unsigned long number = 1; text.size() < size; number = number * 6364136223846793005 + 1442695040888963407)
    text += std::to_string(number >> 40) + " frames\n";
  text.resize(size);
  return text;
}

std::string TextOf(InputBytes& input) {
  std::string text;
  while (input.Need(1)) {
    const auto ready = input.Ready();
    text.append(reinterpret_cast<const char*>(ready.data()), ready.size());
    input.Skip(ready.size());
  }
  return text;
}

const unsigned char* BytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

/// With what each kind of file is called.
class PackedFileTest : public testing::TestWithParam<const char*> {
 protected:
  void WriteWhole(const std::string& text) const {
    OutputFile file(Path);
    for (size_t place = 0; place < text.size(); place += 100'000) {
      const size_t part = std::min<size_t>(100'000, text.size() - place);
      ASSERT_EQ(file.Write(BytesOf(text) + place, part), part);
    }
    ASSERT_TRUE(file.Complete()) << file.Error();
  }

  test::TemporaryDirectory Directory;
  std::string Path = (fs::current_path() / ("x.csv" + std::string(GetParam()))).string();
};

INSTANTIATE_TEST_SUITE_P(Kinds, PackedFileTest, testing::Values(".gz", ".zst"));

TEST_P(PackedFileTest, WhatIsWrittenComesBackAndTakesLessRoom) {
  const std::string text = SomeText(5'000'000);
  WriteWhole(text);
  EXPECT_LT(fs::file_size(Path), text.size() / 2);
  InputBytes input(Path);
  EXPECT_TRUE(TextOf(input) == text);
  EXPECT_TRUE(input.IsPacked());
  EXPECT_FALSE(*input.CutOff());
  EXPECT_EQ(input.Position(), text.size());
  EXPECT_EQ(input.Taken(), input.Size());
}

TEST_P(PackedFileTest, OnceItIsSettledItsSizeIsThatOnTheDisk) {
  const std::string text = SomeText(3'000'000);
  OutputFile file(Path);
  unsigned long taken = 0;
  for (size_t place = 0; place < text.size(); place += 100'000) {
    taken += file.Write(BytesOf(text) + place, 100'000);
    const unsigned long size = file.Size();
    EXPECT_GE(size, fs::file_size(Path + ".part") / 2) << "what is being packed counts as it came";
    EXPECT_LE(size, taken + 1000);
  }
  file.Settle();
  EXPECT_EQ(file.Size(), fs::file_size(Path + ".part"));
  EXPECT_LT(file.Size(), taken / 2);
  file.Settle();
  EXPECT_EQ(file.Size(), fs::file_size(Path + ".part")) << "there is nothing left to settle";
  ASSERT_TRUE(file.Complete()) << file.Error();
  InputBytes input(Path);
  EXPECT_TRUE(TextOf(input) == text);
}

TEST_P(PackedFileTest, WhatIsInTheFileBeforeAFlushDoesNotCountTwice) {
  const std::string text = SomeText(2'000'000);
  OutputFile file(Path);
  for (size_t place = 0; place < text.size(); place += 10'000)
    ASSERT_EQ(file.Write(BytesOf(text) + place, 10'000), 10'000u);
  ASSERT_TRUE(test::WaitUntil([&] { return fs::file_size(Path + ".part") > 100'000; }));
  EXPECT_LE(file.Size(), text.size() + 1000);
}

TEST_P(PackedFileTest, AFileWithNothingInItIsWhole) {
  WriteWhole("");
  EXPECT_GT(fs::file_size(Path), 0u);
  InputBytes input(Path);
  EXPECT_EQ(TextOf(input), "");
  EXPECT_FALSE(*input.CutOff());
}

TEST_P(PackedFileTest, FilesThatFollowEachOtherAreReadAsOne) {
  WriteWhole("one\n");
  auto bytes = test::FileBytes(Path);
  WriteWhole("two\n");
  const auto second = test::FileBytes(Path);
  bytes.insert(bytes.end(), second.begin(), second.end());
  test::WriteFile(Path, bytes);
  InputBytes input(Path);
  EXPECT_EQ(TextOf(input), "one\ntwo\n");
  EXPECT_FALSE(*input.CutOff());
}

TEST_P(PackedFileTest, WhatCameBeforeACutIsReadAndTheCutIsTold) {
  const std::string text = SomeText(2'000);
  WriteWhole(text);
  const auto whole = test::FileBytes(Path);
  for (size_t size = kCompressionMark; size < whole.size(); ++size) {
    test::WriteFile(Path, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
    InputBytes input(Path);
    EXPECT_TRUE(text.starts_with(TextOf(input))) << size;
    EXPECT_TRUE(*input.CutOff()) << size;
  }
}

TEST_P(PackedFileTest, DamageIsAFailureThatNamesItsPlace) {
  const std::string text = SomeText(3'000'000);
  WriteWhole(text);
  auto bytes = test::FileBytes(Path);
  for (size_t place = bytes.size() / 2; place < bytes.size() / 2 + 64; ++place) bytes[place] ^= 0xA5;
  test::WriteFile(Path, bytes);
  InputBytes input(Path);
  std::string before;
  try {
    while (input.Need(1)) {
      const auto ready = input.Ready();
      before.append(reinterpret_cast<const char*>(ready.data()), ready.size());
      input.Skip(ready.size());
    }
    FAIL() << "no failure";
  } catch (const Failure& failure) {
    EXPECT_NE(std::string(failure.what()).find("damaged at byte"), std::string::npos) << failure.what();
  }
  EXPECT_GT(before.size(), 0u);
  EXPECT_TRUE(before.substr(0, 100'000) == text.substr(0, 100'000));
}

TEST_P(PackedFileTest, AnUnfinishedFileCanBeReadAsFarAsItWent) {
  {
    OutputFile file(Path);
    ASSERT_EQ(file.Write(BytesOf("some\n"), 5), 5u);
  }
  EXPECT_FALSE(fs::exists(Path));
  InputBytes input(Path + ".part");
  EXPECT_EQ(TextOf(input), "some\n");
}

TEST_P(PackedFileTest, AFailedWriteShowsAtALaterOneOrAtTheEnd) {
  const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  PackedFile file(full.Get(), CompressionOf(Path));
  const std::string text = SomeText(500'000);
  bool failed = false;
  for (int times = 0; times < 200 && !failed; ++times) failed = file.Write(BytesOf(text), text.size()) < text.size();
  EXPECT_TRUE(failed) << "100 MB fit nowhere";
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(file.End());
  EXPECT_EQ(errno, ENOSPC);
}

TEST(Compression, IsKnownByNamesAndByFirstBytes) {
  EXPECT_EQ(CompressionOf("drive.asc.gz"), Compression::Gzip);
  EXPECT_EQ(CompressionOf("drive.bin.ZST"), Compression::Zstd);
  EXPECT_EQ(CompressionOf("drive.gz.asc"), Compression::None);
  EXPECT_EQ(WithoutCompression("drive.asc.gz"), "drive.asc");
  EXPECT_EQ(WithoutCompression("drive.asc"), "drive.asc");
  const std::vector<unsigned char> gzip = {0x1F, 0x8B, 0x08, 0}, zstd = {0x28, 0xB5, 0x2F, 0xFD}, text = {'(', '1'};
  EXPECT_EQ(CompressionOfBytes(gzip, false), Compression::Gzip);
  EXPECT_EQ(CompressionOfBytes(zstd, true), Compression::Zstd);
  EXPECT_EQ(CompressionOfBytes(text, true), Compression::None);
  EXPECT_EQ(CompressionOfBytes(std::span(zstd).first(2), true), std::nullopt);
  EXPECT_EQ(CompressionOfBytes(std::span(zstd).first(2), false), Compression::None);
}

}  // namespace
}  // namespace client

// Files for tests that write MDF blocks: each is read strictly when the test is over.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "mdf/Block.h"
#include "mdf/BlockTree.h"
#include "support/StrictMdfReader.h"

/// Tests that write MDF files. Every file asked for with NewFile is checked in TearDown: as a whole file when it begins
/// with an identification, else as a piece from the roots that the test named.
class MdfFiles : public ::testing::Test {
 protected:
  /// A path of this test's own.
  std::string NewFile() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("mdf_") + info->test_suite_name() + "_" + info->name() + "_" +
                       std::to_string(getpid()) + "_" + std::to_string(Files.size()) + ".mf4";
    std::replace(name.begin(), name.end(), '/', '_');
    Files.push_back({(std::filesystem::temp_directory_path() / name).string(), {}, {}});
    return Files.back().Path;
  }

  /// The roots of the latest file's blocks, when it has no identification and header.
  void Roots(std::vector<uint64_t> positions) { Files.back().Roots = std::move(positions); }
  void Options(StrictMdfReader::Options options) { Files.back().Options = options; }

  void TearDown() override {
    for (const File& file : Files) {
      StrictMdfReader reader(StrictMdfReader::Load(file.Path), file.Options);
      if (file.Roots.empty()) {
        reader.ReadFile();
      } else {
        reader.ReadBlocks(file.Roots);
      }
      EXPECT_EQ(reader.Report(), "") << file.Path;
      std::filesystem::remove(file.Path);
    }
  }

  /// The bytes of the latest file.
  [[nodiscard]] std::string Contents() const { return StrictMdfReader::Load(Files.back().Path); }

 private:
  struct File {
    std::string Path;
    std::vector<uint64_t> Roots;
    StrictMdfReader::Options Options;
  };
  std::vector<File> Files;
};

/// Bytes written as hexadecimal digits; blanks are ignored.
inline std::string Bytes(std::string_view hex) {
  std::string bytes;
  int high = -1;
  for (const char c : hex) {
    if (c == ' ' || c == '\n') continue;
    const int digit = c <= '9' ? c - '0' : c - 'A' + 10;
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<char>(high * 16 + digit));
      high = -1;
    }
  }
  return bytes;
}

/// Are contents of megabytes the same? Says where they differ; EXPECT_EQ would look minutes for the shortest way from one
/// to the other.
inline ::testing::AssertionResult SameBytes(std::string_view actual, std::string_view expected) {
  if (actual == expected) return ::testing::AssertionSuccess();
  const auto differ = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  return ::testing::AssertionFailure() << actual.size() << " bytes, expected " << expected.size() << "; they differ at "
                                       << differ.first - actual.begin();
}

/// The unsigned-char view of a text that the interfaces take.
inline unsigned char* Data(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

/// Places what isn't placed yet at the end of the file and writes whatever changed, as MdfFile does.
inline void PlaceAndWrite(MDF::Block& root, FileStream& stream) {
  long cursor = std::max<long>(MDF::SeekEnd(stream), 64);
  BlockSet changed;
  root.Block_PlaceAndList(false, &cursor, &changed);
  for (MDF::Block* block : changed) block->Write(stream);
  stream.flush();
}

/// A block tree that is destroyed with its owner. Data lists belong to whoever made them and must live longer.
using Tree = MDF::NewTree<MDF::Block>;

// A directory of the test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/EntryBuilder.h"  // Bytes

namespace test {

/// Makes an empty directory the working directory, and takes both back at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory() : Before(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "qor-trace-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    Path = name;
    std::filesystem::current_path(Path);
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(Before, ignored);
    std::filesystem::remove_all(Path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

 private:
  std::filesystem::path Before;
  std::filesystem::path Path;
};

/// The bytes of a file; none if it can't be read.
inline Bytes FileBytes(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::string FileText(const std::string& name) {
  const Bytes bytes = FileBytes(name);
  return {bytes.begin(), bytes.end()};
}

/// Replaces a file.
inline void WriteFile(const std::string& name, const Bytes& bytes) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace test

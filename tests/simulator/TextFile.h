// A text file for the length of a scope.
#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>

class TextFile {
 public:
  explicit TextFile(const std::string& text) {
    static std::atomic<unsigned int> count{0};
    const auto name = "qor-sim-" + std::to_string(::getpid()) + "-" + std::to_string(count++) + ".log";
    Path = (std::filesystem::temp_directory_path() / name).string();
    std::ofstream(Path, std::ios::binary) << text;
  }
  ~TextFile() { std::filesystem::remove(Path); }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  std::string Path;
};

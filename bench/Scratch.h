// A place for the files that a benchmark writes.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace bench {

/// A folder of its own, in memory if the machine has such a place; removed at the end.
class Scratch {
 public:
  Scratch() {
    const std::filesystem::path shared = "/dev/shm";
    Place = std::filesystem::is_directory(shared) ? shared : std::filesystem::temp_directory_path();
    Place /= "qor_bench_" + std::to_string(getpid());
    std::filesystem::create_directory(Place);
  }
  ~Scratch() {
    std::error_code ignored;
    std::filesystem::remove_all(Place, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] const std::filesystem::path& Folder() const { return Place; }
  [[nodiscard]] std::string Path(const char* name) const { return (Place / name).string(); }

 private:
  std::filesystem::path Place;
};

}  // namespace bench

// Runs a fuzz target over every file of its corpus, and over as many damaged ones, without a fuzzer: the target's main function in
// ordinary tests.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<char>;

std::vector<fs::path> FilesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Bytes BytesOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void Run(const Bytes& bytes) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

/// Damages inputs, the same way in each run: a few places get other bits, lengths of extremes, or pieces of another input, are
/// left out or are doubled.
class Damage {
 public:
  Bytes Of(Bytes bytes, const Bytes& other) {
    for (size_t count = 1 + Below(4); count > 0 && !bytes.empty(); --count) DoOne(bytes, other);
    return bytes;
  }
  size_t Below(size_t limit) { return limit == 0 ? 0 : Numbers() % limit; }

 private:
  void DoOne(Bytes& bytes, const Bytes& other) {
    const size_t place = Below(bytes.size());
    const size_t length = std::min(bytes.size() - place, 1 + Below(16));
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
    const auto end = at + static_cast<std::ptrdiff_t>(length);
    switch (Below(6)) {
      case 0:
        *at = static_cast<char>(*at ^ (1 << Below(8)));
        break;
      case 1:
        *at = static_cast<char>(Numbers());
        break;
      case 2:
        std::fill(at, at + static_cast<std::ptrdiff_t>(std::min<size_t>(length, 4)), Below(2) == 0 ? '\0' : '\xFF');
        break;
      case 3:
        bytes.erase(at, Below(8) == 0 ? bytes.end() : end);
        break;
      case 4: {
        const Bytes piece(at, end);
        bytes.insert(at, piece.begin(), piece.end());
        break;
      }
      default:
        const size_t from = Below(other.size());
        std::copy_n(other.begin() + static_cast<std::ptrdiff_t>(from), std::min(length, other.size() - from), at);
    }
  }

  std::mt19937_64 Numbers{20261122};
};

/// @param kept  has what is being run, until it has passed
void RunDamaged(const std::vector<fs::path>& files, size_t count, const fs::path& kept) {
  Damage damage;
  for (size_t number = 0; number < count; ++number) {
    const Bytes bytes = damage.Of(BytesOf(files[number % files.size()]), BytesOf(files[damage.Below(files.size())]));
    std::ofstream(kept, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    Run(bytes);
  }
  fs::remove(kept);
}

}  // namespace

int main(int argc, char** argv) {
  size_t damaged = 0;
  const bool counted = argc == 3 && std::from_chars(argv[2], argv[2] + std::strlen(argv[2]), damaged).ec == std::errc();
  if ((argc != 2 && !counted) || !fs::is_directory(argv[1])) {
    std::fprintf(stderr, "usage: %s CORPUS_FOLDER [NUMBER_OF_DAMAGED_INPUTS]\n", argc > 0 ? argv[0] : "replay");
    return 2;
  }
  const fs::path corpus = fs::absolute(argv[1]);  // targets work in a folder of their own
  const fs::path kept = fs::absolute("damaged-" + corpus.filename().string());
  const auto files = FilesIn(corpus);
  if (files.empty()) return 1;
  for (const auto& file : files) {
    std::fprintf(stderr, "%s\n", file.c_str());  // the last one named is the one that crashed
    Run(BytesOf(file));
  }
  std::fprintf(stderr, "damaged inputs; one that crashes is left in %s\n", kept.c_str());
  RunDamaged(files, damaged, kept);
  std::printf("%zu inputs, %zu damaged ones\n", files.size(), damaged);
  return 0;
}

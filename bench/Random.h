// Contents of the records that benchmarks measure: the same in every run.
#pragma once

#include <cstddef>
#include <random>

#include "support/EntryBuilder.h"

class Random {
 public:
  /// 0 to `end` - 1.
  unsigned int Below(unsigned int end) { return static_cast<unsigned int>(Engine() % end); }
  test::Bytes SomeBytes(size_t count) {
    test::Bytes bytes(count);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(Engine());
    return bytes;
  }

 private:
  std::mt19937_64 Engine{42};
};

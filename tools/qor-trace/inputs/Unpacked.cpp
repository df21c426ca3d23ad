#include "inputs/Unpacked.h"

#include <fmt/format.h>

#include <algorithm>

#include "system/Failure.h"

namespace client {

std::optional<size_t> Unpacked::Next(unsigned char* target, size_t room, const Read& read, const std::string& name) {
  for (;;) {
    if (Begin == Packed.size()) {
      Begin = 0;
      const auto got = read(Packed);
      if (!got) return std::nullopt;
      if (*got == 0) {
        *Cut = !Between;
        return 0;
      }
    }
    const size_t ready = Packed.size() - Begin;
    const Decompressor::Step step = Inflate->Next(Packed.data() + Begin, ready, target, room);
    Begin += step.Taken;
    Taken += step.Taken;
    if (step.Made > 0) {
      Between = step.Between;
      return step.Made;
    }
    if (step.Damaged || step.Taken == 0) {
      const auto zeros = OnlyZerosFollow(read);
      if (!zeros) return std::nullopt;
      if (!*zeros) throw Failure(fmt::format("The compressed data of {} are damaged at byte {}", name, Taken));
      continue;  // to the end
    }
    Between = step.Between;
  }
}

/// Nothing when reading is to end. If it is true, nothing is left to be read.
std::optional<bool> Unpacked::OnlyZerosFollow(const Read& read) {
  while (!Packed.empty()) {
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    if (!std::all_of(Packed.begin() + static_cast<std::ptrdiff_t>(Begin), Packed.end(), isZero)) return false;
    Packed.clear();
    Begin = 0;
    if (!read(Packed)) return std::nullopt;
  }
  return true;
}

}  // namespace client

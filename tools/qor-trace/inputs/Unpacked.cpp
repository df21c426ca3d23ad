#include "inputs/Unpacked.h"

#include <fmt/format.h>

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
    if (step.Damaged || step.Taken == 0)
      throw Failure(fmt::format("The compressed data of {} are damaged at byte {}", name, Taken));
    Between = step.Between;
  }
}

}  // namespace client

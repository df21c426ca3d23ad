#include "outputs/Omissions.h"

#include <numeric>

namespace client {

unsigned long Omissions::Total() const { return std::accumulate(Counts.begin(), Counts.end(), 0ul); }

std::string Omissions::Text(std::string_view why) const {
  std::string text;
  for (size_t reason = 0; reason < Names.size(); ++reason) {
    if (Counts[reason] == 0) continue;
    text += text.empty() ? ", as " + std::string(why) + ": " : ", ";
    text += std::to_string(Counts[reason]) + " " + Names[reason];
  }
  return text;
}

std::map<std::string, unsigned long> Omissions::ByName() const {
  std::map<std::string, unsigned long> counts;
  for (size_t reason = 0; reason < Names.size(); ++reason)
    if (Counts[reason] > 0) counts[Names[reason]] = Counts[reason];
  return counts;
}

}  // namespace client

#include "views/LogHistogram.h"

#include <algorithm>

namespace client {

void LogHistogram::Add(unsigned long value) {
  const unsigned int index = IndexOf(value);
  if (Latest >= Used.size() || Used[Latest].Index != index) {
    const auto place = std::lower_bound(Used.begin(), Used.end(), index,
                                        [](const Bin& bin, unsigned int wanted) { return bin.Index < wanted; });
    Latest = static_cast<size_t>(place - Used.begin());
    if (place == Used.end() || place->Index != index) Used.insert(place, Bin{.Index = index});
  }
  ++Total;
  ++Used[Latest].Count;
  Used[Latest].Beyond += static_cast<double>(value - LowerEdge(index));
}

unsigned long LogHistogram::CountFrom(unsigned int index) const {
  unsigned long count = 0;
  for (auto bin = Used.rbegin(); bin != Used.rend() && bin->Index >= index; ++bin) count += bin->Count;
  return count;
}

const LogHistogram::Bin& LogHistogram::AtRank(unsigned long rank) const {
  unsigned long below = 0;
  for (const Bin& bin : Used) {
    below += bin.Count;
    if (below >= rank) return bin;
  }
  return Used.back();
}

double LogHistogram::MeanOf(const Bin& bin) {
  return static_cast<double>(LowerEdge(bin.Index)) + bin.Beyond / static_cast<double>(bin.Count);
}

}  // namespace client

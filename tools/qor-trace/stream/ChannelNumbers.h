// Other numbers for the channels of a recording.
#pragma once

#include <map>

namespace client {

/// The number that each channel gets; its own unless another one was asked for.
class ChannelNumbers {
 public:
  /// @return false if either of them is in use already: the channel has a new number, or another one has that number
  [[nodiscard]] bool Set(unsigned int channel, unsigned int number) {
    for (const auto& [otherChannel, otherNumber] : Numbers) {
      if (otherChannel == channel || otherNumber == number) return false;
    }
    return Numbers.emplace(channel, number).second;
  }

  [[nodiscard]] unsigned int Of(unsigned int channel) const {
    const auto found = Numbers.find(channel);
    return found == Numbers.end() ? channel : found->second;
  }
  [[nodiscard]] bool empty() const { return Numbers.empty(); }
  /// New numbers by channel.
  [[nodiscard]] const std::map<unsigned int, unsigned int>& All() const { return Numbers; }

 private:
  std::map<unsigned int, unsigned int> Numbers;
};

/// What is kept by channel, under the channels' new numbers.
template <class Value>
std::map<unsigned int, Value> Renumbered(const std::map<unsigned int, Value>& byChannel,
                                         const ChannelNumbers& numbers) {
  std::map<unsigned int, Value> renumbered;
  for (const auto& [channel, value] : byChannel) renumbered.emplace(numbers.Of(channel), value);
  return renumbered;
}

}  // namespace client

#include "stream/Renumber.h"

#include <fmt/format.h>

#include "system/Failure.h"

namespace client {

bool Renumber::Take(const RecordView& record) {
  if (Numbers.empty()) return Next.Take(record);
  const unsigned int channel = record.ChannelId();
  const unsigned int number = Numbers.Of(channel);
  Claim(number, channel);
  if (number == channel) return Next.Take(record);
  Copy.assign(record.Bytes().begin(), record.Bytes().end());
  reinterpret_cast<Qor_Trace_Entry_t*>(Copy.data())->ChannelId = number;
  return Next.Take(RecordView(Copy.data(), record.Length()));
}

void Renumber::Claim(unsigned int number, unsigned int channel) {
  const unsigned int owner = Owners.emplace(number, channel).first->second;
  if (owner == channel) return;
  const unsigned int moved = owner == number ? channel : owner;
  throw Failure(
      fmt::format("Channel {0} can't become {1}, which is another one; give that one another number as well, as "
                  "in --channel {0}={1} --channel {1}={0}",
                  moved, number));
}

}  // namespace client

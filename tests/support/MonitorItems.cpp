#include "support/MonitorItems.h"

#include <algorithm>

namespace test {

void Append(Bytes& to, const Bytes& bytes) {
  const size_t end = to.size();
  to.resize(end + bytes.size());
  std::copy(bytes.begin(), bytes.end(), to.begin() + static_cast<std::ptrdiff_t>(end));
}

Bytes Response(Qor_Trace_BusType bus, const Items& items) {
  const bool counted = bus == BusType_Lin || bus == BusType_Ethernet;
  Bytes response(bus == BusType_Can ? 4 : 8);
  for (const Bytes& item : items) {
    Append(response, item);
    while (!counted && response.size() % 4 != 0) response.push_back(0);
  }
  if (counted) PutAt(response, 4, static_cast<unsigned short>(items.size()));
  return response;
}

Bytes RecordOf(Qor_Trace_BusType bus, unsigned int channel, const Bytes& item, unsigned long relativeTime) {
  Bytes record(28);
  if (bus == BusType_Lin) {
    record.resize(48);
    record[30] = item[12];                                          // flags
    record[32] = item[13];                                          // data length
    record[33] = item[14];                                          // identifier
    std::copy(item.begin() + 20, item.end(), record.begin() + 35);  // data and checksum
    std::copy_n(item.begin() + 16, 4, record.begin() + 44);         // bit time
  } else {
    Append(record, item);
  }
  PutAt(record, 0, static_cast<unsigned int>(record.size()));
  PutAt(record, 4, channel);
  PutAt(record, 8, TimeOf(bus, item));
  PutAt(record, 16, relativeTime);
  record[24] = static_cast<unsigned char>(bus);
  return record;
}

}  // namespace test

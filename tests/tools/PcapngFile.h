// PCAPNG files for tests, composed by hand in either byte order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inputs/OrderedBytes.h"
#include "tools/ClientEntries.h"

namespace client {

/// Appends numbers in a byte order.
class BytesIn {
 public:
  explicit BytesIn(ByteOrder order) : Order(order) {}

  template <class Number>
  BytesIn& Put(Number value) {
    for (size_t index = 0; index < sizeof value; ++index) {
      const size_t place = Order == ByteOrder::Little ? index : sizeof value - 1 - index;
      All.push_back(static_cast<unsigned char>(static_cast<unsigned long>(value) >> 8 * place));
    }
    return *this;
  }
  BytesIn& Put(const Bytes& bytes) {
    All.insert(All.end(), bytes.begin(), bytes.end());
    return *this;
  }
  BytesIn& Pad() {
    while (All.size() % 4 != 0) All.push_back(0);
    return *this;
  }
  BytesIn& Option(unsigned short code, const Bytes& value) {
    return Put(code).Put(static_cast<unsigned short>(value.size())).Put(value).Pad();
  }
  BytesIn& Option(unsigned short code, const std::string& text) {
    return Option(code, Bytes(text.begin(), text.end()));
  }
  template <class Number>
  BytesIn& NumberOption(unsigned short code, Number value) {
    return Option(code, BytesIn(Order).Put(value).All);
  }

  Bytes All;

 private:
  ByteOrder Order;
};

class PcapngFile {
 public:
  explicit PcapngFile(ByteOrder order = ByteOrder::Little) : Order(order) {}

  /// Numbers in the file's order.
  [[nodiscard]] BytesIn New() const { return BytesIn(Order); }

  PcapngFile& Block(unsigned int type, const Bytes& body, int excess = 0) {
    const auto length = static_cast<unsigned int>(static_cast<int>(body.size()) + 12 + excess);
    const Bytes block = New().Put(type).Put(length).Put(body).Put(length).All;
    All.insert(All.end(), block.begin(), block.end());
    return *this;
  }
  PcapngFile& Section(const Bytes& options = {}) {
    return Block(0x0A0D0D0A, New().Put(0x1A2B3C4Du).Put(short{1}).Put(short{0}).Put(~0ul).Put(options).All);
  }
  PcapngFile& Interface(unsigned short link, const Bytes& options = {}, unsigned int snapLength = 0, int excess = 0) {
    return Block(1, New().Put(link).Put(short{0}).Put(snapLength).Put(options).All, excess);
  }
  /// @param original  bytes on the bus, if more than there are
  PcapngFile& Packet(unsigned int interface, unsigned long stamp, const Bytes& packet, const Bytes& options = {},
                     size_t original = 0) {
    return Block(6, New()
                        .Put(interface)
                        .Put(static_cast<unsigned int>(stamp >> 32))
                        .Put(static_cast<unsigned int>(stamp))
                        .Put(static_cast<unsigned int>(packet.size()))
                        .Put(static_cast<unsigned int>(std::max(original, packet.size())))
                        .Put(packet)
                        .Pad()
                        .Put(options)
                        .All);
  }

  Bytes All;

 private:
  ByteOrder Order;
};

}  // namespace client

#include "PollFuzz.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "Input.h"
#include "channel/ChannelTest.h"

namespace fuzz {

namespace {

using test::Bytes;
using test::Delivery;
using test::PutAt;
using test::ReadAt;

constexpr size_t kCapacity = 65535;  // bytes of a poll

/// The buffer of a receive thread and what it must deliver.
class Model {
 public:
  explicit Model(Qor_Trace_BusType bus) : Bus(bus), Buffer(3 * kCapacity) {}

  /// The delivery of a poll; nothing in it when there is none.
  Delivery Poll(const Bytes& response, size_t reportedLength) {
    std::fill_n(Buffer.begin(), 8, static_cast<unsigned char>(0));
    std::copy(response.begin(), response.end(), Buffer.begin());
    Walk(std::min(reportedLength, kCapacity));
    std::stable_sort(Found.begin(), Found.end(), [](const Bytes& a, const Bytes& b) { return Time(a) < Time(b); });
    return {std::exchange(Found, {}), std::exchange(Latest, {})};
  }

 private:
  static unsigned long Time(const Bytes& record) { return ReadAt<unsigned long>(record, 8); }

  void Walk(size_t length) {
    const bool counted = Bus == BusType_Lin || Bus == BusType_Ethernet;
    size_t place = Bus == BusType_Can ? 4 : 8;
    unsigned int left = counted ? ReadAt<unsigned short>(Buffer, 4) : ~0U;
    for (; left > 0 && place < (counted ? kCapacity : length); --left) {
      const size_t size = Bus == BusType_Can ? 16U + Buffer[place + 15] : ReadAt<unsigned short>(Buffer, place);
      if (size == 0) return;
      Take(place, size);
      place += counted ? size : (size + 3) / 4 * 4;
    }
  }
  void Take(size_t place, size_t size) {
    Found.push_back(Bus == BusType_Lin ? LinRecord(place, size) : WholeItem(place, size));
    if (Bus != BusType_Ethernet) Latest[{1U, Key(place)}] = Found.back();
  }
  [[nodiscard]] Bytes Header(size_t length, size_t place) const {
    Bytes record(std::max<size_t>(length, 28));
    PutAt(record, 0, static_cast<unsigned int>(length));
    PutAt(record, 4, 1U);
    PutAt(record, 8, ReadAt<unsigned long>(Buffer, place + (Bus == BusType_Can ? 0 : 4)));
    record[24] = static_cast<unsigned char>(Bus);
    return record;
  }
  [[nodiscard]] Bytes WholeItem(size_t place, size_t size) const {
    Bytes record = Header(28 + size, place);
    std::copy_n(Buffer.begin() + static_cast<std::ptrdiff_t>(place), size, record.begin() + 28);
    return record;
  }
  /// Up to nine bytes of data, as many as the item announces and has.
  [[nodiscard]] Bytes LinRecord(size_t place, size_t size) const {
    Bytes record = Header(48, place);
    record[30] = Buffer[place + 12];
    record[32] = Buffer[place + 13];
    record[33] = Buffer[place + 14];
    const size_t held = size > 20 ? size - 20 : 0;
    std::copy_n(Buffer.begin() + static_cast<std::ptrdiff_t>(place) + 20, std::min<size_t>({record[32], 9, held}),
                record.begin() + 35);
    std::copy_n(Buffer.begin() + static_cast<std::ptrdiff_t>(place) + 16, 4, record.begin() + 44);
    return record;
  }
  [[nodiscard]] unsigned int Key(size_t place) const {
    if (Bus == BusType_Can) return ReadAt<unsigned int>(Buffer, place + 8);
    if (Bus == BusType_Lin) return Buffer[place + 14];
    const auto kind = ReadAt<unsigned short>(Buffer, place + 2);
    if (kind == 1 || kind == 2) return ReadAt<unsigned short>(Buffer, place + 14);
    return kind >= 7 && kind <= 10 ? ReadAt<unsigned short>(Buffer, place + 12) : 0;
  }

  const Qor_Trace_BusType Bus;
  Bytes Buffer;
  std::vector<Bytes> Found;
  std::map<std::pair<unsigned int, unsigned int>, Bytes> Latest;
};

/// A started channel whose receive thread has ended at a failed poll; from then on the fuzzer's thread plays its part.
class Channel {
 public:
  explicit Channel(Qor_Trace_BusType bus) : Interface(bus), Receiver(test::NewChannel(Interface)) {
    Interface.ThenFailOnce();
    Receiver->Start();
    Require(test::WaitUntil([this] { return Interface.LastPollFailed(); }), "the receive thread ends");
  }

  /// Polls until a poll fails.
  std::vector<Delivery> Poll(const std::vector<Bytes>& responses, size_t lastLength) {
    test::Collector collector;
    collector.ListenTo(*Receiver);
    for (const Bytes& response : responses) {
      Interface.NextResponse(response, &response == &responses.back() ? lastLength : response.size());
    }
    Interface.ThenFailOnce();
    Receiver->ReceiveThreadFunction();
    Require(Interface.Pending() == 0, "all responses are polled");
    return collector.Deliveries();
  }

 private:
  test::ScriptedInterface Interface;
  std::unique_ptr<Qor_Trace_Channel> Receiver;
};

/// Up to 127 bytes too few or too many.
size_t WrongLength(size_t length, unsigned int error) {
  return error < 128 ? length - std::min<size_t>(length, error) : length + error - 128;
}

bool Same(const Delivery& a, const Delivery& b) { return a.Entries == b.Entries && a.Latest == b.Latest; }

}  // namespace

void Poll(Qor_Trace_BusType bus, const std::uint8_t* data, std::size_t size) {
  static auto& channel = *new Channel(bus);  // never destroyed: at the process's end the simulator has gone
  Input input(data, std::min(size, kCapacity));
  const auto control = input.Take<std::uint8_t>();
  const bool lengthIsWrong = (control & 4) != 0;
  const auto error = lengthIsWrong ? input.Take<std::uint8_t>() : std::uint8_t{0};
  std::vector<Bytes> responses;
  const size_t part = input.Left() / (1U + (control & 3));
  for (unsigned int i = control & 3; i > 0; --i) responses.push_back(input.TakeBytes(part));
  responses.push_back(input.TakeBytes(input.Left()));
  const size_t lastLength = lengthIsWrong ? WrongLength(responses.back().size(), error) : responses.back().size();

  Model model(bus);
  std::vector<Delivery> expected;
  for (const Bytes& response : responses) {
    Delivery delivery = model.Poll(response, &response == &responses.back() ? lastLength : response.size());
    if (!delivery.Entries.empty()) expected.push_back(std::move(delivery));
  }
  const std::vector<Delivery> delivered = channel.Poll(responses, lastLength);
  Require(delivered.size() == expected.size(), "each poll with items is delivered");
  for (size_t i = 0; i < expected.size(); ++i) {
    Require(Same(delivered[i], expected[i]), "a delivery holds the items of its response");
  }
}

}  // namespace fuzz

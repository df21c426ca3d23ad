#include "SyntheticEthernet.h"

#include <algorithm>
#include <array>

#include "EthernetItem.h"
#include "EthernetTalkers.h"
#include "MessageData.h"

namespace qor_sim {
namespace {

constexpr uint64_t kStream = 0x455448;  // another for each bus

constexpr uint64_t kSecond = 1'000'000'000;       // ns
constexpr uint64_t kErrorInterval = 5 * kSecond;  // the means
constexpr uint64_t kRecordInterval = 10 * kSecond;
constexpr uint64_t kReserve = 500;  // millionths of the link that stay free

class SyntheticEthernet final : public SyntheticSource {
 public:
  SyntheticEthernet(const SyntheticSettings& settings, unsigned int load)
      : SyntheticSource(settings, kStream),
        Talkers(MakeEthernetTalkers(uint64_t{load} * 10'000 - kReserve, Numbers)),
        ErrorTimes(kErrorInterval, Numbers),
        RecordTimes(kRecordInterval, Numbers) {
    Advance();
  }

  void Advance() override {
    EthernetTalker& talker = NextToSpeak();
    const uint64_t start = std::max(LinkFree, talker.Ready());
    if (RecordTimes.Next() <= start) {
      EmitRecord();
    } else {
      EmitFrame(talker.Take(), start);
    }
  }

 private:
  EthernetTalker& NextToSpeak() {
    return **std::min_element(Talkers.begin(), Talkers.end(),
                              [](const auto& a, const auto& b) { return a->Ready() < b->Ready(); });
  }

  void EmitFrame(WaitingFrame frame, uint64_t start) {
    unsigned char flags = frame.Transmitted ? kEthernetTransmitted : 0;
    if (ErrorTimes.Next() <= start && frame.Expendable && !frame.Transmitted) {
      Spoil(frame.Bytes);
      flags |= kEthernetCrcError;
      ErrorTimes.GoOn(start);
    }
    Emit({start, kEthernetFrame, flags, frame.Bytes});
    LinkFree = start + EthernetFrameLength(frame.Bytes.size());
  }

  /// Inverts one of the last 64 bits.
  void Spoil(FrameBytes& frame) {
    unsigned char& byte = frame[frame.size() - 1 - Numbers.Below(8)];
    byte = static_cast<unsigned char>(byte ^ 1u << Numbers.Below(8));
  }

  /// A record of the interface's own; it takes no time on the link.
  void EmitRecord() {
    std::array<unsigned char, 16> record{};
    FillEventData(record, Records++, Numbers);
    const uint64_t time = RecordTimes.Next();
    RecordTimes.GoOn(time);
    Emit({time, kEthernetCustom, 0, record});
  }

  void Emit(const EthernetItem& item) {
    EncodeEthernetItem(item, Current.Bytes);
    SetTime(item.Timestamp);
  }

  std::vector<std::unique_ptr<EthernetTalker>> Talkers;
  IrregularTimes ErrorTimes;
  IrregularTimes RecordTimes;
  uint64_t LinkFree = 0;  // ns
  unsigned int Records = 0;
};

}  // namespace

std::unique_ptr<ItemSource> MakeSyntheticEthernet(const SyntheticSettings& settings, unsigned int load) {
  return std::make_unique<SyntheticEthernet>(settings, load);
}

}  // namespace qor_sim

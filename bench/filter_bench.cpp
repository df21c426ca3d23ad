// The filter of the client: the time to test a record with an expression, as a ratio to looking at the record's kind.
//
// Both go over the same records of all buses, most of them CAN.
#include <cstdio>
#include <string>
#include <vector>

#include "Measure.h"
#include "Random.h"
#include "stream/Filter.h"
#include "support/EntryBuilder.h"

namespace {

using test::Bytes;

/// A UDP packet with a VLAN tag, to port 30490 or another one.
Bytes UdpFrame(Random& random) {
  Bytes frame = {2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 0x81, 0, 0, static_cast<unsigned char>(random.Below(8)), 8, 0};
  const Bytes ip = {0x45, 0, 0, 100, 0, 0, 0, 0, 64, 17, 0, 0, 192, 168, 1, 10, 10, 0, 0, 2};
  frame.insert(frame.end(), ip.begin(), ip.end());
  const Bytes ports = {0x77, static_cast<unsigned char>(random.Below(256)), 0x77, 0x1A};
  frame.insert(frame.end(), ports.begin(), ports.end());
  frame.resize(118);
  return frame;
}

test::EntryPtr MakeRecord(Random& random) {
  switch (random.Below(10)) {
    case 0:
      return test::LinItem().Channel(2).Id(random.Below(64)).Data(random.SomeBytes(8), 0x5A).Entry();
    case 1:
      return test::FlexRayItem().Channel(3).Slot(random.Below(2048)).Data(random.SomeBytes(32)).Entry();
    case 2:
      return test::EthernetItem().Channel(4).Frame(UdpFrame(random)).Entry();
    default:
      return test::CanItem().Id(random.Below(0x800)).Data(random.SomeBytes(8)).Entry();
  }
}

std::string ManyIdentifiers() {
  std::string expression = "id in 0";
  for (int id = 2; id < 0x800; id += 2) expression += ", " + std::to_string(id);
  return expression;
}

struct Subject {
  const char* Name;
  std::string Expression;
};

const std::vector<Subject>& Subjects() {
  static const std::vector<Subject> subjects = {
      {"a bus", "bus == can"},
      {"an identifier", "id == 0x123"},
      {"a bus and an identifier", "bus == can and id == 0x123"},
      {"a range and an identifier", "bus == can and id in 0x100..0x1ff, 0x7df"},
      {"1024 identifiers", ManyIdentifiers()},
      {"a mask, and no error", "id & 0x7f0 == 0x120 and not error"},
      {"two data bytes and a direction", "data[2..3] > 1000 and dir == rx"},
      {"any of four tests, none of which holds", "id == 0x800 or len == 9 or kind == null or dlc == 15"},
      {"VLAN and port", "vlan == 5 and port == 30490"},
  };
  return subjects;
}

volatile unsigned long sink;  // so that nothing is left out

}  // namespace

int main(int argc, char** argv) {
  const bool quick = bench::Quick(argc, argv);
  Random random;
  std::vector<test::EntryPtr> records;
  for (int i = 0; i < 10'000; ++i)
    records.push_back(MakeRecord(random));  // few enough for the cache: only the work counts
  const int turns = quick ? 1 : 100;
  const auto overAll = [&](auto look) {
    return bench::Cost([&] {
      unsigned long sum = 0;
      for (int turn = 0; turn < turns; ++turn) {
        for (const auto& record : records) sum += look(RecordView(*record->GetEntry()));
      }
      sink = sum;
    });
  };
  bench::PrintHead();
  for (const Subject& subject : Subjects()) {
    const client::Filter filter(subject.Expression);
    bench::Print(bench::Compare(
        subject.Name, quick ? 1 : 9, static_cast<double>(records.size()) * turns, "record",
        [&] { return overAll([&](const RecordView& record) { return filter.Matches(record) ? 1ul : 0ul; }); },
        [&] { return overAll([](const RecordView& record) { return static_cast<unsigned long>(record.Kind()); }); }));
  }
  return 0;
}

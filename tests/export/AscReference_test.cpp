// The writer against the reference, byte for byte, on random entries of all kinds, all flags and series of files.
#include "export/AscReference.h"

#include <random>

#include "export/AscTest.h"

namespace {

using test::Bytes;
using test::Record;

/// Random records: mostly what a channel makes, some cut short, some with random fields, some of random bytes.
class RecordMaker {
 public:
  explicit RecordMaker(unsigned int seed) : Random(seed) {}

  /// 0 to `end` - 1.
  unsigned int Below(unsigned int end) { return static_cast<unsigned int>(Random() % end); }
  bool OneIn(unsigned int times) { return Below(times) == 0; }
  /// Any magnitude.
  unsigned long Time() { return Random() >> Below(64); }

  Record Make() {
    if (OneIn(50)) return Record(Header(Some(Below(120))));
    Record record = Made();
    if (OneIn(20)) record.CutTo(Below(static_cast<unsigned int>(record.Length()) + 1));
    if (OneIn(20) && record.Length() > 28)
      record.Put(28 + Below(static_cast<unsigned int>(record.Length()) - 28), Byte());
    return record;
  }

 private:
  unsigned char Byte() { return static_cast<unsigned char>(Random()); }
  Bytes Some(size_t count) {
    Bytes bytes(count);
    for (auto& byte : bytes) byte = Byte();
    return bytes;
  }
  /// Random bytes with a bus type that is known, as far as they reach it.
  Bytes Header(Bytes bytes) {
    if (bytes.size() > 24) bytes[24] = static_cast<unsigned char>(Below(5));
    return bytes;
  }

  template <class Item>
  Record Entry(Item item) {
    item.Channel(OneIn(4) ? static_cast<unsigned int>(Time()) : 1 + Below(20));
    if (OneIn(3)) item.Relative(static_cast<long>(OneIn(2) ? Time() : 0 - Time()));
    return Record(*item.At(Time()).Entry());
  }

  Record Made() {
    switch (Below(8)) {
      case 0:
      case 1:
        return Entry(Lin());
      case 2:
      case 3:
        return Entry(FlexRay());
      case 4:
        return Entry(Ethernet());
      default:
        return Entry(Can());
    }
  }

  test::CanItem Can() {
    test::CanItem item;
    item.Id(static_cast<unsigned int>(Time())).Data(Some(Below(OneIn(10) ? 256 : 65)));
    if (OneIn(3)) item.Extended();
    if (OneIn(2)) item.Fd();
    if (OneIn(5)) item.ErrorFrame(static_cast<unsigned char>(Below(10)));
    if (OneIn(10)) item.RisingEdge();
    if (OneIn(10)) item.FallingEdge();
    if (OneIn(10)) item.UserEvent(Some(Below(9)));
    if (OneIn(4)) item.Flags(Byte());
    if (OneIn(8)) item.Dlc(Byte());
    return item;
  }

  test::LinItem Lin() {
    test::LinItem item;
    item.Id(Byte()).Data(Some(Below(9)), Byte()).BitTime(static_cast<unsigned int>(Time()));
    if (OneIn(2)) item.Flags(Byte());
    if (OneIn(20)) item.DataLength(Byte());
    if (OneIn(20)) item.DataLength(0);
    return item;
  }

  test::FlexRayItem FlexRay() {
    test::FlexRayItem item;
    item.Kind(OneIn(2) ? 1 + Below(2) : Below(13)).Slot(static_cast<unsigned int>(Random())).Cycle(Below(64));
    item.Code(OneIn(2) ? Below(4) : Byte()).FrameFlags(OneIn(2) ? 0 : Byte()).HeaderCrc(Byte() * 8u);
    item.Data(Some(2 * Below(128)));
    if (OneIn(2)) item.EventCode(Below(4));
    if (OneIn(10)) item.PayloadWords(Byte());
    return item;
  }

  test::EthernetItem Ethernet() {
    test::EthernetItem item;
    item.Frame(Some(Below(OneIn(5) ? 2000 : 70)));
    if (OneIn(2)) item.Tx();
    if (OneIn(10)) item.Kind(Below(4));
    if (OneIn(10)) item.FrameLength(static_cast<unsigned int>(Random()));
    return item;
  }

  std::mt19937_64 Random;
};

class AscReferenceTest : public test::AscTest {};

TEST_F(AscReferenceTest, RandomEntriesGiveTheSameFiles) {
  size_t files = 0;
  for (unsigned int run = 0; run < 320; ++run) {
    SCOPED_TRACE(run);
    RecordMaker maker(run);
    const unsigned int flags = run % 16;
    const unsigned long start = maker.OneIn(3) ? 0 : maker.Time();
    const unsigned int limit = maker.Below(20'000);
    test::AscReference reference(flags, "log.asc", start, limit, kDateLine + 5);
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", start, limit);
      for (int i = 0; i < 150; ++i) {
        const Record record = maker.Make();
        writer.WriteEntry(record.Get());
        reference.Write(record.Get());
      }
    }
    for (const auto& [name, contents] : reference.Finish()) {
      ASSERT_EQ(test::ReadFile(name), contents) << name;
      ++files;
    }
  }
  EXPECT_GT(files, 1000u);  // that there were series
}

TEST_F(AscReferenceTest, OneLongFileIsTheSame) {
  for (const unsigned int flags : {0u, QOR_TRACE_ASC_DECIMAL}) {
    RecordMaker maker(1000 + flags);
    test::AscReference reference(flags, "log.asc", 0, 0, kDateLine + 5);
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", 0, 0);
      for (int i = 0; i < 10'000; ++i) {
        const Record record = maker.Make();
        writer.WriteEntry(record.Get());
        reference.Write(record.Get());
      }
    }
    EXPECT_TRUE(test::ReadFile("log.asc") == reference.Finish().front().second);
  }
}

}  // namespace

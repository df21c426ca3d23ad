// Qor_Trace_Export_ASC::Export: records of a swap file copy, then entries of the store.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "export/AscTest.h"

namespace {

using test::Bytes;
using test::CanItem;
using test::EthernetItem;
using test::ReadFile;
using test::Record;

class AscExport : public test::AscTest {
 protected:
  static Record At(unsigned long timestamp) { return Record(*CanItem().At(timestamp).FallingEdge().Entry()); }

  static void Append(const Record& record, size_t bytes = SIZE_MAX) {
    std::ofstream file("swap.bin.bak", std::ios::binary | std::ios::app);
    file.write(reinterpret_cast<const char*>(record.Data()),
               static_cast<std::streamsize>(std::min(bytes, record.Length())));
  }

  static std::string Line(unsigned long timestamp) {
    return "0.00000000" + std::to_string(timestamp) + " log trigger event (falling edge on trigger input)\n";
  }

  static std::string Exported(unsigned int count, const Qor_Trace_EntryStore& store, unsigned int flags = 0) {
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", 0, 0);
      writer.Export("swap.bin.bak", count, store);
    }
    return Body(ReadFile("log.asc"), Header(flags));
  }
};

TEST_F(AscExport, SwappedRecordsPrecedeTheStore) {
  Append(At(1));
  Append(At(2));
  Qor_Trace_EntryStore store;
  store.push_back(CanItem().At(4).FallingEdge().Entry());
  store.push_back(CanItem().At(3).FallingEdge().Entry());
  EXPECT_EQ(Exported(2, store), Line(1) + Line(2) + Line(4) + Line(3));
}

TEST_F(AscExport, NothingGivesHeaderAndTrailer) { EXPECT_EQ(Exported(0, {}), ""); }

TEST_F(AscExport, OpenFileIsReadFromItsStartWhateverBecameOfItsName) {
  Append(At(1));
  Append(At(2));
  const int file = open("swap.bin.bak", O_RDONLY | O_CLOEXEC);
  std::filesystem::remove("swap.bin.bak");
  for (int round = 0; round < 2; ++round) {  // its position stays where it is
    {
      Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
      EXPECT_EQ(writer.Export(file, 3, {}), 1U);
    }
    EXPECT_EQ(Body(ReadFile("log.asc"), Header(0)), Line(1) + Line(2));
  }
  close(file);
}

TEST_F(AscExport, FileThatIsNotOpenHoldsNoRecord) {
  Qor_Trace_Export_ASC writer(0, "log.asc", 0, 0);
  EXPECT_EQ(writer.Export(-1, 3, {}), 3U);
}

TEST_F(AscExport, OnlySoManyRecordsAreReadAsAsked) {
  for (unsigned long i = 1; i <= 5; ++i) Append(At(i));
  EXPECT_EQ(Exported(3, {}), Line(1) + Line(2) + Line(3));
  EXPECT_EQ(Exported(0, {}), "");
}

TEST_F(AscExport, MissingSwapFileStillExportsTheStore) {
  Qor_Trace_EntryStore store;
  store.push_back(CanItem().At(7).FallingEdge().Entry());
  EXPECT_EQ(Exported(3, store), Line(7));
}

TEST_F(AscExport, RecordThatTheFileDoesNotHoldWholeIsLeftOut) {
  const Record last = At(2);
  for (size_t held = 0; held < last.Length(); ++held) {
    std::filesystem::remove("swap.bin.bak");
    Append(At(1));
    Append(last, held);
    ASSERT_EQ(Exported(2, {}), Line(1)) << held;
  }
}

TEST_F(AscExport, GarbageLengthEndsTheFilePart) {
  for (const unsigned int length : {0u, 4u, 27u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    std::filesystem::remove("swap.bin.bak");
    Append(At(1));
    Append(Record(At(2)).Put(0, length));
    Append(At(3));
    Qor_Trace_EntryStore store;
    store.push_back(CanItem().At(9).FallingEdge().Entry());
    ASSERT_EQ(Exported(3, store), Line(1) + Line(9)) << length;
  }
}

TEST_F(AscExport, RecordsOfAllSizesCrossTheBlocksOfTheReader) {
  std::string expected;
  std::ofstream file("swap.bin.bak", std::ios::binary);
  unsigned int count = 0;
  for (size_t size = 0; size < 2100; size += 7, count += 2) {
    const Record frame(*EthernetItem().Frame(Bytes(size * 31 % 65'000, 0x11)).Entry());
    const Record event = At(size % 10);
    for (const Record* record : {&frame, &event}) {
      file.write(reinterpret_cast<const char*>(record->Data()), static_cast<std::streamsize>(record->Length()));
    }
    std::ostringstream length;
    length << std::hex << size * 31 % 65'000;
    expected += "0.000000000 ETH 1 Rx " + length.str() + std::string(length.str().size() < 2 ? 1 : 0, ' ') + ":" +
                std::string(2 * (size * 31 % 65'000), '1') + "\n" + Line(size % 10);
  }
  file.close();
  ASSERT_GT(std::filesystem::file_size("swap.bin.bak"), 4u << 20u);
  EXPECT_TRUE(Exported(count, {}) == expected);
}

TEST_F(AscExport, RecordLongerThanTheReadersBlock) {
  Bytes bytes((3u << 20u) + 5);
  const Record can = At(5);
  std::copy(can.Data(), can.Data() + can.Length(), bytes.begin());
  Append(Record(bytes));
  Append(At(6));
  EXPECT_EQ(Exported(2, {}), Line(5) + Line(6));
}

TEST_F(AscExport, RandomSwapFilesAreReadWithoutHarm) {
  unsigned int seed = 1;
  for (int run = 0; run < 200; ++run) {
    std::ofstream file("swap.bin.bak", std::ios::binary);
    for (int i = 0; i < 400; ++i) {
      seed = seed * 1664525 + 1013904223;
      // Often a length that leads on, so that the bytes after it are taken for records.
      const unsigned int word = i % 8 == 0 ? 28 + (seed >> 24) % 64 : seed;
      file.write(reinterpret_cast<const char*>(&word), sizeof word);
    }
    file.close();
    Exported(0xFFFFFFFF, {}, run % 2 == 0 ? 0 : QOR_TRACE_ASC_DECIMAL);
  }
}

// The last record is cut: who reads on finds that it is missing.
TEST_F(AscExport, SwapFileIsReadNoFurtherAfterAFailedWrite) {
  const Record record(*EthernetItem().Frame(Bytes(1500, 0xA5)).Entry());
  for (int i = 0; i < 500; ++i) Append(record);  // 1.5 MB of text
  Append(record, 100);
  Qor_Trace_Export_ASC whole(0, "log.asc", 0, 0);
  EXPECT_EQ(whole.Export("swap.bin.bak", 501, {}), 1u);
  Qor_Trace_Export_ASC failing(0, "/dev/full", 0, 0);
  EXPECT_EQ(failing.Export("swap.bin.bak", 501, {}), 0u);
  EXPECT_TRUE(failing.Failed());
}

}  // namespace

// The PCAPNG export: the bytes of every block, which entries have one, and what goes wrong.
#include "export/Qor_Trace_Export_PCAP.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "internal/Qor_Trace_Exception.h"
#include "support/EntryBuilder.h"
#include "support/ErrorReports.h"

namespace {

using test::Bytes;
using test::CanItem;
using test::Counting;
using test::EntryPtr;
using test::ErrorReport;
using test::EthernetItem;
using test::FlexRayItem;
using test::LinItem;
using test::TakeErrorReports;

// 4 type | 4 length | 4 magic | 2 + 2 version | 8 section length | 4 + 36 shb_userappl | 4 end of options | 4 length
constexpr const char* kSectionHeader =
    "0A 0D 0D 0A 48 00 00 00 4D 3C 2B 1A 01 00 00 00 2C 00 00 00 00 00 00 00 "
    "04 00 23 00 4E 6F 72 76 69 6B 20 65 6C 65 63 74 72 6F 6E 69 63 20 51 6F 72 2D 41 50 49 20 54 72 61 63 65 20 44 6C "
    "6C 00 00 00 00 00 48 00 00 00 ";

// 4 type | 4 length | 2 link type | 2 reserved | 4 snap length | 4 + 4 if_name | 4 + 4 if_tsresol | 4 end | 4 length
constexpr const char* kInterface1 =
    "01 00 00 00 2C 00 00 00 01 00 00 00 F2 05 00 00 02 00 01 00 31 00 00 00 "
    "09 00 01 00 09 00 00 00 00 00 00 00 2C 00 00 00 ";

std::string Hex(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += {kDigits[byte >> 4], kDigits[byte & 15], ' '};
  }
  return text;
}

std::string Hex(const Bytes& bytes) { return Hex(std::string(bytes.begin(), bytes.end())); }

/// "00 " repeated.
std::string Zeros(size_t count) { return Hex(std::string(count, '\0')); }

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) ADD_FAILURE() << "no file " << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

/// An entry whose Length is smaller than its item made it.
EntryPtr CutTo(EntryPtr entry, unsigned int length) {
  auto* record = const_cast<Qor_Trace_Entry_t*>(entry->GetEntry());
  record->Length = length;
  return entry;
}

class PcapExport : public testing::Test {
 protected:
  PcapExport() : Home(std::filesystem::current_path()) {
    std::string pattern = testing::TempDir() + "pcap-XXXXXX";
    Directory = mkdtemp(pattern.data());
    std::filesystem::current_path(Directory);
    TakeErrorReports();
  }
  ~PcapExport() override {
    std::filesystem::current_path(Home);
    std::filesystem::remove_all(Directory);
  }

  static std::string Exported(const std::vector<EntryPtr>& entries, unsigned int flags = 0,
                              unsigned long startTime = 0) {
    Qor_Trace_EntryStore store;
    for (const auto& entry : entries) store.push_back(entry);
    Qor_Trace_Export_PCAP(flags, "trace.pcapng", startTime).Export(store);
    return ReadFile("trace.pcapng");
  }

  /// The file as text "0A 0D ... ", without the section header block that every file begins with.
  static std::string Blocks(const std::vector<EntryPtr>& entries, unsigned int flags = 0, unsigned long startTime = 0) {
    const std::string text = Hex(Exported(entries, flags, startTime));
    const std::string head = kSectionHeader;
    EXPECT_EQ(text.substr(0, head.size()), head);
    return text.substr(std::min(text.size(), head.size()));
  }

  template <class Call>
  static unsigned int ErrorOf(Call call) {
    try {
      call();
    } catch (const Qor_Trace_Exception& error) {
      return error.GetErrorCode();
    }
    return 0;
  }

 private:
  std::filesystem::path Home;
  std::filesystem::path Directory;
};

/// The block of a frame on interface 0 that was received at 0 ns.
std::string ReceivedFrame(const std::string& length, const std::string& frameLength, const std::string& paddedFrame) {
  return "06 00 00 00 " + length + "00 00 00 00 00 00 00 00 00 00 00 00 " + frameLength + frameLength + paddedFrame +
         "02 00 04 00 01 00 00 00 00 00 00 00 " + length;
}

// ---- Section and interfaces ---------------------------------------------------------------------------------------

TEST_F(PcapExport, AnEmptyStoreGivesTheSectionHeaderAlone) {
  const std::string file = Exported({});
  EXPECT_EQ(file.size(), 72u);
  EXPECT_EQ(Hex(file), kSectionHeader);
}

TEST_F(PcapExport, ASectionHeaderWrittenByItselfReachesTheFileWhenTheExporterIsDestroyed) {
  Qor_Trace_Export_PCAP(0, "trace.pcapng", 0).WriteSectionHeaderBlock();
  EXPECT_EQ(Hex(ReadFile("trace.pcapng")), kSectionHeader);
}

TEST_F(PcapExport, EntriesOfOtherBusesGiveNothing) {
  EXPECT_EQ(Blocks({CanItem().Data({1}).Entry(), LinItem().Data({1}, 2).Entry(), FlexRayItem().Data({1, 2}).Entry()}),
            "");
}

TEST_F(PcapExport, AnInterfaceDeclaresFourBytesMoreThanItHolds) {
  EXPECT_EQ(Blocks({EthernetItem().Channel(7).Kind(3).Entry()}),
            "01 00 00 00 2C 00 00 00 01 00 00 00 F2 05 00 00 02 00 01 00 37 00 00 00 "
            "09 00 01 00 09 00 00 00 00 00 00 00 2C 00 00 00 ");
}

TEST_F(PcapExport, AChannelNumberOfFiveDigitsTakesEightBytes) {
  EXPECT_EQ(Blocks({EthernetItem().Channel(12345).Kind(3).Entry()}),
            "01 00 00 00 30 00 00 00 01 00 00 00 F2 05 00 00 02 00 05 00 31 32 33 34 35 00 00 00 "
            "09 00 01 00 09 00 00 00 00 00 00 00 30 00 00 00 ");
}

TEST_F(PcapExport, ChannelNumbersOfEveryWidthArePaddedToFour) {
  unsigned int channel = 0;
  for (size_t digits = 1; digits <= 10; ++digits) {
    channel = digits == 10 ? 4294967295u : channel * 10 + 9;
    const std::string block = Exported({EthernetItem().Channel(channel).Kind(3).Entry()}).substr(72);
    const size_t padded = (digits + 3) / 4 * 4;
    ASSERT_EQ(block.size(), 36 + padded) << channel;
    EXPECT_EQ(static_cast<size_t>(block[4]), 40 + padded);
    EXPECT_EQ(static_cast<size_t>(block[18]), digits);
    EXPECT_EQ(block.substr(20, padded), std::to_string(channel) + std::string(padded - digits, '\0'));
    EXPECT_EQ(block.substr(20 + padded, 5), std::string("\x09\x00\x01\x00\x09", 5));
    EXPECT_EQ(static_cast<size_t>(block[32 + padded]), 40 + padded);
  }
}

TEST_F(PcapExport, InterfacesAreNumberedInTheOrderOfTheirFirstEntries) {
  const std::string file =
      Exported({EthernetItem().Channel(9).Frame({}).Entry(), EthernetItem().Channel(2).Frame({}).Entry(),
                EthernetItem().Channel(9).Frame({}).Entry(), EthernetItem().Channel(2).Frame({}).Entry()});
  // 40 bytes an interface, 44 a frame without bytes, whose interface stands at 8.
  ASSERT_EQ(file.size(), 72u + 40 + 44 + 40 + 44 + 44 + 44);
  EXPECT_EQ(file[72 + 20], '9');
  EXPECT_EQ(file[72 + 40 + 8], 0);
  EXPECT_EQ(file[72 + 84 + 20], '2');
  EXPECT_EQ(file[72 + 124 + 8], 1);
  EXPECT_EQ(file[72 + 168 + 8], 0);
  EXPECT_EQ(file[72 + 212 + 8], 1);
}

TEST_F(PcapExport, AChannelWhoseFirstEntryGivesNoBlockHasItsInterfaceAllTheSame) {
  auto marked = EthernetItem().Frame(Counting(60)).Entry();
  marked->SetBufferOverrunFlag();
  EXPECT_EQ(Blocks({marked}), kInterface1);
  EXPECT_EQ(Blocks({marked, EthernetItem().Frame({}).Entry()}),
            kInterface1 + ReceivedFrame("2C 00 00 00 ", "00 00 00 00 ", ""));
}

// ---- Frames -------------------------------------------------------------------------------------------------------

TEST_F(PcapExport, AFrameOf60BytesNeedsNoPadding) {
  const auto frame = Counting(60);
  const std::string blocks = Blocks({EthernetItem().Frame(frame).Entry()});
  EXPECT_EQ(blocks, kInterface1 + ReceivedFrame("68 00 00 00 ", "3C 00 00 00 ", Hex(frame)));
  EXPECT_EQ(blocks.size() / 3, 40u + 104);
}

TEST_F(PcapExport, AFrameOf61BytesIsPaddedByThree) {
  const auto frame = Counting(61);
  const std::string blocks = Blocks({EthernetItem().Frame(frame).Entry()});
  EXPECT_EQ(blocks, kInterface1 + ReceivedFrame("6C 00 00 00 ", "3D 00 00 00 ", Hex(frame) + Zeros(3)));
  EXPECT_EQ(blocks.size() / 3, 40u + 108);
}

TEST_F(PcapExport, FramesOf62And63BytesArePaddedByTwoAndOne) {
  EXPECT_EQ(Blocks({EthernetItem().Frame(Counting(62)).Entry()}),
            kInterface1 + ReceivedFrame("6C 00 00 00 ", "3E 00 00 00 ", Hex(Counting(62)) + Zeros(2)));
  EXPECT_EQ(Blocks({EthernetItem().Frame(Counting(63)).Entry()}),
            kInterface1 + ReceivedFrame("6C 00 00 00 ", "3F 00 00 00 ", Hex(Counting(63)) + Zeros(1)));
}

TEST_F(PcapExport, TheUpperHalfOfATimeComesFirst) {
  EXPECT_EQ(Blocks({EthernetItem().At(0x1122334455667788).Frame({}).Entry()}),
            std::string(kInterface1) +
                "06 00 00 00 2C 00 00 00 00 00 00 00 44 33 22 11 88 77 66 55 00 00 00 00 00 00 00 00 "
                "02 00 04 00 01 00 00 00 00 00 00 00 2C 00 00 00 ");
}

TEST_F(PcapExport, DirectionAndCrcErrorStandInTheFlags) {
  const auto flags = [](const EthernetItem& item) { return Hex(Exported({item.Entry()}).substr(72 + 40 + 32, 4)); };
  EXPECT_EQ(flags(EthernetItem()), "01 00 00 00 ");
  EXPECT_EQ(flags(EthernetItem().Tx()), "02 00 00 00 ");
  EXPECT_EQ(flags(EthernetItem().CrcError()), "01 00 00 01 ");
  EXPECT_EQ(flags(EthernetItem().Tx().CrcError()), "02 00 00 01 ");
}

TEST_F(PcapExport, TheLongestFrameOfAnItemIsWrittenWhole) {
  const auto frame = Counting(65519);  // the item is 65535 bytes
  const std::string file = Exported({EthernetItem().Frame(frame).Entry()});
  ASSERT_EQ(file.size(), 72u + 40 + 44 + 65520);
  EXPECT_EQ(Hex(file.substr(72 + 40 + 4, 4)), "1C 00 01 00 ");  // 65564
  EXPECT_EQ(file.substr(72 + 40 + 28, 65519), std::string(frame.begin(), frame.end()));
}

TEST_F(PcapExport, ManyFramesFillTheBufferMoreThanOnce) {
  std::vector<EntryPtr> entries;
  std::string expected;
  for (unsigned int i = 0; i < 1500; ++i) {
    const auto frame = Counting(1000 + i % 500, i);
    entries.push_back(EthernetItem().At(i).Frame(frame).Entry());
    expected.append(frame.begin(), frame.end());
  }
  const std::string file = Exported(entries);
  std::string frames;
  size_t place = 72 + 40;
  for (unsigned int i = 0; i < 1500; ++i) {
    unsigned int length;
    unsigned int captured;
    ASSERT_LE(place + 44, file.size());
    std::memcpy(&length, file.data() + place + 4, 4);
    std::memcpy(&captured, file.data() + place + 20, 4);
    ASSERT_EQ(length, (captured + 3) / 4 * 4 + 44);
    frames += file.substr(place + 28, captured);
    place += length;
  }
  EXPECT_EQ(place, file.size());
  EXPECT_EQ(frames, expected);
}

// ---- Custom blocks and other kinds --------------------------------------------------------------------------------

TEST_F(PcapExport, ARecordOfKindTwoIsACustomBlock) {
  EXPECT_EQ(Blocks({EthernetItem().Kind(2).Frame({0xA1, 0xA2, 0xA3, 0xA4, 0xA5}).Entry()}),
            std::string(kInterface1) + "AD 0B 00 40 18 00 00 00 00 00 00 00 A1 A2 A3 A4 A5 00 00 00 18 00 00 00 ");
}

TEST_F(PcapExport, ACustomBlockTakesItsLengthFromTheLowByteAlone) {
  EXPECT_EQ(Blocks({EthernetItem().Kind(2).Frame(Counting(0x0104)).Entry()}),
            std::string(kInterface1) + "AD 0B 00 40 14 00 00 00 00 00 00 00 01 02 03 04 14 00 00 00 ");
  EXPECT_EQ(Blocks({EthernetItem().Kind(2).Frame(Counting(0x0200)).Entry()}),
            std::string(kInterface1) + "AD 0B 00 40 10 00 00 00 00 00 00 00 10 00 00 00 ");
}

TEST_F(PcapExport, CustomBlocksFillTheBufferToItsLastByteAndNoFurther) {
  constexpr size_t kBuffer = size_t{256} * 1024;
  constexpr size_t kLongestFrame = 65516;
  constexpr size_t kBlocks = 20000;  // where one goes too far, the others follow it
  const EntryPtr custom = EthernetItem().Kind(2).Frame(Counting(20)).Entry();
  const std::string block = Exported({custom}).substr(72 + 40);
  for (size_t left = 0; left <= block.size() + 4; left += 4) {
    // Frames up to some bytes before the buffer's end: four packets, of which the last one is shorter.
    const size_t last = kBuffer - 72 - 40 - 4 * 44 - 3 * kLongestFrame - left;
    std::vector<EntryPtr> entries(3, EthernetItem().Frame(Counting(kLongestFrame)).Entry());
    entries.push_back(EthernetItem().Frame(Counting(last)).Entry());
    entries.insert(entries.end(), kBlocks, custom);
    const std::string file = Exported(entries);
    ASSERT_EQ(file.size(), kBuffer - left + kBlocks * block.size()) << left;
    for (size_t place = kBuffer - left; place < file.size(); place += block.size())
      ASSERT_EQ(file.compare(place, block.size(), block), 0) << left;
  }
}

TEST_F(PcapExport, KindsOtherThanOneAndTwoGiveNoBlock) {
  for (const unsigned int kind : {0u, 3u, 0x0101u, 0xFFFFu}) {
    EXPECT_EQ(Blocks({EthernetItem().Kind(kind).Frame(Counting(60)).Entry()}), kInterface1) << kind;
  }
}

// ---- Start time ---------------------------------------------------------------------------------------------------

TEST_F(PcapExport, RelativeToAStartTimeEarlierEntriesAreLeftOutAndTheOthersShifted) {
  const auto at = [](unsigned long time) { return EthernetItem().At(time).Frame({}).Entry(); };
  const std::string file = Exported({at(99), at(100), at(0x500000064)}, 1, 100);
  ASSERT_EQ(file.size(), 72u + 40 + 44 + 44);
  EXPECT_EQ(Hex(file.substr(72 + 40 + 12, 8)), "00 00 00 00 00 00 00 00 ");
  EXPECT_EQ(Hex(file.substr(72 + 40 + 44 + 12, 8)), "05 00 00 00 00 00 00 00 ");
}

TEST_F(PcapExport, WithAStartTimeBehindEverythingOnlyTheSectionHeaderIsWritten) {
  EXPECT_EQ(Blocks({EthernetItem().At(5).Frame({}).Entry()}, 1, 6), "");
}

TEST_F(PcapExport, WithoutTheFlagTheStartTimeDoesNotCount) {
  EXPECT_EQ(Blocks({EthernetItem().Frame({}).Entry()}, 0, 6),
            kInterface1 + ReceivedFrame("2C 00 00 00 ", "00 00 00 00 ", ""));
}

// ---- Records that are not what they say ---------------------------------------------------------------------------

TEST_F(PcapExport, AFrameLongerThanItsRecordIsWrittenAsFarAsTheRecordGoes) {
  EXPECT_EQ(Blocks({EthernetItem().Frame({1, 2, 3, 4, 5}).FrameLength(0xFFFF).Entry()}),
            kInterface1 + ReceivedFrame("34 00 00 00 ", "05 00 00 00 ", "01 02 03 04 05 00 00 00 "));
}

TEST_F(PcapExport, AFrameShorterThanItsRecordIsWrittenAsItSays) {
  EXPECT_EQ(Blocks({EthernetItem().Frame({1, 2, 3, 4, 5}).FrameLength(4).Entry()}),
            kInterface1 + ReceivedFrame("30 00 00 00 ", "04 00 00 00 ", "01 02 03 04 "));
}

TEST_F(PcapExport, ACustomBlockLongerThanItsRecordIsWrittenAsFarAsTheRecordGoes) {
  EXPECT_EQ(Blocks({EthernetItem().Kind(2).Frame({1, 2}).FrameLength(0xFF).Entry()}),
            std::string(kInterface1) + "AD 0B 00 40 14 00 00 00 00 00 00 00 01 02 00 00 14 00 00 00 ");
}

TEST_F(PcapExport, ARecordTooShortForItsLengthFieldIsAFrameWithoutBytes) {
  for (const unsigned int length : {32u, 40u, 41u, 43u, 44u}) {
    EXPECT_EQ(Blocks({CutTo(EthernetItem().Frame(Counting(60)).Entry(), length)}),
              kInterface1 + ReceivedFrame("2C 00 00 00 ", "00 00 00 00 ", ""))
        << length;
  }
}

TEST_F(PcapExport, ARecordTooShortForItsFlagsWasReceivedWithoutError) {
  EXPECT_EQ(Blocks({CutTo(EthernetItem().Tx().CrcError().Frame({}).Entry(), 40)}),
            kInterface1 + ReceivedFrame("2C 00 00 00 ", "00 00 00 00 ", ""));
}

TEST_F(PcapExport, ARecordTooShortForItsKindGivesNoBlock) {
  for (const unsigned int length : {28u, 29u, 30u}) {
    EXPECT_EQ(Blocks({CutTo(EthernetItem().Frame(Counting(60)).Entry(), length)}), kInterface1) << length;
  }
}

TEST_F(PcapExport, RecordsOfExactlyTheirItemAreReadNoFurther) {
  // Each lies in a heap block of its own size, so that a sanitizer sees a read past it.
  Bytes item(14, 0xFF);
  item[2] = 1;  // kind
  item[3] = 0;
  for (unsigned char size = 14; size >= 2; --size) {
    item[0] = size;
    item[1] = 0;
    Bytes exact(item.begin(), item.begin() + size);
    exact.resize(14);  // what the entry's constructor reads beside the copy
    const auto entry =
        std::make_shared<Qor_Trace_Entry>(1, reinterpret_cast<const Ethernet_Param_Monitor_Item_t*>(exact.data()));
    ASSERT_EQ(entry->GetLength(), 28u + size);
    EXPECT_EQ(Exported({entry}).size(), 72u + 40 + (size > 2 ? 44 : 0)) << +size;  // a kind cut in half is its low byte
  }
}

// ---- Files --------------------------------------------------------------------------------------------------------

TEST_F(PcapExport, AnExistingFileIsReplaced) {
  std::ofstream("trace.pcapng") << std::string(5000, 'x');
  EXPECT_EQ(Exported({}).size(), 72u);
}

TEST_F(PcapExport, AFileThatCannotBeOpenedIsAnError) {
  EXPECT_EQ(ErrorOf([] { Qor_Trace_Export_PCAP(0, "no/such/folder/trace.pcapng", 0); }), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), std::vector<ErrorReport>({{255, QOR_TRACE_STATUS_FILE_ERROR, "error opening file"}}));
  EXPECT_EQ(ErrorOf([] { Qor_Trace_Export_PCAP(0, ".", 0); }), QOR_TRACE_STATUS_FILE_ERROR);
}

/// Limits the size of files that the process writes, as a full disk would.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &Before);
    const rlimit limit{bytes, Before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    OldHandler = std::signal(SIGXFSZ, SIG_IGN);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &Before);
    std::signal(SIGXFSZ, OldHandler);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit Before{};
  void (*OldHandler)(int) = nullptr;
};

TEST_F(PcapExport, AFullDiskCutsTheFileShortWithoutAnError) {
  std::vector<EntryPtr> entries(1000, EthernetItem().Frame(Counting(1400)).Entry());
  const std::string whole = Exported(entries);
  {
    FileSizeLimit limit(300'000);
    Exported(entries);
  }
  EXPECT_EQ(ReadFile("trace.pcapng"), whole.substr(0, 300'000));
  EXPECT_TRUE(TakeErrorReports().empty());
}

// ---- Through the C interface --------------------------------------------------------------------------------------

class PcapExportByHandle : public PcapExport {
 protected:
  PcapExportByHandle() {
    EXPECT_EQ(Qor_Trace_Allocate(0, &Monitor), 0u);
    TakeErrorReports();
    std::strcpy(Request.FileName, "trace.pcapng");
  }
  ~PcapExportByHandle() override { Qor_Trace_Delete(Monitor); }

  unsigned int Monitor = 0;
  Qor_Trace_Export_Request_t Request{};
};

TEST_F(PcapExportByHandle, AMonitorWithoutEntriesGivesTheSectionHeaderAlone) {
  for (const unsigned int flags : {0u, QOR_TRACE_PCAP_START_OFFSET}) {
    Request.Flags = flags;
    EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, &Request), 0u);
    EXPECT_EQ(Hex(ReadFile("trace.pcapng")), kSectionHeader);
  }
  EXPECT_TRUE(TakeErrorReports().empty());
}

TEST_F(PcapExportByHandle, UnknownFlagsAreRefusedBeforeAFileIsMade) {
  Request.Flags = 2;
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, &Request), QOR_TRACE_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(TakeErrorReports(), std::vector<ErrorReport>({{255, QOR_TRACE_STATUS_INVALID_ARGUMENT, ""}}));
  EXPECT_FALSE(std::filesystem::exists("trace.pcapng"));
}

TEST_F(PcapExportByHandle, AnUnwritablePathIsAFileError) {
  std::strcpy(Request.FileName, "no/such/folder/trace.pcapng");
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, &Request), QOR_TRACE_STATUS_FILE_ERROR);
  EXPECT_EQ(TakeErrorReports(), std::vector<ErrorReport>({{255, QOR_TRACE_STATUS_FILE_ERROR, "error opening file"}}));
}

TEST_F(PcapExportByHandle, AFileNameWithoutItsEndAndAMissingRequestAreInvalid) {
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, nullptr), QOR_TRACE_STATUS_INVALID_ARGUMENT);
  std::memset(Request.FileName, 'x', sizeof Request.FileName);
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor, &Request), QOR_TRACE_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(TakeErrorReports().size(), 2u);
}

TEST_F(PcapExportByHandle, AnUnknownHandleIsAnError) {
  EXPECT_EQ(Qor_Trace_ExportToPCAP(Monitor + 1, &Request), QOR_TRACE_STATUS_UNKNOWN_HANDLE);
  EXPECT_FALSE(std::filesystem::exists("trace.pcapng"));
}

}  // namespace

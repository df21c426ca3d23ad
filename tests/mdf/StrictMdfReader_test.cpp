#include "support/StrictMdfReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>

namespace {

using ::testing::HasSubstr;

/// Little-endian bytes of a number.
std::string Le(uint64_t value, size_t size) { return {reinterpret_cast<const char*>(&value), size}; }

std::string RawBlock(const std::string& id, const std::vector<uint64_t>& links, const std::string& data) {
  std::string bytes = id;
  bytes += Le(0, 4) + Le(24 + 8 * links.size() + data.size(), 8) + Le(links.size(), 8);
  for (const uint64_t link : links) bytes += Le(link, 8);
  return bytes + data;
}

std::string Zlib(const std::string& plain) {
  std::string packed(compressBound(plain.size()), '\0');
  uLongf size = packed.size();
  compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(plain.data()), plain.size(),
            4);
  packed.resize(size);
  return packed;
}

// A small file, laid out by hand: positions of its blocks.
constexpr uint64_t kHd = 64;    // 24 + 48 + 32 = 104
constexpr uint64_t kDg = 168;   // 24 + 32 + 8 = 64
constexpr uint64_t kCg = 232;   // 24 + 48 + 32 = 104
constexpr uint64_t kCn = 336;   // 24 + 64 + 72 = 160
constexpr uint64_t kTx = 496;   // 24 + 8 = 32
constexpr uint64_t kEv = 528;   // 24 + 48 + 32 = 104, one scope
constexpr uint64_t kCc = 632;   // 24 + 32 + 24 + 16 = 96
constexpr uint64_t kDl = 728;   // 24 + 24 + 8 + 16 = 72
constexpr uint64_t kDt1 = 800;  // 24 + 8 = 32
constexpr uint64_t kDt2 = 832;  // 24 + 4 = 28, then 4 of padding
constexpr uint64_t kHl = 864;   // 24 + 8 + 8 = 40
constexpr uint64_t kDlz = 904;  // 24 + 16 + 8 + 8 = 56
constexpr uint64_t kDz = 960;

const std::string kSignal = "signal data that is packed, packed, packed";

std::string GoodFile() {
  std::string id = std::string("MDF     4.10    Reader  ") + Le(0, 4) + Le(410, 2) + std::string(34, '\0');
  std::string file = id;
  file += RawBlock("##HD", {kDg, 0, 0, 0, kEv, 0}, std::string(32, '\0'));
  file += RawBlock("##DG", {0, kCg, kDl, 0}, std::string(8, '\0'));
  file += RawBlock("##CG", {0, kCn, 0, 0, 0, 0}, Le(1, 8) + Le(3, 8) + Le(0, 8) + Le(4, 4) + Le(0, 4));
  file += RawBlock("##CN", {0, 0, kTx, 0, kCc, kHl, 0, 0}, std::string(72, '\0'));
  file += RawBlock("##TX", {}, std::string("Speed") + std::string(3, '\0'));
  file += RawBlock("##EV", {0, 0, 0, kTx, 0, kDg}, Le(0, 8) + Le(1, 4) + std::string(20, '\0'));
  file += RawBlock("##CC", {0, 0, 0, 0}, Le(1, 1) + Le(0, 5) + Le(2, 2) + std::string(32, '\0'));
  file += RawBlock("##DL", {0, kDt1, kDt2}, Le(0, 4) + Le(2, 4) + Le(0, 8) + Le(8, 8));
  file += RawBlock("##DT", {}, "ABCDEFGH");
  file += RawBlock("##DT", {}, "IJKL") + std::string(4, '\0');
  file += RawBlock("##HL", {kDlz}, std::string(8, '\0'));
  file += RawBlock("##DL", {0, kDz}, Le(0, 4) + Le(1, 4) + Le(0, 8));
  const std::string packed = Zlib(kSignal);
  file += RawBlock("##DZ", {}, std::string("SD") + Le(0, 6) + Le(kSignal.size(), 8) + Le(packed.size(), 8) + packed);
  return file;
}

std::string ReportOn(const std::string& bytes) {
  StrictMdfReader reader(bytes, {.Records = true, .OldBlocks = false});
  reader.ReadFile();
  return reader.Report();
}

TEST(StrictMdfReader, AcceptsAFileLaidOutByHand) {
  StrictMdfReader reader(GoodFile(), {.Records = true, .OldBlocks = false});
  reader.ReadFile();
  EXPECT_EQ(reader.Report(), "");
  EXPECT_EQ(reader.Blocks().size(), 13U);
  EXPECT_TRUE(reader.Finalized());
}

TEST(StrictMdfReader, HandsOutTextsAndUnpackedData) {
  StrictMdfReader reader(GoodFile());
  reader.ReadFile();
  EXPECT_EQ(reader.Text(kTx), "Speed");
  EXPECT_EQ(reader.DataBehind(kDl), "ABCDEFGHIJKL");
  EXPECT_EQ(reader.DataBehind(kHl), kSignal);
  EXPECT_EQ(reader.Of("DT"), (std::vector<uint64_t>{kDt1, kDt2}));
}

struct Damage {
  const char* Name;
  uint64_t Offset;
  std::string Bytes;
  const char* Finding;
};

const std::vector<Damage>& Damages() {
  static const std::vector<Damage> kDamages = {
      {"FileId", 0, "MDF4", "identification: unknown file id"},
      {"FormatId", 8, "4.20", "identification: unknown format id"},
      {"Version", 28, Le(420, 2), "version is not 410"},
      {"IdReserved", 31, "x", "identification: reserved bytes are not zero"},
      {"FlagsOfFinalized", 60, Le(1, 2), "finalized, but with unfinalized flags"},
      {"NoHeaderBlock", kHd, "##MD", "no header block behind the identification"},
      {"UnknownBlock", kTx, "##ZZ", "unknown block id"},
      {"HeaderReserved", kTx + 4, Le(7, 4), "reserved header bytes are not zero"},
      {"LengthBeyondFile", kDz + 8, Le(1 << 20, 8), "is longer than the file"},
      {"LengthWithoutHeader", kTx + 8, Le(23, 8), "is too short"},
      {"LengthHuge", kTx + 8, Le(~0ULL, 8), "is longer than the file"},
      {"LinkCountHuge", kTx + 16, Le(~0ULL, 8), "is too short"},
      {"LinkCountShort", kDg + 16, Le(3, 8), "has 3 links"},
      {"LinkOutOfFile", kHd + 24, Le(1 << 20, 8), "leads out of the file"},
      {"LinkIntoIdentification", kHd + 24, Le(8, 8), "leads out of the file"},
      {"LinkUnaligned", kHd + 24, Le(kDg + 4, 8), "not at a multiple of 8"},
      {"LinkBetweenBlocks", kHd + 24, Le(kDg + 8, 8), "leads to no block"},
      {"LinkToOtherKind", kDg + 32, Le(kTx, 8), "points to a ##TX"},
      {"SelfLink", kDg + 24, Le(kDg, 8), "closes a circle"},
      {"CircleOfChannels", kCn + 24, Le(kCn, 8), "closes a circle"},
      {"CircleThroughConversion", kCc + 48, Le(kCc, 8), "closes a circle"},
      {"OwnedTwice", kDlz + 32, Le(kDt1, 8), "belongs to"},
      {"DataSectionSize", kDg + 8, Le(56, 8), "data section of 0 bytes"},
      {"DataReserved", kDg + 60, "x", "reserved bytes are not zero"},
      {"TextEndless", kTx + 24, "SpeedMax", "text without an end"},
      {"TextGoesOn", kTx + 31, "x", "more behind the end of the text"},
      {"ValueCount", kCc + 62, Le(3, 2), "value count and data section differ"},
      {"ReferenceCount", kCc + 60, Le(1, 2), "reference count and links differ"},
      {"ScopeCount", kEv + 80, Le(2, 4), "scope and attachment counts and links differ"},
      {"ScopeOfNothing", kEv + 64, Le(kDt2 + 8, 8), "refers to no block of the tree"},
      {"ScopeOfOtherKind", kEv + 64, Le(kTx, 8), "refers to a ##TX"},
      {"ListCount", kDl + 52, Le(3, 4), "block count and links differ"},
      {"ListFlags", kDl + 48, Le(1, 1), "reserved bytes are not zero"},
      {"ListOffset", kDl + 64, Le(9, 8), "offset of block 2 is wrong"},
      {"ListNullBlock", kDl + 40, Le(0, 8), "is null"},
      {"ListWithoutHeader", kCn + 64, Le(kDlz, 8), "block 1 is a ##DZ"},
      {"HeaderListEmpty", kHl + 24, Le(0, 8), "is null"},
      {"PackedKind", kDz + 24, "DT", "block 1 packs something else"},
      {"PackedUnknownKind", kDz + 24, "XX", "packs neither DT nor SD"},
      {"PackedOriginalLength", kDz + 32, Le(41, 8), "doesn't unpack to its original length"},
      {"PackedOriginalLengthHuge", kDz + 32, Le(~0ULL, 8), "doesn't unpack to its original length"},
      {"PackedLength", kDz + 40, Le(9, 8), "packed length and data section differ"},
      {"PackedBytes", kDz + 50, "????", "doesn't unpack to its original length"},
      {"PackedZipType", kDz + 26, Le(1, 1), "reserved bytes are not zero"},
      {"CycleCount", kCg + 80, Le(4, 8), "12 bytes of records, 16 announced"},
      {"Padding", kDt2 + 29, "x", "belong to no block and are not zero"},
  };
  return kDamages;
}

class DamagedFile : public ::testing::TestWithParam<Damage> {};

TEST_P(DamagedFile, IsReported) {
  const Damage& damage = GetParam();
  std::string file = GoodFile();
  file.replace(damage.Offset, damage.Bytes.size(), damage.Bytes);
  EXPECT_THAT(ReportOn(file), HasSubstr(damage.Finding));
}

INSTANTIATE_TEST_SUITE_P(StrictMdfReader, DamagedFile, ::testing::ValuesIn(Damages()),
                         [](const auto& damage) { return damage.param.Name; });

TEST(StrictMdfReader, ReportsOverlappingBlocks) {
  std::string file = GoodFile();
  file.replace(kTx + 8, 8, Le(40, 8));
  EXPECT_THAT(ReportOn(file), HasSubstr("overlaps the block before it"));
}

TEST(StrictMdfReader, ReportsWhatFollowsTheLastBlockUnlessOldBlocksAreAllowed) {
  const std::string file = GoodFile() + "leftover";
  EXPECT_THAT(ReportOn(file), HasSubstr("belong to no block and are not zero"));
  StrictMdfReader lenient(file, {.Records = false, .OldBlocks = true});
  lenient.ReadFile();
  EXPECT_EQ(lenient.Report(), "");
}

TEST(StrictMdfReader, ReportsEveryCutOfAFile) {
  const std::string file = GoodFile();
  for (size_t size = 0; size < file.size(); ++size) EXPECT_NE(ReportOn(file.substr(0, size)), "") << size;
}

TEST(StrictMdfReader, SurvivesAnyDamagedByte) {
  const std::string file = GoodFile();
  for (size_t at = 0; at < file.size(); ++at) {
    for (const char value : {'\0', '\1', '\x7F', '\xFF'}) {
      std::string damaged = file;
      damaged[at] = value;
      StrictMdfReader reader(damaged, {.Records = true, .OldBlocks = false});
      reader.ReadFile();
      for (const uint64_t list : reader.Of("DL")) (void)reader.DataBehind(list);
    }
  }
}

TEST(StrictMdfReader, ReadsAPieceFromItsRoots) {
  std::string piece = std::string(64, '\0') + RawBlock("##TX", {}, std::string("a") + std::string(7, '\0'));
  StrictMdfReader reader(piece);
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.Report(), "");
  EXPECT_EQ(reader.Text(64), "a");
}

TEST(StrictMdfReader, AcceptsPackedBlocksThatHoldTheirBytesAsTheyAre) {
  std::string piece =
      std::string(64, '\0') + RawBlock("##DZ", {}, std::string("DT") + Le(0, 6) + Le(5, 8) + Le(0, 8) + "plain");
  StrictMdfReader reader(piece);
  reader.ReadBlocks({64});
  EXPECT_EQ(reader.Report(), "");
  EXPECT_EQ(reader.RawPackedBlocks(), 1U);
  EXPECT_EQ(reader.DataBehind(64), "plain");
}

}  // namespace

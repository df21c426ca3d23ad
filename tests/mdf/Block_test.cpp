#include "mdf/Block.h"

#include <memory>

#include "support/MdfFiles.h"

namespace {

/// Metadata blocks, alone in a file from 64 on.
class MetadataBlock : public MdfFiles {
 protected:
  /// The bytes of a tree's root as the file holds them.
  std::string Written(MDF::Block& root) {
    FileStream stream(NewFile());
    Roots({64});
    PlaceAndWrite(root, stream);
    return Contents().substr(64, root.Block_Length());
  }

  /// What the link of the block at 64 leads to, as text.
  std::string LinkedText(size_t link) {
    StrictMdfReader reader(Contents());
    reader.ReadBlocks({64});
    return reader.Text(StrictMdfReader::LinkOf(reader.At(64), link));
  }
};

// --- identification ---

/// A whole file: identification and an empty header.
class Identification : public MdfFiles {
 protected:
  void SetUp() override { Stream.open(NewFile(), std::ios_base::binary | std::ios_base::trunc); }
  void TearDown() override {
    if (Stream.is_open()) {
      PlaceAndWrite(Header, Stream);
      Stream.close();
    }
    MdfFiles::TearDown();
  }

  std::string Start() {
    Stream.flush();
    return Contents().substr(0, 64);
  }

  FileStream Stream;
  MDF::HDBLOCK Header{0};
};

TEST_F(Identification, NewFileIsUnfinalized) {
  MDF::IDBLOCK id("Qor_API");
  EXPECT_EQ(id.Block_Length(), 64U);
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_TRUE(Stream.Written);
  EXPECT_EQ(Start(), "UnFinMF 4.10    " + std::string("Qor_API\0", 8) + std::string(4, '\0') + Bytes("9A 01") +
                         std::string(34, '\0'));
  EXPECT_EQ(Stream.tellp(), 64);
}

TEST_F(Identification, LongProgramNameIsCutAndShortOnePadded) {
  MDF::IDBLOCK longer("ProgramName");
  EXPECT_TRUE(longer.Write(Stream));
  EXPECT_EQ(Start().substr(16, 8), "ProgramN");
  MDF::IDBLOCK shorter("Me");
  EXPECT_TRUE(shorter.Write(Stream));
  EXPECT_EQ(Start().substr(16, 8), std::string("Me\0\0\0\0\0\0", 8));
}

TEST_F(Identification, WriteReturnsToWhereTheStreamStood) {
  MDF::IDBLOCK id("Qor_API");
  PlaceAndWrite(Header, Stream);
  Stream.seekp(80);
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_EQ(Stream.tellp(), 80);
}

TEST_F(Identification, IsWrittenOnlyWhenChanged) {
  MDF::IDBLOCK id("Qor_API");
  EXPECT_TRUE(id.Write(Stream));
  Stream.Written = false;
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_FALSE(Stream.Written);
  id.UnfinFlags_Custom(0x1234);
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_EQ(Start().substr(60), Bytes("00 00 34 12"));
  id.UnfinFlags(MDF::IDBLOCK::UnfinalizedFlags::LastDataList);
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_EQ(Start().substr(60), Bytes("10 00 34 12"));
}

TEST_F(Identification, FinalizeMarksTheFileWhenNoFlagIsSet) {
  MDF::IDBLOCK id("Qor_API");
  EXPECT_TRUE(id.Finalize(Stream)) << "writes the block first";
  EXPECT_EQ(Start().substr(0, 16), "MDF     4.10    ");
}

TEST_F(Identification, FinalizeLeavesAFileWithFlags) {
  MDF::IDBLOCK id("Qor_API");
  id.UnfinFlags_Custom(1);
  EXPECT_FALSE(id.Finalize(Stream));
  EXPECT_EQ(Start().substr(0, 8), "UnFinMF ");
  id.Block_Reset();
  id.UnfinFlags(MDF::IDBLOCK::UnfinalizedFlags::CycleCounters);
  EXPECT_FALSE(id.Finalize(Stream));
  EXPECT_EQ(Start().substr(0, 8), "UnFinMF ");
}

TEST_F(Identification, ResetClearsTheFlagsForTheNextFile) {
  MDF::IDBLOCK id("Qor_API");
  id.UnfinFlags_Custom(1);
  id.UnfinFlags(MDF::IDBLOCK::UnfinalizedFlags::CycleCounters);
  EXPECT_TRUE(id.Write(Stream));
  id.Block_Reset();
  EXPECT_TRUE(id.Finalize(Stream));
  PlaceAndWrite(Header, Stream);
  Stream.close();
  Header.Block_Reset(true);
  Stream.open(NewFile(), std::ios_base::binary | std::ios_base::trunc);
  id.Block_Reset();
  EXPECT_TRUE(id.Write(Stream));
  EXPECT_EQ(Start().substr(0, 8), "UnFinMF ");
  EXPECT_EQ(Start().substr(60), std::string(4, '\0'));
}

TEST_F(Identification, ClosedFileIsNeitherWrittenNorFinalized) {
  FileStream closed;
  MDF::IDBLOCK id("Qor_API");
  EXPECT_FALSE(id.Write(closed));
  EXPECT_FALSE(id.Finalize(closed));
  EXPECT_TRUE(id.Write(Stream)) << "still to be written";
}

// --- text ---

struct TextCase {
  const char* Text;
  size_t Section;
};

TEST_F(MetadataBlock, TextHasAtLeastOneZeroBehindIt) {
  for (const TextCase& c : {TextCase{"", 8}, {"CAN", 8}, {"1234567", 16}, {"12345678", 16}}) {
    SCOPED_TRACE(c.Text);
    MDF::TXBLOCK text(c.Text);
    MDF::MDBLOCK comment(c.Text);
    const std::string section = c.Text + std::string(c.Section - std::string(c.Text).size(), '\0');
    const std::string header(1, static_cast<char>(24 + c.Section));
    const std::string rest = header + std::string(15, '\0') + section;
    EXPECT_EQ(Written(text), Bytes("23 23 54 58 00 00 00 00") + rest);
    EXPECT_EQ(Written(comment), Bytes("23 23 4D 44 00 00 00 00") + rest);
  }
}

TEST_F(MetadataBlock, TextForCanIsThirtyTwoBytesLong) { EXPECT_EQ(MDF::TXBLOCK("CAN").Block_Length(), 32U); }

TEST_F(MetadataBlock, TextEndsAtItsFirstZero) {
  MDF::TXBLOCK text(std::string("ab\0cd", 5));
  EXPECT_EQ(Written(text).substr(24), std::string("ab\0\0\0\0\0\0", 8));
}

TEST_F(MetadataBlock, ChangedTextIsWrittenAgain) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::TXBLOCK text("abc");
  PlaceAndWrite(text, stream);
  std::string patch = "X";
  ASSERT_TRUE(text.Insert(1, 1, Data(patch)));
  EXPECT_TRUE(text.WriteRequest());
  PlaceAndWrite(text, stream);
  EXPECT_EQ(Contents().substr(88, 4), std::string("aXc\0", 4));
}

// --- header and file history ---

TEST_F(MetadataBlock, HeaderHoldsItsStartTime) {
  MDF::HDBLOCK header(0x0102030405060708);
  EXPECT_EQ(Written(header), Bytes("23 23 48 44 00 00 00 00 68 00 00 00 00 00 00 00 06 00 00 00 00 00 00 00") +
                                 std::string(48, '\0') + Bytes("08 07 06 05 04 03 02 01") + std::string(24, '\0'));
}

TEST_F(MetadataBlock, HeaderStartTimeMayChangeAfterwards) {
  FileStream stream(NewFile());
  Roots({64});
  MDF::HDBLOCK header(5);
  PlaceAndWrite(header, stream);
  header.StartTime_Set(6);
  EXPECT_EQ(header.StartTime_Get(), 6U);
  EXPECT_EQ(header.RelativeTime(7), 2U) << "the base is another matter";
  EXPECT_TRUE(header.WriteRequest());
  PlaceAndWrite(header, stream);
  EXPECT_EQ(Contents()[64 + 72], '\6');
}

TEST(HeaderBlock, TimesAreRelativeToTheBase) {
  MDF::HDBLOCK header(100);
  EXPECT_EQ(header.RelativeTime(150), 50U);
  header.RelativeTime_Set(120);
  EXPECT_EQ(header.RelativeTime(150), 30U);
  EXPECT_EQ(static_cast<long>(header.RelativeTime(110)), -10) << "before the base";
}

TEST(HeaderBlock, GroupsAndEventsAreAppendedToTheirChains) {
  MDF::HDBLOCK header(0);
  MDF::DGBLOCK groups[3] = {MDF::DGBLOCK(false), MDF::DGBLOCK(false), MDF::DGBLOCK(true)};
  for (MDF::DGBLOCK& group : groups) EXPECT_TRUE(header.Link_DGBLOCK(&group));
  EXPECT_EQ(header.Links_Get(MDF::kHdFirstGroup), &groups[0]);
  EXPECT_EQ(groups[0].Links_Get(MDF::kDgNext), &groups[1]);
  EXPECT_EQ(groups[1].Links_Get(MDF::kDgNext), &groups[2]);
  MDF::EVBLOCK first("", 2, 0, 0);
  MDF::EVBLOCK second("", 2, 0, 0);
  EXPECT_TRUE(header.Link_EVBLOCK(&first));
  EXPECT_TRUE(header.Link_EVBLOCK(&second));
  EXPECT_EQ(header.Links_Get(MDF::kHdFirstEvent), &first);
  EXPECT_EQ(first.Links_Get(MDF::kEvNext), &second);
  EXPECT_FALSE(header.Link_EVBLOCK(&first)) << "there already";
  EXPECT_FALSE(header.Link_DGBLOCK(nullptr));
  EXPECT_FALSE(header.Link_EVBLOCK(nullptr));
}

TEST_F(MetadataBlock, FileHistoryHoldsTimeAndComment) {
  MDF::FHBLOCK history(0x0102030405060708, "<FHcomment/>");
  Tree comment(history.Links_Get(MDF::kFhComment));
  EXPECT_EQ(Written(history), Bytes("23 23 46 48 00 00 00 00 38 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00"
                                    "00 00 00 00 00 00 00 00 78 00 00 00 00 00 00 00"
                                    "08 07 06 05 04 03 02 01 00 00 00 00 00 00 00 00"));
  EXPECT_EQ(LinkedText(MDF::kFhComment), "<FHcomment/>");
}

TEST(FileHistoryBlock, EmptyOrNullCommentIsNone) {
  EXPECT_EQ(MDF::FHBLOCK(0, nullptr).Links_Get(MDF::kFhComment), nullptr);
  EXPECT_EQ(MDF::FHBLOCK(0, "").Links_Get(MDF::kFhComment), nullptr);
}

// --- events ---

const char* const kEventEnd = "00 00 00 00 00 00 00 00 08 07 06 05 04 03 02 01";
const char* const kNanosecond = "95 D6 26 E8 0B 2E 11 3E";  // 1e-9 as a double

TEST_F(MetadataBlock, RecordingEventBeginsARange) {
  MDF::EVBLOCK event("Begin", 0, 4, 0x0102030405060708);
  Tree name(event.Links_Get(MDF::kEvName));
  EXPECT_EQ(Written(event), Bytes("23 23 45 56 00 00 00 00 60 00 00 00 00 00 00 00 05 00 00 00 00 00 00 00") +
                                std::string(24, '\0') + Bytes("A0 00 00 00 00 00 00 00") + std::string(8, '\0') +
                                Bytes("00 01 01 04 00 00 00 00") + Bytes(kEventEnd) + Bytes(kNanosecond));
  EXPECT_EQ(LinkedText(MDF::kEvName), "Begin");
}

TEST(EventBlock, OnlySomeTypesTakeAName) {
  for (unsigned char type = 0; type < 8; ++type) {
    SCOPED_TRACE(int{type});
    MDF::EVBLOCK event("name", type, 0, 0);
    EXPECT_EQ(event.Links_Get(MDF::kEvName) != nullptr, type == 0 || type == 5 || type == 6);
    event.Links_Clear(true);
  }
}

/// The links and the range type that an event gets from another one.
struct RelationCase {
  unsigned char Type;
  bool Parent;
  bool RangeBegin;
  char RangeType;
  bool Named;
};

TEST_F(MetadataBlock, EventOfAnotherOneIsItsRangeEndOrItsChild) {
  for (const RelationCase& c : {RelationCase{0, false, true, 2, true},
                                {1, true, false, 1, false},
                                {2, true, false, 0, true},
                                {3, true, false, 0, true},
                                {4, true, false, 0, true}}) {
    SCOPED_TRACE(int{c.Type});
    MDF::EVBLOCK other("", 0, 4, 0);
    MDF::EVBLOCK event("name", c.Type, 4, 9, &other);
    EXPECT_EQ(event.Links_Get(MDF::kEvParent), c.Parent ? &other : nullptr);
    EXPECT_EQ(event.Links_Get(MDF::kEvRangeBegin), c.RangeBegin ? &other : nullptr);
    EXPECT_EQ(event.Links_Get(MDF::kEvName) != nullptr, c.Named);
    MDF::HDBLOCK header(0);
    header.Link_EVBLOCK(&other);
    header.Link_EVBLOCK(&event);
    Written(header);
    EXPECT_EQ(Contents().substr(static_cast<size_t>(event.Block_FilePos()) + 64, 4),
              std::string({static_cast<char>(c.Type), 1, c.RangeType, 4}));
    if (c.Named) event.Links_Delete(MDF::kEvName);
  }
}

TEST_F(MetadataBlock, EventWithoutAnotherOneOrOfOtherTypesIsAllZero) {
  MDF::EVBLOCK other("", 2, 0, 0);
  MDF::EVBLOCK lonely("name", 0, 4, 9, nullptr);
  MDF::EVBLOCK marker("name", 6, 4, 9, &other);
  for (MDF::EVBLOCK* event : {&lonely, &marker}) {
    EXPECT_EQ(Written(*event).substr(24), std::string(40 + 32, '\0'));
  }
}

TEST_F(MetadataBlock, EventMayHaveAParentAndARangeBegin) {
  MDF::EVBLOCK parent("", 2, 0, 0);
  MDF::EVBLOCK begin("", 2, 0, 0);
  MDF::EVBLOCK event("", 0, 4, 9, &parent, &begin);
  EXPECT_EQ(event.Links_Get(MDF::kEvParent), &parent);
  EXPECT_EQ(event.Links_Get(MDF::kEvRangeBegin), &begin);
  MDF::EVBLOCK alone("", 0, 4, 9, nullptr, nullptr);
  EXPECT_EQ(Written(alone).substr(64, 4), Bytes("00 01 01 04"));
}

TEST_F(MetadataBlock, EventCountsItsScopes) {
  MDF::HDBLOCK header(0);
  MDF::DGBLOCK group(false);
  MDF::DGBLOCK other(false);
  MDF::EVBLOCK event("", 2, 0, 0);
  header.Link_DGBLOCK(&group);
  header.Link_DGBLOCK(&other);
  header.Link_EVBLOCK(&event);
  event.ScopedBlock_Add(&group);
  event.ScopedBlock_Add(nullptr);
  event.ScopedBlock_Add(&other);
  EXPECT_EQ(event.Block_Length(), 24U + 56U + 32U);
  Written(header);
  EXPECT_EQ(Contents().substr(static_cast<size_t>(event.Block_FilePos()) + 80 + 8, 4), Bytes("02 00 00 00"));
}

// --- attachments ---

TEST_F(MetadataBlock, AttachmentEmbedsItsData) {
  MDF::ATBLOCK attachment(5, 7);
  std::string data = "bytes";
  ASSERT_TRUE(attachment.Insert(0, 5, Data(data)));
  EXPECT_EQ(Written(attachment), Bytes("23 23 41 54 00 00 00 00 65 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00") +
                                     std::string(32, '\0') + Bytes("01 00 07 00 00 00 00 00") + std::string(16, '\0') +
                                     Bytes("05 00 00 00 00 00 00 00 05 00 00 00 00 00 00 00") + "bytes");
}

TEST_F(MetadataBlock, AttachmentMayBeCompressed) {
  MDF::ATBLOCK attachment("log.txt", 1000, 0);
  Tree name(attachment.Links_Get(MDF::kAtFileName));
  std::string data(1000, 'a');
  ASSERT_TRUE(attachment.Compressed_Insert(Data(data), 1000, true));
  const std::string block = Written(attachment);
  EXPECT_EQ(block.substr(56, 2), Bytes("03 00"));
  EXPECT_LT(block.size(), 200U);
  EXPECT_EQ(LinkedText(MDF::kAtFileName), "log.txt");
}

TEST_F(MetadataBlock, AttachmentCompressedAfterItWasWrittenIsWrittenAgain) {
  FileStream stream(NewFile());
  Roots({64});
  Options({.Records = false, .OldBlocks = true});
  MDF::ATBLOCK attachment(1000, 0);
  PlaceAndWrite(attachment, stream);
  EXPECT_FALSE(attachment.WriteRequest());
  std::string data(1000, 'a');
  ASSERT_TRUE(attachment.Compressed_Insert(Data(data), 1000, true));
  EXPECT_TRUE(attachment.WriteRequest());
  PlaceAndWrite(attachment, stream);
  EXPECT_EQ(Contents().substr(64 + 56, 2), Bytes("03 00"));
}

TEST_F(MetadataBlock, AttachmentWithoutDataRefersToItsFile) {
  MDF::ATBLOCK attachment("log.txt", 0, 0);
  Tree name(attachment.Links_Get(MDF::kAtFileName));
  EXPECT_EQ(Written(attachment).substr(56), std::string(40, '\0'));
}

// --- all of them ---

TEST_F(MetadataBlock, ClosedStreamTakesNothing) {
  FileStream closed;
  MDF::HDBLOCK header(0);
  MDF::TXBLOCK text("x");
  header.Links_Set(MDF::kHdComment, &text);
  long cursor = 64;
  header.Block_PlaceAndList(true, &cursor, nullptr);
  EXPECT_EQ(header.Write(closed), 0);
  EXPECT_EQ(text.Write(closed), 0);
  EXPECT_TRUE(header.WriteRequest());
  EXPECT_FALSE(closed.Written);
  FileStream stream(NewFile());
  Roots({64});
  EXPECT_EQ(header.Write(stream), 64 + 104) << "later";
  EXPECT_EQ(text.Write(stream), 64 + 104 + 32);
}

}  // namespace

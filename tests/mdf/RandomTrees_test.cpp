// Random sequences of operations on a tree of blocks, over several files. Each file is read strictly, whenever it was
// brought up to date and at its end, and its data is compared with what went in.
#include <memory>
#include <random>

#include "support/MdfFiles.h"

namespace {

/// A data group with one channel of records and one of signal data, each with a data list and a copy of what is in it.
struct Recording {
  MDF::DGBLOCK* Group;
  MDF::CGBLOCK* Channels;
  MDF::CNBLOCK* Signal;
  std::unique_ptr<MDF::DLBLOCK> Lists[2];  // records, signal data
  std::string Expected[2];
};

class RandomTrees : public MdfFiles, public ::testing::WithParamInterface<unsigned int> {
 protected:
  void SetUp() override {
    Random.seed(GetParam());
    Header = new MDF::HDBLOCK(1);
    Open();
  }

  void TearDown() override {
    Stream.close();
    MDF::DestroyTree(Header, MDF::DataLists::kLeave);
    Recordings.clear();
    MdfFiles::TearDown();
  }

  unsigned int Upto(unsigned int limit) { return static_cast<unsigned int>(Random() % (limit + 1)); }
  bool OneIn(unsigned int n) { return Upto(n - 1) == 0; }

  std::string Bytes(unsigned int size) {
    std::string bytes(size, static_cast<char>(Random()));
    if (OneIn(3)) {
      for (char& byte : bytes) byte = static_cast<char>(Random());  // nothing to pack
    }
    return bytes;
  }

  void Open() {
    Stream.open(NewFile(), std::ios_base::binary | std::ios_base::trunc);
    Options({.Records = true, .OldBlocks = true});
    Id.Block_Reset();
    ASSERT_TRUE(Id.Write(Stream));
    PlaceAndWrite(*Header, Stream);
  }

  void Check(bool finished) {
    Stream.flush();
    ASSERT_TRUE(Stream.good());
    StrictMdfReader reader(Contents(), {.Records = finished, .OldBlocks = true});
    reader.ReadFile();
    ASSERT_EQ(reader.Report(), "");
    if (finished) Compare(reader);
  }

  void Compare(const StrictMdfReader& reader) {
    EXPECT_EQ(reader.Of("DG").size(), Recordings.size());
    for (const Recording& recording : Recordings) {
      const auto& group = reader.At(static_cast<uint64_t>(recording.Group->Block_FilePos()));
      const auto& signal = reader.At(static_cast<uint64_t>(recording.Signal->Block_FilePos()));
      EXPECT_TRUE(SameBytes(reader.DataBehind(StrictMdfReader::LinkOf(group, 2)), recording.Expected[0]));
      EXPECT_TRUE(SameBytes(reader.DataBehind(StrictMdfReader::LinkOf(signal, 5)), recording.Expected[1]));
    }
  }

  // --- operations ---

  std::unique_ptr<MDF::DLBLOCK> NewList(MDF::Block* parent) {
    auto list = std::make_unique<MDF::DLBLOCK>(parent, static_cast<unsigned short>(Upto(5)), OneIn(2), Stream);
    auto* cache = dynamic_cast<MDF::DataBlockDynamic*>(list->Links_Get(MDF::kDlData));
    if (OneIn(2)) cache->MaxLength(64 + Upto(4000));  // full soon
    return list;
  }

  void AddRecording() {
    if (Recordings.size() >= 8) return;
    Recording fresh;
    fresh.Group = new MDF::DGBLOCK(false);
    fresh.Channels = new MDF::CGBLOCK(OneIn(2) ? "bus" : "", 1, 6, 0);
    auto* byte = new MDF::CNBLOCK("byte", 0, 0, 0, 0, 8);
    fresh.Signal = new MDF::CNBLOCK("signal", 1, 0, 10, 0, 0);
    fresh.Group->Link_CGBLOCK(fresh.Channels);
    fresh.Channels->Link_CNBLOCK(byte);
    fresh.Channels->Link_CNBLOCK(fresh.Signal);
    fresh.Channels->Links_Set(MDF::kCgSource, new MDF::SIBLOCK("source", Upto(9), 2, 2, 0));
    auto* conversion = new MDF::CCBLOCK(7, 0, OneIn(2) ? "unit" : nullptr);
    for (unsigned int i = Upto(5); i > 0; --i) {
      conversion->Value_Add(i);
      conversion->Reference_Add(OneIn(3) ? nullptr : new MDF::TXBLOCK("text " + std::to_string(i)));
    }
    byte->Links_Set(MDF::kCnConversion, conversion);
    fresh.Lists[0] = NewList(fresh.Group);
    fresh.Lists[1] = NewList(fresh.Signal);
    Header->Link_DGBLOCK(fresh.Group);
    Recordings.push_back(std::move(fresh));
  }

  Recording* AnyRecording() {
    return Recordings.empty() ? nullptr : &Recordings[Upto(static_cast<unsigned int>(Recordings.size()) - 1)];
  }

  void Insert() {
    Recording* recording = AnyRecording();
    if (recording == nullptr) return;
    const unsigned int which = Upto(1);
    std::string bytes = Bytes(OneIn(20) ? 100'000 : Upto(300));
    if (recording->Lists[which]->Insert(Data(bytes), static_cast<unsigned int>(bytes.size()))) {
      recording->Expected[which] += bytes;
    }
  }

  void Flush() {
    Recording* recording = AnyRecording();
    if (recording == nullptr) return;
    MDF::DLBLOCK& list = *recording->Lists[Upto(1)];
    if (OneIn(4)) {
      Stream.setstate(std::ios_base::badbit);
      EXPECT_FALSE(list.Write());
      Stream.clear();
    }
    if (OneIn(4)) {
      list.DataBlock_Add();
    } else {
      list.Write();
    }
  }

  void AddEvent() {
    const auto type = static_cast<unsigned char>(Upto(6));
    auto* event = OneIn(2) || LastEvent == nullptr ? new MDF::EVBLOCK("event", type, 4, Upto(1000))
                                                   : new MDF::EVBLOCK("event", type, 4, Upto(1000), LastEvent);
    for (unsigned int i = Upto(2); i > 0; --i) {
      if (Recording* recording = AnyRecording()) event->ScopedBlock_Add(recording->Group);
    }
    Header->Link_EVBLOCK(event);
    LastEvent = event;
  }

  void AddAttachment() {
    const unsigned int size = 100 + Upto(300);
    auto* attachment = new MDF::ATBLOCK("file", size, 0);
    std::string bytes(size, 'a');
    if (OneIn(2)) {
      EXPECT_TRUE(attachment->Compressed_Insert(Data(bytes), size, true));
    } else {
      EXPECT_TRUE(attachment->Insert(Upto(100), 200 < size - 100 ? 200 : 0, Data(bytes)));
    }
    MDF::Block* last = Header;
    unsigned int link = MDF::kHdFirstAttachment;
    while (last->Links_Get(link) != nullptr) {
      last = last->Links_Get(link);
      link = MDF::kAtNext;
    }
    last->Links_Set(link, attachment);
  }

  void Change() {
    Header->StartTime_Set(Upto(1000));
    if (Recording* recording = AnyRecording()) {
      recording->Signal->Flags_Set(Upto(0x440));
      recording->Channels->CycleCount_Set(Upto(1000));
      recording->Group->Links_Delete(MDF::kDgComment);
      if (OneIn(2)) recording->Group->Links_Set(MDF::kDgComment, new MDF::MDBLOCK("comment " + Bytes(1).substr(1)));
    }
    std::string letter = "X";
    if (auto* text = dynamic_cast<MDF::MDBLOCK*>(Header->Links_Get(MDF::kHdComment))) {
      EXPECT_TRUE(text->Insert(Upto(3), 1, Data(letter)));
    } else {
      Header->Links_Set(MDF::kHdComment, new MDF::MDBLOCK("<HDcomment/>"));
    }
  }

  void BringUpToDate() {
    PlaceAndWrite(*Header, Stream);
    Check(false);
  }

  void Finish() {
    for (Recording& recording : Recordings) {
      for (const auto& list : recording.Lists) list->Write();
      recording.Channels->CycleCount_Set(recording.Expected[0].size());
    }
    PlaceAndWrite(*Header, Stream);
    EXPECT_TRUE(Id.Finalize(Stream));
    Check(true);
    Stream.close();
  }

  void NextFile() {
    Finish();
    Header->Block_Reset(true);
    for (Recording& recording : Recordings) {
      for (std::string& expected : recording.Expected) expected.clear();
    }
    Open();
  }

  void Step() {
    switch (Upto(19)) {
      case 0:
        return AddRecording();
      case 1:
        return AddEvent();
      case 2:
        return AddAttachment();
      case 3:
      case 4:
        return Change();
      case 5:
      case 6:
        return BringUpToDate();
      case 7:
        return OneIn(4) ? NextFile() : BringUpToDate();
      case 8:
      case 9:
      case 10:
        return Flush();
      default:
        return Insert();
    }
  }

  std::mt19937 Random;
  FileStream Stream;
  MDF::IDBLOCK Id{"Random  "};
  MDF::HDBLOCK* Header = nullptr;
  MDF::EVBLOCK* LastEvent = nullptr;
  std::vector<Recording> Recordings;
};

TEST_P(RandomTrees, GiveFilesThatAStrictReaderAccepts) {
  AddRecording();
  for (int step = 0; step < 200 && !HasFatalFailure(); ++step) Step();
  Finish();
}

INSTANTIATE_TEST_SUITE_P(Seed, RandomTrees, ::testing::Range(0U, 60U));

}  // namespace

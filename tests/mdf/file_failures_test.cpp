// Files that fail under MdfFile: each call of the operating system in its turn.
// Whatever happens, a caller is told, and the files of the series can be read.
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "support/FailingFiles.h"
#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/StrictMdfReader.h"
#include "support/TemporaryDirectory.h"

namespace {

using test::CanItem;
using test::FailingFiles;

constexpr const char* kNames[] = {"trace.mf4", "trace_1.mf4", "trace_2.mf4"};
constexpr size_t kHeader = 64;                         // where the header block is, in bytes
constexpr unsigned int kEachFlush = 2049;              // KiB; a limit that every flush reaches
constexpr unsigned long kBlock = 0x200000 / (4 + 64);  // frames with 64 data bytes that fill a block

CanItem Frame(unsigned long number) {
  return CanItem().At(2'000 + number).Id(static_cast<unsigned int>(number)).Extended().Fd().Data(test::Bytes(64, 9));
}

/// A series of measurement files, and what its calls said. Goes on when a call has failed.
class Recording {
 public:
  void Open() {
    File = std::make_unique<MdfFile>("trace", 1'000);
    Told(File->is_open() && File->good());
  }
  void Add(unsigned int channel) {
    Told(File->Bus_Add(channel, 'c'));
    Told(File->Write());
  }
  void Insert(unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
      const auto frame = test::Record(*Frame(Taken).Entry());
      const bool taken = File->Data_Insert(test::Entry(frame));
      if (taken) ++Taken;
      ++Offered;
      Told(taken && File->is_open());
    }
  }
  void Flush() {
    const bool done = File->File_FlushData();
    if (done) Flushed = Taken;
    Told(done);
  }
  void Mark() { Told(File->Event("mark", 2, 2, 2'000 + Taken, 1, 'c')); }
  /// Begins the next file.
  void Split() {
    File->File_SetMaxSize(kEachFlush);
    Flush();
    Insert(1);
  }
  void Close() { Told(File->File_Close(2'000 + Taken)); }
  void Destroy() { File.reset(); }
  /// Destroys an open file, which nobody can be told of.
  void Abandon() {
    Destroy();
    Abandoned = true;
  }

  /// Every call has said that all is well.
  [[nodiscard]] bool IsWhole() const { return Whole; }
  [[nodiscard]] unsigned long TakenFrames() const { return Taken; }
  /// All frames: one that was refused may be in the file all the same, if it was the next file that couldn't be begun.
  [[nodiscard]] unsigned long OfferedFrames() const { return Offered; }
  [[nodiscard]] bool IsAbandoned() const { return Abandoned; }
  /// Those of them that a flush has put into the file.
  [[nodiscard]] unsigned long FlushedFrames() const { return Flushed; }

 private:
  void Told(bool right) { Whole = Whole && right; }

  std::unique_ptr<MdfFile> File;
  unsigned long Offered = 0;
  unsigned long Taken = 0;
  unsigned long Flushed = 0;
  bool Whole = true;
  bool Abandoned = false;
};

/// What is recorded before something fails, and what while it does.
struct Scene {
  const char* Name;
  void (*Before)(Recording&);
  void (*While)(Recording&);
};

void Nothing(Recording&) {}
void Begin(Recording& recording) {
  recording.Open();
  recording.Add(1);
}
void BeginWithRecords(Recording& recording) {
  Begin(recording);
  recording.Insert(2);
  recording.Flush();
}
void AddAndMark(Recording& recording) {
  recording.Mark();
  recording.Add(2);
  recording.Insert(1);
  recording.Flush();
}
void Collect(Recording& recording) {
  Begin(recording);
  recording.Insert(kBlock - 2);
}
void FillBlockAndFlush(Recording& recording) {
  recording.Insert(3);
  recording.Flush();
}
void Split(Recording& recording) {
  recording.Insert(1);
  recording.Split();
  recording.Insert(1);
  recording.Close();
}
void Close(Recording& recording) {
  recording.Insert(1);
  recording.Close();
}
void Abandon(Recording& recording) {
  recording.Insert(1);
  recording.Abandon();
}

const Scene kScenes[] = {
    {"Begin", Nothing, Begin},
    {"Mark", BeginWithRecords, AddAndMark},
    {"FullBlock", Collect, FillBlockAndFlush},
    {"Split", BeginWithRecords, Split},
    {"Close", BeginWithRecords, Close},
    {"Abandon", BeginWithRecords, Abandon},
};
void PrintTo(const Scene& scene, std::ostream* out) { *out << scene.Name; }
std::string Findings(const std::string& contents, StrictMdfReader::Options options) {
  StrictMdfReader reader(contents, options);
  reader.ReadFile();
  return reader.Report();
}

/// How many frames the files of the series hold. Each is sound: a finalized one whole, others up to what they announce. Only
/// the newest may be without descriptions, or missing.
unsigned long CheckedFrames(bool whole) {
  unsigned long frames = 0;
  bool newest = false;
  for (const char* name : kNames) {
    const std::string contents = StrictMdfReader::Load(name);
    const bool described = contents.size() > kHeader && contents.compare(kHeader, 4, "##HD") == 0;
    EXPECT_FALSE(newest && described) << name << " has no file before it";
    newest = newest || !described;
    if (!described) continue;
    const bool finalized = contents.starts_with("MDF     ");
    EXPECT_EQ(Findings(contents, {finalized, !finalized, !whole}), "") << name;
    const MdfDecoder decoded(contents);
    for (const auto& group : decoded.Groups()) frames += group.Count;
  }
  return frames;
}

/// What is on the disk agrees with what was told; `failed`: something was refused. Makes room for the next run.
void Check(const Recording& recording, bool failed) {
  EXPECT_TRUE(recording.IsWhole() || failed);
  const bool whole = recording.IsWhole() && !(failed && recording.IsAbandoned());
  const unsigned long frames = CheckedFrames(whole);
  EXPECT_GE(frames, whole ? recording.TakenFrames() : recording.FlushedFrames());
  EXPECT_LE(frames, whole ? recording.TakenFrames() : recording.OfferedFrames());
  for (const char* name : kNames) std::filesystem::remove(name);
}

class MdfFileWithFailingFiles
    : public ::testing::TestWithParam<std::tuple<Scene, FailingFiles::How, FailingFiles::Duration>> {
 protected:
  test::TemporaryDirectory Directory;
};

INSTANTIATE_TEST_SUITE_P(Scenes, MdfFileWithFailingFiles,
                         testing::Combine(testing::ValuesIn(kScenes),
                                          testing::Values(FailingFiles::Refused, FailingFiles::Short),
                                          testing::Values(FailingFiles::Once, FailingFiles::FromThenOn)));

}  // namespace

TEST_P(MdfFileWithFailingFiles, TellsAndLeavesReadableFiles) {
  const auto [scene, how, duration] = GetParam();
  unsigned long number = 0;
  bool failed = true;
  while (failed && !HasFailure()) {
    ASSERT_LT(++number, 1000U);
    Recording recording;
    scene.Before(recording);
    std::string what;
    {
      const FailingFiles failing(number, how, duration);
      scene.While(recording);
      recording.Destroy();
      failed = failing.HasFailed();
      what = failing.What();
    }
    SCOPED_TRACE(what + ", call " + std::to_string(number));
    Check(recording, failed && how == FailingFiles::Refused);
  }
  EXPECT_GT(number, 10U);
  RecordProperty("runs", std::to_string(number - 1));
}

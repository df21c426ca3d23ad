// A series of measurement files that is recorded while something fails, and what its files may then hold.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "support/MdfDecoder.h"
#include "support/MdfEntries.h"
#include "support/StrictMdfReader.h"

namespace test::failing_series {

constexpr const char* kNames[] = {"trace.mf4", "trace_1.mf4", "trace_2.mf4"};
constexpr size_t kHeader = 64;                         // where the header block is, in bytes
constexpr unsigned int kEachFlush = 2049;              // KiB; a limit that every flush reaches
constexpr unsigned long kFirstTime = 2'000;            // ns
constexpr unsigned long kBlock = 0x200000 / (4 + 64);  // frames with 64 data bytes that fill a block

/// A series of measurement files, and what its calls said. Takes no memory but what the calls take.
class Recording {
 public:
  enum AfterFailure { GoOn, TryAgain };

  explicit Recording(AfterFailure afterFailure = GoOn, unsigned int workers = 0)
      : Again(afterFailure == TryAgain), Workers(workers) {}

  void Open() {
    Attempt([this] {
      File = std::make_unique<MdfFile>("trace", 1'000);
      return File->is_open() && File->good();
    });
    if (Workers != 0) Do([this] { return File->Workers_Set(Workers); });
  }
  void Add(unsigned int channel, unsigned char type = 'c') {
    Do([&] { return File->Bus_Add(channel, type); });
    Do([this] { return File->Write(); });
  }
  void Comment(const FileInfo& info) {
    Do([&] { return File->FileInformationHeader(info); });
  }
  void UseStandard() {
    Do([this] { return File->Convention_Set(BusConvention::kStandard); });
  }
  void Describe(const RecordingInfo& info) {
    Do([&] {
      File->Recording_Set(info);
      return true;
    });
  }
  /// Every further frame is the last one before a loss.
  void LoseAfterEach() { Frame.Put<unsigned char>(kFlags, QOR_TRACE_CAN_FD | QOR_TRACE_CAN_OVERRUN); }
  void Insert(unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
      Frame.Put(kTimestamp, kFirstTime + Taken);
      if (Do([this] { return Insert_Frame(); })) ++Taken;
      ++Offered;
      Do([this] { return File->is_open() || (Again && File->File_Open(kFirstTime + Taken)); });
    }
  }
  void Flush() {
    if (Do([this] { return File->File_FlushData(); })) Flushed = Taken;
  }
  void Mark() {
    Do([this] { return File->Event("mark", 2, 2, kFirstTime + Taken, 1, 'c'); });
  }
  /// Begins the next file.
  void Split() {
    Do([this] { return File->File_SetMaxSize(kEachFlush) != 0; });
    Flush();
    Insert(1);
  }
  void Close() {
    Do([this] { return File->File_Close(kFirstTime + Taken); });
  }
  void Destroy() { File.reset(); }
  /// Destroys an open file, which can't report a failure.
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
  static constexpr size_t kFlags = offsetof(Qor_Trace_Entry_t, Payload.Can.Flags);
  static constexpr size_t kTimestamp = offsetof(Qor_Trace_Entry_t, Timestamp);

  template <class Call>
  bool Attempt(const Call& call) {
    const auto once = [&] {
      try {
        return call();
      } catch (const std::bad_alloc&) {
        return false;
      }
    };
    const bool done = once() || (Again && once());
    Whole = Whole && done;
    return done;
  }
  /// A frame that filled the file is kept there, even if the next file couldn't be opened; that one is opened again then.
  bool Insert_Frame() {
    const bool wasOpen = File->is_open();
    return File->Data_Insert(Entry(Frame)) || (Again && wasOpen && !File->is_open());
  }
  /// Of a file that there is.
  template <class Call>
  bool Do(const Call& call) {
    return Attempt([&] { return File != nullptr && call(); });
  }

  bool Again;
  unsigned int Workers;
  Record Frame{*CanItem().Extended().Fd().Data(Bytes(64, 9)).Entry()};
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

inline void Nothing(Recording&) {}
inline void Begin(Recording& recording) {
  recording.Open();
  recording.Add(1);
}
inline void BeginWithRecords(Recording& recording) {
  Begin(recording);
  recording.Insert(2);
  recording.Flush();
}
inline void AddAndMark(Recording& recording) {
  recording.Mark();
  recording.Add(2);
  recording.Insert(1);
  recording.Flush();
}
inline void Collect(Recording& recording) {
  Begin(recording);
  recording.Insert(kBlock - 2);
}
inline void FillBlockAndFlush(Recording& recording) {
  recording.Insert(3);
  recording.Flush();
}
inline void Split(Recording& recording) {
  recording.Insert(1);
  recording.Split();
  recording.Insert(1);
  recording.Close();
}
inline void Close(Recording& recording) {
  recording.Insert(1);
  recording.Close();
}
inline void Abandon(Recording& recording) {
  recording.Insert(1);
  recording.Abandon();
}

inline const Scene kScenes[] = {
    {"Begin", Nothing, Begin},
    {"Mark", BeginWithRecords, AddAndMark},
    {"FullBlock", Collect, FillBlockAndFlush},
    {"Split", BeginWithRecords, Split},
    {"Close", BeginWithRecords, Close},
    {"Abandon", BeginWithRecords, Abandon},
};

inline void PrintTo(const Scene& scene, std::ostream* out) { *out << scene.Name; }

inline std::string Findings(const std::string& contents, StrictMdfReader::Options options) {
  StrictMdfReader reader(contents, options);
  reader.ReadFile();
  return reader.Report();
}

/// How many frames the files of the series hold; if `whole`, they are the frames one after the other. Each file is sound: a
/// finalized one whole, others up to what they announce. Only the newest may be without descriptions, or missing.
inline unsigned long CheckedFrames(bool whole) {
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
    for (const auto& group : decoded.Groups()) {
      for (uint64_t record = 0; whole && record < group.Count; ++record) {
        EXPECT_EQ(group.Raw(record, "t"), kFirstTime + frames + record) << name;
      }
      frames += group.Count;
    }
  }
  return frames;
}

/// What is on the disk agrees with what was reported; `failed`: something was refused. Makes room for the next run.
inline void Check(const Recording& recording, bool failed) {
  EXPECT_TRUE(recording.IsWhole() || failed);
  const bool whole = recording.IsWhole() && !(failed && recording.IsAbandoned());
  const unsigned long frames = CheckedFrames(whole);
  EXPECT_GE(frames, whole ? recording.TakenFrames() : recording.FlushedFrames());
  EXPECT_LE(frames, whole ? recording.TakenFrames() : recording.OfferedFrames());
  for (const char* name : kNames) std::filesystem::remove(name);
}

}  // namespace test::failing_series

#include "export/Qor_Trace_Export_ASC.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "export/AscHeaderClock.h"
#include "export/AscLines.h"
#include "internal/FileDescriptor.h"
#include "internal/Mutex.h"
#include "internal/Qor_Trace_Exception.h"
#include "internal/qor_internal.h"
#include "record/RecordFileReader.h"

std::time_t (*AscHeaderClock)() = [] { return std::time(nullptr); };

namespace {

constexpr unsigned int kGeneral = 255;

static_assert(asc::kLongestLineRoom <= ExportFile::kCapacity);

/// "Sun Nov 15 09:00:19 2026\n", local time; empty for a time that has no such text.
std::string DateText(std::time_t time) {
  static Mutex timeZone;  // tzset writes what ctime_r reads
  std::array<char, 64> text{};
  MutexLock lock(timeZone);
  tzset();  // as ctime does, which keeps its text where other threads write too
  return ctime_r(&time, text.data()) != nullptr ? text.data() : "";
}

/// A number of seconds in the format that the lines so far have left: "0" before the first one, then with all decimals.
std::string SecondsText(const AscLineState& state) {
  if (!state.Fixed) return "0";
  std::array<char, 64> text;
  return {text.data(), asc::Seconds(text.data(), state.Last, state.Decimals)};
}

}  // namespace

Qor_Trace_Export_ASC::Qor_Trace_Export_ASC(unsigned int flags, const char* fileName, unsigned long startTime,
                                           unsigned int maxSize)
    : BaseFileName(fileName), CurrentFileName(fileName), PreviousFileName(fileName), SizeLimit(maxSize) {
  State.Flags = flags;
  State.StartTime = startTime;
  StartNewFile();
}

Qor_Trace_Export_ASC::Qor_Trace_Export_ASC(unsigned int flags, const char* fileName, unsigned long startTime,
                                           unsigned int maxSize, Qor_Trace_AscTarget& target)
    : BaseFileName(fileName), CurrentFileName(fileName), PreviousFileName(fileName), SizeLimit(maxSize), File(&target) {
  State.Flags = flags;
  State.StartTime = startTime;
  StartNewFile();
}

Qor_Trace_Export_ASC::~Qor_Trace_Export_ASC() { EndFile(); }

void Qor_Trace_Export_ASC::StartNewFile() {
  File.Close();
  PreviousFileName = CurrentFileName;
  CurrentFileName = NextFileName();
  if (!File.Open(CurrentFileName.c_str())) {
    const int error = errno;
    // No closing quote, no blank: part of the interface.
    throw Qor_Trace_Exception(
        kGeneral, QOR_TRACE_STATUS_FILE_ERROR,
        "error opening file '" + CurrentFileName + Qor_Internal_GetWindowsErrorDescription(error));
  }
  WriteHeader();
}

/// Each call counts the series up; its first file has the plain name.
std::string Qor_Trace_Export_ASC::NextFileName() {
  if (!State.Has(QOR_TRACE_ASC_SPLIT)) return BaseFileName;
  const unsigned int number = FileCounter++;
  if (number == 0) return CurrentFileName;
  // The last dot, even one in a directory's name.
  const size_t dot = std::min(BaseFileName.rfind('.'), BaseFileName.size());
  return BaseFileName.substr(0, dot) + "_" + std::to_string(number) + BaseFileName.substr(dot);
}

void Qor_Trace_Export_ASC::WriteHeader() {
  const std::string date = DateText(AscHeaderClock());
  const bool decimal = State.Has(QOR_TRACE_ASC_DECIMAL);
  if (!decimal) State.Hex = true;
  std::string header = "date " + date;
  header += decimal ? "base dec  " : "base hex  ";
  header += State.Has(QOR_TRACE_ASC_RELATIVE) ? "timestamps relative\n" : "timestamps absolute\n";
  header += "internal events logged\n// version 8.1.0\n";
  if (State.Has(QOR_TRACE_ASC_SPLIT) && FileCounter >= 2) {
    header += "// " + SecondsText(State) + " previous log file: " + PreviousFileName + "\n";
  }
  header += "Begin Triggerblock " + date;
  File.Append(header);
}

unsigned int Qor_Trace_Export_ASC::Export(const std::string& swapName, unsigned int count,
                                          const Qor_Trace_EntryStore& entries) {
  const FileDescriptor swapFile = count != 0 ? FileDescriptor(swapName, O_RDONLY) : FileDescriptor();
  return Export(swapFile.Get(), count, entries);
}

unsigned int Qor_Trace_Export_ASC::Export(int swapFile, unsigned int count, const Qor_Trace_EntryStore& entries) {
  const unsigned int exported = ExportSwapped(swapFile, count);
  for (const Qor_Trace_Entry_t& entry : entries) {
    WriteEntry(entry);
    if (File.Failed()) break;
  }
  return count - exported;
}

/// Returns how many of the records the file held; `count` if it wasn't read to the end because a write failed.
unsigned int Qor_Trace_Export_ASC::ExportSwapped(int swapFile, unsigned int count) {
  if (count == 0) return 0;
  RecordFileReader::Memory memory;
  RecordFileReader records(swapFile, memory);
  std::vector<unsigned char> record;
  for (unsigned int exported = 0; exported < count; ++exported) {
    if (const Qor_Trace_Entry_t* const entry = records.Peek()) {
      WriteEntry(*entry);
      records.Pass(*entry);
    } else {  // the end, or a record that is longer than a block
      const unsigned int length = records.NextLength();
      if (length == 0) return exported;
      record.resize(length);
      if (!records.Read(record.data(), length)) return exported;
      WriteEntry(*reinterpret_cast<const Qor_Trace_Entry_t*>(record.data()));
    }
    if (File.Failed()) break;
  }
  return count;
}

void Qor_Trace_Export_ASC::WriteEntry(const Qor_Trace_Entry_t& entry) {
  if (entry.Length >= kEntryPayload) {
    if (IsBeforeStart(entry)) return;
    WriteLine(entry);
  }
  GoOnInNextFile();
}

/// With a start offset, entries before the start time are left out, unless their times are relative to each other.
bool Qor_Trace_Export_ASC::IsBeforeStart(const Qor_Trace_Entry_t& entry) const {
  return (State.Flags & (QOR_TRACE_ASC_START_OFFSET | QOR_TRACE_ASC_RELATIVE)) == QOR_TRACE_ASC_START_OFFSET &&
         entry.Timestamp < State.StartTime;
}

void Qor_Trace_Export_ASC::WriteLine(const Qor_Trace_Entry_t& entry) {
  switch (entry.BusType) {
    case BusType_Can:
      return Compose(entry, asc::CanLine);
    case BusType_Lin:
      return WriteEntry_Lin(entry);
    case BusType_FlexRay:
      return WriteEntry_FlexRay(entry);
    case BusType_Ethernet:
      return Compose(entry, asc::EthernetLine);
    default:
      return;
  }
}

void Qor_Trace_Export_ASC::WriteEntry_Lin(const Qor_Trace_Entry_t& entry) { Compose(entry, asc::LinLine); }

void Qor_Trace_Export_ASC::WriteEntry_FlexRay(const Qor_Trace_Entry_t& entry) { Compose(entry, asc::FlexRayLine); }

template <class Line>
void Qor_Trace_Export_ASC::Compose(const Qor_Trace_Entry_t& entry, Line line) {
  if (File.Failed() || entry.Length < kEntryPayload) return;
  File.Commit(line(State, entry, File.Room(asc::LineRoom(entry))));
}

/// In a series, ends a file that has grown beyond its limit and begins the next one.
void Qor_Trace_Export_ASC::GoOnInNextFile() {
  if (!State.Has(QOR_TRACE_ASC_SPLIT)) return;
  if (File.IsOpen() && File.Failed()) GiveUp();
  const auto position = File.Position();
  if (!position) LosePosition();
  if (*position <= SizeLimit) return;
  Flush();  // a line that can't be written is reported before its file's trailer is tried
  EndFile();
  if (File.Failed()) GiveUp();
  StartNewFile();
}

void Qor_Trace_Export_ASC::Flush() {
  if (!File.IsOpen() || File.Flush()) return;
  if (State.Has(QOR_TRACE_ASC_SPLIT)) GiveUp();
}

/// A series can't continue without the file that can't be written.
void Qor_Trace_Export_ASC::GiveUp() {
  File.Close();
  throw Qor_Trace_Exception(kGeneral, QOR_TRACE_STATUS_FILE_ERROR, FailureText());
}

/// A series can't continue without knowing how large its file is.
void Qor_Trace_Export_ASC::LosePosition() {
  File.Close();
  throw Qor_Trace_Exception(kGeneral, QOR_TRACE_STATUS_FILE_ERROR,
                            "coud not get current stream position");  // sic, part of the interface
}

void Qor_Trace_Export_ASC::EndFile() {
  if (!File.IsOpen()) return;
  File.Append("End Triggerblock\n");
  File.Close();
}

bool Qor_Trace_Export_ASC::Failed() const { return File.Failed(); }

std::string Qor_Trace_Export_ASC::FailureText() const {
  if (!Failed()) return "";
  return "Cannot write ASC file: path=\"" + File.Path() + "\", errno=" + std::to_string(File.Error()) + " (" +
         Qor_Internal_GetWindowsErrorDescription(File.Error()) + ")";
}

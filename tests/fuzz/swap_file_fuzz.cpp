// A swap file that somebody else has written: what the monitor reads from it, and what the ASC export makes of it. The records
// that the file holds whole, up to the first malformed one, must be returned as they are, and the loss of the others
// reported.
#include "AscDate.h"
#include "Input.h"
#include "export/AscReference.h"
#include "monitor/MonitorTest.h"

namespace {

using test::Answer;
using test::Bytes;
using test::Items;
using test::ReadAt;

constexpr unsigned int kSwapped = 40;
constexpr unsigned int kInMemory = 3;
constexpr unsigned int kTooSmall = QOR_TRACE_STATUS_BUFFER_TOO_SMALL;
constexpr unsigned int kFileError = QOR_TRACE_STATUS_FILE_ERROR;

/// A monitor with entries in its swap file and in memory.
class Swapped {
 public:
  Swapped() {
    test::Add(Monitor, Can);
    Monitor.Start(0);
    test::SetNumber(Monitor, QOR_TRACE_PROPERTY_MAX_ENTRIES, kSwapped);
    Deliver(test::FramesFrom(1, kSwapped));
    Deliver(test::FramesFrom(1000, kInMemory));
    Monitor.Stop();
    Memory = test::RecordsOf(1, test::FramesFrom(1000, kInMemory));
    fuzz::Require(test::EntryCount(Monitor) == kSwapped + kInMemory, "all entries are there");
    const std::string live = test::Text(Monitor, QOR_TRACE_PROPERTY_ASC_FILE_NAME);
    SwapName = live.substr(0, live.size() - 4) + ".bin";
  }

  Items Memory;
  std::string SwapName;
  Qor_Trace_Monitor Monitor;

 private:
  void Deliver(const Items& items) {
    Can.NextItems(items);
    fuzz::Require(Can.WaitUntilDelivered(), "a poll is delivered");
  }
  test::ScriptedInterface Can;
};

/// The whole records of a file, at most as many as were swapped.
Items WholeRecords(const Bytes& file) {
  Items records;
  size_t place = 0;
  while (records.size() < kSwapped && place + 4 <= file.size()) {
    const size_t length = ReadAt<unsigned int>(file, place);
    if (length < 28 || length > file.size() - place) break;
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(place);
    records.emplace_back(first, first + static_cast<std::ptrdiff_t>(length));
    place += length;
  }
  return records;
}

/// What a retrieval must return: where the file ends early, it ends there. A start beyond the swapped entries counts from the
/// first one in memory.
Answer Expected(const Items& file, const Items& memory, unsigned int start, unsigned int wanted,
                unsigned int capacity) {
  Answer answer{{0, 0, 0, Bytes(capacity, test::kUntouched)}};
  if (start > kSwapped + kInMemory) return answer;
  const unsigned int swapped = start < kSwapped ? kSwapped - start : 0;
  const unsigned int first = start <= kSwapped ? 0 : start;
  Items chosen;
  for (size_t i = start; i < file.size() && (wanted == 0 || chosen.size() < wanted); ++i) chosen.push_back(file[i]);
  const bool cut = swapped > 0 && file.size() < kSwapped;
  for (unsigned int i = first; i < kInMemory && !cut; ++i) {
    const bool room = wanted == 0 || (chosen.size() < wanted && i - first < wanted - swapped);
    if (room) chosen.push_back(memory[i]);
  }
  for (Bytes& record : chosen) {
    const size_t end = (answer.Size + record.size() + 7) / 8 * 8;
    if (end > capacity) return answer.Code = kTooSmall, answer;
    std::fill_n(record.begin() + 16, 8, static_cast<unsigned char>(0));
    std::copy(record.begin(), record.end(), answer.Buffer.begin() + answer.Size);
    answer.Size = static_cast<unsigned int>(end);
    ++answer.Count;
  }
  return answer;
}

void CheckRetrieval(Swapped& swapped, const Items& file, fuzz::Input& input) {
  const unsigned int start = input.Below(kSwapped + kInMemory + 3);
  const unsigned int wanted = input.Below(kSwapped + kInMemory + 3);
  const unsigned int capacity = input.OneIn(2) ? 200'000 : input.Take<std::uint16_t>();
  const Answer is = test::GetItems(swapped.Monitor, start, wanted, capacity);
  const Answer shouldBe = Expected(file, swapped.Memory, start, wanted, capacity);
  fuzz::Require(is.Code == shouldBe.Code && is.Count == shouldBe.Count && is.Size == shouldBe.Size,
                "a retrieval tells what it gave");
  // The room needed for a record is known before it is read, so the bytes past the last one stay untouched.
  fuzz::Require(std::equal(is.Buffer.begin(), is.Buffer.begin() + is.Size, shouldBe.Buffer.begin()),
                "a retrieval returns the file's records, then, if they are all there, the memory's");
}

void CheckExport(Swapped& swapped, const Items& file, const char* date, fuzz::Input& input) {
  const unsigned int flags = input.Below(16);
  const unsigned long start = input.OneIn(2) ? input.Take<unsigned long>() : 0;
  const unsigned int limit = 512 + input.Below(4096);
  const unsigned int code = test::CodeOf([&] { swapped.Monitor.ExportToASC(flags, "out.asc", start, limit); });
  fuzz::Require(code == (file.size() == kSwapped ? 0 : kFileError), "an export that is not complete says so");
  test::AscReference reference(flags, "out.asc", start, limit, date);
  for (const Items* records : {&file, &std::as_const(swapped.Memory)}) {
    for (const Bytes& record : *records) reference.Write(test::Record(record).Get());
  }
  for (const auto& [name, text] : reference.Finish()) {
    fuzz::Require(test::FileText(name) == text, "an export holds the lines of the records");
    std::filesystem::remove(name);
  }
  fuzz::Require(!std::filesystem::exists(swapped.SwapName + ".bak"), "an export takes its copy away");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::TemporaryDirectory directory;
  static const char* const date = fuzz::FixedAscDate();
  static auto& swapped = *new Swapped;  // never destroyed: it would outlive the simulator
  fuzz::Input settings(data, size);
  fuzz::Input bytes(data + std::min<std::size_t>(size, 16), size - std::min<std::size_t>(size, 16));
  const Bytes file = bytes.TakeBytes(bytes.Left());
  test::WriteFile(swapped.SwapName, file);
  const Items records = WholeRecords(file);
  CheckRetrieval(swapped, records, settings);
  CheckExport(swapped, records, date, settings);
  test::TakeReports();
  return 0;
}

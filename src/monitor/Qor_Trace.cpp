#include "monitor/Qor_Trace.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <new>

#include "channel/Qor_Trace_Channel_Can.h"
#include "channel/Qor_Trace_Channel_Ethernet.h"
#include "channel/Qor_Trace_Channel_FlexRay.h"
#include "channel/Qor_Trace_Channel_Lin.h"
#include "internal/Threads.h"
#include "qor_api.h"

namespace {

constexpr unsigned int kLastChannelNumber = 0xFFFFFFFF;
constexpr unsigned long kNsPerMs = 1000000;
constexpr std::chrono::nanoseconds kMostLate = std::chrono::milliseconds(200);  // for passes of the sort thread
// On a machine with too much to do, sleeps of tens of ms take twice as long, and short ones don't.
constexpr std::chrono::nanoseconds kLateSleep = std::chrono::milliseconds(1);
constexpr unsigned long kEndOfTime = std::numeric_limits<unsigned long>::max();  // ns; a valid time as well

Mutex MutexHandleCounter;
unsigned int HandleCounter GUARDED_BY(MutexHandleCounter) = 0;

unsigned int NextHandle() {
  MutexLock lock(MutexHandleCounter);
  return ++HandleCounter;
}

std::string StemOfNow() {
  std::array<char, 40> text{};
  const time_t now = time(nullptr);
  struct tm local {};
  if (localtime_r(&now, &local) != nullptr) {
    strftime(text.data(), text.size(), "Qor_Trace_%y-%m-%d-%H-%M-%S", &local);
  }
  return text.data();
}

}  // namespace

Qor_Trace_Monitor::Qor_Trace_Monitor()
    : FileNameStem(StemOfNow()),
      Swap(FileNameStem + ".bin"),
      AscFileName(FileNameStem + ".asc"),
      MdfFileName(FileNameStem + ".mf4"),
      Handle(NextHandle()) {}

Qor_Trace_Monitor::~Qor_Trace_Monitor() {
  MutexLock lock(MutexChannels);
  try {
    if (Running) StopLocked();
  } catch (const Qor_Trace_Exception&) {
  } catch (const std::bad_alloc&) {
  }
  DestroyChannels();
  std::optional<Qor_Trace_Exception> ignored;
  WaitForSwap(ignored);
  try {
    FlushMonitorBuffer();
  } catch (const Qor_Trace_Exception&) {
  } catch (const std::bad_alloc&) {
  }
  FlushListMonitorBuffer();
  MutexLock swapLock(MutexSwapFile);
  Swap.Remove();
}

// ---- Registry

void Qor_Trace_Monitor::AddChannel(unsigned int portHandle, unsigned int channelId, unsigned int* channelNumber) {
  MutexLock lock(MutexChannels);
  const unsigned int number = ChooseChannelNumber(portHandle, channelId);
  try {
    PortsInUse::Claim port(Ports, portHandle);  // before the interface is opened, which may take long
    auto channel = NewChannel(portHandle, number);
    channel->ConnectReceiveCallback(
        [this](EntryBatch& entries, LatestByKey& listEntries) { ReceiveHandler(entries, listEntries); });
    const unsigned int most = channel->GetMaxNumberOfItems();
    Channels.emplace(number, ChannelOnPort{std::move(port), std::move(channel)});
    MutexLock storeLock(MutexStore);
    if (MaxEntriesInMemory == 0 || MaxEntriesInMemory > most) MaxEntriesInMemory = most;
  } catch (const std::bad_alloc&) {
    throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                              "could not allocate monitor channel");
  }
  *channelNumber = number;
}

/// The number wanted, or the lowest free one.
unsigned int Qor_Trace_Monitor::ChooseChannelNumber(unsigned int portHandle, unsigned int channelId) const {
  if (channelId != 0) {
    if (Channels.count(channelId) == 0) return channelId;
    throw Qor_Trace_Exception(portHandle, QOR_TRACE_STATUS_INVALID_VALUE,
                              "channel id " + std::to_string(channelId) + " already used");
  }
  unsigned int number = 1;
  for (auto taken = Channels.begin(); taken != Channels.end() && taken->first == number; ++taken) ++number;
  if (number == kLastChannelNumber) {
    throw Qor_Trace_Exception(portHandle, QOR_TRACE_STATUS_NO_CHANNEL,
                              "could not set channel number - too many channels");
  }
  return number;
}

std::unique_ptr<Qor_Trace_Channel> Qor_Trace_Monitor::NewChannel(unsigned int portHandle, unsigned int number) {
  switch (Qor_GetInterfaceType(portHandle)) {
    case QOR_INTERFACE_CAN:
      return std::make_unique<Qor_Trace_Channel_Can>(portHandle, number);
    case QOR_INTERFACE_LIN:
      return std::make_unique<Qor_Trace_Channel_Lin>(portHandle, number);
    case QOR_INTERFACE_FLEXRAY:
      return std::make_unique<Qor_Trace_Channel_FlexRay>(portHandle, number);
    case QOR_INTERFACE_ETHERNET:
      return std::make_unique<Qor_Trace_Channel_Ethernet>(portHandle, number);
    default:
      throw Qor_Trace_Exception(portHandle, QOR_TRACE_STATUS_UNSUPPORTED_INTERFACE, "");
  }
}

void Qor_Trace_Monitor::RemoveChannel(unsigned int channelNumber) {
  MutexLock lock(MutexChannels);
  Channels.erase(channelNumber);
}

void Qor_Trace_Monitor::ClearChannelList() {
  MutexLock lock(MutexChannels);
  DestroyChannels();
}

/// In ascending order of their numbers.
void Qor_Trace_Monitor::DestroyChannels() {
  while (!Channels.empty()) Channels.erase(Channels.begin());
}

bool Qor_Trace_Monitor::IsPortHandleUsed(unsigned int portHandle) { return Ports.Contains(portHandle); }

// ---- Run

void Qor_Trace_Monitor::Start(unsigned int mode) {
  if (Running) return;
  MutexLock lock(MutexChannels);
  if (Running) return;
  if (Channels.empty()) {
    throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_NO_CHANNEL, "no bus interfaces selected");
  }
  if (mode & QOR_TRACE_START_ASC_RECORDING) StartAscRecording();
  {
    MutexLock storeLock(MutexStore);
    DiscardOldest = (mode & QOR_TRACE_START_DISCARD_OLDEST) != 0;
  }
  Running = true;
  Sorting = Channels.size() > 1;
  if (Sorting) SortThread = StartThread([this] { SortThreadFunction(); });
  for (const auto& [number, registered] : Channels) registered.Channel->Start();
}

void Qor_Trace_Monitor::StartAscRecording() {
  std::string name;
  {
    MutexLock lock(MutexSettings);
    name = AscFileName;
  }
  auto exporter = std::make_unique<Qor_Trace_Export_ASC>(QOR_TRACE_ASC_SPLIT, name.c_str(), 0, AscMaxFileSize);
  MutexLock lock(MutexStore);
  AscExporter = std::move(exporter);
  AscRecording = true;
}

void Qor_Trace_Monitor::Stop() {
  MutexLock lock(MutexChannels);
  StopLocked();
}

void Qor_Trace_Monitor::StopLocked() {
  auto error = StopChannels();
  Running = false;
  if (SortThread.joinable()) SortThread.join();
  StoreLeftOvers(error);
  WaitForSwap(error);
  CloseAscRecording(error);
  if (error) throw Qor_Trace_Exception(*error);  // a copy: it was reported when it was built
}

/// Stops every channel, whatever the others did. Returns the last error.
std::optional<Qor_Trace_Exception> Qor_Trace_Monitor::StopChannels() {
  std::optional<Qor_Trace_Exception> last;
  for (const auto& [number, registered] : Channels) {
    try {
      registered.Channel->Stop();
    } catch (const Qor_Trace_Exception& error) {
      last = error;
    }
  }
  return last;
}

/// Stores what the sort thread has left in the queue. An error replaces that of a channel.
void Qor_Trace_Monitor::StoreLeftOvers(std::optional<Qor_Trace_Exception>& error) {
  if (!OldestQueued()) return;
  try {
    StoreQueued(kEndOfTime);
  } catch (const Qor_Trace_Exception& failure) {
    error = failure;
  }
}

/// Ends the live ASC file. If its end can't be written, that is the error; a file that failed earlier was given up and
/// reported then.
void Qor_Trace_Monitor::CloseAscRecording(std::optional<Qor_Trace_Exception>& error) {
  MutexLock lock(MutexStore);
  const bool recorded = AscRecording;
  const auto exporter = std::move(AscExporter);
  AscRecording = false;
  Reserved = false;
  DiscardOldest = false;
  Unrecorded = 0;
  if (!exporter) return;
  exporter->EndFile();
  if (recorded && exporter->Failed()) {
    error = Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_FILE_ERROR, exporter->FailureText());
  }
}

// The list comes first: it completes the relative timestamps before the entries are copied.
void Qor_Trace_Monitor::ReceiveHandler(EntryBatch& entries, const LatestByKey& listEntries) {
  const bool listed = UpdateList(entries, listEntries);
  if (!Sorting) {
    StoreBatch(entries);
  } else if (!entries.empty()) {
    Enqueue(entries);
  }
  if (!listed) throw std::bad_alloc();
}

/// Returns false if memory ran out.
bool Qor_Trace_Monitor::UpdateList(EntryBatch& entries, const LatestByKey& listEntries) try {
  if (listEntries.empty()) return true;
  MutexLock lock(MutexList);
  List.Update(entries, listEntries);
  ListCount = static_cast<unsigned int>(List.size());
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void Qor_Trace_Monitor::Enqueue(const EntryBatch& entries) {
  SortQueue::Runs run;
  run.emplace_back(entries);
  MutexLock lock(MutexSortQueue);
  Arrived.splice(Arrived.end(), run);
}

void Qor_Trace_Monitor::StoreBatch(const EntryBatch& entries) {
  Qor_Trace_EntryStore dropped;  // freed after the lock
  MutexLock lock(MutexStore);
  dropped = StoreBy([&]() REQUIRES(MutexStore) { entries.AppendTo(Store); });
}

template <class Append>
Qor_Trace_EntryStore Qor_Trace_Monitor::StoreBy(Append append) {
  const size_t before = Store.size();
  bool exhausted = false;
  try {
    append();
  } catch (const std::bad_alloc&) {
    exhausted = true;
  }
  PublishEntryCount();
  Unrecorded += Store.size() - before;
  const auto failure = RecordLive();
  if (exhausted) throw std::bad_alloc();
  auto dropped = CheckMemory();
  if (failure) throw Qor_Trace_Exception(*failure);  // a copy: it was reported when it was built
  return dropped;
}

/// Brings the live ASC file up to date, if there is one. Returns the error if it had to be given up.
std::optional<Qor_Trace_Exception> Qor_Trace_Monitor::RecordLive() {
  if (AscRecording) {
    try {
      for (auto entry = Store.From(Store.size() - Unrecorded); entry != Store.end(); ++entry) {
        --Unrecorded;
        AscExporter->WriteEntry(*entry);
      }
      AscExporter->Flush();
    } catch (const Qor_Trace_Exception& error) {
      AscRecording = false;
      return error;
    }
  }
  Unrecorded = 0;
  return std::nullopt;
}

// ---- Sort thread

// Without the short sleeps the horizon would fall further and further behind, and the queue would grow.
void Qor_Trace_Monitor::SortThreadFunction() {
  using Clock = std::chrono::steady_clock;
  const unsigned long step = SortInterval * kNsPerMs;
  std::optional<unsigned long> horizon;  // set by the first entry; any value is a time, even 0
  Clock::time_point due;                 // of the last pass, had none come late
  bool late = false;
  while (Running) {
    SleepFor(late ? kLateSleep : std::chrono::milliseconds(SortInterval));
    if (!horizon) {
      horizon = OldestQueued();
      due = Clock::now();
    } else {
      *horizon = std::min(*horizon, kEndOfTime - step) + step;
      StoreQueued(*horizon);
      due += std::chrono::milliseconds(SortInterval);
      late = Clock::now() - due > kMostLate && IsFarBehind(*horizon);
    }
  }
}

/// Are entries queued that are much newer than the horizon? By the clock alone, the horizon would overtake the entries of
/// interfaces whose own clocks are slow.
bool Qor_Trace_Monitor::IsFarBehind(unsigned long horizon) {
  MutexLock lock(MutexStore);
  if (Queue.empty()) return false;
  const unsigned long newest = Queue.NewestTime();
  return newest > horizon && newest - horizon > static_cast<unsigned long>(kMostLate.count());
}

std::optional<unsigned long> Qor_Trace_Monitor::OldestQueued() {
  std::optional<unsigned long> oldest;
  MutexLock lock(MutexStore);
  MutexLock queueLock(MutexSortQueue);
  if (!Queue.empty()) oldest = Queue.OldestTime();
  for (const SortedRun& run : Arrived) oldest = std::min(oldest.value_or(kEndOfTime), run.Head().Timestamp);
  return oldest;
}

void Qor_Trace_Monitor::StoreQueued(unsigned long horizon) try {
  Qor_Trace_EntryStore dropped;  // freed after the lock
  MutexLock lock(MutexStore);
  {
    MutexLock queueLock(MutexSortQueue);
    Queue.Add(Arrived);
  }
  dropped = StoreBy([&]() REQUIRES(MutexStore) { Queue.MoveTo(Store, horizon); });
} catch (const std::bad_alloc&) {
  throw Qor_Trace_Exception(QOR_ERROR_LEVEL_GENERAL, QOR_TRACE_STATUS_OUT_OF_MEMORY,
                            "could not store received entries");
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the class interface has it by value
void Qor_Trace_Monitor::StoreEntry(std::shared_ptr<Qor_Trace_Entry> entry) {
  Store.push_back(entry);
  PublishEntryCount();
}

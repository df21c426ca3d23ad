#include "recording/Replay.h"

#include <fmt/format.h>

#include <chrono>
#include <functional>
#include <thread>

#include "recording/Reports.h"
#include "system/Failure.h"

namespace client {

namespace {

constexpr std::size_t LongestRun = 16u << 20;  // bytes of records
// Any number that is unlikely in a recording, which counts from 1.
constexpr unsigned int FirstChannelNumber = 0xFFFFFFFE;
constexpr unsigned int DrainBuffer = 4u << 20;

Port ScriptedPort(unsigned char busType) {
  const std::string text = fmt::format("script?type={}", InterfaceTypeOf(busType));
  return Port({text, text});
}

/// An Ethernet item of time 0 that is no frame.
std::vector<unsigned char> FirstItem() {
  std::vector<unsigned char> item(16);
  item[0] = 16;
  item[2] = QOR_TRACE_ETHERNET_CUSTOM;
  return item;
}

/// Waits for something that the library's threads bring about, unless they do nothing for a long time.
/// @param progress  changes as long as they get on
void WaitFor(const std::function<bool()>& reached, const std::function<unsigned long()>& progress) {
  constexpr std::chrono::seconds patience{60};
  auto last = progress();
  auto since = std::chrono::steady_clock::now();
  while (!reached()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto now = std::chrono::steady_clock::now();
    if (const auto state = progress(); state != last) {
      last = state;
      since = now;
    }
    if (now - since > patience) throw Failure("The records can't be played again: the library takes no more of them");
  }
}

void Queue(const Port& port, const PollResponse& response) {
  const auto length = static_cast<unsigned int>(response.Bytes().size());
  if (Qor_Sim_Script_Response(port.Handle(), response.Bytes().data(), length, length) != 0)
    throw Failure(fmt::format("The records can't be played again: {}", Qor_Sim_ErrorText()));
}

void WaitUntilPolled(const Port& port) {
  const auto pending = [&] { return Qor_Sim_Script_Pending(port.Handle()); };
  WaitFor([&] { return pending() == 0; }, pending);
}

/// A channel merges what it polled before it polls again. The first poll counted here may be the one that took the last
/// response.
void WaitUntilMerged(const Port& port) {
  WaitUntilPolled(port);
  const auto polls = [&] { return Qor_Sim_CommandCount(port.Handle()); };
  const unsigned int before = polls();
  WaitFor([&] { return polls() - before >= 2; }, polls);
}

}  // namespace

Replay::Replay(const std::string& swapParent, unsigned int memoryLimit)
    : Swap(swapParent),
      First(ScriptedPort(BusType_Ethernet)),
      Drained(TraceMonitor.Handle(), DrainBuffer),
      FirstChannel(TraceMonitor.AddChannel(First, FirstChannelNumber)) {
  TraceMonitor.SetMemoryLimit(memoryLimit);
}

bool Replay::Take(const unsigned char* record, unsigned int length) {
  const EntryHeader header = ReadHeader(record);
  if (!MakeItem(record, length, Shift, Item) || !PollResponse::FitsAlone(Item) || ChannelOf(header) == nullptr) {
    ++OmittedRecords;
    return true;
  }
  if (!Run.empty() && (header.Timestamp < Latest.Timestamp || Run.size() + length > LongestRun)) PlayRun();
  const unsigned int wave = WaveOf(header);
  if (wave == Waves.size()) Waves.emplace_back();
  AddToWave(wave, header);
  Run.insert(Run.end(), record, record + length);
  Latest = header;
  LatestWave = wave;
  return true;
}

/// Null for a number that can't be replayed: 0, or one that has another bus already.
Replay::Channel* Replay::ChannelOf(const EntryHeader& header) {
  if (header.ChannelId == 0 || header.ChannelId == FirstChannel) return nullptr;
  auto place = Channels.find(header.ChannelId);
  if (place == Channels.end()) {
    place = Channels.emplace(header.ChannelId, Channel{ScriptedPort(header.BusType), header.BusType}).first;
    TraceMonitor.AddChannel(place->second.Interface, header.ChannelId);
  }
  return place->second.BusType == header.BusType ? &place->second : nullptr;
}

/// A record goes with the first wave, unless one of the same time came before it on another channel.
unsigned int Replay::WaveOf(const EntryHeader& header) const {
  if (Run.empty() || header.Timestamp != Latest.Timestamp) return 0;
  return LatestWave + (header.ChannelId == Latest.ChannelId ? 0 : 1);
}

/// Adds the item to what its channel brings with the wave.
void Replay::AddToWave(unsigned int wave, const EntryHeader& header) {
  auto& responses = Waves[wave][header.ChannelId];
  if (!responses.empty() && responses.back().Add(Item)) return;
  responses.emplace_back(header.BusType);
  responses.back().Add(Item);
}

void Replay::Finish() { PlayRun(); }

void Replay::PlayRun() {
  if (Run.empty()) return;
  PollResponse first(BusType_Ethernet);
  first.Add(FirstItem());
  Queue(First, first);
  TraceMonitor.Start(0);
  try {
    WaitUntilMerged(First);
    PlayWaves();
  } catch (...) {
    Qor_Trace_Stop(TraceMonitor.Handle());
    throw;
  }
  TraceMonitor.Stop();
  CheckRun();
  Run.clear();
  Waves.clear();
}

void Replay::PlayWaves() {
  for (std::size_t wave = 0; wave < Waves.size(); ++wave) {
    for (const auto& [channel, responses] : Waves[wave])
      for (const PollResponse& response : responses) Queue(Channels.at(channel).Interface, response);
    for (const auto& [channel, responses] : Waves[wave]) {
      const Port& port = Channels.at(channel).Interface;
      // The stop delivers what was polled; only a further wave must not overtake it.
      wave + 1 < Waves.size() ? WaitUntilMerged(port) : WaitUntilPolled(port);
    }
  }
}

/// Reads what the run became and compares it.
void Replay::CheckRun() {
  std::size_t offset = 0;
  bool same = true;
  const auto compare = [&](const unsigned char* record, unsigned int length) {
    if (ReadHeader(record).ChannelId == FirstChannel) return true;
    const unsigned char* original = Run.data() + offset;
    same = offset < Run.size() && IsReplayOf(original, record, ReadHeader(original).Length, Shift);
    if (!same) return false;
    offset += length;
    ++PlayedRecords;
    return true;
  };
  const std::size_t mark = Reports::Mark();
  const unsigned int status = Drained.PullAll(compare);
  if (status != QOR_TRACE_STATUS_OK) Reports::Check(status, "Cannot read the replayed records", mark);
  if (!same || offset != Run.size())
    throw Failure(fmt::format("The replay went wrong at record {}: the library gave something else than it got",
                              PlayedRecords + 1));
}

}  // namespace client

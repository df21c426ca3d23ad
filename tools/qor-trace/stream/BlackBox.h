// Keeps the past of a stream, and hands it on when something happens.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "stream/RecordSink.h"
#include "stream/Ring.h"
#include "stream/SilentTime.h"

namespace client {

/// Something that has happened.
struct IncidentTrigger {
  unsigned long Time = 0;  // ns
  std::string By = {};     // the condition, or who has pressed a button
};

/// The time around something that has happened, or around several things whose times overlap.
struct Incident {
  static constexpr size_t kMostTriggers = 100;

  unsigned long Number = 1;
  std::vector<IncidentTrigger> Triggers = {};  // the first ones
  unsigned long TriggerCount = 0;
  unsigned long From = 0;     // ns: what is older isn't in it
  unsigned long To = 0;       // ns: nor is what is newer
  bool PastIsShort = false;   // the ring's size was full: its past begins later
  unsigned long Entries = 0;  // so far
  unsigned long FirstTime = 0;
  unsigned long LastTime = 0;
};

/// Where incidents go: one after the other.
class IncidentSink : public RecordSink {
 public:
  virtual void Begin(const Incident& incident) = 0;
  /// The records between these two are its own.
  virtual void End(const Incident& incident) = 0;
};

struct BlackBoxPlan {
  RingPlan Past = {};
  unsigned long Post = 0;  // ns
  LiveTiming Silent = {};
};

/// A ring of records, which become an incident when something happens, with those that come up to some time after it. An incident
/// has each record of its times once, in the order in which they came. It stays open until nothing can overlap with it any
/// more, so what happens meanwhile becomes part of it, and no record is ever in two.
///
/// Threads: one. Memory: the ring.
class BlackBox : public RecordSink {
 public:
  /// @param into         outlives this
  /// @param firstNumber  of the first incident
  /// Failure: Failure when there is no room for the ring.
  BlackBox(IncidentSink& into, const BlackBoxPlan& plan, unsigned long firstNumber = 1,
           SilentTime::Clock clock = std::chrono::steady_clock::now)
      : Into(into), Plan(plan), Past(plan.Past), Passing(plan.Silent, std::move(clock)), NextNumber(firstNumber) {}

  /// Something has happened: before the next record is taken.
  /// @param time  ns
  void Fire(unsigned long time, const std::string& by);
  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;
  /// The open incident ends with what it has.
  void EndIncident();
  /// Nothing comes any more: as EndIncident, and what is left of the past is in no incident.
  void Finish();

  /// Whether there is something that an incident could begin with.
  [[nodiscard]] bool HasPast() const { return !Past.Empty(); }
  /// Records that are in no incident.
  [[nodiscard]] unsigned long LeftOut() const { return Dropped; }

 private:
  void BeginAt(unsigned long from);
  void Note(unsigned long time, const std::string& by);
  void HandOverPast();
  void HandOn(const RecordView& record);
  void PassTo(unsigned long time);
  void KeepForLater(const RecordView& record);
  void Close();

  IncidentSink& Into;
  const BlackBoxPlan Plan;
  Ring Past;
  SilentTime Passing;
  unsigned long NextNumber;
  std::optional<Incident> Open;
  unsigned long Dropped = 0;
  bool GoesOn = true;  // nobody has declined
};

}  // namespace client

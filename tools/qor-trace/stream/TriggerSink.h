// Looks out for what triggers something, on the way of the records.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "stream/RecordSink.h"
#include "stream/SilentTime.h"
#include "stream/StreamCondition.h"

namespace client {

/// A button: a signal to the process, or a key.
///
/// Threads: any number may fire. What is pressed several times between two records counts once.
class ManualTrigger {
 public:
  /// @param by  who does: a text that outlives the program's threads
  void Fire(const char* by) { Pressed.store(by, std::memory_order_release); }
  /// Null if nobody has since the last call.
  [[nodiscard]] const char* Take() {
    if (Pressed.load(std::memory_order_relaxed) == nullptr) return nullptr;  // hardly ever: a record costs no exchange
    return Pressed.exchange(nullptr, std::memory_order_acquire);
  }

 private:
  std::atomic<const char*> Pressed{nullptr};
};

/// A condition as it was typed.
struct Trigger {
  explicit Trigger(std::string typed) : Text(std::move(typed)), When(Text) {}

  std::string Text;
  StreamCondition When;
};

/// Calls somebody when a condition happens or a button is pressed, before the record with which it does is handed on.
class TriggerSink : public RecordSink {
 public:
  /// @param time  ns
  using Call = std::function<void(unsigned long time, const std::string& by)>;

  /// @param next    outlives this
  /// @param button  likewise; null: none
  TriggerSink(RecordSink& next, std::vector<Trigger> triggers, const LiveTiming& silence,
              ManualTrigger* button = nullptr, SilentTime::Clock clock = std::chrono::steady_clock::now)
      : Next(next), Triggers(std::move(triggers)), Button(button), Passing(silence, std::move(clock)) {}

  void CallAt(Call call) { Fire = std::move(call); }

  [[nodiscard]] bool Take(const RecordView& record) override;
  void Pause() override;
  /// All that are known by now; before the next record.
  void NoteLosses(const std::vector<Loss>& losses);

 private:
  void PassTo(unsigned long time);
  void HeedButton();

  RecordSink& Next;
  std::vector<Trigger> Triggers;
  ManualTrigger* const Button;
  SilentTime Passing;
  Call Fire = [](unsigned long, const std::string&) {};
  std::optional<unsigned long> Latest;  // ns
};

}  // namespace client

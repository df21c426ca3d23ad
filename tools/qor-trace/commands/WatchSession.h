// A stream that somebody watches: what is counted of it, what is shown, and what the keys do.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/OutputArguments.h"
#include "commands/SideRecording.h"
#include "stream/Description.h"
#include "stream/RecordSink.h"
#include "stream/ReplayPace.h"
#include "system/Pace.h"
#include "system/Screen.h"
#include "system/Signals.h"
#include "views/LiveRates.h"
#include "views/LiveTable.h"
#include "views/Summary.h"
#include "views/TraceClock.h"
#include "views/WatchControl.h"
#include "views/WatchPage.h"

namespace client {

struct WatchOptions {
  OutputArguments Output;     // of recordings
  OutputArguments BoxOutput;  // of a black box's incidents
  std::optional<SideBox> Box;
  BitRates Rates;                // for bus loads
  std::filesystem::path Folder;  // that names are meant in
  std::string Title;             // what is watched
  std::string Filter;            // at first, as typed; a sound expression
  double Speed = 1;              // trace seconds a second, 0: as fast as it comes
};

/// Counts what comes, shows it some times a second and heeds the keys, all on the thread that hands the records over; the
/// screen's thread does what may have to wait.
///
/// When the terminal goes away, the session ends, unless it records, or keeps a black box: then it goes on without a view until the
/// recording or the stream is ended by something else.
class WatchSession {
 public:
  /// @param describe  what is known of the stream by now
  /// @param pace      of a file; null where the stream can't be halted
  /// Failure: as Screen; FilterError.
  WatchSession(WatchOptions options, Signals& signals, std::function<Description()> describe, ReplayPace* pace);
  ~WatchSession();
  WatchSession(const WatchSession&) = delete;
  WatchSession& operator=(const WatchSession&) = delete;

  /// Records as they arrive. They are handed on to `next`, on whose other side Kept() takes them.
  void See(const RecordView& record);
  /// The same records in order.
  void Keep(const RecordView& record);
  /// None is there right now.
  void Rest();
  /// To be called many times a second, whether records come or not.
  void Attend();

  /// Outputs are told what is known by now.
  void TellKnown();
  /// The stream has ended: the recording is completed.
  void EndStream();
  /// Shows what there is until somebody has seen enough.
  void Linger();
  /// Completes what is still being recorded, and gives the terminal back.
  void Close();

  /// Of everything that was seen.
  [[nodiscard]] Summary& Counts() { return Counted; }
  /// The worst of the recordings'.
  [[nodiscard]] int ExitCode() const { return Code; }

 private:
  /// What stood still when the view was paused.
  struct Still {
    LiveTable Table;
    std::vector<LiveChannel> Channels;
    unsigned long Now;
    WatchFacts Facts;
  };

  void Heed(const WatchRequest& request);
  void TogglePause();
  void Hurry(double by);
  void TakeFilter(const std::string& text);
  void ToggleFrozen();
  void ToggleRecording();
  void TakeName(const std::string& typed);
  void Begin(const std::vector<std::string>& names);
  void BeginAsProposed();
  void DropWaiting();
  void StopRecording();
  void CompleteRecording();
  void Hold(const RecordView& record);
  void LookAfterRecording();
  void OpenBox();
  void PressTrigger();
  void TriggerAtEnd();
  void FireBox();
  void NoteIncidents();
  void CloseBox();
  [[nodiscard]] BoxFacts FactsOfBox() const;
  void NoteGone();
  void NoteSaid();
  void ShowPicture();
  [[nodiscard]] WatchFacts Facts() const;
  [[nodiscard]] unsigned long Now();
  [[nodiscard]] bool IsPaused() const;
  void Say(const std::string& notice, bool isError = false);

  const WatchOptions Options;
  Signals& StopSignals;
  const std::function<Description()> Describe;
  ReplayPace* const Replay;

  LiveTable Table;
  Summary Counted;
  LiveRates Rates;
  TraceClock Clock;
  WatchControl Control;
  Description Known;
  std::unique_ptr<Still> Standing;         // while the view is paused
  std::optional<unsigned long> FirstTime;  // ns, smallest time of the entries
  unsigned long LatestTime = 0;            // ns, greatest
  unsigned long Arrived = 0;               // entries
  unsigned long HandedOn = 0;              // entries that Keep has had
  bool StreamEnded = false;
  bool Seen = false;  // enough

  std::unique_ptr<SideRecording> Recording;
  std::optional<unsigned long> RecordUntil;  // ns: it is being ended
  std::vector<unsigned char> Waiting;        // records since the key was pressed, while a name is being typed
  std::string Proposed;                      // name
  size_t Recordings = 0;
  ManualTrigger Button;
  std::optional<TriggerSignal> ButtonSignal;
  std::unique_ptr<SideRecording> Box;      // null: there is none
  std::optional<unsigned long> PressedAt;  // ns: the newest entry that was seen when the key was pressed
  size_t IncidentsTold = 0;
  std::atomic<bool> MustGoOn = false;  // without the terminal
  int Code = 0;

  std::string Notice;
  bool NoticeIsError = false;
  std::chrono::steady_clock::time_point NoticeEnds;
  Pace Looks{std::chrono::milliseconds(20)};
  Pace Pictures{std::chrono::milliseconds(200)};
  Pace Facing{std::chrono::milliseconds(1000)};
  Pace Disks{std::chrono::milliseconds(100)};
  ScreenSize ShownSize;
  std::unique_ptr<Screen> View;  // null once the terminal has gone or was given back
};

/// In front of what puts records in order.
class Arrivals : public RecordSink {
 public:
  Arrivals(WatchSession& session, RecordSink& next) : Session(session), Next(next) {}
  [[nodiscard]] bool Take(const RecordView& record) override {
    Session.See(record);
    return Next.Take(record);
  }
  void Pause() override {
    Next.Pause();
    Session.Attend();
  }

 private:
  WatchSession& Session;
  RecordSink& Next;
};

/// After it.
class InOrder : public RecordSink {
 public:
  explicit InOrder(WatchSession& session) : Session(session) {}
  [[nodiscard]] bool Take(const RecordView& record) override {
    Session.Keep(record);
    return true;
  }
  void Pause() override { Session.Rest(); }

 private:
  WatchSession& Session;
};

}  // namespace client

#include "commands/WatchSession.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include "stream/FilterError.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Text.h"
#include "system/Units.h"

namespace client {

namespace {

constexpr size_t kMostWaiting = 256u << 20;  // bytes
constexpr unsigned long kLookEvery = 256;    // entries between looks at the clock
constexpr std::chrono::milliseconds kPause{50};
constexpr std::chrono::seconds kNoticeFor{10};
constexpr const char* kKey = "key";  // what has triggered
constexpr std::string_view kErrorsBegin = "qor-trace: ";

/// A name that nobody has to type.
std::string NewName() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return fmt::format("watch-{:%Y%m%d-%H%M%S}.mf4", local);
}

std::string SpeedText(const ReplayPace& pace) { return pace.Speed() ? fmt::format("{:g}x", *pace.Speed()) : "max"; }

std::optional<Filter> FilterOf(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<Filter>(std::in_place, text);
}

std::string LastLine(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const size_t newline = text.rfind('\n');
  return std::string(newline == std::string_view::npos ? text : text.substr(newline + 1));
}

}  // namespace

WatchSession::WatchSession(WatchOptions options, Signals& signals, std::function<Description()> describe,
                           ReplayPace* pace)
    : Options(std::move(options)),
      StopSignals(signals),
      Describe(std::move(describe)),
      Replay(pace),
      Counted(Options.Rates),
      Control(Options.Filter) {
  Table.SetFilter(FilterOf(Options.Filter));
  Known = Describe();
  if (Options.Box) OpenBox();
  View = std::make_unique<Screen>(signals);
  StopSignals.SetHangUp([this] { return MustGoOn.load(); });
  ShowPicture();
}

WatchSession::~WatchSession() { StopSignals.SetHangUp(nullptr); }

void WatchSession::See(const RecordView& record) {
  (void)Table.Take(record);
  (void)Counted.Take(record);
  FirstTime = std::min(FirstTime.value_or(record.Timestamp()), record.Timestamp());
  LatestTime = std::max(LatestTime, record.Timestamp());
  if (++Arrived % kLookEvery == 0 && Looks.IsDue()) Attend();
}

void WatchSession::Keep(const RecordView& record) {
  ++HandedOn;
  if (PressedAt && record.Timestamp() > *PressedAt) FireBox();
  if (Box) (void)Box->Take(record);
  if (!Proposed.empty()) return Hold(record);
  if (!Recording) return;
  if (RecordUntil && record.Timestamp() > *RecordUntil) return CompleteRecording();
  if (!Recording->Take(record)) CompleteRecording();
}

void WatchSession::Rest() {
  if (Box) Box->Pause();
  if (Recording) Recording->Pause();
}

void WatchSession::Attend() {
  LookAfterRecording();
  if (PressedAt && HandedOn == Arrived) FireBox();
  if (!View) return;
  if (View->IsGone()) return NoteGone();
  const std::vector<Key> keys = View->TakeKeys();
  for (const Key& key : keys) {
    Notice.clear();
    Heed(Control.Press(key));
    if (!View) return;
  }
  NoteSaid();
  NoteIncidents();
  if (Facing.IsDue()) Known = Describe();
  if (FirstTime) {
    const unsigned long now = Now();
    Table.Roll(now);
    Rates.Roll(Counted, now);
  }
  if (Pictures.IsDue() || !keys.empty() || View->Size() != ShownSize) ShowPicture();
}

/// Rates are taken over the time in which there is something.
unsigned long WatchSession::Now() {
  const bool still = !FirstTime || StreamEnded || (Replay != nullptr && Replay->Halted());
  const double speed = Replay != nullptr ? Replay->Speed().value_or(0) : Options.Speed;
  return Clock.At(LatestTime, still ? 0 : speed, std::chrono::steady_clock::now());
}

bool WatchSession::IsPaused() const { return Replay != nullptr ? Replay->Halted() : Standing != nullptr; }

// Keys.

void WatchSession::Heed(const WatchRequest& request) {
  switch (request.Wish) {
    case WatchWish::None:
      return;
    case WatchWish::Quit:
      Seen = true;
      return StopSignals.RequestStop();
    case WatchWish::Pause:
      return TogglePause();
    case WatchWish::Step:
      return Replay != nullptr ? Replay->Step() : Say("Only a file can be shown record by record");
    case WatchWish::Faster:
      return Hurry(2);
    case WatchWish::Slower:
      return Hurry(0.5);
    case WatchWish::ResetCounts:
      Table.ResetCounts();
      return Rates.ResetCounts(Counted);
    case WatchWish::Freeze:
      return ToggleFrozen();
    case WatchWish::Record:
      return ToggleRecording();
    case WatchWish::Trigger:
      return PressTrigger();
    case WatchWish::TakeFilter:
      return TakeFilter(request.Text);
    case WatchWish::TakeName:
      return TakeName(request.Text);
    case WatchWish::DropName:
      return DropWaiting();
  }
}

/// A file stands still; what is live goes on unseen.
void WatchSession::TogglePause() {
  const auto now = std::chrono::steady_clock::now();
  if (Replay != nullptr) return Replay->Halted() ? Replay->GoOn(now) : Replay->Halt(now);
  if (Standing) {
    Standing.reset();
    return;
  }
  Standing = std::make_unique<Still>(Still{Table, Rates.Channels(Counted, Known), Now(), Facts()});
}

void WatchSession::Hurry(double by) {
  if (Replay == nullptr) return Say("Only a file can be shown faster or slower");
  Replay->Scale(by, std::chrono::steady_clock::now());
}

void WatchSession::TakeFilter(const std::string& text) {
  try {
    const auto filter = FilterOf(text);
    Table.SetFilter(filter);
    if (Standing) Standing->Table.SetFilter(filter);
    Control.SetFilter(text);
    Control.EndPrompt();
  } catch (const FilterError& error) {
    const auto characters = [&](size_t bytes) { return CharactersOf(text.substr(0, bytes)).size(); };
    const size_t begin = characters(error.Begin());
    Control.Refuse({error.what(), begin, characters(error.Begin() + error.Length()) - begin});
  }
}

void WatchSession::ToggleFrozen() {
  const size_t number = *Control.Looks().Selected;
  Table.ToggleFrozen(number, Now());
  if (Standing && Standing->Table.IsFrozen(number) != Table.IsFrozen(number))
    Standing->Table.ToggleFrozen(number, Standing->Now);
}

// Recordings.

void WatchSession::ToggleRecording() {
  if (Recording) return StopRecording();
  if (StreamEnded) return Say("There is nothing more to record");
  if (!Options.Output.Outputs.empty()) {
    const auto& names = Options.Output.Outputs;
    return Begin(Recordings == 0 ? names : NumberedNames(names, Options.Folder, Recordings + 1));
  }
  Proposed = NewName();
  MustGoOn = true;
  Control.AskForName(Proposed);
}

/// Records from the key on are in the recording, however long the name takes.
void WatchSession::Hold(const RecordView& record) {
  Waiting.insert(Waiting.end(), record.Bytes().begin(), record.Bytes().end());
  if (Waiting.size() >= kMostWaiting) BeginAsProposed();
}

void WatchSession::TakeName(const std::string& typed) {
  std::error_code unknown;
  if (std::filesystem::exists(Options.Folder / typed, unknown))
    return Control.Refuse({fmt::format("\"{}\" exists; type another name", typed), 0, CharactersOf(typed).size()});
  try {
    Begin({typed});
  } catch (const Failure& failure) {
    Control.Refuse({failure.what(), 0, 0});
  }
}

void WatchSession::BeginAsProposed() {
  Control.EndPrompt();
  const std::string name = Proposed;
  try {
    Begin({name});
  } catch (const Failure& failure) {
    DropWaiting();
    SayError(failure.what());
    Code = ExitFailed;
  }
}

/// Failure: UsageError, Failure when it can't begin; then nothing has changed, unless no name was asked for.
void WatchSession::Begin(const std::vector<std::string>& names) {
  OutputArguments asked = Options.Output;
  asked.Outputs = names;
  Known = Describe();
  const bool waited = !Proposed.empty();
  try {
    Recording = std::make_unique<SideRecording>(asked, asked.Plan(Options.Folder), Options.Rates, Known);
  } catch (const Failure& failure) {
    if (waited) throw;
    Code = ExitFailed;
    return SayError(failure.what());
  }
  MustGoOn = true;
  ++Recordings;
  Control.EndPrompt();
  Proposed.clear();
  const std::vector<unsigned char> records = std::exchange(Waiting, {});
  for (size_t place = 0; place < records.size() && Recording;) {
    const RecordView record(records.data() + place, RecordView::LengthAt(records.data() + place));
    place += record.Length();
    if (!Recording->Take(record)) CompleteRecording();
  }
}

void WatchSession::DropWaiting() {
  Proposed.clear();
  Waiting = {};
  MustGoOn = Box != nullptr;
}

/// What was seen by now is still on its way: it is kept as well.
void WatchSession::StopRecording() {
  RecordUntil = LatestTime;
  if (HandedOn == Arrived) CompleteRecording();
}

void WatchSession::CompleteRecording() {
  const std::unique_ptr<SideRecording> ended = std::move(Recording);
  RecordUntil.reset();
  MustGoOn = Box != nullptr;
  const int code = ended->Finish(Describe());
  if (Code != ExitFailed && code != ExitDone) Code = code;
  if (View) (void)View->TakeSaid();  // at length at the end; here there is a line
  if (code == ExitFailed)
    Say(fmt::format("{}: not complete, the end of watch says why", ended->Names()), true);
  else
    Say(fmt::format("{} written: {}", FormatCount(ended->Entries(), "entry", "entries"), ended->Names()));
  if (!View && !Seen && !Box) StopSignals.RequestStop();
}

void WatchSession::LookAfterRecording() {
  if (!Recording) return;
  if (RecordUntil && HandedOn == Arrived) return CompleteRecording();
  if (Disks.IsDue() && Recording->DiskIsFull()) CompleteRecording();
}

void WatchSession::TellKnown() {
  Known = Describe();
  if (Box) Box->Describe(Known);
  if (Recording) Recording->Describe(Known);
}

// The black box.

void WatchSession::OpenBox() {
  SideBox box = *Options.Box;
  box.Button = &Button;
  const OutputArguments& asked = Options.BoxOutput;
  Box = std::make_unique<SideRecording>(asked, asked.Plan(Options.Folder), Options.Rates, Known, &box);
  ButtonSignal.emplace(StopSignals, Button);
  MustGoOn = true;
}

/// What was seen by now is still on its way: the incident has it.
void WatchSession::PressTrigger() {
  if (!Box) return Say("There is no black box; begin watch with one: -o incident-%n.mf4 --ring 60s");
  if (StreamEnded) return TriggerAtEnd();
  const Incident* const open = Box->Told().Current();
  Say(open != nullptr ? fmt::format("triggered: incident {} goes on", open->Number) : "triggered");
  PressedAt = LatestTime;
}

/// The past of what has ended can still be written, once.
void WatchSession::TriggerAtEnd() {
  if (!Box->HasPast()) return Say("The black box is empty: there is nothing more to write");
  Box->Fire(LatestTime, kKey);
  Box->EndIncident();
}

void WatchSession::FireBox() {
  PressedAt.reset();
  Button.Fire(kKey);
}

void WatchSession::NoteIncidents() {
  if (!Box || Box->Told().Past().size() == IncidentsTold) return;
  IncidentsTold = Box->Told().Past().size();
  const Incident& incident = Box->Told().Past().back();
  const std::string names = Box->IncidentNames();
  if (names.empty())
    Say(fmt::format("incident {}: not complete, the end of watch says why", incident.Number), true);
  else
    Say(fmt::format("incident {} written: {}, {}", incident.Number, names,
                    FormatCount(incident.Entries, "entry", "entries")));
}

BoxFacts WatchSession::FactsOfBox() const {
  const Incident* const open = Box->Told().Current();
  if (open == nullptr) return {};
  BoxFacts facts{.Incident = open->Number, .Span = open->Entries > 0 ? open->LastTime - open->FirstTime : 0};
  const auto& past = Options.Box->Plan.Past.Time;
  if (past && LatestTime > open->To && open->To + *past > LatestTime) facts.ClosesIn = open->To + *past - LatestTime;
  return facts;
}

// The end.

void WatchSession::NoteGone() {
  if (!Proposed.empty()) BeginAsProposed();
  View.reset();
  if (!Recording && !Box) StopSignals.RequestStop();
}

void WatchSession::EndStream() {
  StreamEnded = true;
  if (Recording) CompleteRecording();
  Known = Describe();
  if (!Box) return;
  Box->Describe(Known);
  const char* const by = PressedAt ? kKey : Button.Take();
  PressedAt.reset();
  if (by != nullptr && FirstTime) Box->Fire(LatestTime, by);
  Box->EndIncident();
}

void WatchSession::Linger() {
  while (View && !StopSignals.StopRequested()) {
    Attend();
    if (Recording) CompleteRecording();  // whose name has only come now
    StopSignals.Wait(kPause);
  }
}

void WatchSession::Close() {
  if (!Proposed.empty()) BeginAsProposed();
  if (Recording) CompleteRecording();
  CloseBox();
  View.reset();
}

void WatchSession::CloseBox() {
  if (!Box) return;
  ButtonSignal.reset();
  const std::unique_ptr<SideRecording> ended = std::move(Box);
  const int code = ended->Finish(Describe());
  if (Code != ExitFailed && code != ExitDone) Code = code;
}

// What is shown.

void WatchSession::Say(const std::string& notice, bool isError) {
  Notice = notice;
  NoticeIsError = isError;
  NoticeEnds = std::chrono::steady_clock::now() + kNoticeFor;
}

void WatchSession::NoteSaid() {
  for (const std::string& said : View->TakeSaid()) {
    const std::string line = LastLine(said);
    const bool isError = line.starts_with(kErrorsBegin);
    Say(isError ? line.substr(kErrorsBegin.size()) : line, isError);
  }
  if (!NoticeIsError && std::chrono::steady_clock::now() > NoticeEnds) Notice.clear();
}

WatchFacts WatchSession::Facts() const {
  WatchFacts facts{.Title = Options.Title,
                   .Elapsed = FirstTime ? LatestTime - *FirstTime : 0,
                   .Entries = Arrived,
                   .EntriesPerSecond = Rates.EntriesPerSecond(),
                   .Ended = StreamEnded};
  if (Replay != nullptr) facts.Speed = SpeedText(*Replay);
  return facts;
}

void WatchSession::ShowPicture() {
  ShownSize = View->Size();
  const std::vector<LiveChannel> channels = Standing ? Standing->Channels : Rates.Channels(Counted, Known);
  WatchScene scene{Standing ? Standing->Table : Table, channels, Standing ? Standing->Now : Now(),
                   Standing ? Standing->Facts : Facts(), Control.FilterText()};
  scene.Facts.Paused = IsPaused();
  if (Box) scene.Facts.Box = FactsOfBox();
  if (Recording) scene.Facts.Recording = {Recording->Name(), Recording->Entries(), Recording->Span()};
  scene.Facts.Notice = Notice;
  scene.Facts.NoticeIsError = NoticeIsError;
  WatchPage page = ComposePage(scene, Control.Looks(), ShownSize);
  if (Control.Looks().Sheet != WatchSheet::Help) Control.Shown(std::move(page.Order), page.Lines, page.Top);
  View->Show(std::move(page.Picture));
}

}  // namespace client

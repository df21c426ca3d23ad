// The events of a file: those of its client and, in the standard convention, those that entries ask for.
#include "mdf/FileEvents.h"

#include <algorithm>
#include <optional>
#include <string>

#include "internal/Span.h"
#include "mdf/File.h"
#include "mdf/PackQueue.h"
#include "record/RecordView.h"

namespace {

using MDF::NewEvent;

/// What an event of a kind is in the file.
struct EventShape {
  unsigned char Kind;  // of the interface
  unsigned char Type;  // of the block; see MDF's ev_type
  bool OfRecording;    // the range begins with the recording
};
constexpr EventShape kEventShapes[] = {
    // kind, type, of the recording
    {1, 2, false},  // acquisition interrupted
    {2, 6, false},  // marker
    {4, 3, true},   // trigger that started the recording
    {5, 4, true},   // trigger that stopped the recording
    {6, 5, false},  // trigger
};

/// Null for a kind that doesn't exist.
const EventShape* ShapeOf(unsigned char kind) {
  const auto* found = std::find_if(std::begin(kEventShapes), std::end(kEventShapes),
                                   [kind](const EventShape& shape) { return shape.Kind == kind; });
  return found != std::end(kEventShapes) ? found : nullptr;
}

constexpr unsigned char kMarker = 6;                // ev_type
constexpr unsigned char kAcquisitionInterrupt = 2;  // likewise
constexpr unsigned char kCauseOther = 0;
constexpr unsigned char kCauseError = 1;
constexpr char kLossText[] = "Data lost after this entry";
constexpr unsigned long kBetweenLossMarks = 1'000'000'000;  // ns

std::string EdgeText(unsigned char code) { return code == 0 ? "rising edge" : "falling edge"; }

std::string HexText(Span<const unsigned char> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const unsigned char byte : bytes) text.append({' ', kDigits[byte >> 4], kDigits[byte & 15]});
  return text;
}

std::string CanEventText(const CanView& can) {
  if (can.Code() <= 1 && !can.Data().empty()) return "Trigger input: " + EdgeText(can.Code());
  return "User event:" + HexText(can.Data());
}

std::string LinEventText(const LinView& lin) { return "Event-triggered frame: " + EdgeText(lin.Identifier); }

std::string EventText(const RecordView& event) {
  return event.Kind() == RecordKind::CanEvent ? CanEventText(event.Can()) : LinEventText(event.Lin());
}

}  // namespace

// --- events ---

bool MdfFile::Event(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time) {
  return LinkEvent(name, kind, cause, time, nullptr);
}

bool MdfFile::Event(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time,
                    unsigned int busChannel, unsigned char busType) {
  Bus* bus = Root->Bus_Get(busChannel, busType);
  return bus != nullptr && LinkEvent(name, kind, cause, time, bus);
}

bool MdfFile::LinkEvent(const std::string& name, unsigned char kind, unsigned char cause, unsigned long time,
                        Bus* scope) {
  const EventShape* shape = ShapeOf(kind);
  if (shape == nullptr || Ended()) return false;
  const unsigned long relative = Header->RelativeTime(time);
  NewEvent added(shape->OfRecording ? new MDF::EVBLOCK(name, shape->Type, cause, relative, nullptr, Begin)
                                    : new MDF::EVBLOCK(name, shape->Type, cause, relative));
  if (scope != nullptr) scope->Event_ScopeAdd(added.get());
  AppendEvent(added.release());
  return true;
}

/// Takes no memory, and no walk to the end of the chain: nobody else appends to it.
void MdfFile::AppendEvent(MDF::EVBLOCK* added) {
  if (LastEvent == nullptr) {
    Header->Link_EVBLOCK(added);
  } else {
    LastEvent->Links_Set(MDF::kEvNext, added);
  }
  LastEvent = added;
  Changed = true;
}

// --- marks ---

/// Null for an entry that asks for none.
MDF::EVBLOCK* MdfFile::NewMark(Bus& bus, const RecordView& record) {
  const bool lost = record.HasOverrunMark();
  const bool triggered = record.Kind() == RecordKind::CanEvent || record.Kind() == RecordKind::LinEvent;
  if (!triggered && !lost) return nullptr;
  std::optional<unsigned long>& latest = LossMarks[&bus];
  const bool due = !latest || record.Timestamp() - *latest >= kBetweenLossMarks;  // a bus may mark entry after entry
  if (!triggered && !due) return nullptr;
  const auto type = lost ? kAcquisitionInterrupt : kMarker;
  const unsigned long time = Header->RelativeTime(record.Timestamp());
  NewEvent mark(new MDF::EVBLOCK("", type, lost ? kCauseError : kCauseOther, time));
  std::string name = triggered ? EventText(record) : "";
  if (lost) name += (triggered ? "; " : "") + std::string(kLossText);
  MDF::LinkText(*mark, MDF::kEvName, name);
  bus.Event_ScopeAdd(mark.get());
  if (lost) latest = record.Timestamp();
  return mark.release();
}

/// Closed, and whatever is added now would be dropped when the next file is begun.
bool MdfFile::Ended() const { return !is_open() && IdWritten; }

/// Descriptions go out before the data that they describe, and what the workers have done before either. False when the
/// recording has ended or a write has failed.
bool MdfFile::Describe() {
  if (!is_open()) return !Ended();
  if (!good()) return false;
  if (Changed || !BusLinks.empty()) return Write();
  return Queue == nullptr || Queue->PlaceFinished();
}

/// After each record: continues with the next file if this one is large enough. False when this one couldn't be finished or
/// the next one couldn't be begun.
bool MdfFile::Recorded(unsigned long time) {
  HasRecords = true;
  ChooseLimit();
  if (!IsLimitReached()) return true;
  try {
    return BeginNextFile(time);
  } catch (const std::bad_alloc&) {
    Written = true;  // this record is in the file; the next one tries again, if the file is still there
    return is_open();
  }
}

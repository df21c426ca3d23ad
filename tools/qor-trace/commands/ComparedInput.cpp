#include "commands/ComparedInput.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "commands/StreamArguments.h"
#include "inputs/Inputs.h"
#include "stream/KindText.h"
#include "system/Compression.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Text.h"
#include "system/Units.h"

namespace client {

namespace {

/// Where times since the first record are put, so that earlier ones have a place as well.
constexpr unsigned long kRelativeZero = 1ul << 62;

/// Moved on, or back for a negative number; not beyond the ends of the clock.
unsigned long Moved(unsigned long time, long by) {
  return by < 0 ? time - std::min(time, 0 - static_cast<unsigned long>(by))
                : TimeBase{0, time}.UtcOf(static_cast<unsigned long>(by));
}

Description DescriptionOf(const Reader& reader, const RecordView& first) {
  Description known = reader.Describe();
  SetFirstTime(known, first.Timestamp());
  return known;
}

}  // namespace

ComparedInput::ComparedInput(Side side, std::string path, const SelectionPlan& wanted, Comparison& comparison)
    : From(side),
      Path(std::move(path)),
      Wanted(wanted),
      Into(comparison),
      Input(OpenInput(Path)),
      Selected(*this, Wanted) {}

std::string ComparedInput::FormatName() const {
  const std::string extension = ExtensionOf(WithoutCompression(Path));
  return extension.empty() ? "" : extension.substr(1);
}

bool ComparedInput::Take(const RecordView& record) {
  Into.Take(From, record, Common.UtcOf(record.Timestamp()), Input->Records());
  return true;
}

bool ComparedInput::Feed() {
  if (Input->LossesKnown() != LossesNoted) NoteLosses();
  const bool goesOn = Next != nullptr && Selected.Take(*Next);
  Next = goesOn ? Input->Next() : nullptr;
  if (Input->Stopped()) return false;
  if (Next == nullptr) Into.End(From);
  return true;
}

/// Something may happen by them.
void ComparedInput::NoteLosses() {
  LossesNoted = Input->LossesKnown();
  Selected.NoteLosses(Input->Describe().Losses);
}

void ComparedInput::ReadFirst() {
  Next = Input->Next();
  if (Next == nullptr) {
    if (!Input->Stopped()) RefuseWithoutRecords(*Input, Path);
    return;
  }
  const Description known = DescriptionOf(*Input, *Next);
  CheckTimes(Wanted, known, Path);
  Known = TimesOf(known);
  for (const std::string& remark : Input->Remarks()) Say(remark);
}

void ComparedInput::ShareClock(ComparedClock clock, long offset) {
  Shared = clock;
  const unsigned long first = Next != nullptr ? Next->Timestamp() : 0;
  switch (clock) {
    case ComparedClock::Utc:
      Common = {Known.Start, Moved(Known.Utc.value_or(0), offset)};
      break;
    case ComparedClock::Own:
      Common = {offset < 0 ? 0 - static_cast<unsigned long>(offset) : 0, Moved(0, offset)};
      break;
    case ComparedClock::Relative:
      Common = {first, Moved(kRelativeZero, offset)};
      break;
  }
}

void BeginBoth(ComparedInput& a, ComparedInput& b, std::optional<ComparedClock> asked, long offset) {
  a.ReadFirst();
  b.ReadFirst();
  const std::string unknown = !a.Known.IsKnown() ? a.Path : !b.Known.IsKnown() ? b.Path : "";
  if (asked == ComparedClock::Utc && !unknown.empty())
    throw Failure(
        fmt::format("It isn't known when the entries of \"{}\" were recorded; leave --times utc out", unknown));
  const bool neither = !a.Known.IsKnown() && !b.Known.IsKnown();
  const ComparedClock usual = unknown.empty() ? ComparedClock::Utc
                              : neither       ? ComparedClock::Own
                                              : ComparedClock::Relative;
  if (!asked && usual == ComparedClock::Relative)
    Say(fmt::format("It isn't known when \"{}\" was recorded, so times count from the first entry of each", unknown));
  a.ShareClock(asked.value_or(usual), 0);
  b.ShareClock(asked.value_or(usual), offset);
  // Times since the first entry are those of A for both, so that the same is cut out of each.
  if (a.Next == nullptr || b.Next == nullptr) return;
  const TimeBase back{*b.Common.Utc, b.Common.Start};
  a.Selected.BeginAt(a.Next->Timestamp(), a.Known);
  b.Selected.BeginAt(back.UtcOf(a.Common.UtcOf(a.Next->Timestamp())), b.Known);
}

// ---- Descriptions ---------------------------------------------------------------------------------------------------

namespace {

void AddText(std::vector<std::string>& found, const std::string& what, const std::string& a, const std::string& b) {
  if (a != b) found.push_back(fmt::format("{} (\"{}\", \"{}\")", what, a, b));
}

std::string StartText(const TimeBase& moment) { return moment.IsKnown() ? FormatUtc(*moment.Utc) : "not known"; }

void AddChannels(std::vector<std::string>& found, const Description& a, const Description& b) {
  for (const ChannelDescription& one : a.Channels) {
    const ChannelDescription* const other = FindChannel(b, one.Number);
    const std::string name = fmt::format("channel {}: ", one.Number);
    if (other == nullptr) {
      found.push_back(name + "only in A");
      continue;
    }
    AddText(found, name + "bus", BusName(one.BusType.value_or(0xFF)), BusName(other->BusType.value_or(0xFF)));
    AddText(found, name + "source", one.Source, other->Source);
    AddText(found, name + "name", one.Name, other->Name);
    AddText(found, name + "hardware", one.Hardware, other->Hardware);
    AddText(found, name + "bit rate", fmt::format("{}/{}", one.BitRate, one.DataBitRate),
            fmt::format("{}/{}", other->BitRate, other->DataBitRate));
  }
  for (const ChannelDescription& other : b.Channels)
    if (FindChannel(a, other.Number) == nullptr) found.push_back(fmt::format("channel {}: only in B", other.Number));
}

std::string LossName(const Loss& loss) {
  return fmt::format("loss on channel {} ({}): ", loss.Channel, Word(loss.Cause));
}

std::string CountOf(const Loss& loss) { return loss.Count ? fmt::format("{}", *loss.Count) : "an unknown number"; }

/// Losses in the order of the ledger, times on the clock that both share.
void AddLosses(std::vector<std::string>& found, const std::vector<Loss>& a, const std::vector<Loss>& b,
               unsigned long tolerance) {
  const auto apart = [&](unsigned long one, unsigned long other) {
    return std::max(one, other) - std::min(one, other) > tolerance;
  };
  for (size_t place = 0; place < std::max(a.size(), b.size()); ++place) {
    if (place >= a.size() || place >= b.size()) {
      const bool inA = place < a.size();
      const Loss& loss = inA ? a[place] : b[place];
      found.push_back(LossName(loss) + fmt::format("{} items, only in {}", CountOf(loss), inA ? "A" : "B"));
      continue;
    }
    if (a[place].Channel != b[place].Channel || a[place].Cause != b[place].Cause)
      found.push_back(LossName(a[place]) + "in B " + LossName(b[place]));
    AddText(found, LossName(a[place]) + "items", CountOf(a[place]), CountOf(b[place]));
    if (apart(a[place].First, b[place].First) || apart(a[place].Last, b[place].Last))
      found.push_back(LossName(a[place]) + "other times");
  }
}

std::vector<Loss> OnClock(std::vector<Loss> losses, const TimeBase& clock) {
  for (Loss& loss : losses) {
    loss.First = clock.UtcOf(loss.First);
    loss.Last = clock.UtcOf(loss.Last);
  }
  return losses;
}

}  // namespace

std::vector<std::string> ComparedInput::DescriptionDifferences(const ComparedInput& other,
                                                               unsigned long tolerance) const {
  std::vector<std::string> found;
  const Description a = Input->Describe();
  const Description b = Renumbered(other.Input->Describe(), other.Wanted.Channels);
  AddText(found, "title", a.Title, b.Title);
  AddText(found, "host", a.Host, b.Host);
  AddText(found, "complete", a.Complete ? "yes" : "no", b.Complete ? "yes" : "no");
  AddText(found, "start", StartText(Known), StartText(other.Known));
  AddChannels(found, a, b);
  AddLosses(found, OnClock(a.Losses, Common), OnClock(b.Losses, other.Common), tolerance);
  return found;
}

}  // namespace client

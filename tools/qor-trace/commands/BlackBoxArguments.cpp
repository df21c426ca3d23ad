#include "commands/BlackBoxArguments.h"

#include <fmt/format.h>

#include <algorithm>

#include "commands/Command.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

const char* const kBlackBoxHelp =
    "Black box: --ring keeps the past, --trigger writes it, with what comes for --post after it, to a file for each "
    "incident; the names count (incident-%n.mf4). What overlaps becomes one incident.\n"
    "\n";

namespace {

constexpr unsigned long kUsualTime = 60'000'000'000;  // ns
constexpr unsigned long kUsualPost = 10'000'000'000;  // ns

unsigned long DurationOf(const char* option, const std::string& typed) {
  const auto time = ParseDuration(typed);
  if (!time) throw UsageError(fmt::format("{} \"{}\" is no time; write 10s, 500ms or 1m30s", option, typed));
  return *time;
}

/// A ring of a time whose size isn't given: what a busy car needs for minutes, but not all that the machine has.
size_t UsualSize() { return std::max(std::min(RingPlan::kUsual, AvailableMemory() / 2), RingPlan::kSmallest); }

}  // namespace

void BlackBoxArguments::AddTo(Command& command) {
  command
      .Add("--ring", Ring,
           "Keep so much of the past, and write it only when something happens: a time such as 60s (the "
           "default with --trigger), a size such as 200MB, or both, each with a --ring of its own")
      .OneValueEach();
  command.AddFlag("--ring-on-disk", RingOnDisk, "Keep it in a file without a name, in the folder of the first output");
  command
      .Add("--trigger", Triggers,
           "What has to happen: a condition such as \"error\", \"loss\" or \"missing(id == 0x123) for "
           "200ms\". Repeat it for several")
      .OneValueEach();
  command.Add("--post", Post, "Write what comes for so long after it (10s)");
}

std::optional<BlackBoxPlan> BlackBoxArguments::Plan(const OutputPlan& outputs) const {
  if (Ring.empty() && Triggers.empty()) {
    if (!Post.empty() || RingOnDisk)
      throw UsageError("--post and --ring-on-disk are of a black box; add --ring 60s or --trigger \"error\"");
    return std::nullopt;
  }
  if (outputs.Outputs.empty())
    throw UsageError("A black box needs an output for its incidents; name one, as in -o incident-%n.mf4");
  if (UsesStandardOutput(outputs.Outputs))
    throw UsageError("A black box writes a file for each incident, and standard output is one; name a file with -o");
  if (outputs.Capture.AsExported) throw UsageError("--as-exported writes everything; leave it out, or the black box");
  if (outputs.Asc.Split || outputs.Mdf.Split || outputs.Series.Splits() || outputs.Series.Keeps())
    throw UsageError("An incident is one file, and all of them are kept; leave the options that split and delete out");
  (void)TriggerList();
  BlackBoxPlan plan;
  plan.Past = Past(outputs);
  plan.Post = Post.empty() ? kUsualPost : DurationOf("--post", Post);
  return plan;
}

RingPlan BlackBoxArguments::Past(const OutputPlan& outputs) const {
  RingPlan plan;
  std::optional<unsigned long> size;
  for (const std::string& typed : Ring) {
    const auto time = ParseDuration(typed);
    const auto bytes = time ? std::nullopt : ParseSize(typed);
    if (!time && !bytes)
      throw UsageError(fmt::format("--ring \"{}\" is neither a time nor a size; write 60s or 200MB", typed));
    if ((time ? plan.Time : size).has_value())
      throw UsageError(fmt::format("--ring {}: the ring has a {} already", typed, time ? "time" : "size"));
    (time ? plan.Time : size) = time ? time : bytes;
  }
  if (size && *size < RingPlan::kSmallest)
    throw UsageError(fmt::format("--ring takes {} at least", FormatSize(RingPlan::kSmallest)));
  if (!plan.Time && !size) plan.Time = kUsualTime;
  if (RingOnDisk && !size)
    throw UsageError("A ring on disk takes its room from the start; say how much, as in --ring 60s --ring 10GB");
  plan.Size = size.value_or(UsualSize());
  if (RingOnDisk) plan.Folder = FolderOf(outputs.Outputs, ".");
  return plan;
}

std::vector<Trigger> BlackBoxArguments::TriggerList() const {
  std::vector<Trigger> triggers;
  for (const std::string& typed : Triggers) triggers.emplace_back(typed);
  return triggers;
}

}  // namespace client

#include "commands/RecordingArguments.h"

#include <fmt/format.h>

#include <filesystem>

#include "commands/Command.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

const char* const kSourceHelp =
    "Sources:\n"
    "  can, lin, flexray, ethernet   a synthetic bus: seed=N, duration=TIME; can and ethernet also load=PERCENT\n"
    "  vehicle                       all four of them: seed=N, duration=TIME\n"
    "  candump:PATH or PATH.log      replay of candump text: interface=NAME\n"
    "  pcap:PATH or PATH.pcap[ng]    replay of an Ethernet capture\n"
    "  csv:PATH or PATH.csv          replay of LIN and FlexRay: bus=lin|flexray, channel=N, bitrate=N (of LIN, 19200)\n"
    "  NAME or socketcan:NAME        a CAN interface of this machine: id=ID[:MASK][,...] in hexadecimal, buffer=ITEMS\n"
    "  NAME or packet:NAME           an Ethernet interface: filter=EXPRESSION, promisc=off, ring=BYTES, fanout=N\n"
    "With --hardware and --adapter in front of the command: the interfaces that 'ports' lists then, and their "
    "options.\n"
    "\n"
    "Replays take origin=file|absolute (times) and direction=rx|tx (where the file doesn't say). Options go after '?' "
    "and are joined by '&'; simulated ones take speed=FACTOR|max, buffer=ITEMS and gone=TIME. A recording of several "
    "interfaces becomes one channel for each of them. Channels count from 1. Lines of a text recording that can't be "
    "read are left out and named.\n"
    "\n"
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some of the input was lost.";

void RecordingArguments::AddTo(Command& command) {
  command.Add("SOURCE", Sources, "What to record; several are recorded together").Required();
  command.Add("--duration,-d", Duration, "End after this much trace time, e.g. 90s or 1h30m");
  command.Add("--speed", Speed, "Speed of the sources that don't set their own: a factor, or max");
  command.Add("--memory-limit", MemoryLimit, "Entries held in memory before they go to the swap file (50000)");
  command.Add("--swap-folder", SwapFolder,
              "Where the swap file's own folder is made (the folder of the first output, else TMPDIR or /var/tmp)");
  command.AddFlag("--progress", Progress, "Tell how far it has come every few seconds, also without a terminal");
}

RecordingOptions RecordingArguments::Options(const std::string& defaultSwapFolder) const {
  RecordingOptions options;
  options.Duration = TraceTime();
  options.Progress = Progress;
  if (MemoryLimit) options.MemoryLimit = *MemoryLimit;
  if (options.MemoryLimit == 0)
    throw UsageError("The memory limit is at least 1 entry; write --memory-limit 1 or more");
  options.SwapParent = std::filesystem::absolute(SwapFolder.empty() ? defaultSwapFolder : SwapFolder).string();
  return options;
}

std::optional<unsigned long> RecordingArguments::TraceTime() const {
  if (Duration.empty()) return std::nullopt;
  const auto time = ParseDuration(Duration);
  if (!time) throw UsageError(fmt::format("\"{}\" is no duration; write 90s or 1h30m", Duration));
  return time;
}

std::vector<Source> RecordingArguments::Plan(bool strict) const {
  return Supply().Plan(Sources, {Speed, Duration, strict ? "refuse" : "skip"}, std::filesystem::current_path());
}

}  // namespace client

#include "commands/Conclusion.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "commands/EventJson.h"
#include "stream/DescriptionJson.h"
#include "stream/Reorder.h"
#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

void TakeChannels(const Description& description, Summary& summary) {
  for (const ChannelDescription& channel : description.Channels) summary.NameChannel(channel.Number, channel.Source);
  summary.SetLosses(description.Losses);
}

unsigned long OrderingWindow(size_t sources) { return sources > 1 ? Reorder::kUsualWindow : 0; }

namespace {

/// An empty capture was hardly meant.
std::string MissingEthernetText(const Summary& summary, const OutputArguments& asked) {
  if (!asked.Capture.EthernetOnly || summary.Has(BusType_Ethernet)) return "";
  return "--ethernet-only: there is no Ethernet in this trace, so the .pcapng output is empty\n";
}

}  // namespace

nlohmann::json SummaryJson(const std::string& command, const Summary& summary, const Selection& selected,
                           const Description& description) {
  const auto times = summary.Times();
  return {{"command", command},
          {"entries", summary.Entries()},
          {"first_time_ns", times ? nlohmann::json(times->First) : nlohmann::json()},
          {"last_time_ns", times ? nlohmann::json(times->Last) : nlohmann::json()},
          {"start", AnchorJson(description.Anchor)},
          {"channels", summary.ChannelsJson()},
          {"buses", summary.BusesJson()},
          {"losses", summary.LossesJson()},
          {"unread_lines", summary.UnreadJson()},
          {"found", summary.FoundJson()},
          {"left_out", selected.Json()}};
}

int Conclude(const std::string& command, const Summary& summary, const Selection& selected, const OutputSet& outputs,
             const OutputArguments& asked, const Description& description, const nlohmann::json& more,
             bool printsEvents) {
  const std::string shortfall = outputs.ShortfallText() + MissingEthernetText(summary, asked);
  const bool lossy = summary.Lossy() || selected.Lossy() || (asked.Strict && !shortfall.empty());
  const int code = !outputs.Errors().empty() ? ExitFailed : lossy ? ExitLossy : ExitDone;
  Say(fmt::format("{}{}{}{}{} in {} s{}", summary.Text(), selected.Text(), shortfall, outputs.RemarkText(),
                  FormatCount(summary.Entries(), "entry", "entries"), FormatSeconds(summary.Span()),
                  outputs.WrittenText()));
  if (!asked.Json) return code;
  nlohmann::json object = SummaryJson(command, summary, selected, description);
  object.update({{"outputs", outputs.Json()}, {"errors", outputs.Errors()}, {"exit_code", code}});
  object.update(more);
  if (printsEvents)
    PrintEvent("summary", std::move(object));
  else
    PrintJson(object);
  return code;
}

}  // namespace client

#include "commands/Conclusion.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "system/Failure.h"
#include "system/Terminal.h"
#include "system/Units.h"

namespace client {

void TakeChannels(const Recorder& recorder, Summary& summary) {
  for (const RecordedChannel& channel : recorder.Channels()) {
    summary.NameChannel(channel.Number, channel.Source);
    summary.SetLost(channel.Number, channel.Lost, {channel.FirstLost, channel.LastLost});
  }
}

int Conclude(const std::string& command, const Summary& summary, const OutputSet& outputs, bool json,
             const nlohmann::json& more) {
  const std::string shortfall = outputs.ShortfallText();
  const bool lossy = summary.Lossy() || !shortfall.empty();
  const int code = !outputs.Errors().empty() ? ExitFailed : lossy ? ExitLossy : ExitDone;
  const auto times = summary.Times();
  Say(fmt::format("{}{}{}{} in {} s{}", summary.Text(), shortfall, outputs.RemarkText(),
                  FormatCount(summary.Entries(), "entry", "entries"),
                  FormatSeconds(times ? times->Last - times->First : 0), outputs.WrittenText()));
  if (!json) return code;
  nlohmann::json object = {{"command", command},
                           {"entries", summary.Entries()},
                           {"first_time_ns", times ? nlohmann::json(times->First) : nlohmann::json()},
                           {"last_time_ns", times ? nlohmann::json(times->Last) : nlohmann::json()},
                           {"channels", summary.ChannelsJson()},
                           {"buses", summary.BusesJson()},
                           {"outputs", outputs.Json()},
                           {"errors", outputs.Errors()},
                           {"exit_code", code}};
  object.update(more);
  PrintJson(object);
  return code;
}

}  // namespace client

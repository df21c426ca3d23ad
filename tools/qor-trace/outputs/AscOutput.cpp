#include "outputs/AscOutput.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "qor_api_trace.h"
#include "system/Units.h"

namespace client {

void AscOutput::Export(Monitor& monitor) {
  if (Options.Live) return;
  unsigned int flags = 0;
  if (Options.Decimal) flags |= QOR_TRACE_ASC_DECIMAL;
  if (Options.Relative) flags |= QOR_TRACE_ASC_RELATIVE;
  if (Options.Split) flags |= QOR_TRACE_ASC_SPLIT;
  if (Replayed != nullptr) flags |= QOR_TRACE_ASC_START_OFFSET;
  const unsigned long start = Replayed != nullptr ? Replay::Shift : 0;
  monitor.ExportToAsc(Path, flags, static_cast<unsigned int>(Options.Split.value_or(0)), start);
}

std::string AscOutput::ShortfallText() const {
  if (Replayed == nullptr || Replayed->Omitted() == 0) return "";
  return fmt::format(", as no interface gives such entries: {}",
                     FormatCount(Replayed->Omitted(), "malformed entry", "malformed entries"));
}

void AscOutput::AddJson(nlohmann::json& json) const {
  if (Replayed != nullptr) json["omitted"] = {{"malformed entries", Replayed->Omitted()}};
}

}  // namespace client

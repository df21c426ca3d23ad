// LIN and FlexRay recordings in CSV form: refused with a reason, or replayed in the order of their times, every time and with
// either line end the same.
#include "Csv.h"
#include "Replay.h"

namespace {

using fuzz::Require;

std::uint64_t Replayed(const std::string& text, const qor_sim::CsvSettings& settings) {
  const auto source = qor_sim::ParseCsv(text, "in.csv", settings);
  return fuzz::RequireReplay(*source.Items, 4, fuzz::SizeInFront);
}

}  // namespace

// The first byte chooses the settings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const auto control = input.Take<std::uint8_t>();
  qor_sim::CsvSettings settings;
  if ((control & 1) != 0) settings.Choice.Bus = (control & 2) != 0 ? qor_sim::CsvBus::Lin : qor_sim::CsvBus::FlexRay;
  if ((control & 4) != 0) settings.Choice.LinChannel = control >> 6;
  if ((control & 8) != 0) settings.Origin = qor_sim::TimeOrigin::Absolute;
  const std::string text = input.TakeText(input.Left());
  try {
    const std::uint64_t sum = Replayed(text, settings);
    if (text.find('\r') != std::string::npos) return 0;
    std::string withReturns;
    for (const char letter : text) withReturns += letter == '\n' ? std::string("\r\n") : std::string(1, letter);
    Require(Replayed(withReturns, settings) == sum, "the line end doesn't matter");
  } catch (const qor_sim::Error& error) {
    fuzz::RequireRefusal(error);
  }
  return 0;
}

#include "commands/ExtcapText.h"

#include <fmt/format.h>

#include <string_view>

#include "qor_api_trace.h"
#include "stream/PacketLayouts.h"

namespace client {

namespace {

/// A value ends at the first closing brace, a sentence at the end of its line.
std::string Fitting(std::string_view value) {
  std::string text(value);
  for (char& character : text) {
    if (character == '{') character = '(';
    if (character == '}') character = ')';
    if (static_cast<unsigned char>(character) < ' ') character = ' ';
  }
  return text;
}

class Sentence {
 public:
  explicit Sentence(const char* word) : Text(std::string(word) + " ") {}

  Sentence& Field(const char* key, std::string_view value) {
    Text += fmt::format("{{{}={}}}", key, Fitting(value));
    return *this;
  }
  [[nodiscard]] std::string Line() const { return Text + "\n"; }

 private:
  std::string Text;
};

struct LinkWords {
  const char* Name;  // as libpcap has it
  const char* Shown;
};

LinkWords WordsOf(unsigned char busType) {
  switch (busType) {
    case BusType_Can:
      return {"CAN_SOCKETCAN", "CAN and CAN FD"};
    case BusType_Lin:
      return {"LIN", "LIN"};
    case BusType_FlexRay:
      return {"FLEXRAY", "FlexRay"};
    default:
      return {"EN10MB", "Ethernet"};
  }
}

/// The arguments of one interface, numbered as they come.
class Arguments {
 public:
  /// @param option  that it is handed over with
  /// @param type    as the protocol names them
  Sentence Next(const char* option, const char* shown, const char* type, const char* help) {
    Sentence sentence("arg");
    sentence.Field("number", std::to_string(Count++)).Field("call", option).Field("display", shown);
    sentence.Field("type", type).Field("tooltip", help);
    return sentence;
  }
  /// One of those that the latest argument may be.
  [[nodiscard]] std::string Choice(const char* value, const char* shown, bool isDefault) const {
    Sentence sentence("value");
    sentence.Field("arg", std::to_string(Count - 1)).Field("value", value).Field("display", shown);
    return sentence.Field("default", isDefault ? "true" : "false").Line();
  }

 private:
  unsigned int Count = 0;
};

std::string SourceText(Arguments& arguments, const ExtcapInterface& interface) {
  Sentence sentence = arguments.Next("--source", "Source", "string",
                                     "As for qor-trace record, options included, such as can0?id=100:7F0 or "
                                     "vehicle?seed=7; several are separated by blanks");
  if (!interface.Source.empty()) return sentence.Field("default", interface.Source).Line();
  return sentence.Field("required", "true").Field("placeholder", "can0 can1 lin?seed=7").Line();
}

std::string FileText(Arguments& arguments) {
  return arguments.Next("--file", "Recording", "fileselect", "In any format that qor-trace convert reads")
      .Field("required", "true")
      .Field("mustexist", "true")
      .Field("fileext", "Recordings (*.asc *.bin *.mf4 *.log *.csv *.pcap *.pcapng *.gz *.zst)")
      .Line();
}

std::string SpeedText(Arguments& arguments) {
  const std::string text =
      arguments.Next("--speed", "Speed", "selector", "Of what is simulated or replayed").Field("default", "1").Line();
  return text + arguments.Choice("0.1", "0.1", false) + arguments.Choice("0.5", "0.5", false) +
         arguments.Choice("1", "1, as it was", true) + arguments.Choice("2", "2", false) +
         arguments.Choice("10", "10", false) + arguments.Choice("max", "as fast as it goes", false);
}

}  // namespace

std::string InterfacesText(const std::vector<ExtcapInterface>& interfaces, const std::string& version) {
  std::string text = Sentence("extcap").Field("version", version).Field("display", "qor-trace").Line();
  for (const ExtcapInterface& one : interfaces)
    text += Sentence("interface").Field("value", one.Name).Field("display", one.Shown).Line();
  return text;
}

std::string LinkTypesText(const ExtcapInterface& interface) {
  std::string text;
  for (const unsigned char busType : interface.Buses) {
    const auto bus = CaptureBusOf(busType);
    if (!bus) continue;
    const LinkWords words = WordsOf(busType);
    const std::string number = std::to_string(static_cast<unsigned int>(bus->Link));
    text += Sentence("dlt").Field("number", number).Field("name", words.Name).Field("display", words.Shown).Line();
  }
  return text;
}

std::string ConfigText(const ExtcapInterface& interface) {
  Arguments arguments;
  const bool isReplay = interface.Origin == ExtcapOrigin::Replay;
  std::string text = isReplay ? FileText(arguments) : SourceText(arguments, interface);
  if (interface.Origin != ExtcapOrigin::Port) text += SpeedText(arguments);
  text += arguments
              .Next("--filter", "Filter", "string",
                    "Only what this expression matches, such as bus == can and id in 0x100..0x1FF; beside the capture "
                    "filter, which takes the same")
              .Line();
  text +=
      arguments.Next("--duration", "Duration", "string", "End after this much time of the trace, such as 90s").Line();
  return text;
}

}  // namespace client

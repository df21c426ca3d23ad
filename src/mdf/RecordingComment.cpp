#include "mdf/RecordingComment.h"

#include <algorithm>
#include <cstdio>

#include "mdf/BusTables.h"
#include "mdf/XmlText.h"

namespace MDF {
namespace {

constexpr size_t kMostLosses = 100;  // listed; the others are counted

std::string Seconds(unsigned long ns) {
  constexpr unsigned long kPerSecond = 1'000'000'000;
  char text[40];
  std::snprintf(text, sizeof text, "%lu.%09lu s", ns / kPerSecond, ns % kPerSecond);
  return text;
}

/// " with TOOL VERSION" and the like; nothing without the text.
std::string After(const char* word, const std::string& text) { return text.empty() ? "" : word + text; }

std::string ToolText(const RecordingInfo& info) { return info.Tool + After(" ", info.ToolVersion); }

std::string BusName(const RecordingInfo::Channel& channel) {
  const bool known = channel.BusType < std::size(tables::kStandardBuses);
  return (known ? tables::kStandardBuses[channel.BusType].Name : "BUS") + std::to_string(channel.BusChannel);
}

std::string BusName(const RecordingInfo& info, unsigned int busChannel) {
  for (const RecordingInfo::Channel& channel : info.Channels) {
    if (channel.BusChannel == busChannel) return BusName(channel);
  }
  return "channel " + std::to_string(busChannel);
}

// --- for people ---

std::string BitRateText(const RecordingInfo::Channel& channel) {
  if (channel.BitRate == 0) return "";
  std::string text = ", " + std::to_string(channel.BitRate) + " bit/s";
  if (channel.DataBitRate != 0) text += ", data " + std::to_string(channel.DataBitRate) + " bit/s";
  return text;
}

std::string Line(const RecordingInfo::Channel& channel) {
  return BusName(channel) + After(": ", channel.Source) + After(", ", channel.Hardware) + BitRateText(channel) +
         After(", only ", channel.Filter) + "\n";
}

std::string Line(const RecordingInfo& info, const RecordingInfo::Loss& loss) {
  std::string text = "Lost on " + BusName(info, loss.BusChannel) + ": ";
  text += loss.Count ? std::to_string(*loss.Count) + (*loss.Count == 1 ? " item" : " items") : "unknown number";
  return text + ", " + Seconds(loss.First) + " to " + Seconds(loss.Last) + After(": ", loss.Cause) + "\n";
}

std::string LossLines(const RecordingInfo& info) {
  std::string text;
  const size_t listed = std::min(info.Losses.size(), kMostLosses);
  for (size_t loss = 0; loss < listed; ++loss) text += Line(info, info.Losses[loss]);
  if (info.Losses.size() > listed) text += std::to_string(info.Losses.size() - listed) + " further losses\n";
  return text;
}

std::string TextForPeople(const RecordingInfo& info) {
  std::string text = info.Title.empty() ? "" : info.Title + "\n";
  const std::string made =
      After(" with ", ToolText(info)) + After(" on ", info.Host) + After(", ", info.System) + After(", ", info.Machine);
  if (!made.empty()) text += "Recorded" + made + "\n";
  for (const RecordingInfo::Channel& channel : info.Channels) text += Line(channel);
  return text + LossLines(info);
}

// --- for programs ---

std::string Property(const char* name, const std::string& value) {
  if (value.empty()) return "";
  return std::string("<e name=\"") + name + "\">" + EscapedForXml(value) + "</e>\n";
}

std::string Property(const char* name, unsigned long value, const char* unit) {
  const std::string attribute = *unit != '\0' ? std::string(" unit=\"") + unit + "\"" : "";
  return std::string("<e name=\"") + name + "\" type=\"integer\"" + attribute + ">" + std::to_string(value) + "</e>\n";
}

std::string Tree(const std::string& name, const std::string& content) {
  return content.empty() ? "" : "<tree name=\"" + name + "\">\n" + content + "</tree>\n";
}

std::string Properties(const RecordingInfo::Channel& channel) {
  std::string xml = Property("name", channel.Name) + Property("source", channel.Source) +
                    Property("hardware", channel.Hardware) + Property("filter", channel.Filter);
  if (channel.BitRate != 0) xml += Property("bit_rate", channel.BitRate, "bit/s");
  if (channel.DataBitRate != 0) xml += Property("data_bit_rate", channel.DataBitRate, "bit/s");
  return Tree(BusName(channel), xml);
}

std::string Properties(const RecordingInfo& info, const RecordingInfo::Loss& loss) {
  std::string xml = Property("bus", BusName(info, loss.BusChannel)) + Property("cause", loss.Cause);
  if (loss.Count) xml += Property("items", *loss.Count, "");
  return xml + Property("first", loss.First, "ns") + Property("last", loss.Last, "ns");
}

std::string ChannelTree(const RecordingInfo& info) {
  std::string xml;
  for (const RecordingInfo::Channel& channel : info.Channels) xml += Properties(channel);
  return Tree("channels", xml);
}

std::string LossTree(const RecordingInfo& info) {
  std::string xml;
  const size_t listed = std::min(info.Losses.size(), kMostLosses);
  for (size_t loss = 0; loss < listed; ++loss) {
    xml += Tree(std::to_string(loss + 1), Properties(info, info.Losses[loss]));
  }
  if (info.Losses.size() > listed) xml += Property("further", info.Losses.size() - listed, "");
  return Tree("losses", xml);
}

}  // namespace

std::string HeaderComment(const RecordingInfo& info) {
  return "<HDcomment><TX>" + EscapedForXml(TextForPeople(info)) + "</TX>\n<common_properties>\n" +
         Property("title", info.Title) + Property("tool", info.Tool) + Property("tool_version", info.ToolVersion) +
         Property("host", info.Host) + Property("system", info.System) + Property("machine", info.Machine) +
         ChannelTree(info) + LossTree(info) + "</common_properties></HDcomment>";
}

std::string HistoryComment(const RecordingInfo& info) {
  return "<FHcomment><TX>recorded</TX><tool_id>" + EscapedForXml(info.Tool) + "</tool_id><tool_vendor>" +
         EscapedForXml(info.ToolVendor) + "</tool_vendor><tool_version>" + EscapedForXml(info.ToolVersion) +
         "</tool_version></FHcomment>";
}

}  // namespace MDF

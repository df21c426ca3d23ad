#include "support/MdfDecoder.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>
#include <stdexcept>

namespace {

[[noreturn]] void Fail(const std::string& text) { throw std::runtime_error(text); }

template <class T>
T NumberAt(std::string_view bytes, uint64_t offset) {
  T value{};
  if (offset > bytes.size() || bytes.size() - offset < sizeof value) Fail("a field beyond the end");
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

std::string Inflated(std::string_view packed, uint64_t size) {
  if (size > 1ULL << 30) Fail("an absurd size before packing");
  std::string plain(size, '\0');
  z_stream zip{};
  if (inflateInit(&zip) != Z_OK) Fail("no memory to unpack");
  zip.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  zip.avail_in = static_cast<uInt>(packed.size());
  zip.next_out = reinterpret_cast<Bytef*>(plain.data());
  zip.avail_out = static_cast<uInt>(plain.size());
  const int done = inflate(&zip, Z_FINISH);
  const bool whole = done == Z_STREAM_END && zip.avail_out == 0 && zip.avail_in == 0;
  inflateEnd(&zip);
  if (!whole) Fail("packed data doesn't unpack to its size");
  return plain;
}

}  // namespace

// --- values ---

bool MdfDecoder::Group::Has(std::string_view channel) const {
  const std::string full = Event + "." + std::string(channel);
  return std::any_of(Channels.begin(), Channels.end(), [&](const Channel& c) { return c.Name == full; });
}

const MdfDecoder::Channel& MdfDecoder::Group::Find(std::string_view channel) const {
  const auto named = [&](const Channel& candidate) {
    const std::string_view name = candidate.Name;
    if (name == channel) return true;
    return name.size() == Event.size() + 1 + channel.size() && name.starts_with(Event) && name[Event.size()] == '.' &&
           name.ends_with(channel);
  };
  const auto found = std::find_if(Channels.begin(), Channels.end(), named);
  if (found == Channels.end()) Fail(Event + " has no channel " + std::string(channel));
  return *found;
}

std::string_view MdfDecoder::Group::Record(uint64_t record) const {
  if (record >= Count) Fail("no record " + std::to_string(record));
  return std::string_view(Data).substr(record * RecordSize + IdSize, RecordSize - IdSize);
}

uint64_t MdfDecoder::Group::Bits(uint64_t record, const Channel& channel) const {
  if (channel.Bits == 0 || channel.Bits > 64) Fail(channel.Name + " is no number");
  const std::string_view bytes = Record(record);
  const uint64_t first = channel.Bit / 8;
  const uint64_t shift = channel.Bit % 8;
  const uint64_t count = (shift + channel.Bits + 7) / 8;
  if (first + count > bytes.size()) Fail(channel.Name + " reaches beyond the record");
  unsigned __int128 value = 0;
  for (uint64_t byte = 0; byte < count; ++byte) {
    value |= static_cast<unsigned __int128>(static_cast<unsigned char>(bytes[first + byte])) << (8 * byte);
  }
  const uint64_t mask = channel.Bits == 64 ? ~0ULL : (1ULL << channel.Bits) - 1;
  return static_cast<uint64_t>(value >> shift) & mask;
}

uint64_t MdfDecoder::Group::Raw(uint64_t record, std::string_view name) const {
  const Channel& channel = Find(name);
  return channel.Kind == 6 ? record : Bits(record, channel);
}

double MdfDecoder::Group::Physical(uint64_t record, std::string_view name) const {
  const Channel& channel = Find(name);
  const uint64_t raw = Raw(record, name);
  if (channel.Type == DataType::kBytes) Fail(channel.Name + " is no number");
  const double value = channel.Type == DataType::kFloat ? std::bit_cast<double>(raw) : static_cast<double>(raw);
  if (channel.Convert.Type == 0) return value;
  if (channel.Convert.Type != 1 || channel.Convert.Values.size() != 2) Fail(channel.Name + " is not linear");
  return channel.Convert.Values[0] + channel.Convert.Values[1] * value;
}

std::string MdfDecoder::Group::Text(uint64_t record, std::string_view name) const {
  const Channel& channel = Find(name);
  const Conversion& convert = channel.Convert;
  if (convert.Type != 7 || convert.Texts.size() != convert.Values.size() + 1) Fail(channel.Name + " has no texts");
  const auto raw = static_cast<double>(Raw(record, name));
  const auto found = std::find(convert.Values.begin(), convert.Values.end(), raw);
  return convert.Texts[static_cast<size_t>(found - convert.Values.begin())].value_or("");
}

std::string MdfDecoder::Group::Bytes(uint64_t record, std::string_view name) const {
  const Channel& channel = Find(name);
  if (channel.Type != DataType::kBytes) Fail(channel.Name + " is no array");
  if (channel.Kind == 1) {
    const uint64_t offset = Bits(record, channel);
    const auto length = NumberAt<uint32_t>(channel.Signal, offset);
    if (channel.Signal.size() - offset - 4 < length) Fail(channel.Name + " points beyond its data");
    return channel.Signal.substr(offset + 4, length);
  }
  if (channel.Bit % 8 != 0 || channel.Bits % 8 != 0) Fail(channel.Name + " is not made of bytes");
  const std::string_view bytes = Record(record);
  if ((channel.Bit + channel.Bits) / 8 > bytes.size()) Fail(channel.Name + " reaches beyond the record");
  return std::string(bytes.substr(channel.Bit / 8, channel.Bits / 8));
}

// --- blocks ---

MdfDecoder::MdfDecoder(std::string bytes) : Bytes(std::move(bytes)) {
  if (Bytes.size() < 64 || (!Finalized() && Bytes.compare(0, 8, "UnFinMF ") != 0)) Fail("not an MDF file");
  if (NumberAt<uint16_t>(Bytes, 28) != 410) Fail("not version 4.10");
  const Block header = At(64, "##HD");
  Start = NumberAt<uint64_t>(header.Data, 0);
  HeaderComment = TextAt(header.Links.at(5));
  for (uint64_t at = header.Links.at(1); at != 0;) {
    const Block history = At(at, "##FH");
    HistoryComments.push_back(TextAt(history.Links.at(1)));
    at = history.Links.at(0);
  }
  ReadGroups(header.Links.at(0));
  ReadEvents(header.Links.at(4));
}

MdfDecoder::Block MdfDecoder::At(uint64_t position, std::string_view ids) const {
  const auto length = NumberAt<uint64_t>(Bytes, position + 8);
  const auto links = NumberAt<uint64_t>(Bytes, position + 16);
  Block block{std::string_view(Bytes).substr(position, 4), {}, {}};
  if (ids.find(block.Id) == std::string_view::npos)
    Fail("at " + std::to_string(position) + " is no " + std::string(ids));
  if (length > Bytes.size() - position || length < 24 || links > (length - 24) / 8) Fail("a block beyond the end");
  for (uint64_t link = 0; link < links; ++link)
    block.Links.push_back(NumberAt<uint64_t>(Bytes, position + 24 + 8 * link));
  block.Data = std::string_view(Bytes).substr(position + 24 + 8 * links, length - 24 - 8 * links);
  return block;
}

std::string MdfDecoder::TextAt(uint64_t position) const {
  if (position == 0) return "";
  const std::string_view text = At(position, "##TX ##MD").Data;
  return std::string(text.substr(0, text.find('\0')));
}

std::string MdfDecoder::Unpacked(const Block& block, std::string_view plain) const {
  if (block.Id != "##DZ") return std::string(block.Data);
  if (block.Data.substr(0, 2) != plain || NumberAt<uint8_t>(block.Data, 2) != 0) Fail("packed in an unknown way");
  const auto size = NumberAt<uint64_t>(block.Data, 8);
  const auto packed = NumberAt<uint64_t>(block.Data, 16);
  if (packed == 0) return std::string(block.Data.substr(24, size));
  return Inflated(block.Data.substr(24, packed), size);
}

std::string MdfDecoder::DataAt(uint64_t position, std::string_view plain) const {
  if (position == 0) return "";
  Block block = At(position, "##HL ##DL ##DZ ##" + std::string(plain));
  if (block.Id == "##HL") block = At(block.Links.at(0), "##DL");
  if (block.Id != "##DL") return Unpacked(block, plain);
  std::string all;
  while (true) {
    for (size_t link = 1; link < block.Links.size(); ++link) {
      if (NumberAt<uint64_t>(block.Data, 8 * link) != all.size()) Fail("a list gives a wrong offset");
      all += Unpacked(At(block.Links[link], "##DZ ##" + std::string(plain)), plain);
    }
    if (block.Links.at(0) == 0) return all;
    block = At(block.Links[0], "##DL");
  }
}

MdfDecoder::Conversion MdfDecoder::ConversionAt(uint64_t position) const {
  Conversion conversion;
  if (position == 0) return conversion;
  const Block block = At(position, "##CC");
  conversion.Type = NumberAt<uint8_t>(block.Data, 0);
  conversion.Unit = TextAt(block.Links.at(1));
  const auto references = NumberAt<uint16_t>(block.Data, 4);
  const auto values = NumberAt<uint16_t>(block.Data, 6);
  for (uint64_t value = 0; value < values; ++value) {
    conversion.Values.push_back(NumberAt<double>(block.Data, 24 + 8 * value));
  }
  for (size_t reference = 0; reference < references; ++reference) {
    const uint64_t target = block.Links.at(4 + reference);
    conversion.Texts.push_back(target != 0 ? std::optional(TextAt(target)) : std::nullopt);
  }
  return conversion;
}

// --- the tree ---

void MdfDecoder::ReadGroups(uint64_t position) {
  std::set<uint64_t> seen;
  while (position != 0) {
    if (!seen.insert(position).second) Fail("data groups in a circle");
    const Block data = At(position, "##DG");
    const Block group = At(data.Links.at(1), "##CG");
    if (group.Links.at(0) != 0) Fail("an unsorted data group");
    ReadGroup(data, group);
    position = data.Links.at(0);
  }
}

void MdfDecoder::ReadGroup(const Block& data, const Block& group) {
  Group& made = All.emplace_back();
  made.Acquisition = TextAt(group.Links.at(2));
  if (group.Links.at(3) != 0) {
    const Block source = At(group.Links[3], "##SI");
    made.Source = TextAt(source.Links.at(0));
    made.SourcePath = TextAt(source.Links.at(1));
    made.SourceType = NumberAt<uint8_t>(source.Data, 0);
    made.BusType = NumberAt<uint8_t>(source.Data, 1);
  }
  made.Count = NumberAt<uint64_t>(group.Data, 8);
  made.IdSize = NumberAt<uint8_t>(data.Data, 0);
  made.RecordSize = made.IdSize + NumberAt<uint32_t>(group.Data, 24) + NumberAt<uint32_t>(group.Data, 28);
  made.Data = DataAt(data.Links.at(2), "DT");
  if (made.RecordSize != 0 && made.Data.size() / made.RecordSize < made.Count) Fail("fewer records than announced");
  ReadChannels(group.Links.at(1), made);
}

void MdfDecoder::ReadChannels(uint64_t position, Group& group) {
  std::set<uint64_t> seen;
  while (position != 0) {
    if (!seen.insert(position).second) Fail("channels in a circle");
    const Block block = At(position, "##CN");
    Channel channel;
    channel.Name = TextAt(block.Links.at(2));
    channel.Convert = ConversionAt(block.Links.at(4));
    channel.Unit = TextAt(block.Links.at(6));
    channel.Comment = TextAt(block.Links.at(7));
    channel.Kind = NumberAt<uint8_t>(block.Data, 0);
    channel.Type = static_cast<DataType>(NumberAt<uint8_t>(block.Data, 2));
    channel.Bit = 8ULL * NumberAt<uint32_t>(block.Data, 4) + NumberAt<uint8_t>(block.Data, 3);
    channel.Bits = NumberAt<uint32_t>(block.Data, 8);
    if (channel.Kind == 1) channel.Signal = DataAt(block.Links.at(5), "SD");
    if (block.Links.at(1) != 0 && group.Event.empty()) group.Event = channel.Name;
    group.Channels.push_back(std::move(channel));
    ReadChannels(block.Links.at(1), group);
    position = block.Links.at(0);
  }
}

void MdfDecoder::ReadEvents(uint64_t position) {
  std::map<uint64_t, size_t> indexes;
  while (position != 0) {
    if (!indexes.emplace(position, Marks.size()).second) Fail("events in a circle");
    const Block block = At(position, "##EV");
    Event mark;
    mark.Type = NumberAt<uint8_t>(block.Data, 0);
    mark.Range = NumberAt<uint8_t>(block.Data, 2);
    mark.Cause = NumberAt<uint8_t>(block.Data, 3);
    mark.Name = TextAt(block.Links.at(3));
    mark.Time = NumberAt<int64_t>(block.Data, 16);
    mark.Scopes = NumberAt<uint32_t>(block.Data, 8);
    for (size_t scope = 0; scope < mark.Scopes; ++scope) {
      mark.ScopeIds.emplace_back(At(block.Links.at(5 + scope), "##DG ##CG ##CN").Id);
    }
    if (block.Links.at(2) != 0) mark.BeginsAt = indexes.at(block.Links[2]);
    Marks.push_back(std::move(mark));
    position = block.Links.at(0);
  }
}

const MdfDecoder::Group& MdfDecoder::Find(std::string_view bus, std::string_view event) const {
  const auto found = std::find_if(All.begin(), All.end(),
                                  [&](const Group& group) { return group.Acquisition == bus && group.Event == event; });
  if (found == All.end()) Fail("no " + std::string(event) + " of " + std::string(bus));
  return *found;
}

#include "support/StrictMdfReader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <fstream>

using mdf_format::BlockShape;
using mdf_format::LinkShape;
using mdf_format::Use;

namespace {

constexpr uint64_t kIdentification = 64;
constexpr uint64_t kHeader = 24;
constexpr uint64_t kMostUnpacked = 1ULL << 30;  // a test's file holds no more; a broken length must not take the memory

bool AllZero(std::string_view bytes) { return bytes.find_first_not_of('\0') == std::string_view::npos; }

std::optional<std::string> Inflate(std::string_view packed, uint64_t size) {
  if (size > kMostUnpacked) return std::nullopt;
  std::string plain(size + 1, '\0');  // one more, so that a longer stream is noticed
  uLongf plainSize = plain.size();
  uLong packedSize = packed.size();
  const int done = uncompress2(reinterpret_cast<Bytef*>(plain.data()), &plainSize,
                               reinterpret_cast<const Bytef*>(packed.data()), &packedSize);
  if (done != Z_OK || packedSize != packed.size() || plainSize != size) return std::nullopt;
  plain.resize(size);
  return plain;
}

std::string Name(std::string_view id, uint64_t position) { return std::string(id) + " at " + std::to_string(position); }

}  // namespace

StrictMdfReader::StrictMdfReader(std::string bytes, Options options) : Bytes(std::move(bytes)), Wanted(options) {}

std::string StrictMdfReader::Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) return "";
  std::string bytes(static_cast<size_t>(file.tellg()), '\0');
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(file.gcount()));
  return bytes;
}

uint64_t StrictMdfReader::Number(std::string_view data, size_t offset, size_t size) {
  uint64_t value = 0;
  if (size <= sizeof value && offset <= data.size() && size <= data.size() - offset) {
    std::memcpy(&value, data.data() + offset, size);
  }
  return value;
}

void StrictMdfReader::Problem(uint64_t position, const std::string& text) {
  const auto found = Found.find(position);
  Problems.push_back(Name(found != Found.end() ? found->second.Id : "block", position) + ": " + text);
}

std::string StrictMdfReader::Report() const {
  std::string all;
  for (const std::string& problem : Problems) all += problem + "\n";
  return all;
}

const StrictMdfReader::BlockView& StrictMdfReader::At(uint64_t position) const {
  static const BlockView kNothing;
  const auto found = Found.find(position);
  return found != Found.end() ? found->second : kNothing;
}

std::vector<uint64_t> StrictMdfReader::Of(std::string_view kind) const {
  std::vector<uint64_t> positions;
  for (const auto& [position, block] : Found) {
    if (std::string_view(block.Id).substr(2) == kind) positions.push_back(position);
  }
  return positions;
}

std::string StrictMdfReader::Text(uint64_t position) const {
  const std::string_view data = At(position).Data;
  return std::string(data.substr(0, data.find('\0')));
}

void StrictMdfReader::ReadFile() {
  CheckIdentification();
  Walk(kIdentification);
  if (Found.contains(kIdentification) && At(kIdentification).Id != "##HD") {
    Problem(kIdentification, "no header block behind the identification");
  }
  Finish(kIdentification);
}

void StrictMdfReader::ReadBlocks(const std::vector<uint64_t>& roots, uint64_t begin) {
  for (const uint64_t root : roots) Walk(root);
  Finish(begin);
}

void StrictMdfReader::CheckIdentification() {
  const std::string_view id = std::string_view(Bytes).substr(0, kIdentification);
  const auto complain = [&](const std::string& text) { Problems.push_back("identification: " + text); };
  if (id.size() < kIdentification) return complain("shorter than 64 bytes");
  const std::string_view file = id.substr(0, 8);
  Marked = file == "MDF     ";
  if (!Marked && file != "UnFinMF ") complain("unknown file id");
  if (id.substr(8, 8) != "4.10    ") complain("unknown format id");
  if (Number(id, 28, 2) != 410) complain("version is not 410");
  if (!AllZero(id.substr(24, 4)) || !AllZero(id.substr(30, 30))) complain("reserved bytes are not zero");
  if (Marked && !AllZero(id.substr(60))) complain("finalized, but with unfinalized flags");
}

// --- the walk ---

void StrictMdfReader::Walk(uint64_t root) {
  if (Found.contains(root) || !Enter(root)) return;
  std::vector<Visit> path{{root, 0}};
  OnPath.insert(root);
  while (!path.empty()) {
    const uint64_t at = path.back().Position;
    const BlockView& block = Found.at(at);
    if (path.back().NextLink == block.Links.size()) {
      OnPath.erase(at);
      path.pop_back();
      continue;
    }
    const size_t link = path.back().NextLink++;
    if (!Follow(at, link)) continue;
    path.push_back({block.Links[link], 0});
    OnPath.insert(block.Links[link]);
  }
}

/// Takes in the block at a position. False when there is none.
bool StrictMdfReader::Enter(uint64_t position) {
  if (Refused.contains(position)) return false;
  const auto refuse = [&](const std::string& text) {
    Problem(position, text);
    Refused.insert(position);
    return false;
  };
  if (position % 8 != 0) return refuse("not at a multiple of 8");
  if (position > Bytes.size() || Bytes.size() - position < kHeader) return refuse("header reaches beyond the file");
  const std::string_view rest = std::string_view(Bytes).substr(position);
  BlockView block;
  block.Id = std::string(rest.substr(0, 4));
  const BlockShape* shape = mdf_format::ShapeOf(block.Id);
  if (shape == nullptr) return refuse("unknown block id");
  block.Length = Number(rest, 8, 8);
  const uint64_t links = Number(rest, 16, 8);
  if (block.Length > rest.size()) return refuse(block.Id + " is longer than the file");
  if (block.Length < kHeader || links > (block.Length - kHeader) / 8) return refuse(block.Id + " is too short");
  for (uint64_t link = 0; link < links; ++link) block.Links.push_back(Number(rest, kHeader + 8 * link, 8));
  block.Data = rest.substr(kHeader + 8 * links, block.Length - kHeader - 8 * links);
  const BlockView& kept = Found.emplace(position, std::move(block)).first->second;
  if (Number(rest, 4, 4) != 0) Problem(position, "reserved header bytes are not zero");
  CheckData(position, kept, *shape);
  return true;
}

/// Judges one link. True when its target was not visited before and must be walked now.
bool StrictMdfReader::Follow(uint64_t from, size_t link) {
  const BlockView& block = Found.at(from);
  const BlockShape& shape = *mdf_format::ShapeOf(block.Id);
  const LinkShape* use = mdf_format::LinkAt(shape, link, block.Data);
  const uint64_t target = block.Links[link];
  if (use == nullptr) return false;  // the number of links was complained about
  if (target == 0) {
    const bool needed = block.Id == "##HL" || (block.Id == "##DL" && link > 0);
    if (needed) Problem(from, "link " + std::to_string(link) + " (" + std::string(use->Name) + ") is null");
    return false;
  }
  if (!TargetInFile(from, link, target) || use->How == Use::kRefer) return false;
  const bool known = Found.contains(target);
  if (!known && !Enter(target)) {
    Problem(from, "link " + std::to_string(link) + " (" + std::string(use->Name) + ") leads to no block");
    return false;
  }
  CheckUse(from, *use, target);
  return !known;
}

bool StrictMdfReader::TargetInFile(uint64_t from, size_t link, uint64_t target) {
  if (target >= kIdentification && target < Bytes.size()) return true;
  if (target > 0 && target < kIdentification && At(from).Id != "##HD" && Found.contains(target)) return true;
  Problem(from, "link " + std::to_string(link) + " leads out of the file");
  return false;
}

void StrictMdfReader::CheckUse(uint64_t from, const LinkShape& shape, uint64_t target) {
  const std::string link = "link \"" + std::string(shape.Name) + "\" ";
  const std::string& id = At(target).Id;
  if (!mdf_format::MayPointTo(shape, id)) Problem(from, link + "points to a " + id);
  if (OnPath.contains(target)) {
    Problem(from, link + "closes a circle with " + Name(id, target));
    return;
  }
  if (shape.How != Use::kOwn) return;
  const auto [owner, first] = Owner.emplace(target, from);
  if (!first) {
    Problem(from, link + "takes " + Name(id, target) + ", which belongs to " +
                      Name(At(owner->second).Id, owner->second) + " already");
  }
}

// --- one block ---

void StrictMdfReader::CheckData(uint64_t position, const BlockView& block, const BlockShape& shape) {
  const bool more = !shape.Further.Targets.empty();
  if (block.Links.size() < shape.Links.size() || (!more && block.Links.size() > shape.Links.size())) {
    Problem(position, "has " + std::to_string(block.Links.size()) + " links");
  }
  if (block.Data.size() < shape.DataSize || (!shape.MoreData && block.Data.size() > shape.DataSize)) {
    Problem(position, "data section of " + std::to_string(block.Data.size()) + " bytes");
    return;
  }
  for (const mdf_format::Range& range : shape.Reserved) {
    if (!AllZero(block.Data.substr(range.First, range.Size))) Problem(position, "reserved bytes are not zero");
  }
  CheckText(position, block);
  CheckCounts(position, block);
  CheckAttachment(position, block);
  CheckPacked(position, block);
}

void StrictMdfReader::CheckText(uint64_t position, const BlockView& block) {
  if (block.Id != "##TX" && block.Id != "##MD") return;
  const size_t end = block.Data.find('\0');
  if (end == std::string_view::npos) return Problem(position, "text without an end");
  if (!AllZero(block.Data.substr(end))) Problem(position, "more behind the end of the text");
  if (block.Data.size() % 8 != 0) Problem(position, "text is not padded to a multiple of 8");
}

void StrictMdfReader::CheckCounts(uint64_t position, const BlockView& block) {
  const uint64_t links = block.Links.size();
  if (block.Id == "##CC") {
    const uint64_t values = Number(block.Data, 6, 2);
    if (Number(block.Data, 4, 2) + 4 != links) Problem(position, "reference count and links differ");
    if (24 + 8 * values != block.Data.size()) Problem(position, "value count and data section differ");
  }
  if (block.Id == "##EV" && Number(block.Data, 8, 4) + Number(block.Data, 12, 2) + 5 != links) {
    Problem(position, "scope and attachment counts and links differ");
  }
  if (block.Id == "##DL") {
    const uint64_t count = Number(block.Data, 4, 4);
    if (count + 1 != links) Problem(position, "block count and links differ");
    if (8 + 8 * count != block.Data.size()) Problem(position, "block count and offsets differ");
  }
}

void StrictMdfReader::CheckAttachment(uint64_t position, const BlockView& block) {
  if (block.Id != "##AT") return;
  const uint64_t flags = Number(block.Data, 0, 2);
  const uint64_t original = Number(block.Data, 24, 8);
  const std::string_view embedded = block.Data.substr(40);
  if (Number(block.Data, 32, 8) != embedded.size()) Problem(position, "embedded size and data differ");
  if (((flags & 1) != 0) != !embedded.empty()) Problem(position, "embedded flag and data differ");
  if ((flags & 2) != 0) {
    if (!Inflate(embedded, original)) Problem(position, "embedded data doesn't unpack to its original size");
  } else if (!embedded.empty() && embedded.size() != original) {
    Problem(position, "embedded and original size differ");
  }
}

void StrictMdfReader::CheckPacked(uint64_t position, const BlockView& block) {
  if (block.Id != "##DZ") return;
  const std::string_view org = block.Data.substr(0, 2);
  const uint64_t plain = Number(block.Data, 8, 8);
  const uint64_t packed = Number(block.Data, 16, 8);
  if (org != "DT" && org != "SD") Problem(position, "packs neither DT nor SD");
  if (packed == 0) {
    ++RawPacked;
    if (block.Data.size() - 24 != plain) Problem(position, "unpacked bytes and original length differ");
    return;
  }
  if (block.Data.size() - 24 != packed) Problem(position, "packed length and data section differ");
  if (!Unpacked(block)) Problem(position, "doesn't unpack to its original length");
}

// --- data lists ---

uint64_t StrictMdfReader::LinkOf(const BlockView& block, size_t index) {
  return index < block.Links.size() ? block.Links[index] : 0;
}

std::optional<std::string> StrictMdfReader::Unpacked(const BlockView& block) const {
  if (block.Id != "##DZ") return std::string(block.Data);
  if (block.Data.size() < 24) return std::nullopt;
  if (Number(block.Data, 16, 8) == 0) return std::string(block.Data.substr(24));
  return Inflate(block.Data.substr(24), Number(block.Data, 8, 8));
}

std::string StrictMdfReader::DataBehind(uint64_t position) const {
  const BlockView& block = At(position);
  if (block.Id == "##HL") return At(LinkOf(block, 0)).Id == "##DL" ? DataBehind(LinkOf(block, 0)) : "";
  if (block.Id != "##DL") return Unpacked(block).value_or("");
  std::string all;
  std::set<uint64_t> seen;
  for (uint64_t list = position; At(list).Id == "##DL" && seen.insert(list).second; list = LinkOf(At(list), 0)) {
    for (size_t link = 1; link < At(list).Links.size(); ++link) {
      all += Unpacked(At(LinkOf(At(list), link))).value_or("");
    }
  }
  return all;
}

/// The blocks of all lists of a chain against the kind of data and the offsets that the lists state.
void StrictMdfReader::CheckList(uint64_t first, std::string_view plain, bool packed) {
  uint64_t offset = 0;
  std::set<uint64_t> seen;
  for (uint64_t at = first; At(at).Id == "##DL" && seen.insert(at).second; at = LinkOf(At(at), 0)) {
    const BlockView& list = At(at);
    for (size_t link = 1; link < list.Links.size(); ++link) {
      const BlockView& block = At(list.Links[link]);
      const std::string number = "block " + std::to_string(link);
      if (Number(list.Data, 8 * link, 8) != offset) Problem(at, "offset of " + number + " is wrong");
      // A list with packed blocks may have plain ones among them.
      const bool known = block.Id == "##" + std::string(plain) || (packed && block.Id == "##DZ");
      if (!known) Problem(at, number + " is a " + block.Id);
      if (block.Id == "##DZ" && block.Data.substr(0, 2) != plain) Problem(at, number + " packs something else");
      offset += block.Id == "##DZ" ? Number(block.Data, 8, 8) : block.Data.size();
    }
  }
}

void StrictMdfReader::CheckDataLink(uint64_t position, const BlockView& block) {
  const bool group = block.Id == "##DG";
  const size_t link = group ? 2 : 5;
  if ((!group && block.Id != "##CN") || block.Links.size() <= link) return;
  const std::string_view plain = group ? "DT" : "SD";
  const uint64_t target = block.Links[link];
  const BlockView& data = At(target);
  if (data.Id == "##DL") CheckList(target, plain, false);
  if (data.Id == "##HL" && !data.Links.empty()) CheckList(data.Links[0], plain, true);
  if (data.Id == "##DZ" && data.Data.substr(0, 2) != plain) Problem(position, "packed data of another kind");
  if (group && (Wanted.Records || Wanted.Unfinalized)) CheckRecords(position, block);
}

void StrictMdfReader::CheckRecords(uint64_t position, const BlockView& group) {
  const BlockView& channels = At(LinkOf(group, 1));
  const bool sorted = channels.Id == "##CG" && LinkOf(channels, 0) == 0;
  if (!sorted) return;
  const uint64_t record = Number(group.Data, 0, 1) + Number(channels.Data, 24, 4) + Number(channels.Data, 28, 4);
  const uint64_t expected = Number(channels.Data, 8, 8) * record;
  const uint64_t stored = DataBehind(LinkOf(group, 2)).size();
  if (stored < expected || (stored > expected && !Wanted.Unfinalized)) {
    Problem(position, std::to_string(stored) + " bytes of records, " + std::to_string(expected) + " announced");
  }
}

// --- the file as a whole ---

void StrictMdfReader::Finish(uint64_t begin) {
  for (const auto& [position, block] : Found) {
    const BlockShape& shape = *mdf_format::ShapeOf(block.Id);
    for (size_t link = 0; link < block.Links.size(); ++link) {
      const LinkShape* use = mdf_format::LinkAt(shape, link, block.Data);
      const uint64_t target = block.Links[link];
      if (use == nullptr || use->How != Use::kRefer || target == 0) continue;
      const std::string name = "link \"" + std::string(use->Name) + "\" ";
      if (!Found.contains(target)) {
        Problem(position, name + "refers to no block of the tree");
      } else if (!mdf_format::MayPointTo(*use, At(target).Id)) {
        Problem(position, name + "refers to a " + At(target).Id);
      }
    }
    CheckDataLink(position, block);
  }
  CheckLayout(begin);
}

void StrictMdfReader::CheckLayout(uint64_t begin) {
  uint64_t end = begin;
  for (const auto& [position, block] : Found) {
    if (position < end) {
      Problem(position, "overlaps the block before it");
    } else {
      CheckGap(end, position);
    }
    end = std::max(end, position + block.Length);
  }
  CheckGap(end, Bytes.size());
}

void StrictMdfReader::CheckGap(uint64_t begin, uint64_t end) {
  if (Wanted.OldBlocks || begin >= end) return;
  if (!AllZero(std::string_view(Bytes).substr(begin, end - begin))) {
    Problems.push_back("bytes from " + std::to_string(begin) + " to " + std::to_string(end) +
                       " belong to no block and are not zero");
  }
}

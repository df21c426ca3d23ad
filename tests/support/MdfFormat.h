// What the strict reader expects of each kind of block: written down from the format, not from the writer.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace mdf_format {

/// How a link may be used.
enum class Use {
  kOwn,    // the target belongs to this one place in the tree
  kShare,  // the target may be linked from several places
  kRefer   // points to something that stands elsewhere in the tree
};

struct LinkShape {
  std::string_view Name;
  std::string_view Targets;  // ids without "##", separated by blanks
  Use How;
};

struct Range {
  uint64_t First;
  uint64_t Size;
};

struct BlockShape {
  std::string_view Id;
  std::vector<LinkShape> Links;
  LinkShape Further;            // links after the fixed ones; no targets: none allowed
  uint64_t DataSize;            // bytes of the fixed part
  bool MoreData;                // more may follow it
  std::vector<Range> Reserved;  // bytes of the data section that are zero
};

inline const std::vector<BlockShape>& Shapes() {
  static const LinkShape kNone{"", "", Use::kOwn};
  static const LinkShape kText{"text", "TX MD", Use::kShare};
  static const std::vector<BlockShape> kShapes = {
      {"HD",
       {{"first data group", "DG", Use::kOwn},
        {"first file history", "FH", Use::kOwn},
        {"first hierarchy", "CH", Use::kOwn},
        {"first attachment", "AT", Use::kOwn},
        {"first event", "EV", Use::kOwn},
        kText},
       kNone,
       32,
       false,
       {{15, 1}}},
      {"FH", {{"next history", "FH", Use::kOwn}, kText}, kNone, 16, false, {{13, 3}}},
      {"TX", {}, kNone, 0, true, {}},
      {"MD", {}, kNone, 0, true, {}},
      {"DG",
       {{"next data group", "DG", Use::kOwn},
        {"first channel group", "CG", Use::kOwn},
        {"data", "DT DZ DL HL", Use::kOwn},
        kText},
       kNone,
       8,
       false,
       {{1, 7}}},
      {"CG",
       {{"next channel group", "CG", Use::kOwn},
        {"first channel", "CN", Use::kOwn},
        kText,
        {"source", "SI", Use::kShare},
        {"first reduction", "SR", Use::kOwn},
        kText},
       kNone,
       32,
       false,
       {{20, 4}}},
      {"CN",
       {{"next channel", "CN", Use::kOwn},
        {"composition", "CN", Use::kOwn},
        kText,
        {"source", "SI", Use::kShare},
        {"conversion", "CC", Use::kShare},
        {"data", "SD DZ DL HL", Use::kOwn},
        kText,
        kText},
       kNone,
       72,
       false,
       {{21, 1}}},
      {"CC", {kText, kText, kText, {"inverse", "CC", Use::kShare}}, {"reference", "TX CC", Use::kShare}, 24, true, {}},
      {"SI", {kText, kText, kText}, kNone, 8, false, {{3, 5}}},
      {"EV",
       {{"next event", "EV", Use::kOwn},
        {"parent", "EV", Use::kRefer},
        {"range begin", "EV", Use::kRefer},
        kText,
        kText},
       {"scope", "DG CG CN", Use::kRefer},
       32,
       false,
       {{5, 3}}},
      {"AT", {{"next attachment", "AT", Use::kOwn}, kText, kText, kText}, kNone, 40, true, {{4, 4}}},
      {"DL", {{"next list", "DL", Use::kOwn}}, {"data", "DT SD DZ", Use::kOwn}, 8, true, {{0, 4}}},
      {"HL", {{"first list", "DL", Use::kOwn}}, kNone, 8, false, {{0, 8}}},
      {"DT", {}, kNone, 0, true, {}},
      {"SD", {}, kNone, 0, true, {}},
      {"DZ", {}, kNone, 24, true, {{2, 6}}},
  };
  return kShapes;
}

/// The shape of the block id "##XX"; null for an unknown one.
inline const BlockShape* ShapeOf(std::string_view id) {
  for (const BlockShape& shape : Shapes()) {
    if (id.size() == 4 && id.substr(0, 2) == "##" && id.substr(2) == shape.Id) return &shape;
  }
  return nullptr;
}

/// The link `index` of a block with this data section; null when the block has none there.
inline const LinkShape* LinkAt(const BlockShape& shape, size_t index, std::string_view data) {
  constexpr size_t kChannelData = 5;
  constexpr char kMaximumLength = 5;
  static const LinkShape kSizeChannel{"size channel", "CN", Use::kRefer};
  if (shape.Id == "CN" && index == kChannelData && data.starts_with(kMaximumLength)) return &kSizeChannel;
  if (index < shape.Links.size()) return &shape.Links[index];
  return shape.Further.Targets.empty() ? nullptr : &shape.Further;
}

inline bool MayPointTo(const LinkShape& link, std::string_view id) {
  return id.size() == 4 && link.Targets.find(id.substr(2)) != std::string_view::npos;
}

}  // namespace mdf_format

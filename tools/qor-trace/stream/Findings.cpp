#include "stream/Findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace client {

const char* Word(FindingKind kind) {
  switch (kind) {
    case FindingKind::LeftOut:
      return "left_out";
    case FindingKind::Unread:
      return "unread";
    case FindingKind::CutOff:
      return "cut_off";
    case FindingKind::Odd:
      return "odd";
  }
  return "";
}

void Findings::Add(FindingKind kind, const std::string& what, const std::string& where, unsigned long count) {
  const auto same = [&](const Finding& known) { return known.Kind == kind && known.What == what; };
  auto found = std::find_if(Known.begin(), Known.end(), same);
  if (found == Known.end() && Known.size() >= kMost) {
    const auto kin =
        std::find_if(Known.rbegin(), Known.rend(), [&](const Finding& known) { return known.Kind == kind; });
    if (kin != Known.rend()) found = std::prev(kin.base());
  }
  if (found == Known.end()) found = Known.insert(Known.end(), Finding{kind, what, 0, where});
  found->Count += count;
}

void Findings::AtByte(FindingKind kind, const std::string& what, unsigned long byte) {
  Add(kind, what, fmt::format("byte {}", byte));
}

void Findings::AtLine(FindingKind kind, const std::string& what, unsigned long line) {
  Add(kind, what, fmt::format("line {}", line));
}

void Findings::Append(const Findings& others) {
  for (const Finding& other : others.Known) Add(other.Kind, other.What, other.Where, other.Count);
}

bool Findings::Lossy() const {
  return std::any_of(Known.begin(), Known.end(), [](const Finding& finding) {
    return finding.Kind == FindingKind::Unread || finding.Kind == FindingKind::CutOff;
  });
}

}  // namespace client

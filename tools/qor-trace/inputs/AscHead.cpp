#include "inputs/AscHead.h"

#include "inputs/TextScan.h"

namespace client {

namespace {

/// Some write "Triggerblock", others "TriggerBlock".
bool TakeBlock(TextScan& scan, std::string_view word) {
  return scan.Take(word) && (scan.Take("Triggerblock") || scan.Take("TriggerBlock"));
}

}  // namespace

bool AscHead::Take(std::string_view line) {
  TextScan scan(line);
  if (scan.Take("//")) {
    if (scan.Take("version 8.1.0") && scan.AtEnd()) Version = true;
    return true;
  }
  if (scan.Take("date ")) {
    if (!Start) Start = ReadAscDate(scan.Rest());
    return true;
  }
  if (scan.Take("internal events logged")) {
    InternalEvents = true;
    return true;
  }
  if (TakeBlock(scan, "Begin")) {
    if (!BlockBegan) BlockBegan = ReadAscDate(scan.Rest());
    return InBlock = true;
  }
  if (TakeBlock(scan, "End")) {
    InBlock = false;
    return true;
  }
  return TakeBase(line) || scan.Take("no internal events logged");
}

/// "base hex  timestamps absolute", on one line or two.
bool AscHead::TakeBase(std::string_view line) {
  TextScan scan(line);
  bool known = false;
  if (scan.Take("base ")) {
    if (scan.Take("dec"))
      Numbers = 10;
    else if (scan.Take("hex"))
      Numbers = 16;
    else
      return false;
    known = true;
  }
  if (scan.Take("timestamps ")) {
    if (!scan.Take("absolute") && !scan.Take("relative")) return false;
    Relative = line.find("relative") != std::string_view::npos;
    known = true;
  }
  return known;
}

}  // namespace client

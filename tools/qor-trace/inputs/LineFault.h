// What is the matter with a line of text that is no record.
#pragma once

#include "stream/Findings.h"

namespace client {

struct LineFault {
  FindingKind Kind = FindingKind::Unread;
  const char* What = "";  // for findings
};

}  // namespace client

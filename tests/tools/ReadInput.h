// An input read to its end.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "inputs/Inputs.h"
#include "support/TemporaryDirectory.h"
#include "system/Failure.h"
#include "tools/ClientEntries.h"

namespace client {

/// What a reader made of an input.
struct ReadOut {
  std::vector<Bytes> Records;
  Description Known;  // at the end
  std::vector<Finding> Found;
  std::string Failed;  // the sentence of a failure

  [[nodiscard]] RecordView At(size_t index) const { return ViewOf(Records.at(index)); }
};

inline ReadOut ReadToEnd(Reader& reader) {
  ReadOut out;
  Collector records;
  try {
    (void)ReadAll(reader, records);
  } catch (const Failure& failure) {
    out.Failed = failure.what();
  }
  out.Records = std::move(records.Records);
  out.Known = reader.Describe();
  out.Found = reader.Found().All();
  return out;
}

/// Writes a file into the working directory and reads it, whatever its format.
inline ReadOut ReadBytes(const Bytes& file, const std::string& name = "in") {
  test::WriteFile(name, file);
  const auto reader = OpenInput(name);
  return ReadToEnd(*reader);
}

/// The number of findings with these words; 0 without any.
inline unsigned long CountOf(const ReadOut& out, FindingKind kind, const std::string& what) {
  for (const Finding& finding : out.Found)
    if (finding.Kind == kind && finding.What == what) return finding.Count;
  return 0;
}

}  // namespace client

// Text recordings, read to their ends.
#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "inputs/Inputs.h"
#include "support/TemporaryDirectory.h"
#include "tools/ClientEntries.h"

namespace client {

/// What an input holds.
struct WholeInput {
  std::vector<Bytes> Records;
  Description Known;  // at its end
  std::vector<Finding> Found;

  /// "unread a CAN line, line 12" and so on, the count in front where there are several.
  [[nodiscard]] std::vector<std::string> Findings() const {
    std::vector<std::string> texts;
    for (const Finding& finding : Found) {
      const std::string count = finding.Count == 1 ? "" : std::to_string(finding.Count) + " ";
      texts.push_back(count + Word(finding.Kind) + ": " + finding.What + ", " + finding.Where);
    }
    return texts;
  }
};

/// Failure: as the reader.
inline WholeInput ReadWhole(const std::string& path) {
  const auto reader = OpenInput(path);
  Collector collector;
  (void)ReadAll(*reader, collector);
  return {collector.Records, reader->Describe(), reader->Found().All()};
}

inline WholeInput ReadText(const std::string& text, const std::string& name) {
  const std::string path = (std::filesystem::current_path() / name).string();
  std::ofstream(path, std::ios::binary) << text;
  return ReadWhole(path);
}

}  // namespace client

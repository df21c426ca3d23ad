// What the tests of the ASC writer share: a directory of their own, a fixed date, entries in and text out.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "export/AscHeaderClock.h"
#include "export/Qor_Trace_Export_ASC.h"
#include "support/EntryBuilder.h"
#include "support/ErrorReports.h"

namespace test {

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) ADD_FAILURE() << "no file " << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Tests run in a new, empty working directory, at Sun Nov 15 09:00:19 2026 UTC.
class AscTest : public testing::Test {
 protected:
  static constexpr std::time_t kDate = 1794733219;
  static constexpr const char* kDateLine = "date Sun Nov 15 09:00:19 2026\n";
  static constexpr const char* kBegin = "Begin Triggerblock Sun Nov 15 09:00:19 2026\n";
  static constexpr const char* kEnd = "End Triggerblock\n";

  AscTest() : Home(std::filesystem::current_path()) {
    std::string pattern = testing::TempDir() + "asc-XXXXXX";
    Directory = mkdtemp(pattern.data());
    std::filesystem::current_path(Directory);
    setenv("TZ", "UTC", 1);
    tzset();
    AscHeaderClock = [] { return kDate; };
    TakeErrorReports();
  }
  ~AscTest() override {
    AscHeaderClock = [] { return std::time(nullptr); };
    std::filesystem::current_path(Home);
    std::filesystem::remove_all(Directory);
  }

  /// The header of a file; `previousLine` is the line of a series about the file before.
  static std::string Header(unsigned int flags, const std::string& previousLine = "") {
    return std::string(kDateLine) + ((flags & QOR_TRACE_ASC_DECIMAL) != 0 ? "base dec  " : "base hex  ") +
           ((flags & QOR_TRACE_ASC_RELATIVE) != 0 ? "timestamps relative\n" : "timestamps absolute\n") +
           "internal events logged\n// version 8.1.0\n" + previousLine + kBegin;
  }

  /// The file "log.asc" that the entries become.
  static std::string Written(unsigned int flags, const std::vector<EntryPtr>& entries, unsigned long startTime = 0) {
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", startTime, 0);
      for (const auto& entry : entries) writer.WriteEntry(*entry->GetEntry());
    }
    return ReadFile("log.asc");
  }

  /// What stands between header and trailer of a file.
  static std::string Body(const std::string& text, const std::string& header) {
    EXPECT_EQ(text.substr(0, header.size()), header);
    const std::string end = kEnd;
    if (text.size() < header.size() + end.size()) return "no whole file: " + text;
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    return text.substr(header.size(), text.size() - header.size() - end.size());
  }

  /// The lines that the entries become.
  static std::string Lines(unsigned int flags, const std::vector<EntryPtr>& entries, unsigned long startTime = 0) {
    return Body(Written(flags, entries, startTime), Header(flags));
  }
  static std::string Lines(const std::vector<EntryPtr>& entries) { return Lines(0, entries); }

  /// The lines that a malformed record becomes.
  static std::string LinesOf(const Record& record, unsigned int flags = 0) {
    {
      Qor_Trace_Export_ASC writer(flags, "log.asc", 0, 0);
      writer.WriteEntry(record.Get());
    }
    return Body(ReadFile("log.asc"), Header(flags));
  }

 private:
  std::filesystem::path Home;
  std::filesystem::path Directory;
};

}  // namespace test

#include "outputs/AscFiles.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "system/Compression.h"
#include "system/Failure.h"
#include "system/Units.h"

namespace client {

namespace {

unsigned long CountLines(std::string_view text) {
  return static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

std::optional<SeriesName> AscSeriesOf(const std::string& path, const AscOptions& options) {
  if (path.empty() || !(options.Split || options.Live)) return std::nullopt;
  SeriesName series{path.substr(0, WithoutCompression(path).rfind('.')), ""};
  series.Ending = path.substr(series.Stem.size());
  RefuseLeftOver({series.Stem, series.Ending + ".part"});
  return series;
}

void AscFiles::Begin(const std::string& name) {
  if (Current() != nullptr) BytesBefore += Current()->Size();
  Bytes = Lines = 0;
  if (!Sentence.empty()) return;
  try {
    auto file = std::make_unique<OutputFile>(ToStandardOutput ? "" : name);
    (First ? Later : First) = std::move(file);
    if (ExistingAreKept) Current()->KeepExisting();
  } catch (const Failure& failure) {
    Sentence = failure.what();
  }
}

void AscFiles::Write(std::string_view text) {
  if (GivenUp || !Usable()) return;
  const size_t done = Current()->Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (done < text.size()) return Fail(errno, text.substr(0, done));
  Bytes += done;
  Lines += CountLines(text);
}

/// @param written  what reached the file of the text that failed
void AscFiles::Fail(int error, std::string_view written) {
  const std::string_view whole = written.substr(0, written.rfind('\n') + 1);  // nothing without a line feed
  const unsigned long lines = Lines + CountLines(whole);
  Current()->Fail(error, Bytes + whole.size(), lines, FormatCount(lines, "line", "lines"));
}

void AscFiles::End() {
  if (GivenUp || !Usable()) return;
  if (!Current()->Complete()) {
    Sentence = Current()->Error();
    return;
  }
  if (!ToStandardOutput) CompleteNames.push_back(Current()->Path());
}

void AscFiles::Discard() {
  GiveUp();
  if (Current() != nullptr) Current()->Discard();
}

void AscFiles::KeepExisting() {
  ExistingAreKept = true;
  if (Current() != nullptr) Current()->KeepExisting();
}

}  // namespace client

#include "system/PartSeries.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "system/Failure.h"

namespace client {

namespace {

bool IsNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Is a file name that of a later file of a series?
bool IsLater(std::string_view name, const std::string& stem, const std::string& ending) {
  if (!name.starts_with(stem + "_") || !name.ends_with(ending)) return false;
  name.remove_prefix(stem.size() + 1);
  return name.size() > ending.size() && IsNumber(name.substr(0, name.size() - ending.size()));
}

}  // namespace

std::string SeriesName::Of(unsigned long number) const {
  return number == 0 ? Stem + Ending : fmt::format("{}_{}{}", Stem, number, Ending);
}

void RefuseLeftOver(const SeriesName& parts) {
  const std::filesystem::path stem(parts.Stem);
  std::error_code error;
  const auto folder = stem.has_parent_path() ? stem.parent_path() : std::filesystem::path(".");
  for (const auto& file : std::filesystem::directory_iterator(folder, error)) {
    if (!IsLater(file.path().filename().string(), stem.filename().string(), parts.Ending)) continue;
    throw Failure(
        fmt::format("Cannot write the series of \"{}\": \"{}\" is left over from a run that was cut off; rename "
                    "it to keep what it holds, or remove it",
                    parts.Of(0), (stem.parent_path() / file.path().filename()).string()));
  }
}

std::vector<std::string> OlderFiles(const SeriesName& names, unsigned long count) {
  std::vector<std::string> files;
  std::error_code error;
  for (; std::filesystem::exists(names.Of(count), error); ++count) files.push_back(names.Of(count));
  return files;
}

std::string OlderFilesText(const std::vector<std::string>& files) {
  if (files.empty()) return "";
  if (files.size() == 1) return fmt::format("\"{}\" is of an earlier, longer series, not of this run", files.front());
  return fmt::format("\"{}\" to \"{}\" are of an earlier, longer series, not of this run", files.front(), files.back());
}

PartSeries::PartSeries(SeriesName names, SeriesName parts, Length length)
    : CompleteName(std::move(names)), PartName(std::move(parts)), First(CompleteName.Of(0), PartName.Of(0)) {
  if (length == Length::One) return;
  try {
    RefuseLeftOver(PartName);
  } catch (const Failure&) {
    First.Discard();
    throw;
  }
}

void PartSeries::ClaimNext() { Next.emplace(CompleteName.Of(Number + 1), PartName.Of(Number + 1)); }

std::string PartSeries::CompleteCurrent(Existing existing) {
  std::string sentence = Current().Complete(existing);
  if (sentence.empty()) CompleteNames.push_back(Current().Name());
  if (!Next) return sentence;
  Later = std::exchange(Next, std::nullopt);
  ++Number;
  return sentence;
}

void PartSeries::DiscardNext() {
  if (Next) Next->Discard();
  Next.reset();
}

void PartSeries::Discard() {
  DiscardNext();
  Current().Discard();
}

}  // namespace client

#include "system/NamePattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <utility>

#include "system/Compression.h"
#include "system/Failure.h"

namespace client {

namespace {

constexpr std::string_view kLocalParts = "YmdHMS";
constexpr unsigned long kSecond = 1'000'000'000;  // ns
constexpr std::string_view kPart = ".part";
constexpr size_t kNumberDigits = 6;
constexpr size_t kMostDigits = 18;  // of a number that fits

size_t NameBegin(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? 0 : slash + 1;
}

/// Where the extension begins; the end for a name without one.
size_t EndingOf(std::string_view path) {
  const std::string_view name = WithoutCompression(path);
  const size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot < NameBegin(path) ? name.size() : dot;
}

bool IsPlaceholder(char letter) {
  return letter == 'n' || letter == 't' || kLocalParts.find(letter) != kLocalParts.npos;
}

std::tm Broken(unsigned long utc, bool local) {
  const auto seconds = static_cast<std::time_t>(utc / kSecond);
  std::tm parts{};
  if (local)
    localtime_r(&seconds, &parts);
  else
    gmtime_r(&seconds, &parts);
  return parts;
}

std::string LocalPart(char placeholder, const std::tm& local) {
  switch (placeholder) {
    case 'Y':
      return fmt::format("{:04}", local.tm_year + 1900);
    case 'm':
      return fmt::format("{:02}", local.tm_mon + 1);
    case 'd':
      return fmt::format("{:02}", local.tm_mday);
    case 'H':
      return fmt::format("{:02}", local.tm_hour);
    case 'M':
      return fmt::format("{:02}", local.tm_min);
    default:
      return fmt::format("{:02}", local.tm_sec);
  }
}

std::string UtcStamp(unsigned long utc) {
  const std::tm parts = Broken(utc, false);
  return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}Z", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

/// Takes digits off the front, as many as there are within the bounds.
std::optional<unsigned long> TakeDigits(std::string_view& text, size_t least, size_t most) {
  unsigned long value = 0;
  size_t count = 0;
  for (; count < most && count < text.size() && text[count] >= '0' && text[count] <= '9'; ++count)
    value = value * 10 + static_cast<unsigned long>(text[count] - '0');
  if (count < least) return std::nullopt;
  text.remove_prefix(count);
  return value;
}

bool TakeText(std::string_view& text, std::string_view wanted) {
  if (!text.starts_with(wanted)) return false;
  text.remove_prefix(wanted.size());
  return true;
}

std::optional<unsigned long> TakeStamp(std::string_view& text) {
  const auto date = TakeDigits(text, 8, 8);
  if (!date || !TakeText(text, "T")) return std::nullopt;
  const auto time = TakeDigits(text, 6, 6);
  if (!time || !TakeText(text, "Z")) return std::nullopt;
  return *date * 1'000'000 + *time;
}

}  // namespace

bool NamePattern::IsOne(std::string_view path) {
  for (size_t place = path.find('%', NameBegin(path)); place < path.size(); place = path.find('%', place + 2))
    if (place + 1 < path.size() && IsPlaceholder(path[place + 1])) return true;
  return false;
}

NamePattern::NamePattern(const std::string& path) {
  const size_t begin = NameBegin(path), end = EndingOf(path);
  Folder = path.substr(0, begin);
  Ending = path.substr(end);
  std::string text;
  for (size_t place = begin; place < end; ++place) {
    if (path[place] != '%') {
      text += path[place];
      continue;
    }
    const char letter = ++place < end ? path[place] : '\0';
    if (letter == '%') {
      text += '%';
      continue;
    }
    if (!IsPlaceholder(letter))
      throw UsageError(fmt::format(
          "Output \"{}\": what stands at character {} of its name is no placeholder; there are %n (number), "
          "%t (UTC), %Y %m %d %H %M %S (local time) and %% for a percent sign",
          path.substr(begin), place - begin));
    if (!text.empty()) Pieces.push_back({0, std::exchange(text, "")});
    Pieces.push_back({letter, ""});
  }
  const bool numbered = std::any_of(Pieces.begin(), Pieces.end(), [](const Piece& piece) { return piece.Placeholder; });
  if (!numbered) text += '_';
  if (!text.empty()) Pieces.push_back({0, text});
  if (!numbered) Pieces.push_back({'n', ""});
}

bool NamePattern::Has(char placeholder) const {
  return std::any_of(Pieces.begin(), Pieces.end(),
                     [&](const Piece& piece) { return piece.Placeholder == placeholder; });
}

bool NamePattern::HasTime() const {
  return std::any_of(Pieces.begin(), Pieces.end(),
                     [](const Piece& piece) { return piece.Placeholder != 0 && piece.Placeholder != 'n'; });
}

std::string NamePattern::Of(unsigned long number, unsigned long utc, unsigned long copy) const {
  std::string name = Folder;
  for (const Piece& piece : Pieces) {
    if (piece.Placeholder == 0)
      name += piece.Text;
    else if (piece.Placeholder == 'n')
      name += fmt::format("{:0{}}", number, kNumberDigits);
    else if (piece.Placeholder == 't')
      name += UtcStamp(utc);
    else
      name += LocalPart(piece.Placeholder, Broken(utc, true));
  }
  if (copy > 1) name += fmt::format("_{}", copy);
  return name + Ending;
}

std::optional<NamePattern::Values> NamePattern::ValuesOf(std::string_view name) const {
  Values values{0, 0, std::vector<unsigned long>(kLocalParts.size()), 1};
  auto& [number, stamp, local, copy] = values;
  for (const Piece& piece : Pieces) {
    if (piece.Placeholder == 0) {
      if (!TakeText(name, piece.Text)) return std::nullopt;
      continue;
    }
    std::optional<unsigned long> value;
    if (piece.Placeholder == 'n')
      number = (value = TakeDigits(name, kNumberDigits, kMostDigits)).value_or(0);
    else if (piece.Placeholder == 't')
      stamp = (value = TakeStamp(name)).value_or(0);
    else {
      const size_t digits = piece.Placeholder == 'Y' ? 4 : 2;
      local[kLocalParts.find(piece.Placeholder)] = (value = TakeDigits(name, digits, digits)).value_or(0);
    }
    if (!value) return std::nullopt;
  }
  if (name == Ending) return values;
  if (!MayBeCopy() || !TakeText(name, "_")) return std::nullopt;
  const auto ofCopy = TakeDigits(name, 1, kMostDigits);
  if (!ofCopy || name != Ending) return std::nullopt;
  copy = *ofCopy;
  return values;
}

/// @param nameOf  the name of the series that a file in the folder stands for
template <class NameOf>
std::vector<std::string> NamePattern::List(NameOf nameOf) const {
  std::vector<std::pair<Values, std::string>> found;
  std::error_code error;
  for (std::filesystem::directory_iterator file(Folder.empty() ? "." : Folder, error), end; !error && file != end;
       file.increment(error)) {
    const std::string name = file->path().filename().string();
    if (const auto values = ValuesOf(nameOf(name))) found.emplace_back(*values, Folder + name);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> files;
  files.reserve(found.size());
  for (auto& [values, name] : found) files.push_back(std::move(name));
  return files;
}

/// The complete file's name of one on its way; empty for any other.
std::string NamePattern::Unparted(const std::string& name) const {
  for (const std::string& ending : {Ending + std::string(kPart), std::string(kPart) + Ending})
    if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size()) + Ending;
  return "";
}

std::vector<std::string> NamePattern::Files() const {
  return List([](const std::string& name) { return name; });
}

std::vector<std::string> NamePattern::Parts() const {
  return List([this](const std::string& name) { return Unparted(name); });
}

unsigned long NamePattern::NumberOf(const std::string& file) const {
  if (!file.starts_with(Folder)) return 0;
  const auto values = ValuesOf(std::string_view(file).substr(Folder.size()));
  return values ? std::get<0>(*values) : 0;
}

unsigned long NamePattern::FreeNumber() const {
  unsigned long greatest = 0;
  for (const std::string& file : Files()) greatest = std::max(greatest, NumberOf(file));
  for (const std::string& part : Parts()) greatest = std::max(greatest, NumberOf(Unparted(part)));
  return greatest + 1;
}

std::string SeriesNames::Next(unsigned long utc) {
  if (Pattern.HasNumber()) return Pattern.Of(Number++, utc);
  for (unsigned long copy = 1;; ++copy) {
    std::string name = Pattern.Of(Number, utc, copy);
    if (Given.insert(name).second) return name;
  }
}

}  // namespace client

#include "commands/ExtcapLink.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "system/Failure.h"

namespace client {

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "qor-trace";

/// The value of a variable that has an absolute path.
std::optional<fs::path> PathFrom(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return fs::path(value);
}

fs::path Home() {
  if (const auto home = PathFrom("HOME")) return *home;
  const passwd* const user = getpwuid(getuid());
  if (user != nullptr && user->pw_dir != nullptr && user->pw_dir[0] == '/') return user->pw_dir;
  throw Failure("It isn't known where your home folder is; set HOME, or name the folder with --folder");
}

/// As a word of a shell.
std::string Quoted(std::string_view word) {
  std::string inside;
  for (const char character : word) {
    if (character == '\'')
      inside += "'\\''";
    else
      inside += character;
  }
  return fmt::format("'{}'", inside);
}

constexpr std::string_view kScriptBegin = "#!/bin/sh\n# Made by qor-trace extcap --install.\n";

std::string ScriptOf(const fs::path& program, const std::vector<std::string>& options) {
  std::string text = fmt::format("{}exec {}", kScriptBegin, Quoted(program.string()));
  for (const std::string& option : options) text += fmt::format(" {}", Quoted(option));
  return text + " extcap \"$@\"\n";
}

bool Exists(const fs::path& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

/// Was it made here?
bool IsOurs(const fs::path& link) {
  std::error_code ignored;
  if (fs::is_symlink(link, ignored)) return fs::read_symlink(link, ignored).filename() == kProgram;
  if (!fs::is_regular_file(link, ignored)) return false;
  std::string begin(kScriptBegin.size(), '\0');
  std::ifstream(link, std::ios::binary).read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return begin == kScriptBegin;
}

void Check(const std::error_code& error, const char* what, const fs::path& path) {
  if (error) throw Failure(fmt::format("Cannot {} \"{}\": {}", what, path.string(), error.message()));
}

void WriteScript(const fs::path& path, const std::string& text) {
  std::error_code error;
  std::ofstream file(path, std::ios::binary);
  file << text << std::flush;
  if (!file) error = std::error_code(errno, std::generic_category());
  if (!error)
    fs::permissions(path, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec, fs::perm_options::add,
                    error);
  Check(error, "write", path);
}

std::string Install(const fs::path& program, const std::vector<std::string>& options, const fs::path& folder) {
  const fs::path link = folder / kExtcapLink;
  const bool replaced = Exists(link);
  if (replaced && !IsOurs(link))
    throw Failure(
        fmt::format("\"{}\" is there already, and not of qor-trace's making; it was left as it is", link.string()));
  std::error_code error;
  fs::create_directories(folder, error);
  Check(error, "make the folder", folder);
  if (replaced) fs::remove(link, error);
  Check(error, "replace", link);
  if (options.empty())
    fs::create_symlink(program, link, error);
  else
    WriteScript(link, ScriptOf(program, options));
  Check(error, "make", link);
  return fmt::format("{}: {} -> {}\n", replaced ? "replaced" : "installed", link.string(), program.string());
}

std::string Remove(const fs::path& folder) {
  const fs::path link = folder / kExtcapLink;
  if (!Exists(link)) return fmt::format("not there: {}\n", link.string());
  if (!IsOurs(link)) return fmt::format("left as it is, being of another's making: {}\n", link.string());
  std::error_code error;
  fs::remove(link, error);
  Check(error, "remove", link);
  return fmt::format("removed: {}\n", link.string());
}

}  // namespace

std::vector<std::string> WithVerb(const std::string& program, std::vector<std::string> arguments) {
  if (fs::path(program).filename() == kExtcapLink) arguments.insert(arguments.begin(), "extcap");
  return arguments;
}

std::vector<fs::path> ExtcapFolders() {
  const fs::path home = Home();
  return {home / ".local/lib/wireshark/extcap",                                              // from 4.2 on
          PathFrom("XDG_CONFIG_HOME").value_or(home / ".config") / "wireshark" / "extcap"};  // before
}

std::string InstallLinks(const fs::path& program, const std::vector<std::string>& options,
                         const std::vector<fs::path>& folders) {
  std::string text;
  for (const fs::path& folder : folders) text += Install(program, options, folder);
  return text;
}

std::string RemoveLinks(const std::vector<fs::path>& folders) {
  std::string text;
  for (const fs::path& folder : folders) text += Remove(folder);
  return text;
}

}  // namespace client

#include "recording/SwapFolder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "record/RecordView.h"
#include "recording/Reports.h"
#include "system/Failure.h"
#include "system/FileLock.h"
#include "system/FolderTrust.h"
#include "system/Printable.h"
#include "system/Terminal.h"

namespace client {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPrefix = ".qor-trace-swap-";
constexpr int kAttempts = 10;

[[noreturn]] void Refuse(const std::string& parent, int error) {
  throw Failure(fmt::format("Cannot make a folder for the swap file in \"{}\": {}", parent, ErrnoText(error)));
}

Descriptor OpenFolder(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void CheckTrusted(const std::string& parent) {
  struct stat status {};
  if (stat(parent.c_str(), &status) != 0) Refuse(parent, errno);
  const std::string reason = WhyNotTrusted(status, geteuid());
  if (reason.empty()) return;
  throw Failure(
      fmt::format("Cannot keep the swap file in \"{}\": the folder {}, so that others could exchange what is in "
                  "it; choose another with --swap-folder",
                  parent, reason));
}

/// Another start may take a new folder for a left-over one, as long as it isn't locked.
Descriptor MakeLocked(const std::string& parent, std::string& path) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    path = (fs::path(parent) / fmt::format("{}XXXXXX", kPrefix)).string();
    if (mkdtemp(path.data()) == nullptr) Refuse(parent, errno);
    Descriptor folder = OpenFolder(path);
    if (!folder.IsOpen()) {
      const int error = errno;
      rmdir(path.c_str());
      if (error != ENOENT) Refuse(parent, error);
      continue;
    }
    if (TryLock(folder.Get()) != LockState::Held && IsNamed(path, folder.Get())) return folder;
  }
  Refuse(parent, EBUSY);
}

/// The files of a swap folder, if there is nothing else in it.
std::vector<fs::directory_entry> FilesIn(const std::string& folder) {
  std::vector<fs::directory_entry> files;
  std::error_code error;
  for (const auto& file : fs::directory_iterator(folder, error))
    if (fs::is_regular_file(file.symlink_status(error))) files.push_back(file);
  return files;
}

void RemoveFolder(const std::string& folder) {
  std::error_code ignored;
  for (const auto& file : FilesIn(folder)) fs::remove(file, ignored);
  fs::remove(folder, ignored);
}

bool HoldsEntries(const fs::directory_entry& file) {
  std::error_code error;
  const auto size = file.file_size(error);
  return !error && size >= RecordView::kHeader;
}

}  // namespace

std::vector<std::string> ClearLeftOverSwapFolders(const std::string& parent) {
  std::vector<std::string> kept;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(parent, error)) {
    if (!entry.path().filename().string().starts_with(kPrefix)) continue;
    const Descriptor folder = OpenFolder(entry.path());
    struct stat status {};
    if (!folder.IsOpen() || fstat(folder.Get(), &status) != 0 || status.st_uid != geteuid()) continue;
    if (TryLock(folder.Get()) != LockState::Taken) continue;
    const size_t before = kept.size();
    for (const auto& file : FilesIn(entry.path()))
      if (file.path().extension() == ".bin" && HoldsEntries(file)) kept.push_back(file.path());
    if (kept.size() == before) RemoveFolder(entry.path());
  }
  std::sort(kept.begin(), kept.end());
  return kept;
}

SwapFolder::SwapFolder(const std::string& parent, bool tellOfLeftOvers) {
  CheckTrusted(parent);
  for (const std::string& file : ClearLeftOverSwapFolders(parent)) {
    if (!tellOfLeftOvers) continue;
    Say(fmt::format(
        "\"{}\" is left over from a recording that was cut off; 'qor-trace convert' reads its entries, or remove "
        "its folder",
        file));
  }
  Locked = MakeLocked(parent, Folder);
  std::error_code error;
  Before = fs::current_path(error).string();
  if (fchdir(Locked.Get()) == 0) return;
  const int reason = errno;
  RemoveFolder(Folder);
  throw Failure(fmt::format("Cannot enter \"{}\": {}", Folder, ErrnoText(reason)));
}

SwapFolder::~SwapFolder() {
  std::error_code ignored;
  fs::current_path(Before, ignored);
  if (IsNamed(Folder, Locked.Get())) RemoveFolder(Folder);
}

void LeaveAtOnce(const SwapFolder& folder, Signals& signals) {
  const auto wish = [path = folder.Path()] {
    if (rmdir(path.c_str()) == 0) return;
    Say(fmt::format(
        "qor-trace: Ended at once. What was written is in .part files; entries that are not may be in \"{}\".", path));
  };
  signals.SetLastWish(wish);
  Reports::SetLastWish(wish);
}

}  // namespace client

#include "system/DiskSync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace client {

namespace {

/// Calls again what a signal has interrupted. @return 0, or errno
template <class Call>
int ErrorOf(Call call) {
  while (call() != 0)
    if (errno != EINTR) return errno;
  return 0;
}

/// Errno of the first file that can't be kept; 0: all are on the disk.
int SynchronizeFiles(const DiskSync::Files& files) {
  for (const WrittenFile& file : files) {
    if (file.HandedOver.valid()) file.HandedOver.wait();
    if (const int error = ErrorOf([&] { return fdatasync(file.File->Get()); }); error != 0) return error;
  }
  return 0;
}

}  // namespace

int SynchronizeFolder(const std::string& folder) {
  const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.IsOpen()) return errno;
  const int error = ErrorOf([&] { return fsync(opened.Get()); });
  return error == EINVAL ? 0 : error;  // a file system that keeps names its own way
}

DiskSync::DiskSync() : Thread([this] { Run(); }) {}

DiskSync::~DiskSync() {
  {
    const MutexLock lock(Guard);
    Over = true;
  }
  Changed.NotifyAll();
  Thread.join();
}

/// All memory that the round needs is taken here: the thread has nobody to tell that there is none.
void DiskSync::Begin(std::vector<Files> outputs) {
  Round round;
  round.Outcome.Errors.resize(outputs.size());
  for (const Files& files : outputs)
    for (const WrittenFile& file : files) round.Folders.emplace(file.Folder, 0);
  round.Outputs = std::move(outputs);
  {
    const MutexLock lock(Guard);
    Begun = std::move(round);
    UnderWay = true;
  }
  Changed.NotifyAll();
}

std::optional<DiskSync::Result> DiskSync::TakeResult() {
  const MutexLock lock(Guard);
  return std::exchange(Ended, std::nullopt);
}

std::optional<DiskSync::Result> DiskSync::WaitForResult() {
  const MutexLock lock(Guard);
  while (UnderWay) WaitForChange();
  return std::exchange(Ended, std::nullopt);
}

/// Or for something else; whoever waits looks again.
void DiskSync::WaitForChange() { Changed.WaitUntil(Guard, std::chrono::steady_clock::now() + std::chrono::seconds(1)); }

void DiskSync::Run() {
  for (;;) {
    std::optional<Round> round;
    {
      const MutexLock lock(Guard);
      while (!Begun && !Over) WaitForChange();
      if (!Begun) return;
      round = std::exchange(Begun, std::nullopt);
    }
    Synchronize(*round);
    Result result = std::move(round->Outcome);
    round.reset();  // a file that its owner has closed meanwhile is closed before the round is over
    {
      const MutexLock lock(Guard);
      Ended = std::move(result);
      UnderWay = false;
    }
    Changed.NotifyAll();
  }
}

void DiskSync::Synchronize(Round& round) {
  std::vector<int>& errors = round.Outcome.Errors;
  for (size_t index = 0; index < errors.size(); ++index) errors[index] = SynchronizeFiles(round.Outputs[index]);
  for (auto& [folder, error] : round.Folders) error = SynchronizeFolder(folder);
  for (size_t index = 0; index < errors.size(); ++index)
    for (const WrittenFile& file : round.Outputs[index])
      if (errors[index] == 0) errors[index] = round.Folders.find(file.Folder)->second;
  round.Outcome.End = std::chrono::steady_clock::now();
}

}  // namespace client

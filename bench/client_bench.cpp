// The client as its users run it: whole processes, from start to exit, in wall-clock time.
//
// Conversions of a recording in memory, against their goals; beside programs that do the same, where this machine has them, with
// the runs in turns; and what recording takes of a processor while entries come in real time.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Measure.h"
#include "Scratch.h"

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

/// What a process has taken.
struct Cost {
  double WallSeconds = 0;
  double CpuSeconds = 0;
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Runs a program without its texts and waits for its end. Nothing if it can't be run or fails.
std::optional<Cost> Run(const Words& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t process = 0;
  const int error = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage used{};
  if (error != 0 || wait4(process, &status, 0, &used) != process || status != 0) return std::nullopt;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  return Cost{wall.count(), Seconds(used.ru_utime) + Seconds(used.ru_stime)};
}

Cost MustRun(const Words& words) {
  const auto cost = Run(words);
  if (!cost) {
    std::string line;
    for (const std::string& word : words) line += word + ' ';
    std::fprintf(stderr, "failed: %s\n", line.c_str());
    std::exit(1);
  }
  return *cost;
}

Words Client(Words words) {
  words.insert(words.begin(), QOR_TRACE_PROGRAM);
  return words;
}

/// A command that writes a file.
struct Job {
  Words Command;
  std::string Result;
};

double WallSeconds(const Job& job) {
  const double seconds = MustRun(job.Command).WallSeconds;
  fs::remove(job.Result);
  return seconds;
}

struct Recording {
  const char* Name;
  const char* Source;
};

// As long as they must be: what is recorded at such a speed from several buses waits in memory for its end.
constexpr Recording kCan = {"CAN", "can?speed=max"};
constexpr Recording kVehicle = {"four buses", "vehicle?speed=max&duration=240s"};

class ClientBench {
 public:
  ClientBench(int argc, char** argv)
      : Table(argc, argv), Json(bench::Has(argc, argv, "--json")), Quick(bench::Quick(argc, argv)) {}

  void Conversions() {
    struct Target {
      const char* Extension;
      double Goal;
    };
    for (const Recording& recording : {kCan, kVehicle}) {
      const std::string path = Record(recording);
      for (const Target& target : {Target{"bin", 10}, Target{"pcapng", 6}, Target{"asc", 6}, Target{"mf4", 2}}) {
        const Job job = Convert(path, Path("converted", target.Extension));
        std::vector<double> seconds;
        for (int round = 0; round < Rounds(); ++round) seconds.push_back(WallSeconds(job));
        const std::string name = std::string("converting ") + recording.Name + " from .bin to ." + target.Extension;
        Table.Print({name.c_str(), Millions() / bench::Median(seconds), "M entries/s", target.Goal, true});
      }
      fs::remove(path);
    }
  }

  /// Their converters need files that they can read; ours also takes what was recorded.
  void BesideOtherPrograms() {
    const std::string bin = Record(kCan);
    const std::string log = Path("x", "log");
    const std::string asc = Path("x", "asc");
    const std::string capture = Path("x", "pcapng");
    for (const std::string& path : {log, asc, capture}) MustRun(Convert(bin, path).Command);
    const std::string to = Path("converted", "asc");
    const Job log2asc = {{"log2asc", "-I", log, "-O", to, "can0"}, to};
    const auto fromRecording = TimesAsFast(Convert(bin, to), log2asc);
    if (fromRecording) Table.Print({"CAN frames to ASC, from .bin, by log2asc's speed", *fromRecording, "x", 6, true});
    if (Json) return;
    const Job editcap = {{"editcap", capture, Path("converted", "pcapng")}, Path("converted", "pcapng")};
    const Job pythonCan = {{"/usr/bin/python3", "-m", "can.logconvert", asc, Path("converted", "log")},
                           Path("converted", "log")};
    std::printf("%-64s %10s\n", "beside other programs, the same input", "as fast");
    Print("candump text to ASC: log2asc", TimesAsFast(Convert(log, to), log2asc));
    Print("a capture of CAN, copied: editcap", TimesAsFast(Convert(capture, editcap.Result), editcap));
    Print("ASC to candump text: python-can", TimesAsFast(Convert(asc, pythonCan.Result), pythonCan));
  }

  /// Four buses, 18,000 entries a second, into a file of each format.
  void RecordingShare() {
    const std::string path = Path("x", "");
    const Cost cost = MustRun(Client({"record", "vehicle?speed=4", "--duration", Quick ? "4s" : "40s", "-o",
                                      path + "bin", "-o", path + "asc", "-o", path + "pcapng", "-o", path + "mf4"}));
    Table.Print({"recording four buses into all formats, share of a processor",
                 cost.CpuSeconds / cost.WallSeconds * 100, "%", 10});
  }

 private:
  [[nodiscard]] int Rounds() const { return Quick ? 1 : 5; }
  [[nodiscard]] size_t Count() const { return Quick ? 10'000 : 1'000'000; }  // entries
  [[nodiscard]] double Millions() const { return static_cast<double>(Count()) / 1e6; }
  [[nodiscard]] std::string Path(const char* stem, const char* extension) const {
    return Folder.Path(stem) + '.' + extension;
  }

  [[nodiscard]] std::string Record(const Recording& recording) const {
    std::string path = Path("recorded", "bin");
    MustRun(Client({"record", recording.Source, "--count", std::to_string(Count()), "-o", path}));
    return path;
  }

  [[nodiscard]] static Job Convert(const std::string& from, const std::string& to) {
    return {Client({"convert", from, "-o", to}), to};
  }

  /// Their time by ours, in turns. Nothing where their program can't be run.
  [[nodiscard]] std::optional<double> TimesAsFast(const Job& ours, const Job& theirs) const {
    if (!Run(theirs.Command)) return std::nullopt;
    fs::remove(theirs.Result);
    std::vector<double> ratios;
    for (int round = 0; round < Rounds(); ++round) ratios.push_back(WallSeconds(theirs) / WallSeconds(ours));
    return bench::Median(ratios);
  }

  static void Print(const char* what, std::optional<double> timesAsFast) {
    if (timesAsFast)
      std::printf("%-64s %9.1fx\n", what, *timesAsFast);
    else
      std::printf("%-64s %10s\n", what, "(absent)");
  }

  bench::GoalTable Table;
  bool Json;
  bool Quick;
  bench::Scratch Folder;
};

}  // namespace

int main(int argc, char** argv) {
  ClientBench bench(argc, argv);
  bench.Conversions();
  bench.RecordingShare();
  bench.BesideOtherPrograms();
}

// What the benchmarks share: CPU time, medians of alternating rounds, and the table of ratios.
//
// Every figure is a ratio of the measured work to a bound that runs in the same process, in turns with it, so that a
// slower or busier machine changes both. Medians of the rounds; CPU time of the whole process.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// CPU time of the process so far, s.
inline double CpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// CPU seconds that a piece of work takes.
inline double Cost(const std::function<void()>& work) {
  const double start = CpuSeconds();
  work();
  return CpuSeconds() - start;
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// Shared pointers count without atomics in a process that never started a thread; a real client has threads.
inline void BecomeMultiThreaded() {
  std::thread([] {}).join();
}

inline bool Has(int argc, char** argv, const char* option) {
  return std::any_of(argv, argv + argc, [&](const char* argument) { return std::strcmp(argument, option) == 0; });
}

/// True if the arguments ask for a short round only, as the tests do so that a benchmark never rots.
inline bool Quick(int argc, char** argv) { return Has(argc, argv, "--quick"); }

/// One measured work beside its bound.
struct Row {
  std::string Name;
  double WorkSeconds;   // median
  double BoundSeconds;  // median
  double Items;         // that one round handles
  std::string Unit;     // of an item
};

/// Runs work and bound in turns. Both return their CPU seconds, so that each can leave its preparation out.
inline Row Compare(std::string name, int rounds, double items, std::string unit, const std::function<double()>& work,
                   const std::function<double()>& bound) {
  std::vector<double> workSeconds;
  std::vector<double> boundSeconds;
  for (int round = 0; round < rounds; ++round) {
    boundSeconds.push_back(bound());
    workSeconds.push_back(work());
  }
  return {std::move(name), Median(workSeconds), Median(boundSeconds), items, std::move(unit)};
}

inline void PrintHead() { std::printf("%-44s %8s %14s %14s\n", "work", "ratio", "work", "bound"); }

inline void Print(const Row& row) {
  const auto each = [&](double seconds) { return seconds / row.Items * 1e9; };
  std::printf("%-44s %7.2fx %8.2f ns/%s %8.2f ns/%s\n", row.Name.c_str(), row.WorkSeconds / row.BoundSeconds,
              each(row.WorkSeconds), row.Unit.c_str(), each(row.BoundSeconds), row.Unit.c_str());
}

/// A figure beside what it should be.
struct Goal {
  const char* Work;
  double Figure;
  const char* Unit;
  double Limit;
  bool AtLeast = false;  // else at most
};

/// Prints figures with their goals, as a table or, with --json, as one object a line.
class GoalTable {
 public:
  GoalTable(int argc, char** argv) : Json(Has(argc, argv, "--json")) {
    if (!Json) std::printf("%-64s %10s %12s\n", "work", "figure", "goal");
  }
  void Print(const Goal& goal) const {
    const bool met = goal.AtLeast ? goal.Figure >= goal.Limit : goal.Figure <= goal.Limit;
    if (Json) {
      std::printf(
          "{\"work\": \"%s\", \"figure\": %.4g, \"unit\": \"%s\", \"goal\": %.4g, \"sense\": \"%s\", \"met\": %s}\n",
          goal.Work, goal.Figure, goal.Unit, goal.Limit, goal.AtLeast ? "at least" : "at most", met ? "true" : "false");
    } else {
      std::printf("%-64s %10.3g %s %9.3g %s%s\n", goal.Work, goal.Figure, goal.AtLeast ? ">=" : "<=", goal.Limit,
                  goal.Unit, met ? "" : "  (missed)");
    }
    std::fflush(stdout);
  }

 private:
  bool Json;
};

}  // namespace bench

// One scenario from its seed to its verdict: the plan, the world, the runs of ablagix-cli
// with their disturbance, the states before and after, and the checks.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "conservation/harness.h"

namespace conservation {

struct Options {
  std::string cli;
  std::string work;
  std::string self;            // this program, for the replay command
  std::string otherVolume;     // a folder on another volume than `work`, or empty
  std::uint64_t seed = 1;
  int scenarios = 100;
  int jobs = 1;
  Ratios ratios;
  double timeout = 20;         // seconds a run may take before it counts as hanging
  bool verbose = false;
  bool keep = false;           // keep every scenario's folders
};

struct Stats {
  int scenarios = 0;
  int failed = 0;              // scenarios with at least one violation
  int violations = 0;
  int kills = 0;               // runs really killed
  int killsMissed = 0;         // the run had ended before its kill was due
  int twins = 0;
  int mutators = 0;            // mutators that changed something while the run worked
  int mutatorsIdle = 0;
  int undisturbed = 0;
  int hangs = 0;
  int undos = 0;               // scenarios whose runs were all undone afterwards
  int undoKills = 0;           // of them, with an undo killed half-way
  int watches = 0;             // scenarios run by a watch over arriving files
  double seconds = 0;
  std::map<std::string, int> kinds;
  std::map<std::string, std::uint64_t> firstSeed;

  void Add(const Stats& other);
  std::string Serialize() const;
  static Stats Parse(const std::string& text);
};

// The usual duration of a run here, for placing kills and mutations inside one.
struct Pace {
  double run = 0.05;
  void Learn(double seconds) { run = 0.8 * run + 0.2 * seconds; }
};

// Runs scenario `seed`; appends what the user should read (violations and their replay
// commands, and with `verbose` the whole story) to `report`.
void RunScenario(const Options& options, std::uint64_t seed, Pace* pace, Stats* stats, std::string* report);

// The command lines that replay `seed`.
std::string ReplayCommands(const Options& options, std::uint64_t seed);

}  // namespace conservation

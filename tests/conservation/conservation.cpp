// Data conservation of ablagix-cli under hostile conditions. Every scenario builds a world from
// its seed (names that climb out of the source when read as Windows paths, names that are not
// UTF-8, links, FIFOs, hard links, traps at the target names, the user's other files next to
// it), runs a profile with a random action and policy, sometimes disturbed (killed and run
// again, run twice at once, or files changed under it), and checks what must always hold.
//
//   ablagix_conservation --cli PATH --work DIR [--scenarios N] [--seed S] [--jobs J]
//                        [--kills R] [--twins R] [--mutators R] [--timeout SECONDS] [--keep]
//   ablagix_conservation --cli PATH --work DIR --replay SEED
//   ablagix_conservation --plans [--scenarios N] [--seed S]
//
// Scenario i uses seed S+i; --replay tells the story of one scenario and keeps its folders;
// --plans only shows what each seed would do.
// Exit code 0 when nothing was violated, 1 otherwise, 2 for wrong use.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "conservation/driver.h"

namespace {

using namespace conservation;

void Emit(const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(1, text.data() + done, text.size() - done);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

int Usage(const char* why) {
  std::fprintf(stderr,
               "%s\nusage: ablagix_conservation --cli PATH --work DIR [--scenarios N] [--seed S] [--jobs J]\n"
               "         [--kills R] [--twins R] [--mutators R] [--timeout SECONDS] [--keep] [--replay SEED] [--plans]\n",
               why);
  return 2;
}

std::string Absolute(const std::string& path) {
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

// A usual run here is some multiple of the program's start; the scenarios refine it.
double StartTime(const std::string& cli) {
  double best = 1;
  for (int i = 0; i < 3; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t pid = ::fork();
    if (pid == 0) {
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, 1);
      ::dup2(null, 2);
      ::execl(cli.c_str(), cli.c_str(), "--version", static_cast<char*>(nullptr));
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

void RunShare(const Options& options, int worker, Stats* stats) {
  Pace pace;
  pace.run = std::max(0.02, 4 * StartTime(options.cli));
  for (int i = worker; i < options.scenarios; i += options.jobs) {
    std::string report;
    RunScenario(options, options.seed + static_cast<std::uint64_t>(i), &pace, stats, &report);
    Emit(report);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool replay = false;
  bool plansOnly = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string { return i + 1 < argc ? argv[++i] : std::string(); };
    if (a == "--cli") {
      options.cli = value();
    } else if (a == "--work") {
      options.work = value();
    } else if (a == "--scenarios") {
      options.scenarios = std::atoi(value().c_str());
    } else if (a == "--seed") {
      options.seed = std::strtoull(value().c_str(), nullptr, 10);
    } else if (a == "--jobs") {
      options.jobs = std::max(1, std::atoi(value().c_str()));
    } else if (a == "--kills") {
      options.ratios.kills = std::atof(value().c_str());
    } else if (a == "--twins") {
      options.ratios.twins = std::atof(value().c_str());
    } else if (a == "--mutators") {
      options.ratios.mutators = std::atof(value().c_str());
    } else if (a == "--timeout") {
      options.timeout = std::atof(value().c_str());
    } else if (a == "--plans") {
      plansOnly = true;
    } else if (a == "--keep") {
      options.keep = true;
    } else if (a == "--replay") {
      replay = true;
      options.seed = std::strtoull(value().c_str(), nullptr, 10);
      options.scenarios = 1;
      options.jobs = 1;
      options.verbose = true;
    } else {
      return Usage(("unknown argument " + a).c_str());
    }
  }
  if (plansOnly) {
    for (int i = 0; i < options.scenarios; ++i) {
      const std::uint64_t seed = options.seed + static_cast<std::uint64_t>(i);
      Emit("seed " + std::to_string(seed) + ": " + Describe(DrawPlan(seed, options.ratios)) + "\n");
    }
    return 0;
  }
  if (options.cli.empty() || options.work.empty()) return Usage("--cli and --work are needed");
  if (options.ratios.kills + options.ratios.twins + options.ratios.mutators > 1) return Usage("the disturbance ratios add up to more than 1");
  options.cli = Absolute(options.cli);
  if (::access(options.cli.c_str(), X_OK) != 0) return Usage(("cannot run " + options.cli).c_str());
  if (!MakeFolders(options.work)) return Usage(("cannot make " + options.work).c_str());
  options.work = Absolute(options.work);
  options.self = Absolute("/proc/self/exe");
  if (std::system("python3 -c 'import zipfile, hashlib' >/dev/null 2>&1") != 0) return Usage("python3 with zipfile is needed");

  // Moves to a target on another volume are copies and deletes: the harder case.
  const std::string shm = "/dev/shm/ablagix-conservation-" + std::to_string(::getpid());
  if (DeviceOf("/dev/shm") != 0 && DeviceOf("/dev/shm") != DeviceOf(options.work) && MakeFolders(shm, 0700)) options.otherVolume = shm;

  const auto begin = std::chrono::steady_clock::now();
  Stats total;
  if (options.jobs == 1) {
    RunShare(options, 0, &total);
  } else {
    std::vector<std::pair<pid_t, int>> workers;
    for (int k = 0; k < options.jobs; ++k) {
      int fds[2];
      if (::pipe(fds) != 0) return Usage("no pipe");
      const pid_t pid = ::fork();
      if (pid == 0) {
        ::close(fds[0]);
        Stats mine;
        RunShare(options, k, &mine);
        const std::string text = mine.Serialize();
        if (::write(fds[1], text.data(), text.size()) < 0) ::_exit(3);
        ::_exit(0);
      }
      ::close(fds[1]);
      workers.push_back({pid, fds[0]});
    }
    for (const auto& [pid, fd] : workers) {
      std::string text;
      char buffer[4096];
      for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
      ::close(fd);
      int status = 0;
      ::waitpid(pid, &status, 0);
      total.Add(Stats::Parse(text));
    }
  }
  if (!options.otherVolume.empty() && !options.keep && !replay) RemoveTree(options.otherVolume);
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();

  char line[512];
  std::snprintf(line, sizeof line, "conservation: %d scenarios (seeds %llu..%llu) in %.1f s, %.2f scenarios/s, %d job(s)\n", total.scenarios,
                static_cast<unsigned long long>(options.seed), static_cast<unsigned long long>(options.seed + static_cast<std::uint64_t>(options.scenarios) - 1),
                wall, wall > 0 ? total.scenarios / wall : 0.0, options.jobs);
  std::string summary = line;
  std::snprintf(line, sizeof line,
                "  disturbances: %d undisturbed, %d killed and run again (%d more kills came after the run had ended), %d with a second "
                "process, %d with a mutator (%d more mutators came too late)\n",
                total.undisturbed, total.kills, total.killsMissed, total.twins, total.mutators, total.mutatorsIdle);
  summary += line;
  std::snprintf(line, sizeof line, "  run by a watch as the files arrived: %d scenario(s); undone afterwards: %d scenario(s), %d with an undo killed half-way\n",
                total.watches, total.undos, total.undoKills);
  summary += line;
  std::snprintf(line, sizeof line, "  hangs: %d; violations: %d in %d scenario(s)\n", total.hangs, total.violations, total.failed);
  summary += line;
  for (const auto& [kind, n] : total.kinds) {
    std::snprintf(line, sizeof line, "    %-20s %5d  (first seed %llu)\n", kind.c_str(), n, static_cast<unsigned long long>(total.firstSeed[kind]));
    summary += line;
  }
  Emit(summary);
  return total.violations == 0 && total.scenarios == options.scenarios ? 0 : 1;
}

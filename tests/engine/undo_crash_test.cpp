// Undo after a crash: ablagix-cli moves files between two volumes and is killed (SIGKILL) at
// a random moment; then "undo --last" is killed too, now and then, and finally run to its
// end. Every time, each file must be back at its source exactly once and complete, and
// nothing may be left at the target: the journal written before each change is enough to
// undo whatever the run got done. Now and then an undo starts while its run still goes, and a
// run while an undo goes; undoing the runs newest first must still give back the start.
//
//   ablagix_undo_crash_test CLI WORKFOLDER [ROUNDS]
//
// The source lies on /dev/shm when that is another volume than WORKFOLDER (moves are copies
// followed by deletes, and an undo's moves back are too); otherwise both are on one volume.
#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/crash_support.h"

namespace {

using namespace crash_test;

constexpr int kFiles = 300;

std::string Content(int index) { return FileBytes(index, 29); }

// Every file back at the source, whole, once; nothing at the target.
int Problems(const std::string& source, const std::string& target) {
  int problems = 0;
  std::vector<std::string> names = List(source);
  if (names.size() != static_cast<size_t>(kFiles)) {
    std::fprintf(stderr, "%zu files at the source instead of %d\n", names.size(), kFiles);
    ++problems;
  }
  for (int i = 0; i < kFiles; ++i) {
    std::string bytes;
    if (!ReadAll(source + "/" + Name(i), &bytes) || bytes != Content(i)) {
      std::fprintf(stderr, "%s is not back whole (%zu bytes)\n", Name(i).c_str(), bytes.size());
      ++problems;
    }
  }
  for (const std::string& name : List(target)) {
    std::fprintf(stderr, "left at the target: %s\n", name.c_str());
    ++problems;
  }
  return problems;
}

pid_t Start(const std::string& cli, const std::string& work, const std::vector<std::string>& command) {
  return StartCli(cli, work, command);
}

int Wait(pid_t pid) {
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s CLI WORKFOLDER [ROUNDS]\n", argv[0]);
    return 2;
  }
  const std::string cli = argv[1];
  const std::string work = argv[2];
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 40;
  std::system(("rm -rf '" + work + "' && mkdir -p '" + work + "/config'").c_str());
  std::string source = "/dev/shm/ablagix-undo-crash-" + std::to_string(getpid());
  if (DeviceOf("/dev/shm") == 0 || DeviceOf("/dev/shm") == DeviceOf(work)) source = work + "/quelle";
  std::system(("rm -rf '" + source + "' && mkdir -p '" + source + "'").c_str());
  const std::string target = work + "/ziel";
  ::mkdir(target.c_str(), 0755);
  for (int i = 0; i < kFiles; ++i) std::ofstream(source + "/" + Name(i), std::ios::binary) << Content(i);
  std::ofstream(work + "/profile.ini", std::ios::binary)
      << "[Hin]\r\nQuelle=" << source << "\r\nUnterverzeich=0\r\nFilter=Alles\r\nAktion=Verschieben\r\nZiel=" << target
      << "\r\nKollision=1\r\nZippen=0\r\n";

  // One whole run and its undo, timed, so the kills fall anywhere inside either.
  auto begin = std::chrono::steady_clock::now();
  if (Wait(Start(cli, work, {"run", "Hin"})) != 0) {
    std::fprintf(stderr, "the unkilled run failed\n");
    return 1;
  }
  const auto runTime = std::chrono::steady_clock::now() - begin;
  begin = std::chrono::steady_clock::now();
  if (Wait(Start(cli, work, {"undo", "--last"})) != 0 || Problems(source, target) != 0) {
    std::fprintf(stderr, "the unkilled undo failed\n");
    return 1;
  }
  const auto undoTime = std::chrono::steady_clock::now() - begin;
  auto window = [](auto d) {
    return std::max<long>(1000, std::min<long>(std::chrono::duration_cast<std::chrono::microseconds>(d).count(), 2000000));
  };

  std::mt19937 random(4711);
  int problems = 0, undoKills = 0, cutRuns = 0, concurrent = 0;
  for (int round = 0; round < rounds && problems == 0; ++round) {
    const pid_t run = Start(cli, work, {"run", "Hin"});
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<long>(0, window(runTime))(random)));
    kill(run, SIGKILL);
    Wait(run);
    // Killed while it was moving: some files here, some there.
    const size_t moved = List(target).size();
    if (moved > 0 && moved < static_cast<size_t>(kFiles)) ++cutRuns;
    if (round % 2 == 1) {
      const pid_t undo = Start(cli, work, {"undo", "--last"});
      std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<long>(0, window(undoTime))(random)));
      kill(undo, SIGKILL);
      Wait(undo);
      ++undoKills;
    }
    const int code = Wait(Start(cli, work, {"undo", "--last"}));
    if (code != 0) {
      std::fprintf(stderr, "round %d: undo --last ended with %d\n", round, code);
      ++problems;
    }
    problems += Problems(source, target);
    if (problems != 0 || round % 5 != 4) continue;
    // Two processes at once: an undo started while its run still goes must leave the run
    // alone (it holds its journal), and a run started while an undo goes must leave the
    // files the undo brings back alone (the undo holds the folder). Whatever the timing,
    // undoing the runs newest first gives back the start.
    const pid_t running = Start(cli, work, {"run", "Hin"});
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<long>(0, window(runTime))(random)));
    const pid_t early = Start(cli, work, {"undo", "--last"});
    Wait(early);
    Wait(running);
    ++concurrent;
    const pid_t undoing = Start(cli, work, {"undo", "--last"});
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<long>(0, window(undoTime))(random)));
    const pid_t second = Start(cli, work, {"run", "Hin"});
    Wait(undoing);
    Wait(second);
    for (const char* number : {"1", "2", "3"}) {
      const int undone = Wait(Start(cli, work, {"undo", number}));
      if (undone != 0) {
        std::fprintf(stderr, "round %d: undo %s ended with %d\n", round, number, undone);
        ++problems;
      }
    }
    problems += Problems(source, target);
  }
  std::printf("%s, %d files, run %.0f ms, undo %.0f ms, %d rounds (%d runs killed while moving) with %d undos "
              "killed too, %d with an undo and a run at once: %d problems\n",
              DeviceOf(source) != DeviceOf(target) ? "two volumes" : "one volume", kFiles,
              std::chrono::duration<double, std::milli>(runTime).count(),
              std::chrono::duration<double, std::milli>(undoTime).count(), rounds, cutRuns, undoKills, concurrent,
              problems);
  std::system(("rm -rf '" + source + "'").c_str());
  return problems == 0 ? 0 : 1;
}

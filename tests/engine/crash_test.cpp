// Crash safety of moves: ablagix-cli moves a thousand files between two volumes and is killed
// (SIGKILL, no chance to clean up) at random moments, again and again. After every kill each
// file must exist completely somewhere (at its source, at its target, or both), never
// nowhere and never cut short.
//
//   ablagix_crash_test CLI WORKFOLDER [KILLS]
//
// The source lies on a memory file system of its own (/dev/shm) when that is another volume
// than WORKFOLDER, so the moves are real copies followed by deletes; otherwise they are
// renames on one volume. Exit code 0 when nothing was lost.
#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/crash_support.h"

namespace {

using namespace crash_test;

constexpr int kFiles = 1000;

// Sizes from 0,5 KB to about 40 KB.
std::string MakeContent(int index) { return FileBytes(index, 37); }

const std::string& Content(int index) {
  static const std::vector<std::string> contents = [] {
    std::vector<std::string> all;
    for (int i = 0; i < kFiles; ++i) all.push_back(MakeContent(i));
    return all;
  }();
  return contents[static_cast<size_t>(index)];
}

struct Tally {
  int lost = 0;
  int truncated = 0;
  int strangers = 0;  // names that are neither ours nor numbered copies of ours
  int both = 0;       // files present at source and target after a kill: kept twice, not lost
};

// Checks both folders; every file found must be complete, every index present somewhere.
Tally Check(const std::string& a, const std::string& b) {
  Tally t;
  std::map<int, int> copies;
  for (const std::string& folder : {a, b}) {
    for (const std::string& name : List(folder)) {
      // "f0123.bin", or a numbered copy "f0123(1).bin" from a file that existed twice.
      if (name.size() < 9 || name[0] != 'f' || name.compare(name.size() - 4, 4, ".bin") != 0) {
        ++t.strangers;
        std::fprintf(stderr, "unexpected file %s/%s\n", folder.c_str(), name.c_str());
        continue;
      }
      const int index = std::atoi(name.substr(1, 4).c_str());
      std::string bytes;
      if (!ReadAll(folder + "/" + name, &bytes) || bytes != Content(index)) {
        ++t.truncated;
        std::fprintf(stderr, "incomplete file %s/%s (%zu bytes)\n", folder.c_str(), name.c_str(), bytes.size());
        continue;
      }
      ++copies[index];
    }
  }
  for (int i = 0; i < kFiles; ++i) {
    if (copies[i] == 0) {
      ++t.lost;
      std::fprintf(stderr, "lost file %s\n", Name(i).c_str());
    }
    if (copies[i] > 1) ++t.both;
  }
  return t;
}

pid_t Start(const std::string& cli, const std::string& work, const char* profile) {
  return StartCli(cli, work, {"run", profile});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s CLI WORKFOLDER [KILLS]\n", argv[0]);
    return 2;
  }
  const std::string cli = argv[1];
  const std::string work = argv[2];
  const int kills = argc > 3 ? std::atoi(argv[3]) : 200;
  std::system(("rm -rf '" + work + "' && mkdir -p '" + work + "/config'").c_str());

  std::string other = "/dev/shm/ablagix-crash-" + std::to_string(getpid());
  if (DeviceOf("/dev/shm") == 0 || DeviceOf("/dev/shm") == DeviceOf(work)) other = work + "/andere";
  std::system(("rm -rf '" + other + "' && mkdir -p '" + other + "'").c_str());
  const std::string here = work + "/hier";
  ::mkdir(here.c_str(), 0755);
  const bool twoVolumes = DeviceOf(other) != DeviceOf(here);

  for (int i = 0; i < kFiles; ++i) {
    std::ofstream(other + "/" + Name(i), std::ios::binary) << Content(i);
  }
  std::ofstream(work + "/profile.ini", std::ios::binary)
      << "[Hin]\r\nQuelle=" << other << "\r\nUnterverzeich=0\r\nFilter=Alles\r\nAktion=Verschieben\r\nZiel="
      << here << "\r\nKollision=1\r\nZippen=0\r\n"
      << "[Her]\r\nQuelle=" << here << "\r\nUnterverzeich=0\r\nFilter=Alles\r\nAktion=Verschieben\r\nZiel="
      << other << "\r\nKollision=1\r\nZippen=0\r\n";

  // How long one whole move takes, so the kills fall anywhere inside a run.
  auto begin = std::chrono::steady_clock::now();
  int status = 0;
  waitpid(Start(cli, work, "Hin"), &status, 0);
  const auto full = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "the unkilled move failed (status %d)\n", status);
    return 1;
  }
  Tally total = Check(other, here);
  const long window = std::max<long>(1000, std::min<long>(full.count(), 400000));

  std::mt19937 random(12345);
  std::uniform_int_distribution<long> delay(0, window);
  int runs = 0;
  bool towardsHere = false;  // everything is "hier" now: the next runs move it back
  for (int k = 0; k < kills; ++k) {
    if (List(towardsHere ? other : here).empty()) towardsHere = !towardsHere;
    const pid_t pid = Start(cli, work, towardsHere ? "Hin" : "Her");
    std::this_thread::sleep_for(std::chrono::microseconds(delay(random)));
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    ++runs;
    const Tally t = Check(other, here);
    total.lost += t.lost;
    total.truncated += t.truncated;
    total.strangers += t.strangers;
    total.both = std::max(total.both, t.both);
    if (t.lost || t.truncated || t.strangers) break;
  }
  std::printf("%s, %d files, one move %.0f ms, %d kills: %d lost, %d truncated, %d strangers "
              "(at most %d files were in both places after a kill)\n",
              twoVolumes ? "two volumes" : "one volume", kFiles, static_cast<double>(full.count()) / 1000.0, runs, total.lost,
              total.truncated, total.strangers, total.both);
  std::system(("rm -rf '" + other + "'").c_str());
  return total.lost || total.truncated || total.strangers ? 1 : 0;
}

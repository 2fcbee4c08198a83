// A zip run and its undo, each killed (SIGKILL) while it writes: the half-written archive, and
// the half-extracted file of the undo, lie hidden under a name of ours, and the next run (or
// undo) of any profile removes them; every file is whole at its source or in the archive.
//
//   ablagix_killed_zip_test CLI WORKFOLDER
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/crash_support.h"

namespace {

using namespace crash_test;

constexpr int kFiles = 24;

// A few MB each, so packing them takes long enough to be killed in the middle.
std::string Content(int index) {
  std::string bytes = FileBytes(index, 7);
  std::string out;
  while (out.size() < (3u << 20)) out += bytes;
  return out;
}

std::vector<std::string> Ours(const std::string& folder) {
  std::vector<std::string> names;
  for (const std::string& name : List(folder)) {
    if (name.rfind(".~ablagix", 0) == 0) names.push_back(name);
  }
  return names;
}

std::vector<std::string> Visible(const std::string& folder) {
  std::vector<std::string> names;
  for (const std::string& name : List(folder)) {
    if (name[0] != '.') names.push_back(name);
  }
  return names;
}

// Starts `command` and kills it as soon as one of our temporary files appears in `folder`.
bool KillWhileWriting(const std::string& cli, const std::string& work, const std::vector<std::string>& command,
                      const std::string& folder) {
  const pid_t pid = StartCli(cli, work, command);
  bool seen = false;
  for (int i = 0; i < 20000 && !seen; ++i) {
    seen = !Ours(folder).empty();
    if (!seen) std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  return seen;
}

int RunToEnd(const std::string& cli, const std::string& work, const std::vector<std::string>& command) {
  int status = 0;
  waitpid(StartCli(cli, work, command), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s CLI WORKFOLDER\n", argv[0]);
    return 2;
  }
  const std::string cli = argv[1];
  const std::string work = argv[2];
  std::system(("rm -rf '" + work + "' && mkdir -p '" + work + "/config' '" + work + "/src' '" + work + "/dst'").c_str());
  const std::string src = work + "/src";
  const std::string dst = work + "/dst";
  for (int i = 0; i < kFiles; ++i) std::ofstream(src + "/" + Name(i), std::ios::binary) << Content(i);
  std::ofstream(work + "/profile.ini", std::ios::binary)
      << "[Z]\r\nQuelle=" << src << "\r\nUnterverzeich=0\r\nFilter=Alles\r\nAktion=Verschieben\r\nZiel=" << dst
      << "\r\nKollision=1\r\nZippen=2\r\nZipName=archiv\r\n";

  // The run, killed while its archive is being written.
  if (!KillWhileWriting(cli, work, {"run", "Z"}, dst)) return Fail("the run never wrote a temporary archive of ours");
  if (!Visible(dst).empty()) return Fail("a killed run left a visible file in the target");
  if (List(src).size() != static_cast<size_t>(kFiles)) return Fail("a killed run lost a source");
  // The next run removes what the killed one left and packs everything.
  if (RunToEnd(cli, work, {"run", "Z"}) != 0) return Fail("the run after the kill failed");
  if (!Ours(dst).empty()) return Fail("the temporary archive of the killed run is still there");
  if (!List(src).empty()) return Fail("the run after the kill left sources");

  // The undo, killed while it takes a file out of the archive into the source folder.
  if (!KillWhileWriting(cli, work, {"undo", "--last"}, src)) return Fail("the undo never wrote a temporary file of ours");
  if (RunToEnd(cli, work, {"undo", "--last"}) != 0) return Fail("the undo after the kill failed");
  if (!Ours(src).empty()) return Fail("the half-extracted file of the killed undo is still there");
  for (int i = 0; i < kFiles; ++i) {
    std::string bytes;
    if (!ReadAll(src + "/" + Name(i), &bytes) || bytes != Content(i)) return Fail("a file did not come back whole");
  }
  std::printf("killed zip run and undo: no temporary file left, %d files whole\n", kFiles);
  return 0;
}

// What the crash tests share: files whose bytes tell a cut-off or mixed-up copy from the
// right one, looking at folders, and ablagix-cli started as a child that can be killed.
#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace crash_test {

// The bytes of file `index`: from 0,5 KB up by 1 KB steps (`steps` of them, so the larger
// ones take several copy blocks), content that differs from every other file's.
inline std::string FileBytes(int index, int steps) {
  const size_t size = 512 + static_cast<size_t>(index % steps) * 1024 + static_cast<size_t>(index);
  std::string bytes(size, '\0');
  std::uint32_t x = 2166136261u ^ static_cast<std::uint32_t>(index);
  for (char& c : bytes) {
    x = x * 16777619u + 12345u;
    c = static_cast<char>(x >> 24);
  }
  return bytes;
}

inline std::string Name(int index) {
  char name[32];
  std::snprintf(name, sizeof name, "f%04d.bin", index);
  return name;
}

inline bool ReadAll(const std::string& path, std::string* out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

inline std::vector<std::string> List(const std::string& folder) {
  std::vector<std::string> names;
  if (DIR* dir = opendir(folder.c_str())) {
    while (dirent* e = readdir(dir)) {
      std::string n = e->d_name;
      if (n != "." && n != "..") names.push_back(n);
    }
    closedir(dir);
  }
  return names;
}

inline dev_t DeviceOf(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 ? st.st_dev : 0;
}

// ablagix-cli with the profiles and settings of `work` and the given command, its output
// thrown away.
inline pid_t StartCli(const std::string& cli, const std::string& work, const std::vector<std::string>& command) {
  const pid_t pid = fork();
  if (pid == 0) {
    std::freopen("/dev/null", "w", stdout);
    std::freopen("/dev/null", "w", stderr);
    const std::string profiles = work + "/profile.ini";
    const std::string config = work + "/config";
    std::vector<const char*> argv = {cli.c_str(), "--profiles", profiles.c_str(), "--config-dir", config.c_str()};
    for (const std::string& c : command) argv.push_back(c.c_str());
    argv.push_back(nullptr);
    execv(cli.c_str(), const_cast<char* const*>(argv.data()));
    _exit(127);
  }
  return pid;
}

}  // namespace crash_test

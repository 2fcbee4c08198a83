#include <spawn.h>
#include <sys/wait.h>

#include <string>

#include "base/text.h"
#include "desktop/shell_open.h"

extern char** environ;

namespace ablagix {

bool OpenWebAddress(const std::wstring& address) {
  if (!IsWebAddress(address)) return false;
  // xdg-open hands the address to the desktop's browser and returns; its exit tells whether
  // it found one.
  std::string program = "xdg-open";
  std::string argument = ToUtf8(std::wstring(Trim(address)));
  char* argv[] = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, argv, environ) != 0) return false;
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace ablagix

#include <csignal>
#include <unistd.h>

#include <cstdio>

#include "base/abort_flag.h"
#include "base/text.h"
#include "cli/console.h"

namespace ablagix::cli {
namespace {

void OnInterrupt(int) { RequestAbort(); }

}  // namespace

std::vector<std::wstring> Arguments(int argc, char** argv) {
  std::vector<std::wstring> args;
  for (int i = 1; i < argc; ++i) args.push_back(FromUtf8(argv[i]));
  return args;
}

void WriteOut(std::wstring_view text) {
  std::string bytes = ToUtf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void WriteOutUtf8(std::string_view bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stdout); }

void WriteErr(std::wstring_view text) {
  std::fflush(stdout);
  std::string bytes = ToUtf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

bool StandardInputIsTerminal() { return ::isatty(0) != 0; }
bool StandardErrorIsTerminal() { return ::isatty(2) != 0; }

void InstallInterruptHandler() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}

}  // namespace ablagix::cli

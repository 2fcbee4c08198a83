// The commands of ablagix-cli. Each returns the process exit code.
#pragma once

#include <string>
#include <vector>

#include "cli/options.h"

namespace ablagix::cli {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFileError = 1;  // a log row reads "Fehler!"
inline constexpr int kExitBadInput = 2;
inline constexpr int kExitAborted = 130;

int ListCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int RunCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int TimerCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int WatchCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int ExifCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int ExpandCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);
int UndoCommand(const std::vector<std::wstring>& args, const GlobalOptions& options);

}  // namespace ablagix::cli

// Terminal input and output for ablagix-cli. Text goes out as UTF-8, or through the wide
// console calls when Windows writes to a real console, so umlauts show correctly either way.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix::cli {

// The command-line arguments as wide text (argv[0] left out).
std::vector<std::wstring> Arguments(int argc, char** argv);

void WriteOut(std::wstring_view text);
// Text already in UTF-8 (long outputs built without wide strings).
void WriteOutUtf8(std::string_view bytes);
void WriteErr(std::wstring_view text);
// Hands on what was written so far: a timer or a watch runs for hours, and whoever reads its
// output (a pipe, a log file) sees each run when it ends, not when the buffer is full.
inline void FlushOut() { std::fflush(stdout); }

bool StandardInputIsTerminal();
bool StandardErrorIsTerminal();

// Ctrl+C sets the process-wide abort flag instead of ending the process, so a run stops
// between two files and still reports what it did.
void InstallInterruptHandler();

}  // namespace ablagix::cli

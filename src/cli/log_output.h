// Printing the log on the terminal: an aligned table for people, or tab-separated lines
// (all fourteen columns, UTF-8) for other programs.
#pragma once

#include <cstddef>
#include <string>

#include "log/log_list.h"

namespace ablagix::cli {

enum class LogFormat { Table, Tsv };

// Writes rows from `first` to the end of the list to standard output, a few hundred rows at
// a time, so a long log never has to exist twice in memory.
void PrintLog(const LogList& log, LogFormat format, std::size_t first = 0);

}  // namespace ablagix::cli

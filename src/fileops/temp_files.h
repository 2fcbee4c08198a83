// The program's own temporary files: an archive being written, a staged copy where the file
// system has no anonymous files, a file an undo takes out of an archive. Each lies in the folder
// of its result, so that one rename finishes it, under a hidden name (".~ablagix-<process>-<n>"
// with the hidden attribute on Windows) that nobody takes for a result.
//
// A process notes each folder it makes one in, in a ledger of its own in the settings folder,
// held locked while it lives. A process that was killed leaves its ledger unlocked behind; the
// next run removes that process's temporary files from the folders it names, and nothing
// else: never a file that another process is still writing, never a file of the user's.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ablagix {

// A new temporary name in `folder` (the file is not created).
std::wstring TempFilePath(const std::wstring& folder);
// True for every name TempFilePath gives, of any process.
bool IsTempFileName(std::wstring_view name);

// Where ledgers are kept; "" (the default) keeps none, as in simulations and tests.
void SetTempLedgerFolder(const std::wstring& folder);
// Removes the temporary files of processes that ended without removing them, and their
// ledgers. Returns how many files were removed.
std::size_t RemoveLeftoverTempFiles();
// What a run or an undo does first: its ledger beside the journals in `journalFolder` (a
// folder "Temp" there), and what a killed one left behind removed. "" does nothing.
void CleanUpAfterKilledRuns(const std::wstring& journalFolder);

}  // namespace ablagix

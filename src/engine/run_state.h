// State that lives for one run (all profiles of one button press or timer tick), shared by
// the actions, the archives and the journal.
#pragma once

#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace ablagix {

class RunJournal;

struct RunState {
  bool notified = false;                // the notify balloon was shown in this run
  std::set<std::wstring> changedFolders;  // told to the shell when the run ends
  // Target folders made or found in this run: each is looked at once, not once per file. A
  // folder that vanishes later is made again when writing into it fails.
  std::unordered_set<std::wstring> knownFolders;
  // A simulation asks once per target folder whether it exists: in a folder that is not
  // there no target can be taken, so its files need no look of their own.
  std::unordered_map<std::wstring, bool> foldersPresent;
  // Where an executed run notes each change before making it (engine/journal.h). Null, or a
  // journal without a folder, notes nothing (a simulation, the tests).
  RunJournal* journal = nullptr;
};

}  // namespace ablagix

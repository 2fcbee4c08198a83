// Options shared by every ablagix-cli command.
#pragma once

#include <string>
#include <vector>

#include "profiles/settings_store.h"

namespace ablagix::cli {

struct GlobalOptions {
  std::wstring profilesFile;  // --profiles FILE
  std::wstring configFolder;  // --config-dir DIR
  // --ja / --yes: a question that would destroy data is answered "Ja" even without a person
  // at the terminal (otherwise the answer that keeps every file).
  bool assumeYes = false;
};

// Takes the global options out of `args` (they may stand anywhere); the rest stays in order.
// False with `error` set when an option lacks its value.
bool ExtractGlobalOptions(std::vector<std::wstring>* args, GlobalOptions* options,
                          std::wstring* error);

// The settings folders: --config-dir as the settings folder, else the program's own rules
// (the per-user data folder followed by "Kramdock").
SettingsFolders SettingsFor(const GlobalOptions& options);
// The profile file: --profiles, else the one the program would start with (IniPfad, or
// "Ablagix.ini" in the settings folder).
std::wstring ProfileFileFor(const GlobalOptions& options, const SettingsFolders& folders);

}  // namespace ablagix::cli

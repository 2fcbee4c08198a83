// Options shared by every ablagix-cli command.
#pragma once

#include <string>
#include <vector>

namespace ablagix::cli {

struct GlobalOptions {
  std::wstring profilesFile;  // --profiles FILE
  std::wstring configFolder;  // --config-dir DIR
};

// Takes the global options out of `args` (they may stand anywhere); the rest stays in order.
// False with `error` set when an option lacks its value.
bool ExtractGlobalOptions(std::vector<std::wstring>* args, GlobalOptions* options,
                          std::wstring* error);

// The settings folder: --config-dir, else the per-user data folder followed by "Kramdock".
std::wstring SettingsFolderFor(const GlobalOptions& options);
// The profile file: --profiles, else "Ablagix.ini" in the settings folder.
std::wstring ProfileFileFor(const GlobalOptions& options);

}  // namespace ablagix::cli

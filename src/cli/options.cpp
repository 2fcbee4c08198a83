#include "cli/options.h"

#include "base/environment.h"
#include "fileops/path_text.h"

namespace ablagix::cli {

bool ExtractGlobalOptions(std::vector<std::wstring>* args, GlobalOptions* options,
                          std::wstring* error) {
  std::vector<std::wstring> rest;
  for (size_t i = 0; i < args->size(); ++i) {
    const std::wstring& arg = (*args)[i];
    std::wstring* target = arg == L"--profiles"     ? &options->profilesFile
                           : arg == L"--config-dir" ? &options->configFolder
                                                    : nullptr;
    if (!target) {
      rest.push_back(arg);
      continue;
    }
    if (i + 1 >= args->size()) {
      *error = L"Die Option " + arg + L" braucht einen Wert.";
      return false;
    }
    *target = (*args)[++i];
  }
  *args = std::move(rest);
  return true;
}

std::wstring SettingsFolderFor(const GlobalOptions& options) {
  if (!options.configFolder.empty()) return WithTrailingBackslash(options.configFolder);
  return WithTrailingBackslash(WithTrailingBackslash(UserDataFolder()) + L"Kramdock");
}

std::wstring ProfileFileFor(const GlobalOptions& options) {
  if (!options.profilesFile.empty()) return options.profilesFile;
  return SettingsFolderFor(options) + L"Ablagix.ini";
}

}  // namespace ablagix::cli

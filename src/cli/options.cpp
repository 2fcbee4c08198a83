#include "cli/options.h"

#include "base/environment.h"
#include "fileops/path_text.h"
#include "profiles/profile_file_choice.h"
#include "profiles/settings.h"

namespace ablagix::cli {

bool ExtractGlobalOptions(std::vector<std::wstring>* args, GlobalOptions* options,
                          std::wstring* error) {
  std::vector<std::wstring> rest;
  for (size_t i = 0; i < args->size(); ++i) {
    const std::wstring& arg = (*args)[i];
    if (arg == L"--ja" || arg == L"--yes") {
      options->assumeYes = true;
      continue;
    }
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

SettingsFolders SettingsFor(const GlobalOptions& options) {
  if (options.configFolder.empty()) return FindSettingsFolders(UserDataFolder(), ExecutableFolder());
  return SettingsFoldersIn(options.configFolder);
}

std::wstring ProfileFileFor(const GlobalOptions& options, const SettingsFolders& folders) {
  if (!options.profilesFile.empty()) return options.profilesFile;
  return ChooseProfileFile(folders, ReadAppSetting(folders.SettingsFilePath, L"IniPfad")).ProfileFilePath;
}

}  // namespace ablagix::cli

#include "profiles/profile_file_choice.h"

#include "fileops/file_ops.h"
#include "fileops/path_text.h"

namespace ablagix {

ProfileFileChoice ChooseProfileFile(const SettingsFolders& folders, std::wstring_view iniPfad) {
  const std::wstring remembered(iniPfad);
  if (!remembered.empty() && FileExists(remembered)) {
    return {remembered, ProfileFileLabel(remembered)};
  }
  return {SettingPath(folders, kDefaultProfileFileName), std::wstring(kDefaultProfileFileName)};
}

std::wstring ProfileFileLabel(std::wstring_view profileFilePath) {
  return L"= " + NamePart(profileFilePath);
}

bool BackupDefaultProfileFile(const SettingsFolders& folders) {
  const std::wstring profileFile = SettingPath(folders, kDefaultProfileFileName);
  if (!FileExists(profileFile)) return false;
  return CopyFileReplacing(profileFile, SettingPath(folders, kBackupProfileFileName));
}

}  // namespace ablagix

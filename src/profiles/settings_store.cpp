#include "profiles/settings_store.h"

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"

namespace ablagix {
namespace {

SettingsFolders g_folders;

}  // namespace

SettingsFolders FindSettingsFolders(std::wstring_view appData, std::wstring_view programFolder) {
  SettingsFolders folders;
  const std::wstring program = WithTrailingBackslash(programFolder);
  // Without a per-user folder, "\Kramdock\" would land in the root of whatever drive is
  // current; the program folder is the better home.
  folders.AppDataFolder =
      appData.empty() ? program : WithTrailingBackslash(WithTrailingBackslash(appData) + L"Kramdock");
  folders.SettingsFolder = folders.AppDataFolder;

  const std::wstring optIni = folders.SettingsFolder + std::wstring(kFilterListFileName);
  if (ReadIniString(optIni, L"Pfad3", L"IsUserIniChange", L"0") == L"1") {
    folders.FilterListFolder = ReadIniString(optIni, L"Pfad3", L"UserIniPfad", L"");
  }
  const bool ownFilterFolder =
      !folders.FilterListFolder.empty() && FolderExists(folders.FilterListFolder);
  folders.FilterListFolder =
      ownFilterFolder ? WithTrailingBackslash(folders.FilterListFolder) : folders.AppDataFolder;

  if (!FolderExists(folders.SettingsFolder) && !CreateFolders(folders.SettingsFolder)) {
    folders.SettingsFolder = program;
    // The filter lists normally live beside the settings; keep them together rather than
    // pointing at a folder that could not be made.
    if (!ownFilterFolder) folders.FilterListFolder = program;
  }
  folders.SettingsFilePath = folders.SettingsFolder + std::wstring(kSettingsFileName);
  return folders;
}

SettingsFolders SettingsFoldersIn(std::wstring_view folder) {
  SettingsFolders folders;
  folders.SettingsFolder = WithTrailingBackslash(folder);
  CreateFolders(folders.SettingsFolder);
  folders.FilterListFolder = folders.SettingsFolder;
  folders.SettingsFilePath = folders.SettingsFolder + std::wstring(kSettingsFileName);
  folders.AppDataFolder = folders.SettingsFolder;
  return folders;
}

void SetSettingsFolders(SettingsFolders folders) { g_folders = std::move(folders); }
const SettingsFolders& CurrentSettingsFolders() { return g_folders; }

std::wstring SettingPath(const SettingsFolders& folders, std::wstring_view fileName,
                         bool fromAppData) {
  // File names compare without case on Windows, so "opt.ini" is the same file.
  if (FindNoCase(fileName, kFilterListFileName) != std::wstring_view::npos) {
    return folders.FilterListFolder + std::wstring(fileName);
  }
  const std::wstring& folder = fromAppData ? folders.AppDataFolder : folders.SettingsFolder;
  return folder + std::wstring(fileName.empty() ? kDefaultProfileFileName : fileName);
}

std::wstring ReadSetting(const SettingsFolders& folders, std::wstring_view section,
                         std::wstring_view key, std::wstring_view defaultValue,
                         std::wstring_view fileName, bool fromAppData) {
  return ReadIniString(SettingPath(folders, fileName, fromAppData), section, key, defaultValue);
}

bool WriteSetting(const SettingsFolders& folders, std::wstring_view section, std::wstring_view key,
                  std::wstring_view value, std::wstring_view fileName) {
  return WriteIniString(SettingPath(folders, fileName), section, key, value);
}

std::wstring ReadSetting(std::wstring_view section, std::wstring_view key,
                         std::wstring_view defaultValue, std::wstring_view fileName,
                         bool fromAppData) {
  return ReadSetting(g_folders, section, key, defaultValue, fileName, fromAppData);
}

bool WriteSetting(std::wstring_view section, std::wstring_view key, std::wstring_view value,
                  std::wstring_view fileName) {
  return WriteSetting(g_folders, section, key, value, fileName);
}

}  // namespace ablagix

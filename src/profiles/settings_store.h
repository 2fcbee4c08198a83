// Where the program keeps its INI files, and the two operations every part of the program
// reads and writes them with.
//
//   SetSettingsFolders(FindSettingsFolders(UserDataFolder(), ExecutableFolder()));
//   std::wstring filters = ReadSetting(L"Dateifilter1", L"Filter", L"", L"Opt.ini");
//   WriteSetting(L"AblagixForm", L"LogPath", folder, L"AblagixSetting.ini");
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

inline constexpr std::wstring_view kSettingsFileName = L"AblagixSetting.ini";
inline constexpr std::wstring_view kFilterListFileName = L"Opt.ini";
inline constexpr std::wstring_view kDefaultProfileFileName = L"Ablagix.ini";
inline constexpr std::wstring_view kBackupProfileFileName = L"Sicherung_ Ablagix.ini";

// Every folder ends with a separator.
struct SettingsFolders {
  // Settings file, default profile file and its backup.
  std::wstring SettingsFolder;
  // "Opt.ini", shared with the file manager Kramdock, which may keep it elsewhere.
  std::wstring FilterListFolder;
  std::wstring SettingsFilePath;
  // The per-user folder ("<APPDATA>\Kramdock\") even when SettingsFolder had to fall back
  // to the program folder.
  std::wstring AppDataFolder;
};

// Works out the folders from the per-user data folder and the program's own folder, creating
// the settings folder when it is missing. Kramdock announces a folder of its own in "Opt.ini"
// (section "Pfad3"); a folder announced there that no longer exists is ignored.
SettingsFolders FindSettingsFolders(std::wstring_view appData, std::wstring_view programFolder);

// The folders the program uses, set once at start-up.
// The folders when the user names the settings folder (--config-dir): everything, "Opt.ini"
// included, lives there; the folder is created when missing.
SettingsFolders SettingsFoldersIn(std::wstring_view folder);

void SetSettingsFolders(SettingsFolders folders);
const SettingsFolders& CurrentSettingsFolders();

// The full path behind a file name: a name containing "Opt.ini" lies in FilterListFolder,
// every other name in SettingsFolder, and an empty name means "Ablagix.ini" there.
// `fromAppData` puts the non-"Opt.ini" files into AppDataFolder instead.
std::wstring SettingPath(const SettingsFolders& folders, std::wstring_view fileName,
                         bool fromAppData = false);

std::wstring ReadSetting(const SettingsFolders& folders, std::wstring_view section,
                         std::wstring_view key, std::wstring_view defaultValue,
                         std::wstring_view fileName, bool fromAppData = false);
// False when the file could not be written; callers may ignore it, the next read shows the truth.
bool WriteSetting(const SettingsFolders& folders, std::wstring_view section, std::wstring_view key,
                  std::wstring_view value, std::wstring_view fileName);

// The same on the folders set at start-up.
std::wstring ReadSetting(std::wstring_view section, std::wstring_view key,
                         std::wstring_view defaultValue, std::wstring_view fileName,
                         bool fromAppData = false);
bool WriteSetting(std::wstring_view section, std::wstring_view key, std::wstring_view value,
                  std::wstring_view fileName);

}  // namespace ablagix

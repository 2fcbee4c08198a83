#include "profiles/profile.h"

#include "base/text.h"
#include "profiles/ini_file.h"

namespace ablagix {

const std::array<ProfileColumn, kProfileColumnCount> kProfileColumns = {{
    {L"Beschreibung", nullptr, &Profile::Beschreibung},
    {L"Quellordner", L"Quelle", &Profile::Quelle},
    {L"Unterordner", L"Unterverzeich", &Profile::Unterverzeich},
    {L"Blockordner", L"BlockFolder", &Profile::BlockFolder},
    {L"Dateiname", L"Filename", &Profile::Filename},
    {L"Filter", L"Filter", &Profile::Filter},
    {L"BlockExtension", L"Extension", &Profile::Extension},
    {L"Dateigr\u00f6\u00dfe", L"Filedate", &Profile::Filedate},
    {L"Datum", L"Filesize", &Profile::FileSize},
    {L"Aktion", L"Aktion", &Profile::Aktion},
    {L"Zielverzeichnis", L"Ziel", &Profile::Ziel},
    {L"Case", L"Case", &Profile::Case},
    {L"Kollision", L"Kollision", &Profile::Kollision},
    {L"Metadaten", L"Metadaten", &Profile::Metadaten},
    {L"Zippen", L"Zippen", &Profile::Zippen},
    {L"Exclude", L"ExcludeFilename", &Profile::ExcludeFilename},
    {L"TextSuche", L"TextSuche", &Profile::TextSuche},
    {L"ZipName", L"ZipName", &Profile::ZipName},
    {L"OrdnerStruktur", L"OrdnerStruktur", &Profile::OrdnerStruktur},
}};

const std::wstring& ProfileSubitem(const Profile& profile, int column) {
  static const std::wstring kEmpty;
  if (column < 0 || column >= kProfileColumnCount) return kEmpty;
  return profile.*(kProfileColumns[static_cast<size_t>(column)].field);
}

std::vector<Profile> Einlesen(const std::wstring& profileFile) {
  IniFile ini = IniFile::Load(profileFile);
  std::vector<Profile> profiles;
  for (const std::wstring& name : ini.SectionNames()) {
    Profile profile;
    profile.Beschreibung = name;
    for (const ProfileColumn& column : kProfileColumns) {
      if (column.key) profile.*(column.field) = ini.GetString(name, column.key, L"");
    }
    for (const ProfileExtraKey& extra : kProfileExtraKeys) {
      profile.*(extra.field) = ini.GetString(name, extra.key, L"");
    }
    profiles.push_back(std::move(profile));
  }
  return profiles;
}

bool IsKnownAction(std::wstring_view aktion) {
  for (std::wstring_view code : kActionCodes) {
    if (EqualsNoCase(aktion, code)) return true;
  }
  return false;
}

bool ActionNeedsTarget(std::wstring_view aktion) {
  return ActionTransfersFile(aktion) || EqualsNoCase(aktion, kAktionEntpacken);
}

bool ActionTransfersFile(std::wstring_view aktion) {
  return EqualsNoCase(aktion, kAktionVerschieben) || EqualsNoCase(aktion, kAktionKopieren);
}

bool ActionMovesFile(std::wstring_view aktion) {
  return EqualsNoCase(aktion, kAktionVerschieben) || EqualsNoCase(aktion, kAktionUmbenennen);
}

bool IsSwitchedOn(std::wstring_view value) { return Trim(value) == L"1"; }

ProfileSwitches SwitchesOf(const Profile& profile) {
  ProfileSwitches switches;
  switches.includeSubfolders = IsSwitchedOn(profile.Unterverzeich);
  switches.keepFolderStructure = IsSwitchedOn(profile.OrdnerStruktur);
  switches.caseSensitive = IsSwitchedOn(profile.Case);
  switches.skipIdentical = IsSwitchedOn(profile.Identisch);
  switches.sidecars = IsSwitchedOn(profile.Begleitdateien);
  switches.removeEmptied = IsSwitchedOn(profile.LeereOrdner);
  switches.watch = IsSwitchedOn(profile.Ueberwachen);
  switches.duplicates = IsSwitchedOn(profile.Duplikate);
  return switches;
}

}  // namespace ablagix

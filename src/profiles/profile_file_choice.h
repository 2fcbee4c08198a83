// Which profile file the program starts with, and the backup taken before it is touched.
#pragma once

#include <string>
#include <string_view>

#include "profiles/settings_store.h"

namespace ablagix {

struct ProfileFileChoice {
  std::wstring ProfileFilePath;
  std::wstring label;  // the caption of the profile-file label
};

// `iniPfad` is the remembered profile file. When it still exists it is used and the label reads
// "= " and its name; otherwise (not set, deleted, or a folder) the default "Ablagix.ini" in the
// settings folder is used and the label names it.
ProfileFileChoice ChooseProfileFile(const SettingsFolders& folders, std::wstring_view iniPfad);

// "= " followed by the file name, the label of every profile file other than the default.
std::wstring ProfileFileLabel(std::wstring_view profileFilePath);

// Copies the default profile file over "Sicherung_ Ablagix.ini" beside it, so the state of the
// last start can be restored if the file is damaged while the program runs. False when there
// is no default profile file or the copy failed; an older backup then stays as it is.
bool BackupDefaultProfileFile(const SettingsFolders& folders);

}  // namespace ablagix

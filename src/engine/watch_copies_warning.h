// The warning for a watched copy profile whose copies multiply. Copying with "neue Datei
// umbenennen (1)" makes one more numbered copy of a file each time a run meets it again.
// Runs that watching starts meet only the files that arrived or changed, but a run over the
// whole source (by hand, by the timer, after the system lost changes) meets every file, and
// each such run doubles the target. The user is told where the profile is edited and where
// watching starts.
#pragma once

#include <string>
#include <string_view>

#include "profiles/profile.h"
#include "profiles/profile_save.h"

namespace ablagix {

// Marked for watching, copying, numbering taken names, and neither skipping identical files
// nor able to (archives are not compared).
bool WatchedCopiesMultiply(const Profile& profile);
bool WatchedCopiesMultiply(const ProfileEditorValues& values);

// The warning, naming the profile.
std::wstring WatchedCopiesMultiplyWarning(std::wstring_view profileName);

}  // namespace ablagix

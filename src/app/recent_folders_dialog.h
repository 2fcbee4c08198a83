// The modal dialog of recently used target folders.
#pragma once

#include <windows.h>

#include <string>

#include "app/app_ui.h"

namespace ablagix::app {

// The chosen folder, or "#" when the dialog was left without a choice.
std::wstring ShowRecentFoldersDialog(HINSTANCE instance, AppUi& ui, const std::wstring& settingsFile);

}  // namespace ablagix::app

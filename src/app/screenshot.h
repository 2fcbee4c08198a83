// Saves what a window shows as a PNG file (for the GUI tests' screenshots).
#pragma once

#include <windows.h>

#include <string>

namespace ablagix::app {

bool SaveWindowPng(HWND window, const std::wstring& path);

}  // namespace ablagix::app

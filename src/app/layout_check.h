// What a person would see as untidy on a page: captions that do not fit their control (cut off,
// or wrapped onto lines below its bottom edge), controls that cover each other, and controls
// reaching beyond the page. The pages are laid out from measured captions, so a longer
// translation or another font shows up here rather than on somebody's screen.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ablagix::app {

// One line per finding: "<control number>|<caption>|<what is wrong>". Hidden controls are left
// out; group boxes may hold other controls, so only their captions are checked.
std::vector<std::wstring> FindLayoutFaults(HWND page);

}  // namespace ablagix::app

// The question the self-extractor's window asks when an entry's name is taken in the target
// folder: replace the file, keep both, or cancel, optionally for every further file.
#pragma once

#include <windows.h>

#include <string>

#include "sfx/sfx_extract.h"

namespace ablagix::sfx {

struct QuestionLook {
  HFONT font = nullptr;  // the window's message font
  int dpi = 96;
  std::wstring title;
};

// Shows the question as a modal dialog over `owner` until it is answered. Keeping both is the
// default button (Enter); Esc and the close box cancel.
TakenAnswer AskAboutTakenName(HWND owner, const QuestionLook& look, const TakenName& taken);

}  // namespace ablagix::sfx

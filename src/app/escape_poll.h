// Long work on the window's thread (a run, a report, an undo) looks at the window's messages
// between its steps: the window keeps painting and answering, and Esc stops the work.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <utility>

#include "app/app_ui.h"

namespace ablagix::app {

// Whether the window in front belongs to this program.
inline bool OwnWindowActive() {
  DWORD process = 0;
  HWND front = GetForegroundWindow();
  return front != nullptr && GetWindowThreadProcessId(front, &process) != 0 && process == GetCurrentProcessId();
}

class EscapePoll {
 public:
  // Asking the system for its queue and the key costs more than a small step of work, so it
  // is done at most every `intervalMs`; Esc is held far longer than that.
  explicit EscapePoll(ULONGLONG intervalMs) : intervalMs_(intervalMs) {}

  // Handles the waiting messages (`preTranslate` first, as the window's own loop does) and
  // says whether Esc was pressed. Esc counts only when it reaches one of this program's
  // windows, that is while one of them is active: Esc typed into another program must not
  // stop the work (nor a timed run in the tray, where no window of ours is active at all).
  bool EscapePressed(const std::function<bool(MSG*)>& preTranslate) {
    const ULONGLONG now = GetTickCount64();
    if (now - last_ < intervalMs_) return false;
    last_ = now;
    bool escape = false;
    if (HIWORD(GetQueueStatus(QS_ALLINPUT)) != 0) {
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
          PostQuitMessage(static_cast<int>(message.wParam));
          break;
        }
        if (message.message == WM_KEYDOWN && message.wParam == VK_ESCAPE) {
          escape = true;
          continue;
        }
        if (!preTranslate(&message)) {
          TranslateMessage(&message);
          DispatchMessageW(&message);
        }
      }
    }
    // A key held down since before the last look sends no new message; it still counts while
    // our window is in front.
    return escape || ((GetAsyncKeyState(VK_ESCAPE) & 0x8000) != 0 && OwnWindowActive());
  }

 private:
  ULONGLONG intervalMs_;
  ULONGLONG last_ = 0;
};

// The window's questions during such work, and its input: pending messages are handled
// between steps and Esc in one of this program's windows ends the work.
class PollingUi : public UiPort {
 public:
  PollingUi(AppUi& ui, std::function<bool(MSG*)> preTranslate, ULONGLONG intervalMs)
      : ui_(ui), preTranslate_(std::move(preTranslate)), poll_(intervalMs) {}
  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon, MessageButtons buttons) override {
    return ui_.ShowMessage(text, icon, buttons);
  }
  bool PollForAbort() override { return poll_.EscapePressed(preTranslate_); }

 private:
  AppUi& ui_;
  std::function<bool(MSG*)> preTranslate_;
  EscapePoll poll_;
};

}  // namespace ablagix::app

// The window as a run sees it: the status line, the progress bar, the log list, the controls
// that must rest while a run goes, and what the pages say a timed run should do. RunSession
// talks to the window only through this, so it knows nothing of pages or control numbers.
#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "log/log_save.h"
#include "profiles/profile.h"

namespace ablagix::app {

// The timer options as the settings page shows them; read at every tick.
struct TimerSettings {
  int intervalPosition = 0;  // in the interval list; -1 when none is chosen
  bool clearLogEveryFifthRun = false;
  bool intoTray = false;  // "Bei Timerstart ins Systemtray ablegen", for watching too
};

class RunView {
 public:
  virtual ~RunView() = default;

  virtual void ShowLogPage() = 0;
  virtual void SetStatus(std::wstring_view text) = 0;
  virtual void ShowProgress(bool visible) = 0;
  // A `total` of 0 is not known yet.
  virtual void SetProgress(std::size_t done, std::size_t total) = 0;
  virtual void SetLogEmptyText(std::wstring_view text) = 0;
  // The log's rows changed: the list shows them all and scrolls to the last.
  virtual void ShowLogRows() = 0;
  // Rows were appended during a run: the list follows without repainting the rows it has.
  virtual void FollowLogRows() = 0;
  // New rows come unsorted, so the header no longer shows an order.
  virtual void HideSortArrow() = 0;
  virtual void EnableRunControls(bool enabled) = 0;
  // The window's own handling of a message taken from the queue during a run.
  virtual bool PreTranslate(MSG* message) = 0;
  // The automatic save after a run, when it is switched on; nothing when it is not.
  virtual std::optional<LogSaveResult> SaveLogAfterRun() = 0;
  virtual std::vector<Profile> CheckedProfiles() = 0;
  virtual TimerSettings TimerSettingsShown() const = 0;
};

}  // namespace ablagix::app

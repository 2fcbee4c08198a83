// One run at a time: profiles run or simulated by hand, by the timer or by the folder watch,
// the checked rows of the log run again, and the last run undone. A run happens on the
// window's thread and handles its messages between files; meanwhile the controls that could
// start a second run or change the log rest, and closing the window waits for the run to stop.
// The session sees the window only through RunView.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/page.h"
#include "app/run_view.h"
#include "engine/run.h"
#include "engine/timer_model.h"
#include "engine/watch_service.h"
#include "fileops/shredder.h"
#include "log/log_list.h"
#include "profiles/profile.h"

namespace ablagix::app {

class RunSession {
 public:
  // Timer1 ticks once a minute while the interval timer runs; the watch timer looks a few
  // times a second whether a watched profile is due.
  static constexpr UINT_PTR kTimer1 = 1;
  static constexpr UINT_PTR kWatchTimer = 2;

  RunSession(WindowContext& context, RunView& view, LogList& log);
  ~RunSession();
  RunSession(const RunSession&) = delete;
  RunSession& operator=(const RunSession&) = delete;

  bool running() const { return running_; }
  bool timerRunning() const { return timer_.running(); }
  int timerInterval() const { return timer_.interval(); }
  bool watching() const { return watch_ != nullptr; }

  void RunProfiles(const std::vector<Profile>& profiles, RunMode mode);
  // "Ausführen nur bei angehakten Dateien".
  void RunCheckedRows();
  // "Letzten Lauf rückgängig machen": asks, then undoes the newest executed run's journal.
  void UndoLastRun();

  void StartTimer();
  void StopTimer();
  void OnTimerTick();
  // Watches the source folders of `marked` (profiles marked for watching).
  void StartWatching(const std::vector<Profile>& marked);
  void StopWatching();
  // The watchers' changes, on the window's thread: notes into the log, due profiles run.
  void OnWatchTick();
  // Hides the window into the notification area when the settings ask for it (timer and
  // watching alike); `balloon` is said there.
  void HideIntoTray(const std::wstring& balloon);
  void SetLogEmptyText(std::wstring_view text) { view_.SetLogEmptyText(text); }

  // A report written outside a run takes the same guard as a run; false when a run already
  // holds it (a save at the end of a run).
  bool HoldForExport(std::wstring_view status);
  void ReleaseExport();
  // The window was asked to close: during a run the run stops first and the window closes
  // after it (true); otherwise false and the caller closes now.
  bool CloseAfterRun();

 private:
  class HostBase;
  class ProfileHost;
  class UndoHost;

  void BeginRun();
  // `saveLog`: a profile run ends with the automatic save when that is switched on.
  void EndRun(const RunSummary& summary, bool saveLog);
  void Release();
  // With `watched`, the runs a watch started (each over its own files) instead of `profiles`.
  void RunNow(const std::vector<Profile>& profiles, RunMode mode, const std::vector<WatchRun>* watched = nullptr);
  void OnRunProgress(const RunProgress& progress);
  void OnShredProgress(const ShredProgress& progress);
  static INT_PTR CALLBACK ShredWaitProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
  void TimerOptionsFromView();

  WindowContext& context_;
  RunView& view_;
  LogList& log_;
  bool running_ = false;
  bool closeAfterRun_ = false;  // the window was closed during a run, which stops first
  std::wstring progressProfile_;
  ULONGLONG lastProgress_ = 0;
  // The shredder's wait window while a run shreds; closed by the user, it stays away.
  HWND shredWait_ = nullptr;
  bool shredWaitClosed_ = false;
  ULONGLONG lastShredUpdate_ = 0;
  TimerModel timer_;
  std::unique_ptr<WatchService> watch_;
};

}  // namespace ablagix::app

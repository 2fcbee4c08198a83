// Watching the source folders of profiles ("Überwachen") and saying when each is to run, and
// over which files. The watchers report on threads of their own; everything else here happens
// on the caller's thread, in Due and Ran, between runs. Runs themselves stay with the caller:
// a due profile runs as its timer would, but only over the files that arrived or changed
// since its last run, so a copy profile does not copy the whole folder again for each one.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/run.h"
#include "engine/watch_model.h"
#include "fileops/folder_watch.h"
#include "log/log_list.h"
#include "profiles/profile.h"

namespace ablagix {

// Texts the empty log list shows while watching and after.
inline constexpr std::wstring_view kLogEmptyWatching = L"\u00dcberwachung l\u00e4uft, warte auf neue Dateien...";
inline constexpr std::wstring_view kLogEmptyWatchStopped = L"\u00dcberwachung gestoppt, warte auf Befehle...";
// "Überwachung starten" with checked profiles of which none is marked.
inline constexpr std::wstring_view kNothingMarkedForWatchingMessage =
    L"Keines der angehakten Profile ist zum \u00dcberwachen markiert.\r\n"
    L"Bitte bei \u201EProfile bearbeiten\u201C das K\u00e4stchen \u201EDiesen Ordner \u00fcberwachen\u201C anhaken, "
    L"das Profil speichern und hier anhaken.";

// The steady clock in the unit the watch counts in.
WatchTime WatchClockNow();

// The profile is marked "Diesen Ordner überwachen".
bool MarkedForWatching(const Profile& profile);

// A message row of the log for what watching has to say ("**********" and the text).
void AppendWatchNote(LogList& log, std::wstring_view text);

struct WatchOptions {
  WatchTiming timing;
  std::size_t bufferBytes = 64 * 1024;
  // How often a profile whose folder cannot be watched runs instead, as the timer would.
  std::chrono::milliseconds fallbackInterval = std::chrono::minutes(10);
  // How a file is looked at; tests may count the looks.
  LookAtFile look = LookAtWatchedFile;
};

// A profile whose run is due, and what the run is to handle.
struct WatchRun {
  Profile profile;
  // The run walks the whole source: the system lost changes, the watch had to be started
  // anew, or the folder is watched by the timer.
  bool wholeSource = false;
  // Otherwise the files that arrived or changed since the profile's last run.
  std::vector<std::wstring> files;
};

// Runs what Due returned, executed, as one run: each profile over its own files.
RunSummary RunWatchRuns(const std::vector<WatchRun>& runs, RunHost& host, LogList& log);

class WatchService {
 public:
  // `wake` is called on a watcher thread when changes arrived and nobody has asked for them
  // since: a window posts itself a message. It must not call back into the service.
  WatchService(WatchOptions options, std::function<void()> wake = {});
  ~WatchService();
  WatchService(const WatchService&) = delete;
  WatchService& operator=(const WatchService&) = delete;

  // Watches the source folder of each profile (with its subfolders when it has them). A
  // folder that cannot be watched (a network share whose server reports nothing, a missing
  // folder) makes its profile run every fallbackInterval instead, with a note; each time, the
  // watch is tried again.
  void Start(std::vector<Profile> profiles, WatchTime now);

  // Takes the changes reported so far and returns the profiles whose run is due, in the order
  // given to Start, each with its files; those count as handled from now on. Files that
  // change again while the run goes on are reported after it and make the next run.
  std::vector<WatchRun> Due(WatchTime now);

  // A run has ended (one that Due started, or any other); the log rows from `firstRow` on
  // are its rows. What it wrote and removed (its targets, and sources it moved away) no
  // longer counts as a change, and a file it handled no longer waits for the profile that
  // handled it.
  void Ran(const LogList& log, std::size_t firstRow, WatchTime now);

  // Notes for the log since the last call (a folder watched by the timer instead, a watch
  // that ended or runs again, a copy profile whose copies multiply).
  std::vector<std::wstring> TakeNotes();

  // Where the watchers' reports go: `profile` is an index into the profiles given to Start.
  // Callable from any thread.
  void Receive(std::size_t profile, std::vector<FolderChange>&& changes);

  std::size_t watchedCount() const;
  std::size_t fallbackCount() const;

 private:
  struct Watched {
    explicit Watched(std::chrono::milliseconds keep) : handled(keep) {}
    Profile profile;
    std::unique_ptr<FolderWatch> watch;
    SettleQueue queue;
    // The files this profile's runs handled, as they left them: their arrival may still be
    // reported after the run, and must then not start a second run of this profile (but
    // does start those of other profiles watching the same folder).
    OwnWrites handled;
    bool fallback = false;
    WatchTime nextFallbackRun{};
  };
  struct Report {
    std::size_t profile;
    std::vector<FolderChange> changes;
  };
  bool StartWatch(std::size_t index, std::wstring* reason);
  void FallBack(Watched& watched, const std::wstring& reason, WatchTime now);
  void Take(std::vector<Report>& reports, WatchTime now);
  Watched* WatchedNamed(std::wstring_view name);
  bool IsEcho(const Watched& watched, const std::wstring& path, WatchTime now) const;

  WatchOptions options_;
  std::function<void()> wake_;
  std::vector<std::unique_ptr<Watched>> watched_;
  OwnWrites own_;  // what runs wrote: no change for any profile
  std::vector<std::wstring> notes_;
  // How the files handed out by the last Due looked when they had settled (by WatchPathKey):
  // one that the run leaves in place is remembered as it was then, so that a change made
  // while the run went on still counts.
  std::unordered_map<std::wstring, WatchedFileLook> handedOut_;

  std::mutex reportsLock_;
  std::vector<Report> reports_;  // guarded by reportsLock_
  std::atomic<bool> woken_{false};
};

}  // namespace ablagix

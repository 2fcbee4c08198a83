// Watching the source folders of profiles ("Überwachen") and saying when each is to run. The
// watchers report on threads of their own; everything else here happens on the caller's
// thread, in Due and Ran, between runs. Runs themselves stay with the caller, which runs a
// due profile exactly as its timer would.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

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
  // folder) makes its profile run every fallbackInterval instead, with a note.
  void Start(std::vector<Profile> profiles, WatchTime now);

  // Takes the changes reported so far and returns the profiles whose run is due, in the order
  // given to Start; their waiting files count as handled from now on.
  std::vector<Profile> Due(WatchTime now);

  // A run has ended; the log rows from `firstRow` on are its rows. What it wrote and removed
  // (its targets, and sources it moved away) no longer counts as a change.
  void Ran(const LogList& log, std::size_t firstRow, WatchTime now);

  // Notes for the log since the last call (a folder watched by the timer instead, a watch
  // that ended).
  std::vector<std::wstring> TakeNotes();

  // Where the watchers' reports go: `profile` is an index into the profiles given to Start.
  // Callable from any thread.
  void Receive(std::size_t profile, std::vector<FolderChange>&& changes);

  std::size_t watchedCount() const;
  std::size_t fallbackCount() const;

 private:
  struct Watched {
    Profile profile;
    std::unique_ptr<FolderWatch> watch;
    SettleQueue queue;
    bool fallback = false;
    WatchTime nextFallbackRun{};
  };
  struct Report {
    std::size_t profile;
    std::vector<FolderChange> changes;
  };
  void FallBack(Watched& watched, const std::wstring& reason, WatchTime now);
  void Take(std::vector<Report>& reports, WatchTime now);

  WatchOptions options_;
  std::function<void()> wake_;
  std::vector<std::unique_ptr<Watched>> watched_;
  OwnWrites own_;
  std::vector<std::wstring> notes_;

  std::mutex reportsLock_;
  std::vector<Report> reports_;  // guarded by reportsLock_
  std::atomic<bool> woken_{false};
};

}  // namespace ablagix

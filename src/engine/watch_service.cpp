#include "engine/watch_service.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "engine/watch_copies_warning.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

std::wstring MinutesText(std::chrono::milliseconds interval) {
  const auto minutes = std::max<std::int64_t>(1, std::chrono::duration_cast<std::chrono::minutes>(interval).count());
  return minutes == 1 ? std::wstring(L"jede Minute")
                      : L"alle " + NumberText(static_cast<std::uint64_t>(minutes)) + L" Minuten";
}

// The file a log row handled, and the files it says the run wrote.
void RowPaths(const LogList& log, std::size_t row, std::wstring* source, std::vector<std::wstring>* written) {
  const LogRowAction a = log.ActionOf(row);
  *source = a.quell2.empty() ? JoinPath(a.pfad, a.datei) : a.quell2;
  if (a.zielpfad.empty()) return;
  written->push_back(a.ziel2.empty() ? JoinPath(a.zielpfad, a.datei) : a.ziel2);
  const std::wstring zipp(Trim(a.zipp));
  if (zipp.empty() || zipp == L"0") return;
  // An archive per file is named after the file, one for all after ZipName (whose variables
  // the row does not resolve; such a name is left to the scan, which skips the target folder).
  std::vector<std::wstring> names{a.datei};
  if (!a.zipName.empty() && a.zipName.find(L'%') == std::wstring::npos) names.push_back(a.zipName);
  for (const std::wstring& name : names) {
    for (const wchar_t* extension : {L".zip", L".exe"}) written->push_back(JoinPath(a.zielpfad, name) + extension);
  }
}

}  // namespace

WatchTime WatchClockNow() {
  return std::chrono::duration_cast<WatchTime>(std::chrono::steady_clock::now().time_since_epoch());
}

bool MarkedForWatching(const Profile& profile) { return IsSwitchedOn(profile.Ueberwachen); }

void AppendWatchNote(LogList& log, std::wstring_view text) {
  LogRowTexts texts{};
  texts[0] = L"**********";
  texts[1] = text;
  log.AppendTexts(texts);
}

WatchService::WatchService(WatchOptions options, std::function<void()> wake)
    : options_(std::move(options)), wake_(std::move(wake)), own_(options_.timing.ownEcho) {}

WatchService::~WatchService() {
  // The watcher threads end here, before the reports they write into go away.
  watched_.clear();
}

RunSummary RunWatchRuns(const std::vector<WatchRun>& runs, RunHost& host, LogList& log) {
  std::vector<Profile> profiles;
  std::vector<const std::vector<std::wstring>*> files;
  for (const WatchRun& run : runs) {
    profiles.push_back(run.profile);
    files.push_back(run.wholeSource ? nullptr : &run.files);
  }
  return RunProfiles(profiles, RunMode::Execute, host, log, files);
}

void WatchService::Start(std::vector<Profile> profiles, WatchTime now) {
  for (Profile& profile : profiles) {
    if (WatchedCopiesMultiply(profile)) notes_.push_back(WatchedCopiesMultiplyWarning(profile.Beschreibung));
    auto watched = std::make_unique<Watched>(options_.timing.ownEcho);
    watched->profile = std::move(profile);
    watched->queue = SettleQueue(options_.timing);
    watched_.push_back(std::move(watched));
  }
  for (std::size_t i = 0; i < watched_.size(); ++i) {
    std::wstring reason;
    if (!StartWatch(i, &reason)) FallBack(*watched_[i], reason, now);
  }
}

bool WatchService::StartWatch(std::size_t index, std::wstring* reason) {
  Watched& w = *watched_[index];
  FolderWatchRequest request;
  request.folder = std::wstring(Trim(w.profile.Quelle));
  request.subtree = IsSwitchedOn(w.profile.Unterverzeich);
  request.bufferBytes = options_.bufferBytes;
  if (request.folder.empty()) {
    *reason = L"kein Quellordner";
    return false;
  }
  w.watch = StartFolderWatch(
      request, [this, index](std::vector<FolderChange>&& changes) { Receive(index, std::move(changes)); }, reason);
  return w.watch != nullptr;
}

void WatchService::FallBack(Watched& w, const std::wstring& reason, WatchTime now) {
  if (w.fallback) return;
  const bool wasWatching = w.watch != nullptr;
  w.watch.reset();
  w.fallback = true;
  w.queue = SettleQueue(options_.timing);
  w.nextFallbackRun = now + options_.fallbackInterval;
  const std::wstring name = L"\u201E" + w.profile.Beschreibung + L"\u201C";
  const std::wstring why = reason.empty() ? std::wstring() : L" (" + reason + L")";
  std::wstring note = wasWatching ? L"\u00dcberwachung von " + name + L" beendet" + why
                                  : L"\u00dcberwachung nicht m\u00f6glich f\u00fcr " + name + why;
  note += L": das Profil l\u00e4uft stattdessen mit dem Timer " + MinutesText(options_.fallbackInterval) + L".";
  notes_.push_back(std::move(note));
}

void WatchService::Receive(std::size_t profile, std::vector<FolderChange>&& changes) {
  {
    std::lock_guard<std::mutex> lock(reportsLock_);
    reports_.push_back({profile, std::move(changes)});
  }
  if (!woken_.exchange(true) && wake_) wake_();
}

bool WatchService::IsEcho(const Watched& w, const std::wstring& path, WatchTime now) const {
  return own_.IsEcho(path, now, options_.look) || w.handled.IsEcho(path, now, options_.look);
}

void WatchService::Take(std::vector<Report>& reports, WatchTime now) {
  for (Report& report : reports) {
    if (report.profile >= watched_.size()) continue;
    Watched& w = *watched_[report.profile];
    if (w.fallback) continue;
    for (FolderChange& change : report.changes) {
      switch (change.kind) {
        case FolderChangeKind::Changed:
          if (!IsEcho(w, change.path, now)) w.queue.Changed(change.path, now, change.writing);
          break;
        case FolderChangeKind::Closed:
          if (!IsEcho(w, change.path, now)) w.queue.Closed(change.path, now);
          break;
        case FolderChangeKind::Removed:
          w.queue.Removed(change.path);
          break;
        case FolderChangeKind::Overflow:
          w.queue.LostChanges(now);
          break;
        case FolderChangeKind::Lost:
          FallBack(w, change.path, now);
          break;
      }
      if (w.fallback) break;
    }
  }
}

std::vector<WatchRun> WatchService::Due(WatchTime now) {
  woken_ = false;
  std::vector<Report> reports;
  {
    std::lock_guard<std::mutex> lock(reportsLock_);
    reports.swap(reports_);
  }
  Take(reports, now);
  own_.Expire(now);
  for (const auto& watched : watched_) watched->handled.Expire(now);
  handedOut_.clear();
  std::vector<WatchRun> due;
  for (std::size_t i = 0; i < watched_.size(); ++i) {
    Watched& w = *watched_[i];
    if (w.fallback) {
      if (now < w.nextFallbackRun) continue;
      w.nextFallbackRun = now + options_.fallbackInterval;
      // The folder may be back (a share reconnected, a folder made again). What happened
      // while it was not watched is unknown: one run over all of it, once quiet.
      std::wstring reason;
      if (StartWatch(i, &reason)) {
        w.fallback = false;
        w.queue.LostChanges(now);
        notes_.push_back(L"\u00dcberwachung von \u201E" + w.profile.Beschreibung + L"\u201C l\u00e4uft wieder.");
        continue;
      }
      due.push_back({w.profile, true, {}});
      continue;
    }
    if (!w.queue.Due(now, options_.look)) continue;
    SettledFiles taken = w.queue.Take();
    WatchRun run{w.profile, taken.wholeFolder, {}};
    for (SettledFile& file : taken.files) {
      handedOut_[WatchPathKey(file.path)] = file.look;
      if (!run.wholeSource) run.files.push_back(std::move(file.path));
    }
    due.push_back(std::move(run));
  }
  return due;
}

WatchService::Watched* WatchService::WatchedNamed(std::wstring_view name) {
  for (const auto& watched : watched_) {
    if (watched->profile.Beschreibung == name) return watched.get();
  }
  return nullptr;
}

void WatchService::Ran(const LogList& log, std::size_t firstRow, WatchTime now) {
  // Changes reported during the run are still waiting in the reports; taken only later,
  // those of the run's own files are known for what they are.
  Watched* profile = nullptr;  // the watched profile whose rows these are
  std::wstring source;
  std::vector<std::wstring> written;
  for (std::size_t row = firstRow; row < log.size(); ++row) {
    if (!log.IsFileRow(row)) {
      const std::wstring first = log.Text(row, 0);
      if (first.starts_with(L"Start ")) profile = WatchedNamed(std::wstring_view(first).substr(6));
      continue;
    }
    written.clear();
    RowPaths(log, row, &source, &written);
    // Handled for this profile; another one watching the same folder still has it to do.
    // A file left in place is remembered as it was handed out, so that a change made while
    // the run went on still counts.
    if (profile) {
      WatchedFileLook left = options_.look(source);
      const auto handed = handedOut_.find(WatchPathKey(source));
      if (left.present && handed != handedOut_.end()) left = handed->second;
      profile->handled.Add(source, left, now);
      profile->queue.Forget(source);
    }
    for (const std::wstring& path : written) {
      own_.Add(path, options_.look(path), now);
      for (const auto& watched : watched_) watched->queue.Forget(path);
    }
  }
  handedOut_.clear();
}

std::vector<std::wstring> WatchService::TakeNotes() { return std::exchange(notes_, {}); }

std::size_t WatchService::watchedCount() const {
  return static_cast<std::size_t>(
      std::count_if(watched_.begin(), watched_.end(), [](const auto& w) { return !w->fallback; }));
}

std::size_t WatchService::fallbackCount() const { return watched_.size() - watchedCount(); }

}  // namespace ablagix

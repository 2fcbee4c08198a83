#include "app/run_session.h"

#include <commctrl.h>

#include <algorithm>

#include "app/escape_poll.h"
#include "app/resource_ids.h"
#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/journal.h"
#include "engine/undo.h"
#include "fileops/file_ops.h"
#include "log/log_row.h"
#include "metadata/metadata_source.h"
#include "profiles/filter_list.h"
#include "profiles/language.h"
#include "profiles/profile_editor.h"

namespace ablagix::app {

// The engine's view of the window while it works: pending messages are handled between files
// (a few times a second, which keeps the window painted and answering), Esc stops the work,
// and the status line and the bar show how far it got.
class RunSession::HostBase : public RunHost {
 public:
  HostBase(RunSession& session, ULONGLONG pollIntervalMs)
      : session_(session),
        ui_(session.context_.ui, [&session](MSG* message) { return session.view_.PreTranslate(message); },
            pollIntervalMs) {}
  UiPort& ui() override { return ui_; }
  void Notify(const std::wstring& title, const std::wstring& text) override {
    session_.context_.ui.ShowBalloon(title, text);
  }
  LocalDateTime Now() override { return FileTimeToLocal(CurrentFileTime()); }
  bool PollForAbort() override { return ui_.PollForAbort(); }
  // A large copy keeps the window answering, and Esc cancels it (the file then reads
  // "Fehler!" and stays where it was) and stops the work.
  bool CopyProgress(std::uint64_t, std::uint64_t) override {
    if (!PollForAbort()) return true;
    RequestAbort();
    return false;
  }
  void Progress(const RunProgress& progress) override { session_.OnRunProgress(progress); }
  void SetLogEmptyText(std::wstring_view text) override { session_.view_.SetLogEmptyText(text); }

 protected:
  RunSession& session_;

 private:
  // The shredder's block loop polls through this too, as the file loop does.
  PollingUi ui_;
};

// A run of profiles or of checked log rows, with the settings it is done under.
class RunSession::ProfileHost : public HostBase {
 public:
  ProfileHost(RunSession& session, bool timerRunning)
      : HostBase(session, 25),
        timerRunning_(timerRunning),
        metadata_({session.context_.settings.Kommastelle, session.context_.settings.Lat,
                   session.context_.settings.Lon}) {}
  void ShredProgress(const ablagix::ShredProgress& progress) override { session_.OnShredProgress(progress); }
  bool TimerRunning() const override { return timerRunning_; }
  std::wstring StoredFilterMask(const std::wstring& name) override {
    return StoredFilterMaskByName(session_.context_.folders, name);
  }
  MetadataSource* Metadata() override { return &metadata_; }
  ZipSettings Zip() const override {
    return {session_.context_.settings.zipWholePaths, session_.context_.settings.zipAsSelfExtractor};
  }
  bool ExtractDocumentText() const override { return !session_.context_.settings.DokumenttextAus; }
  int JournalDays() override { return session_.context_.settings.JournalTage; }

 private:
  bool timerRunning_;
  FileMetadataSource metadata_;
};

// An undo polls as a report does.
class RunSession::UndoHost : public HostBase {
 public:
  explicit UndoHost(RunSession& session) : HostBase(session, 20) {}
};

RunSession::RunSession(WindowContext& context, RunView& view, LogList& log)
    : context_(context), view_(view), log_(log) {}

RunSession::~RunSession() = default;

// Every control that could start a second run or change the log rests while one goes: the
// engine appends and rewrites rows by position.
void RunSession::BeginRun() {
  running_ = true;
  timer_.SetBusy(true);
  view_.EnableRunControls(false);
  progressProfile_.clear();
  lastProgress_ = 0;
  view_.ShowProgress(true);
  view_.SetProgress(0, 0);
}

void RunSession::EndRun(const RunSummary& summary, bool saveLog) {
  if (shredWait_) DestroyWindow(shredWait_);
  shredWait_ = nullptr;
  shredWaitClosed_ = false;
  view_.ShowProgress(false);
  view_.ShowLogRows();
  std::wstring status = FillIn(summary.aborted ? Word(L"Abgebrochen: %1 Datei(en), %2 Fehler")
                                                : Word(L"Fertig: %1 Datei(en), %2 Fehler"),
                               NumberText(summary.files), NumberText(summary.errors));
  if (saveLog) {
    if (const std::optional<LogSaveResult> saved = view_.SaveLogAfterRun()) {
      status += L" \u2013 " + FillIn(saved->outcome == LogSaveOutcome::Saved ? Word(L"Log gespeichert: %1")
                                                                             : Word(L"Log nicht gespeichert: %1"),
                                     saved->path);
    }
  }
  view_.SetStatus(status);
  Release();
}

void RunSession::Release() {
  view_.EnableRunControls(true);
  timer_.SetBusy(false);
  running_ = false;
  if (closeAfterRun_) PostMessageW(context_.window, WM_CLOSE, 0, 0);
}

bool RunSession::HoldForExport(std::wstring_view status) {
  if (running_) return false;
  running_ = true;
  timer_.SetBusy(true);
  view_.EnableRunControls(false);
  view_.SetStatus(status);
  return true;
}

void RunSession::ReleaseExport() { Release(); }

bool RunSession::CloseAfterRun() {
  if (!running_) return false;
  // The run is inside the window's message handling: it stops first, then the window closes.
  RequestAbort();
  closeAfterRun_ = true;
  return true;
}

void RunSession::RunProfiles(const std::vector<Profile>& profiles, RunMode mode) { RunNow(profiles, mode); }

void RunSession::RunNow(const std::vector<Profile>& profiles, RunMode mode, const std::vector<WatchRun>* watched) {
  view_.ShowLogPage();
  BeginRun();
  view_.HideSortArrow();
  const std::size_t first = log_.size();
  // Notify profiles speak in a run that nobody started by hand, the watch's as the timer's.
  ProfileHost host(*this, timer_.running() || watch_ != nullptr);
  const RunSummary summary =
      watched ? RunWatchRuns(*watched, host, log_) : ablagix::RunProfiles(profiles, mode, host, log_);
  // Whoever started it, what a run moved and copied must not start the watch again.
  if (watch_ && mode == RunMode::Execute) watch_->Ran(log_, first, WatchClockNow());
  EndRun(summary, true);
}

void RunSession::RunCheckedRows() {
  if (running_) return;
  // With nothing checked the pass has nothing to do; the status line says why nothing happened.
  if (log_.CheckedRows().empty()) {
    view_.SetStatus(Word(L"Keine Zeile angehakt: nichts ausgef\u00fchrt."));
    return;
  }
  BeginRun();
  ProfileHost host(*this, timer_.running() || watch_ != nullptr);
  const RunSummary summary = ablagix::RunCheckedRows(log_, host);
  EndRun(summary, false);
}

void RunSession::OnRunProgress(const RunProgress& progress) {
  // Redrawing costs more than a file, so the window follows a few times a second, and at
  // once when the next profile starts.
  const ULONGLONG now = GetTickCount64();
  const bool nextProfile = progress.profile != progressProfile_;
  if (!nextProfile && now - lastProgress_ < 150) return;
  lastProgress_ = now;
  if (nextProfile) progressProfile_ = progress.profile;
  std::wstring status = progressProfile_ + L": ";
  if (progress.filesTotal == 0) {
    status += FillIn(Word(L"%1 Eintr\u00e4ge gelesen ..."), NumberText(progress.entriesSeen));
  } else {
    status += FillIn(Word(L"%1 von %2 Dateien"), NumberText(progress.filesDone), NumberText(progress.filesTotal));
  }
  view_.SetStatus(status);
  view_.SetProgress(progress.filesDone, progress.filesTotal);
  view_.FollowLogRows();
}

void RunSession::OnShredProgress(const ShredProgress& progress) {
  if (shredWaitClosed_) return;
  const ULONGLONG now = GetTickCount64();
  if (shredWait_ && now - lastShredUpdate_ < 100) return;
  lastShredUpdate_ = now;
  const bool created = !shredWait_;
  if (created) {
    shredWait_ = CreateDialogParamW(context_.instance, MAKEINTRESOURCEW(IDD_SCHREDDERWAIT), context_.window,
                                    ShredWaitProc, reinterpret_cast<LPARAM>(this));
    if (!shredWait_) return;
    SetWindowTextW(shredWait_, Word(L"Schreddern").c_str());
    SetDlgItemTextW(shredWait_, IDC_COMMAND1, Word(L"Schlie\u00dfen").c_str());
    SetDlgItemTextW(shredWait_, IDC_COMMAND2, Word(L"Abbrechen").c_str());
    SendDlgItemMessageW(shredWait_, IDC_SHRED_PROGRESS, PBM_SETRANGE32, 0, 1000);
  }
  SetDlgItemTextW(shredWait_, IDC_SHRED_TEXT, std::wstring(progress.text).c_str());
  // All four passes as one bar.
  const double perPass = progress.fileLength == 0 ? 1.0
                                                  : static_cast<double>(progress.passBytesWritten) /
                                                        static_cast<double>(progress.fileLength);
  const auto permille = static_cast<WPARAM>(1000.0 * ((progress.pass - 1) + std::min(perPass, 1.0)) / kShredPasses);
  SendDlgItemMessageW(shredWait_, IDC_SHRED_PROGRESS, PBM_SETPOS, permille, 0);
  // Shown only now, with its text: never as an empty window.
  if (created) ShowWindow(shredWait_, SW_SHOWNOACTIVATE);
  UpdateWindow(shredWait_);
}

INT_PTR CALLBACK RunSession::ShredWaitProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<RunSession*>(GetWindowLongPtrW(dialog, DWLP_USER));
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(dialog, DWLP_USER, lParam);
    return TRUE;
  }
  if (!self) return FALSE;
  if (message == WM_COMMAND && LOWORD(wParam) == IDC_COMMAND2) {
    RequestAbort();  // the shredder stops at its next block, the run after this file
    return TRUE;
  }
  if ((message == WM_COMMAND && LOWORD(wParam) == IDC_COMMAND1) || message == WM_CLOSE) {
    ShowWindow(dialog, SW_HIDE);
    self->shredWaitClosed_ = true;
    return TRUE;
  }
  return FALSE;
}

// The interval and the log option are read at every tick, so a change on the settings page
// while the timer runs counts from the next minute on.
void RunSession::TimerOptionsFromView() {
  const TimerSettings shown = view_.TimerSettingsShown();
  timer_.SetInterval(TimerIntervalMinutes(shown.intervalPosition < 0 ? 0 : shown.intervalPosition));
  timer_.SetClearLogEveryFifthRun(shown.clearLogEveryFifthRun);
}

void RunSession::StartTimer() {
  TimerOptionsFromView();
  timer_.Start();
  SetTimer(context_.window, kTimer1, 60000, nullptr);
  view_.SetLogEmptyText(kLogEmptyTimerStarted);
}

void RunSession::StopTimer() {
  KillTimer(context_.window, kTimer1);
  timer_.Stop();
}

void RunSession::OnTimerTick() {
  if (!timer_.running()) return;
  TimerOptionsFromView();
  const TickResult tick = timer_.Tick();
  if (tick == TickResult::Wait) return;
  if (tick == TickResult::ClearLogAndRun) {
    log_.Clear();
    view_.ShowLogRows();
  }
  const std::vector<Profile> checked = view_.CheckedProfiles();
  if (checked.empty()) {
    // Unattended, but said all the same; no later tick stacks another message on this one.
    timer_.SetBusy(true);
    context_.ui.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    timer_.SetBusy(false);
    return;
  }
  RunNow(checked, RunMode::Execute);
}

void RunSession::HideIntoTray(const std::wstring& balloon) {
  if (!view_.TimerSettingsShown().intoTray) return;
  // Unattended: the window goes away into the notification area until its icon is clicked.
  // Without an icon (no notification area, Explorer not running) it stays open: a hidden
  // window without an icon could only be found again in the task manager.
  if (context_.ui.AddTrayIcon()) {
    ShowWindow(context_.window, SW_HIDE);
    context_.ui.ShowBalloon(L"Ablagix", balloon);
  } else {
    view_.SetStatus(Word(L"Kein Symbol im Infobereich m\u00f6glich: das Fenster bleibt ge\u00f6ffnet."));
  }
}

void RunSession::StartWatching(const std::vector<Profile>& marked) {
  WatchOptions options;
  // A folder that cannot be watched runs at the timer's interval instead.
  const int position = view_.TimerSettingsShown().intervalPosition;
  options.fallbackInterval = std::chrono::minutes(TimerIntervalMinutes(position < 0 ? 0 : position));
  // The watchers' threads only post; everything else happens here, on the window's thread.
  HWND window = context_.window;
  watch_ = std::make_unique<WatchService>(options, [window] { PostMessageW(window, kWatchChangesMessage, 0, 0); });
  watch_->Start(marked, WatchClockNow());
  SetTimer(context_.window, kWatchTimer, 250, nullptr);
  view_.SetLogEmptyText(kLogEmptyWatching);
  const std::wstring started = FillIn(Word(L"\u00dcberwachung gestartet: %1 Ordner"), NumberText(marked.size()));
  view_.SetStatus(started);
  OnWatchTick();  // a folder that cannot be watched says so at once
  HideIntoTray(started);
}

void RunSession::StopWatching() {
  if (!watch_) return;
  KillTimer(context_.window, kWatchTimer);
  watch_.reset();
  view_.SetLogEmptyText(kLogEmptyWatchStopped);
  view_.SetStatus(Word(L"\u00dcberwachung gestoppt"));
}

void RunSession::OnWatchTick() {
  // A run handles messages between its files; the watch waits until it is over, so that the
  // run's own changes are known as such before they are looked at.
  if (!watch_ || running_) return;
  const std::vector<WatchRun> due = watch_->Due(WatchClockNow());
  const std::vector<std::wstring> notes = watch_->TakeNotes();
  if (!notes.empty()) {
    for (const std::wstring& note : notes) AppendWatchNote(log_, note);
    view_.ShowLogRows();
  }
  // Each profile over the files that arrived for it, not over its whole folder again.
  if (!due.empty()) RunNow({}, RunMode::Execute, &due);
}

void RunSession::UndoLastRun() {
  if (running_) return;
  AppUi& ui = context_.ui;
  const std::vector<JournalSummary> runs = ListJournals(JournalFolderIn(context_.folders));
  if (runs.empty()) {
    ui.ShowMessage(Word(L"Es gibt keinen ausgef\u00fchrten Lauf, der sich r\u00fcckg\u00e4ngig machen lie\u00dfe."),
                   MessageIcon::Information, MessageButtons::Ok);
    return;
  }
  // The newest run that is not undone yet: runs are undone newest first, one press each, so
  // that an older run never takes files away from where a later run put them. After a watched
  // or timed run has been undone, the next press offers the run before it.
  const auto next = std::find_if(runs.begin(), runs.end(), [](const JournalSummary& run) {
    return run.readable && !run.undone && run.changes > 0;
  });
  if (next == runs.end()) {
    ui.ShowMessage(FillIn(Word(L"Der letzte Lauf vom %1 ist schon r\u00fcckg\u00e4ngig gemacht."), runs.front().startedText),
                   MessageIcon::Information, MessageButtons::Ok);
    return;
  }
  const JournalSummary* last = &*next;
  {
    std::wstring question =
        next == runs.begin()
            ? FillIn(Word(L"Den letzten Lauf vom %1 mit %2 \u00c4nderung(en) r\u00fcckg\u00e4ngig machen?"),
                     last->startedText, NumberText(last->changes))
            : FillIn(Word(L"Die neueren L\u00e4ufe sind schon r\u00fcckg\u00e4ngig gemacht. Den Lauf vom %1 mit %2 "
                          L"\u00c4nderung(en) r\u00fcckg\u00e4ngig machen?"),
                     last->startedText, NumberText(last->changes));
    if (!last->finished) {
      question += L"\r\n\r\n" + Word(L"Der Lauf wurde nicht zu Ende gef\u00fchrt; r\u00fcckg\u00e4ngig gemacht wird, "
                                       L"was sein Journal festh\u00e4lt.");
    }
    if (ui.ShowMessage(question, MessageIcon::Question, MessageButtons::YesNo) != MessageAnswer::Yes) return;
  }
  // An unreadable journal goes to the undo all the same: its row in the log says why nothing
  // was done.
  view_.ShowLogPage();
  BeginRun();
  view_.HideSortArrow();
  view_.SetStatus(Word(L"Lauf wird r\u00fcckg\u00e4ngig gemacht \u2026 (Esc bricht ab)"));
  UndoHost host(*this);
  const UndoSummary undone = UndoRun(last->path, host, log_);
  RunSummary summary;
  summary.files = undone.files;
  summary.errors = undone.errors;
  summary.aborted = undone.aborted;
  EndRun(summary, false);
  // A run that still goes (a watch, a second program) or holds its folders: nothing was done.
  if (undone.busy) ui.ShowMessage(undone.problem, MessageIcon::Exclamation, MessageButtons::Ok);
  view_.SetStatus(FillIn(undone.aborted ? Word(L"R\u00fcckg\u00e4ngig abgebrochen: %1 Datei(en), %2 Fehler")
                                        : Word(L"R\u00fcckg\u00e4ngig gemacht: %1 Datei(en), %2 Fehler"),
                         NumberText(undone.files), NumberText(undone.errors)));
}

}  // namespace ablagix::app

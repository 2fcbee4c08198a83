// "Profile ausführen": the profile list with its check marks, the run, timer and watch
// buttons, and the runs themselves (profiles, or the checked rows of the log).
#include <windows.h>
#include <commctrl.h>

#include <algorithm>

#include "app/control_ids.h"
#include "app/escape_poll.h"
#include "app/main_window.h"
#include "app/page_size.h"
#include "app/resource_ids.h"
#include "app/win_controls.h"
#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/run.h"
#include "engine/timer_model.h"
#include "engine/watch_service.h"
#include "fileops/files.h"
#include "log/log_row.h"
#include "log/log_save.h"
#include "metadata/metadata_source.h"
#include "profiles/language.h"

namespace ablagix::app {

// The engine's view of the window during a run: pending messages are handled between files
// (a few times a second, which keeps the window painted and answering), Esc stops the run,
// and the window shows how far it got.
class WindowRunHost : public RunHost {
 public:
  WindowRunHost(MainWindow& window, bool timerRunning)
      : window_(window),
        timerRunning_(timerRunning),
        ui_(*this),
        metadata_({window.settings_.Kommastelle, window.settings_.Lat, window.settings_.Lon}) {}
  UiPort& ui() override { return ui_; }
  void ShredProgress(const ablagix::ShredProgress& progress) override { window_.OnShredProgress(progress); }
  bool TimerRunning() const override { return timerRunning_; }
  void Notify(const std::wstring& title, const std::wstring& text) override { window_.ui_.ShowBalloon(title, text); }
  LocalDateTime Now() override { return FileTimeToLocal(CurrentFileTime()); }
  bool PollForAbort() override {
    return poll_.EscapePressed([this](MSG* message) { return window_.PreTranslate(message); });
  }
  // A large copy keeps the window answering, and Esc cancels it (the file then reads
  // "Fehler!" and stays where it was) and stops the run.
  bool CopyProgress(std::uint64_t, std::uint64_t) override {
    if (!PollForAbort()) return true;
    RequestAbort();
    return false;
  }
  void Progress(const RunProgress& progress) override { window_.OnRunProgress(progress); }
  void SetLogEmptyText(std::wstring_view text) override { window_.SetLogEmptyText(text); }
  std::wstring StoredFilterMask(const std::wstring& name) override {
    return StoredFilterMaskByName(window_.folders_, name);
  }
  MetadataSource* Metadata() override { return &metadata_; }
  ZipSettings Zip() const override { return {window_.settings_.AXZipHolePath, window_.settings_.AXCreateEXE}; }
  bool ExtractDocumentText() const override { return !window_.settings_.DokumenttextAus; }
  int JournalDays() override { return window_.settings_.JournalTage; }

 private:
  // The window's questions, and the same input handling for the shredder's block loop as
  // for the file loop.
  class RunUi : public UiPort {
   public:
    explicit RunUi(WindowRunHost& host) : host_(host) {}
    MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon, MessageButtons buttons) override {
      return host_.window_.ui_.ShowMessage(text, icon, buttons);
    }
    bool PollForAbort() override { return host_.PollForAbort(); }

   private:
    WindowRunHost& host_;
  };

  MainWindow& window_;
  bool timerRunning_;
  RunUi ui_;
  FileMetadataSource metadata_;
  EscapePoll poll_{25};
};

void MainWindow::BuildRunPage() {
  Layout& l = layouts_[kRunPage];
  l.Begin(pages_[kRunPage], &metrics_, kPageWidth, kPageHeight);
  const int W = kPageWidth;
  const int H = kPageHeight;
  const std::wstring caption = Word(L"Profil-Datei:");
  const int captionWidth = metrics_.TextWidth(caption) + 2;
  l.Add(WC_STATICW, caption, SS_LEFT | SS_NOPREFIX, kMargin, kMargin + 2, captionWidth, 8, kIdProfileFileCaption);
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX | SS_PATHELLIPSIS, kMargin + captionWidth + 3, kMargin + 2,
        W - 2 * kMargin - captionWidth - 3, 8, kIdProfileFileLabel, kStretchX);
  HWND list = l.Add(WC_LISTVIEWW, L"", WS_TABSTOP | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_SINGLESEL,
                    kMargin, 22, W - 2 * kMargin, H - 22 - kMargin - kButtonHeight - 7, kIdProfileList, kStretchXY);
  ListView_SetExtendedListViewStyle(list, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT | LVS_EX_HEADERDRAGDROP |
                                              LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
  for (int i = 0; i < kProfileColumnCount; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    std::wstring text = WordOf(kProfileColumns[static_cast<size_t>(i)].caption);
    column.pszText = text.data();
    column.cx = metrics_.X(i == 0 ? 110 : i == 1 || i == 10 ? 100 : 56);
    column.iSubItem = i;
    ListView_InsertColumn(list, i, &column);
  }
  const int y = H - kMargin - kButtonHeight;
  // One width for the three, wide enough for the longest caption (the timer's two included);
  // the watch button beside them as wide as its own longer captions need.
  const std::wstring runText = Word(L"&Ausf\u00fchren");
  const std::wstring simulateText = Word(L"&Simulieren");
  int width = kButtonWidth;
  for (const std::wstring& text : {runText, simulateText, Word(L"&Timer starten"), Word(L"&Timer stoppen")}) {
    width = std::max(width, metrics_.TextWidth(text) + 12);
  }
  const std::wstring watchText = Word(L"\u00dc&berwachung starten");
  int watchWidth = kButtonWidth;
  for (const std::wstring& text : {watchText, Word(L"\u00dc&berwachung stoppen")}) {
    watchWidth = std::max(watchWidth, metrics_.TextWidth(text) + 12);
  }
  const int watchX = W - kMargin - watchWidth;
  HWND run = l.Add(WC_BUTTONW, runText, WS_TABSTOP | BS_PUSHBUTTON, watchX - 3 * width - 12, y, width,
                   kButtonHeight, kIdCommandButton13, kMoveXY);
  HWND simulate = l.Add(WC_BUTTONW, simulateText, WS_TABSTOP | BS_PUSHBUTTON, watchX - 2 * width - 8, y, width,
                        kButtonHeight, kIdCommandButton4, kMoveXY);
  HWND timer = l.Add(WC_BUTTONW, Word(L"&Timer starten"), WS_TABSTOP | BS_PUSHBUTTON, watchX - width - 4, y, width,
                     kButtonHeight, kIdCommandButton6, kMoveXY);
  HWND watch = l.Add(WC_BUTTONW, watchText, WS_TABSTOP | BS_PUSHBUTTON, watchX, y, watchWidth, kButtonHeight,
                     kIdWatchButton, kMoveXY);
  AddTooltip(pages_[kRunPage], watch,
             Word(L"\u00dcberwacht die Quellordner der angehakten Profile, die zum \u00dcberwachen markiert sind, "
                  L"und f\u00fchrt ein Profil aus, sobald neue Dateien darin fertig sind"));
  AddTooltip(pages_[kRunPage], run, Word(L"Startet alle oben angehakten Profile"));
  AddTooltip(pages_[kRunPage], simulate,
             Word(L"Simuliert alle oben angehakten Profile, ohne eine Aktion durchzuf\u00fchren!"));
  AddTooltip(pages_[kRunPage], timer,
             Word(L"Startet oder stoppt den Timer, der die angehakten Profile im gew\u00e4hlten Intervall ausf\u00fchrt"));
}

void MainWindow::SetProfileFile(const std::wstring& path, const std::wstring& label) {
  profileFile_ = path;
  profileFileLabel_ = label;
  SetText(Item(kIdProfileFileLabel), label);
}

std::vector<Profile> MainWindow::CheckedProfiles() const {
  std::vector<Profile> checked;
  HWND list = Item(kIdProfileList);
  for (int i = 0; i < ListView_GetItemCount(list) && i < static_cast<int>(profiles_.size()); ++i) {
    if (ListView_GetCheckState(list, i)) checked.push_back(profiles_[static_cast<size_t>(i)]);
  }
  return checked;
}

std::vector<std::wstring> MainWindow::CheckedProfileNames() const {
  std::vector<std::wstring> names;
  for (const Profile& profile : CheckedProfiles()) names.push_back(profile.Beschreibung);
  return names;
}

void MainWindow::ReloadProfiles(bool keepChecks, const std::wstring& select) {
  FillProfileList(keepChecks ? CheckedProfileNames() : std::vector<std::wstring>{}, select);
}

void MainWindow::FillProfileList(const std::vector<std::wstring>& checked, const std::wstring& select) {
  HWND list = Item(kIdProfileList);
  fillingList_ = true;
  SendMessageW(list, WM_SETREDRAW, FALSE, 0);
  ListView_DeleteAllItems(list);
  profiles_ = Einlesen(profileFile_);
  for (int row = 0; row < static_cast<int>(profiles_.size()); ++row) {
    const Profile& profile = profiles_[static_cast<size_t>(row)];
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    item.pszText = const_cast<wchar_t*>(profile.Beschreibung.c_str());
    ListView_InsertItem(list, &item);
    for (int column = 1; column < kProfileColumnCount; ++column) {
      ListView_SetItemText(list, row, column, const_cast<wchar_t*>(ProfileSubitem(profile, column).c_str()));
    }
    if (std::find(checked.begin(), checked.end(), profile.Beschreibung) != checked.end()) {
      ListView_SetCheckState(list, row, TRUE);
    }
    if (!select.empty() && profile.Beschreibung == select) {
      ListView_SetItemState(list, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
      ListView_EnsureVisible(list, row, FALSE);
    }
  }
  SendMessageW(list, WM_SETREDRAW, TRUE, 0);
  InvalidateRect(list, nullptr, TRUE);
  fillingList_ = false;
}

void MainWindow::ApplyListFont(int which) {
  const ListFont& font = settings_.fonts[static_cast<size_t>(which)];
  LOGFONTW lf{};
  lf.lfHeight = -MulDiv(font.size > 0 ? font.size : 9, metrics_.dpi, 72);
  lf.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  lf.lfItalic = font.italic ? TRUE : FALSE;
  lf.lfCharSet = DEFAULT_CHARSET;
  lf.lfQuality = CLEARTYPE_QUALITY;
  lstrcpynW(lf.lfFaceName, font.name.c_str(), LF_FACESIZE);
  HFONT created = CreateFontIndirectW(&lf);
  HWND list = Item(which == 0 ? kIdProfileList : kIdExListviewLOG);
  SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(created), TRUE);
  HFONT& slot = listFonts_[static_cast<size_t>(which)];
  if (slot) DeleteObject(slot);
  slot = created;
}

void MainWindow::OnRunButton(bool simulate) {
  if (running_ || !askIfSaveProfil()) return;
  std::vector<Profile> selected = CheckedProfiles();
  HWND list = Item(kIdProfileList);
  if (selected.empty()) {
    const int row = ListView_GetNextItem(list, -1, LVNI_SELECTED);
    if (row < 0 || row >= static_cast<int>(profiles_.size())) {
      ui_.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
      return;
    }
    const std::wstring question = simulate
        ? L"Keine Profile angehakt! Soll das aktuell markierte Profil simuliert werden?"
        : L"Keine Profile angehakt! Soll das aktuell markierte Profil ausgef\u00fchrt werden?";
    if (ui_.ShowMessage(question, MessageIcon::Exclamation, MessageButtons::YesNo) != MessageAnswer::Yes) return;
    selected.push_back(profiles_[static_cast<size_t>(row)]);
  }
  RunProfilesNow(selected, simulate ? RunMode::Simulate : RunMode::Execute);
}

void MainWindow::BeginRun() {
  // Messages are handled during the run, so nothing may start a second one meanwhile, nor
  // change the log rows that the engine appends and rewrites by position.
  running_ = true;
  timer_.SetBusy(true);
  for (int id : kRunControls) EnableWindow(Item(id), FALSE);
  progressProfile_.clear();
  lastProgress_ = 0;
  ShowProgress(true);
  SetProgress(0, 0);
}

void MainWindow::EndRun(const RunSummary& summary, bool saveLog) {
  if (shredWait_) DestroyWindow(shredWait_);
  shredWait_ = nullptr;
  shredWaitClosed_ = false;
  ShowProgress(false);
  ShowLogRows();
  std::wstring status = FillIn(summary.aborted ? Word(L"Abgebrochen: %1 Datei(en), %2 Fehler")
                                                : Word(L"Fertig: %1 Datei(en), %2 Fehler"),
                               NumberText(summary.files), NumberText(summary.errors));
  if (saveLog) {
    ControlsToSettings();
    if (settings_.CheckBox17) {
      const LogSaveResult saved = SaveLogNow(true);
      status += L" \u2013 " + FillIn(saved.outcome == LogSaveOutcome::Saved ? Word(L"Log gespeichert: %1")
                                                                            : Word(L"Log nicht gespeichert: %1"),
                                     saved.path);
    }
  }
  SetStatus(status);
  for (int id : kRunControls) EnableWindow(Item(id), TRUE);
  timer_.SetBusy(false);
  running_ = false;
  if (closeAfterRun_) PostMessageW(window_, WM_CLOSE, 0, 0);
}

void MainWindow::RunProfilesNow(const std::vector<Profile>& profiles, RunMode mode,
                                const std::vector<WatchRun>* watched) {
  SelectTab(kLogPage);
  BeginRun();
  HideSortArrow();
  const std::size_t first = log_.size();
  // Notify profiles speak in a run that nobody started by hand, the watch's as the timer's.
  WindowRunHost host(*this, timer_.running() || watch_ != nullptr);
  const RunSummary summary =
      watched ? RunWatchRuns(*watched, host, log_) : RunProfiles(profiles, mode, host, log_);
  // Whoever started it, what a run moved and copied must not start the watch again.
  if (watch_ && mode == RunMode::Execute) watch_->Ran(log_, first, WatchClockNow());
  EndRun(summary, true);
}

void MainWindow::OnRunCheckedButton() {
  if (running_) return;
  // With nothing checked the pass has nothing to do; the status line says why nothing happened.
  if (log_.CheckedRows().empty()) {
    SetStatus(Word(L"Keine Zeile angehakt: nichts ausgef\u00fchrt."));
    return;
  }
  BeginRun();
  WindowRunHost host(*this, timer_.running() || watch_ != nullptr);
  const RunSummary summary = RunCheckedRows(log_, host);
  EndRun(summary, false);
}

void MainWindow::OnShredProgress(const ShredProgress& progress) {
  if (shredWaitClosed_) return;
  const ULONGLONG now = GetTickCount64();
  if (shredWait_ && now - lastShredUpdate_ < 100) return;
  lastShredUpdate_ = now;
  const bool created = !shredWait_;
  if (created) {
    shredWait_ = CreateDialogParamW(instance_, MAKEINTRESOURCEW(IDD_SCHREDDERWAIT), window_, ShredWaitProc,
                                    reinterpret_cast<LPARAM>(this));
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

INT_PTR CALLBACK MainWindow::ShredWaitProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(dialog, DWLP_USER));
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

void MainWindow::OnRunProgress(const RunProgress& progress) {
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
  SetStatus(status);
  SetProgress(progress.filesDone, progress.filesTotal);
  HWND list = Item(kIdExListviewLOG);
  ListView_SetItemCountEx(list, static_cast<int>(log_.size()), LVSICF_NOINVALIDATEALL | LVSICF_NOSCROLL);
  if (!log_.empty()) ListView_EnsureVisible(list, static_cast<int>(log_.size()) - 1, FALSE);
  UpdateWindow(list);
}

void MainWindow::OnTimerButton() {
  if (!askIfSaveProfil()) return;
  if (CheckedProfileNames().empty()) {
    ui_.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  if (timer_.running()) {
    KillTimer(window_, kTimer1);
    timer_.Stop();
    SetText(Item(kIdCommandButton6), Word(L"&Timer starten"));
    SetLogEmptyText(kLogEmptyTimerStopped);
    return;
  }
  TimerOptionsFromControls();
  timer_.Start();
  SetTimer(window_, kTimer1, 60000, nullptr);
  SetLogEmptyText(kLogEmptyTimerStarted);
  SetText(Item(kIdCommandButton6), Word(L"&Timer stoppen"));
  HideIntoTray(TimerStartedBalloon(timer_.interval()));
}

void MainWindow::HideIntoTray(const std::wstring& balloon) {
  if (!IsOn(Item(kIdCheckBox7))) return;
  // Unattended: the window goes away into the notification area until its icon is clicked.
  // Without an icon (no notification area, Explorer not running) it stays open: a hidden
  // window without an icon could only be found again in the task manager.
  if (ui_.AddTrayIcon()) {
    ShowWindow(window_, SW_HIDE);
    ui_.ShowBalloon(L"Ablagix", balloon);
  } else {
    SetStatus(Word(L"Kein Symbol im Infobereich m\u00f6glich: das Fenster bleibt ge\u00f6ffnet."));
  }
}

void MainWindow::OnWatchButton() {
  if (!askIfSaveProfil()) return;
  if (watch_) {
    StopWatching();
    return;
  }
  const std::vector<Profile> checked = CheckedProfiles();
  if (checked.empty()) {
    ui_.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  std::vector<Profile> marked;
  for (const Profile& profile : checked) {
    if (MarkedForWatching(profile)) marked.push_back(profile);
  }
  if (marked.empty()) {
    ui_.ShowMessage(std::wstring(kNothingMarkedForWatchingMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  WatchOptions options;
  // A folder that cannot be watched runs at the timer's interval instead.
  const int position = ComboPos(Item(kIdCombo11));
  options.fallbackInterval = std::chrono::minutes(TimerIntervalMinutes(position < 0 ? 0 : position));
  // The watchers' threads only post; everything else happens here, on the window's thread.
  HWND window = window_;
  watch_ = std::make_unique<WatchService>(options, [window] { PostMessageW(window, kWatchChangesMessage, 0, 0); });
  watch_->Start(marked, WatchClockNow());
  SetTimer(window_, kWatchTimer, 250, nullptr);
  SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung stoppen"));
  SetLogEmptyText(kLogEmptyWatching);
  const std::wstring started = FillIn(Word(L"\u00dcberwachung gestartet: %1 Ordner"), NumberText(marked.size()));
  SetStatus(started);
  OnWatchTick();  // a folder that cannot be watched says so at once
  HideIntoTray(started);
}

void MainWindow::StopWatching() {
  if (!watch_) return;
  KillTimer(window_, kWatchTimer);
  watch_.reset();
  SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung starten"));
  SetLogEmptyText(kLogEmptyWatchStopped);
  SetStatus(Word(L"\u00dcberwachung gestoppt"));
}

void MainWindow::OnWatchTick() {
  // A run handles messages between its files; the watch waits until it is over, so that the
  // run's own changes are known as such before they are looked at.
  if (!watch_ || running_) return;
  const std::vector<WatchRun> due = watch_->Due(WatchClockNow());
  const std::vector<std::wstring> notes = watch_->TakeNotes();
  if (!notes.empty()) {
    for (const std::wstring& note : notes) AppendWatchNote(log_, note);
    ShowLogRows();
  }
  // Each profile over the files that arrived for it, not over its whole folder again.
  if (!due.empty()) RunProfilesNow({}, RunMode::Execute, &due);
}

// The interval and the log option are read at every tick, so a change on the settings page
// while the timer runs counts from the next minute on.
void MainWindow::TimerOptionsFromControls() {
  const int position = ComboPos(Item(kIdCombo11));
  timer_.SetInterval(TimerIntervalMinutes(position < 0 ? 0 : position));
  timer_.SetClearLogEveryFifthRun(IsOn(Item(kIdCheckBox15)));
}

void MainWindow::OnTimerTick() {
  if (!timer_.running()) return;
  TimerOptionsFromControls();
  const TickResult tick = timer_.Tick();
  if (tick == TickResult::Wait) return;
  if (tick == TickResult::ClearLogAndRun) {
    log_.Clear();
    ShowLogRows();
  }
  const std::vector<Profile> checked = CheckedProfiles();
  if (checked.empty()) {
    // Unattended, but said all the same; no later tick stacks another message on this one.
    timer_.SetBusy(true);
    ui_.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    timer_.SetBusy(false);
    return;
  }
  RunProfilesNow(checked, RunMode::Execute);
}

LRESULT MainWindow::OnProfileListNotify(NMHDR* header) {
  if (header->code == NM_CUSTOMDRAW) return OnListCustomDraw(reinterpret_cast<NMLVCUSTOMDRAW*>(header));
  if (header->code != LVN_ITEMCHANGED || fillingList_) return 0;
  auto* change = reinterpret_cast<NMLISTVIEW*>(header);
  const bool nowSelected = (change->uNewState & LVIS_SELECTED) && !(change->uOldState & LVIS_SELECTED);
  if (nowSelected && change->iItem >= 0 && change->iItem < static_cast<int>(profiles_.size())) {
    editor_.LoadFromRow(profiles_[static_cast<size_t>(change->iItem)]);
    EditorToControls();
  }
  return 0;
}

LRESULT MainWindow::OnListCustomDraw(NMLVCUSTOMDRAW* draw) {
  switch (draw->nmcd.dwDrawStage) {
    case CDDS_PREPAINT:
      return CDRF_NOTIFYITEMDRAW;
    case CDDS_ITEMPREPAINT: {
      const bool odd = draw->nmcd.dwItemSpec % 2 == 1;
      draw->clrTextBk = odd ? settings_.BackColor2 : settings_.BackColor1;
      draw->clrText = odd ? settings_.ForeColor2 : settings_.ForeColor1;
      return CDRF_NEWFONT;
    }
  }
  return CDRF_DODEFAULT;
}

}  // namespace ablagix::app

#include "app/run_page.h"

#include <algorithm>

#include "app/control_ids.h"
#include "app/page_size.h"
#include "app/win_controls.h"
#include "base/text.h"
#include "engine/watch_service.h"
#include "profiles/language.h"
#include "profiles/profile_editor.h"

namespace ablagix::app {

void RunPage::BuildControls(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int W = kPageWidth;
  const int H = kPageHeight;
  const std::wstring caption = Word(L"Profil-Datei:");
  const int captionWidth = metrics.TextWidth(caption) + 2;
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
    column.cx = metrics.X(i == 0 ? 110 : i == 1 || i == 10 ? 100 : 56);
    column.iSubItem = i;
    ListView_InsertColumn(list, i, &column);
  }
  BuildButtons(l);
}

void RunPage::BuildButtons(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int y = kPageHeight - kMargin - kButtonHeight;
  // One width for the three, wide enough for the longest caption (the timer's two included);
  // the watch button beside them as wide as its own longer captions need.
  const std::wstring runText = Word(L"&Ausf\u00fchren");
  const std::wstring simulateText = Word(L"&Simulieren");
  int width = kButtonWidth;
  for (const std::wstring& text : {runText, simulateText, Word(L"&Timer starten"), Word(L"&Timer stoppen")}) {
    width = std::max(width, metrics.TextWidth(text) + 12);
  }
  const std::wstring watchText = Word(L"\u00dc&berwachung starten");
  int watchWidth = kButtonWidth;
  for (const std::wstring& text : {watchText, Word(L"\u00dc&berwachung stoppen")}) {
    watchWidth = std::max(watchWidth, metrics.TextWidth(text) + 12);
  }
  const int watchX = kPageWidth - kMargin - watchWidth;
  HWND run = l.Button(runText, watchX - 3 * width - 12, y, width, kIdCommandButton13, kMoveXY);
  HWND simulate = l.Button(simulateText, watchX - 2 * width - 8, y, width, kIdCommandButton4, kMoveXY);
  HWND timer = l.Button(Word(L"&Timer starten"), watchX - width - 4, y, width, kIdCommandButton6, kMoveXY);
  HWND watch = l.Button(watchText, watchX, y, watchWidth, kIdWatchButton, kMoveXY);
  host_.AddTooltip(page_, watch,
                   Word(L"\u00dcberwacht die Quellordner der angehakten Profile, die zum \u00dcberwachen markiert "
                        L"sind, und f\u00fchrt ein Profil aus, sobald neue Dateien darin fertig sind"));
  host_.AddTooltip(page_, run, Word(L"Startet alle oben angehakten Profile"));
  host_.AddTooltip(page_, simulate,
                   Word(L"Simuliert alle oben angehakten Profile, ohne eine Aktion durchzuf\u00fchren!"));
  host_.AddTooltip(page_, timer,
                   Word(L"Startet oder stoppt den Timer, der die angehakten Profile im gew\u00e4hlten Intervall "
                        L"ausf\u00fchrt"));
}

void RunPage::OnCommand(int id, int code) {
  if (code != BN_CLICKED) return;
  switch (id) {
    case kIdCommandButton13:
    case kIdCommandButton4: OnRunButton(id == kIdCommandButton4); return;
    case kIdCommandButton6: OnTimerButton(); return;
    case kIdWatchButton: OnWatchButton(); return;
  }
}

void RunPage::SetProfileFile(const std::wstring& path, const std::wstring& label) {
  profileFile_ = path;
  profileFileLabel_ = label;
  SetText(Item(kIdProfileFileLabel), label);
}

std::vector<Profile> RunPage::CheckedProfiles() const {
  std::vector<Profile> checked;
  HWND list = List();
  for (int i = 0; i < ListView_GetItemCount(list) && i < static_cast<int>(profiles_.size()); ++i) {
    if (ListView_GetCheckState(list, i)) checked.push_back(profiles_[static_cast<size_t>(i)]);
  }
  return checked;
}

std::vector<std::wstring> RunPage::CheckedProfileNames() const {
  std::vector<std::wstring> names;
  for (const Profile& profile : CheckedProfiles()) names.push_back(profile.Beschreibung);
  return names;
}

void RunPage::ReloadProfiles(bool keepChecks, const std::wstring& select) {
  FillProfileList(keepChecks ? CheckedProfileNames() : std::vector<std::wstring>{}, select);
}

void RunPage::FillProfileList(const std::vector<std::wstring>& checked, const std::wstring& select) {
  HWND list = List();
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

void RunPage::StoreColumnOrder() {
  std::vector<int> order(kProfileColumnCount);
  if (ListView_GetColumnOrderArray(List(), kProfileColumnCount, order.data())) {
    context_.settings.HeaderPosition = order;
  }
}

void RunPage::ApplyColumnOrder() {
  std::vector<int>& order = context_.settings.HeaderPosition;
  if (!order.empty()) ListView_SetColumnOrderArray(List(), static_cast<int>(order.size()), order.data());
}

void RunPage::KeepForRebuild() {
  keptChecks_ = CheckedProfileNames();
  const int selected = ListView_GetNextItem(List(), -1, LVNI_SELECTED);
  keptSelection_ = selected >= 0 && selected < static_cast<int>(profiles_.size())
                       ? profiles_[static_cast<size_t>(selected)].Beschreibung
                       : std::wstring();
  StoreColumnOrder();
}

void RunPage::RestoreAfterRebuild() {
  SetText(Item(kIdProfileFileLabel), profileFileLabel_);
  FillProfileList(keptChecks_, keptSelection_);
  ApplyColumnOrder();
  if (session_.timerRunning()) SetText(Item(kIdCommandButton6), Word(L"&Timer stoppen"));
  if (session_.watching()) SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung stoppen"));
}

void RunPage::OnRunButton(bool simulate) {
  if (session_.running() || !host_.AskIfSaveProfile()) return;
  std::vector<Profile> selected = CheckedProfiles();
  if (selected.empty()) {
    const int row = ListView_GetNextItem(List(), -1, LVNI_SELECTED);
    if (row < 0 || row >= static_cast<int>(profiles_.size())) {
      context_.ui.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
      return;
    }
    const std::wstring question = simulate
        ? L"Keine Profile angehakt! Soll das aktuell markierte Profil simuliert werden?"
        : L"Keine Profile angehakt! Soll das aktuell markierte Profil ausgef\u00fchrt werden?";
    if (context_.ui.ShowMessage(question, MessageIcon::Exclamation, MessageButtons::YesNo) != MessageAnswer::Yes) {
      return;
    }
    selected.push_back(profiles_[static_cast<size_t>(row)]);
  }
  session_.RunProfiles(selected, simulate ? RunMode::Simulate : RunMode::Execute);
}

void RunPage::OnTimerButton() {
  if (!host_.AskIfSaveProfile()) return;
  if (CheckedProfileNames().empty()) {
    context_.ui.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  if (session_.timerRunning()) {
    session_.StopTimer();
    SetText(Item(kIdCommandButton6), Word(L"&Timer starten"));
    session_.SetLogEmptyText(kLogEmptyTimerStopped);
    return;
  }
  session_.StartTimer();
  SetText(Item(kIdCommandButton6), Word(L"&Timer stoppen"));
  session_.HideIntoTray(TimerStartedBalloon(session_.timerInterval()));
}

void RunPage::OnWatchButton() {
  if (!host_.AskIfSaveProfile()) return;
  if (session_.watching()) {
    StopWatching();
    return;
  }
  const std::vector<Profile> checked = CheckedProfiles();
  if (checked.empty()) {
    context_.ui.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  std::vector<Profile> marked;
  for (const Profile& profile : checked) {
    if (MarkedForWatching(profile)) marked.push_back(profile);
  }
  if (marked.empty()) {
    context_.ui.ShowMessage(std::wstring(kNothingMarkedForWatchingMessage), MessageIcon::Exclamation,
                            MessageButtons::Ok);
    return;
  }
  SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung stoppen"));
  session_.StartWatching(marked);
}

void RunPage::StopWatching() {
  if (!session_.watching()) return;
  SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung starten"));
  session_.StopWatching();
}

LRESULT RunPage::OnNotify(NMHDR* header) {
  if (header->idFrom != kIdProfileList) return 0;
  if (header->code == NM_CUSTOMDRAW) {
    return StripedRowsCustomDraw(reinterpret_cast<NMLVCUSTOMDRAW*>(header), context_.settings);
  }
  if (header->code != LVN_ITEMCHANGED || fillingList_) return 0;
  auto* change = reinterpret_cast<NMLISTVIEW*>(header);
  const bool nowSelected = (change->uNewState & LVIS_SELECTED) && !(change->uOldState & LVIS_SELECTED);
  if (nowSelected && change->iItem >= 0 && change->iItem < static_cast<int>(profiles_.size())) {
    host_.EditProfile(profiles_[static_cast<size_t>(change->iItem)]);
  }
  return 0;
}

}  // namespace ablagix::app

// "Profile ausführen": the profile list with its check marks and the run buttons, and the log
// list of "Log-Dateien".
#include <windows.h>
#include <commctrl.h>

#include <algorithm>

#include "app/control_ids.h"
#include "app/main_window.h"
#include "app/page_size.h"
#include "app/win_controls.h"
#include "log/log_row.h"

namespace ablagix::app {
namespace {

void AddTooltip(HWND tooltip, HWND owner, HWND control, const wchar_t* text) {
  TOOLINFOW info{};
  info.cbSize = sizeof info;
  info.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
  info.hwnd = owner;
  info.uId = reinterpret_cast<UINT_PTR>(control);
  info.lpszText = const_cast<wchar_t*>(text);
  SendMessageW(tooltip, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&info));
}

}  // namespace

void MainWindow::BuildRunPage() {
  Layout& l = layouts_[kRunPage];
  l.Begin(pages_[kRunPage], &metrics_, kPageWidth, kPageHeight);
  const int W = kPageWidth;
  const int H = kPageHeight;
  const wchar_t* caption = L"Profil-Datei:";
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
    column.pszText = const_cast<wchar_t*>(kProfileColumns[static_cast<size_t>(i)].caption);
    column.cx = metrics_.X(i == 0 ? 110 : i == 1 || i == 10 ? 100 : 56);
    column.iSubItem = i;
    ListView_InsertColumn(list, i, &column);
  }
  const int y = H - kMargin - kButtonHeight;
  HWND run = l.Add(WC_BUTTONW, L"&Ausf\u00fchren", WS_TABSTOP | BS_PUSHBUTTON, W - kMargin - 3 * kButtonWidth - 8, y,
                   kButtonWidth, kButtonHeight, kIdRun, kMoveXY);
  HWND simulate = l.Add(WC_BUTTONW, L"&Simulieren", WS_TABSTOP | BS_PUSHBUTTON, W - kMargin - 2 * kButtonWidth - 4, y,
                        kButtonWidth, kButtonHeight, kIdSimulate, kMoveXY);
  HWND timer = l.Add(WC_BUTTONW, L"&Timer starten", WS_TABSTOP | BS_PUSHBUTTON, W - kMargin - kButtonWidth, y,
                     kButtonWidth, kButtonHeight, kIdTimer, kMoveXY);
  AddTooltip(tooltip_, pages_[kRunPage], run, L"Startet alle oben angehakten Profile");
  AddTooltip(tooltip_, pages_[kRunPage], simulate,
             L"Simuliert alle oben angehakten Profile, ohne eine Aktion durchzuf\u00fchren!");
  AddTooltip(tooltip_, pages_[kRunPage], timer,
             L"Startet oder stoppt den Timer, der die angehakten Profile im gew\u00e4hlten Intervall ausf\u00fchrt");
}

void MainWindow::BuildLogPage() {
  Layout& l = layouts_[kLogPage];
  l.Begin(pages_[kLogPage], &metrics_, kPageWidth, kPageHeight);
  HWND list = l.Add(WC_LISTVIEWW, L"", WS_TABSTOP | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS, kMargin, kMargin,
                    kPageWidth - 2 * kMargin, kPageHeight - 2 * kMargin, kIdLogList, kStretchXY);
  ListView_SetExtendedListViewStyle(list, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT | LVS_EX_HEADERDRAGDROP |
                                              LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER);
  for (int i = 0; i < kLogColumnCount; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    std::wstring caption(kLogColumns[static_cast<size_t>(i)].text);
    column.pszText = caption.data();
    column.cx = MulDiv(kLogColumns[static_cast<size_t>(i)].width, metrics_.dpi, 96);
    column.iSubItem = i;
    ListView_InsertColumn(list, i, &column);
  }
}

void MainWindow::SetProfileFile(const std::wstring& path, const std::wstring& label) {
  profileFile_ = path;
  SetText(Item(kIdProfileFileLabel), label);
}

std::vector<std::wstring> MainWindow::CheckedProfileNames() const {
  std::vector<std::wstring> names;
  HWND list = Item(kIdProfileList);
  for (int i = 0; i < ListView_GetItemCount(list) && i < static_cast<int>(profiles_.size()); ++i) {
    if (ListView_GetCheckState(list, i)) names.push_back(profiles_[static_cast<size_t>(i)].Beschreibung);
  }
  return names;
}

void MainWindow::ReloadProfiles(bool keepChecks, const std::wstring& select) {
  HWND list = Item(kIdProfileList);
  std::vector<std::wstring> checked = keepChecks ? CheckedProfileNames() : std::vector<std::wstring>{};
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
  HWND list = Item(which == 0 ? kIdProfileList : kIdLogList);
  SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(created), TRUE);
  HFONT& slot = listFonts_[static_cast<size_t>(which)];
  if (slot) DeleteObject(slot);
  slot = created;
}

void MainWindow::OnRunButton(bool simulate) {
  if (!askIfSaveProfil()) return;
  // Hook for the run of the checked profiles (execute or simulate) once the engine is
  // connected to the window; until then the buttons only guard pending editor changes.
  (void)simulate;
}

void MainWindow::OnTimerButton() {
  if (!askIfSaveProfil()) return;
  if (CheckedProfileNames().empty()) {
    ui_.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  // Hook for starting and stopping the interval timer.
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

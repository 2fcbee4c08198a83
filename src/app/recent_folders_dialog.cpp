// The dialog of recently used target folders: the kept list with the reachability of each
// folder, a button that adds a folder through the folder chooser, and "Verwenden".
#include "app/recent_folders_dialog.h"

#include <commctrl.h>
#include <shellapi.h>
#include <uxtheme.h>

#include "app/resource_ids.h"
#include "desktop/recent_folders.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "profiles/settings.h"

namespace ablagix::app {
namespace {

struct DialogState {
  AppUi* ui;
  std::wstring settingsFile;
  RecentFolders folders;
  std::wstring result{kNoFolderChosen};
};

void FillList(HWND list, const RecentFolders& folders) {
  SHFILEINFOW folderIcon{};
  SHGetFileInfoW(L"Ordner", FILE_ATTRIBUTE_DIRECTORY, &folderIcon, sizeof folderIcon,
                 SHGFI_SYSICONINDEX | SHGFI_SMALLICON | SHGFI_USEFILEATTRIBUTES);
  ListView_DeleteAllItems(list);
  for (int i = 0; i < static_cast<int>(folders.rows().size()); ++i) {
    const RecentFolder& row = folders.rows()[static_cast<size_t>(i)];
    LVITEMW item{};
    item.mask = LVIF_TEXT | LVIF_IMAGE;
    item.iItem = i;
    item.iImage = folderIcon.iIcon;
    item.pszText = const_cast<wchar_t*>(row.path.c_str());
    ListView_InsertItem(list, &item);
    std::wstring status = WordOf(StatusText(row));
    ListView_SetItemText(list, i, 1, status.data());
  }
}

void Finish(HWND dialog, DialogState* state, INT_PTR code) {
  // However the dialog ends, the list as it stands is kept for the next time.
  state->folders.Save(state->settingsFile);
  EndDialog(dialog, code);
}

INT_PTR CALLBACK DialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* state = reinterpret_cast<DialogState*>(GetWindowLongPtrW(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG: {
      state = reinterpret_cast<DialogState*>(lParam);
      SetWindowLongPtrW(dialog, DWLP_USER, lParam);
      SetWindowTextW(dialog, Word(L"Zuletzt verwendete Ordner").c_str());
      SetDlgItemTextW(dialog, IDC_COMMANDBUTTON2, Word(L"Ordner &hinzuf\u00fcgen...").c_str());
      SetDlgItemTextW(dialog, IDOK, Word(L"&Verwenden").c_str());
      SetDlgItemTextW(dialog, IDC_COMMANDBUTTON1, Word(L"Abbrechen").c_str());
      HWND list = GetDlgItem(dialog, IDC_EXPLORERLISTVIEW1);
      SetWindowTheme(list, L"Explorer", nullptr);
      ListView_SetExtendedListViewStyle(list, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
      SHFILEINFOW info{};
      auto images = reinterpret_cast<HIMAGELIST>(SHGetFileInfoW(
          L"Ordner", FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info,
          SHGFI_SYSICONINDEX | SHGFI_SMALLICON | SHGFI_USEFILEATTRIBUTES));
      ListView_SetImageList(list, images, LVSIL_SMALL);
      const int dpi = static_cast<int>(GetDpiForWindow(dialog));
      std::wstring header = WordOf(kRecentFoldersHeader);
      LVCOLUMNW column{};
      column.mask = LVCF_TEXT | LVCF_WIDTH;
      column.pszText = header.data();
      column.cx = MulDiv(600, dpi, 96);
      ListView_InsertColumn(list, 0, &column);
      std::wstring status = Word(L"Status");
      column.pszText = status.data();
      column.cx = MulDiv(110, dpi, 96);
      ListView_InsertColumn(list, 1, &column);
      FillList(list, state->folders);
      return TRUE;
    }
    case WM_NOTIFY: {
      const auto* header = reinterpret_cast<const NMHDR*>(lParam);
      if (header->idFrom == IDC_EXPLORERLISTVIEW1 && header->code == NM_DBLCLK) {
        SendMessageW(dialog, WM_COMMAND, IDOK, 0);
      }
      return FALSE;
    }
    case WM_COMMAND:
      switch (LOWORD(wParam)) {
        case IDOK: {
          HWND list = GetDlgItem(dialog, IDC_EXPLORERLISTVIEW1);
          const int row = ListView_GetNextItem(list, -1, LVNI_SELECTED);
          const std::optional<std::wstring> folder =
              state->folders.Use(row < 0 ? std::nullopt : std::optional<size_t>(static_cast<size_t>(row)), *state->ui);
          if (folder) {
            state->result = *folder;
            Finish(dialog, state, IDOK);
          }
          return TRUE;
        }
        case IDCANCEL:  // Esc and the title bar's close button
        case IDC_COMMANDBUTTON1:
          Finish(dialog, state, IDCANCEL);
          return TRUE;
        case IDC_COMMANDBUTTON2: {
          std::wstring start = ReadAppSetting(state->settingsFile, L"DefaultPath");
          if (start == kNoFolderChosen) start.clear();
          const std::optional<std::wstring> folder = state->ui->ChooseFolder(WordOf(kBrowseTitle), start);
          if (!folder || folder->empty()) return TRUE;
          state->folders.Add(*folder);
          FsStatus status;
          TellIfNotSaved(WriteAppSetting(state->settingsFile, L"DefaultPath", *folder, &status), status,
                         *state->ui, L"Die Einstellung DefaultPath", state->settingsFile);
          HWND list = GetDlgItem(dialog, IDC_EXPLORERLISTVIEW1);
          FillList(list, state->folders);
          ListView_SetItemState(list, 0, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
          SetFocus(list);
          return TRUE;
        }
      }
      return FALSE;
  }
  return FALSE;
}

}  // namespace

std::wstring ShowRecentFoldersDialog(HINSTANCE instance, AppUi& ui, const std::wstring& settingsFile) {
  DialogState state{&ui, settingsFile, RecentFolders::Load(settingsFile)};
  DialogBoxParamW(instance, MAKEINTRESOURCEW(IDD_SAVEAS), ui.owner(), DialogProc,
                  reinterpret_cast<LPARAM>(&state));
  return state.result;
}

}  // namespace ablagix::app

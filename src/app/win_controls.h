// Small helpers around the standard controls: text, check marks, combo and list boxes.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <string_view>
#include <vector>

#include "profiles/language.h"

namespace ablagix::app {

inline std::wstring GetText(HWND window) {
  int length = GetWindowTextLengthW(window);
  std::wstring text(static_cast<size_t>(length) + 1, L'\0');
  int got = GetWindowTextW(window, text.data(), length + 1);
  text.resize(static_cast<size_t>(got > 0 ? got : 0));
  return text;
}
inline void SetText(HWND window, std::wstring_view text) {
  SetWindowTextW(window, std::wstring(text).c_str());
}
inline bool IsOn(HWND button) { return SendMessageW(button, BM_GETCHECK, 0, 0) == BST_CHECKED; }
inline void SetOn(HWND button, bool on) {
  SendMessageW(button, BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED, 0);
}

template <typename Range>
void FillCombo(HWND combo, const Range& entries) {
  SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const auto& entry : entries) {
    SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(std::wstring(entry).c_str()));
  }
}
// The same with every entry in the current language; positions stay as in `entries`.
template <typename Range>
void FillComboWords(HWND combo, const Range& entries) {
  SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const auto& entry : entries) {
    SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(WordOf(entry).c_str()));
  }
}
inline int ComboPos(HWND combo) { return static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0)); }
inline void SetComboPos(HWND combo, int position) {
  SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(position), 0);
}
inline std::wstring ComboEntry(HWND combo, int position) {
  LRESULT length = SendMessageW(combo, CB_GETLBTEXTLEN, static_cast<WPARAM>(position), 0);
  if (length == CB_ERR) return {};
  std::wstring text(static_cast<size_t>(length) + 1, L'\0');
  SendMessageW(combo, CB_GETLBTEXT, static_cast<WPARAM>(position), reinterpret_cast<LPARAM>(text.data()));
  text.resize(static_cast<size_t>(length));
  return text;
}

inline std::vector<std::wstring> ListBoxEntries(HWND list) {
  std::vector<std::wstring> entries;
  LRESULT count = SendMessageW(list, LB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    LRESULT length = SendMessageW(list, LB_GETTEXTLEN, static_cast<WPARAM>(i), 0);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<size_t>(length));
    entries.push_back(text);
  }
  return entries;
}

// Takes the highlight and the focus off every row of a list view. Wine's list view walks
// every row for item -1, a second for a million rows; one or a few highlighted rows are
// cleared one by one instead.
inline void ClearListHighlight(HWND list) {
  const UINT selected = ListView_GetSelectedCount(list);
  if (selected > 64) {
    ListView_SetItemState(list, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    return;
  }
  for (int row = -1; selected > 0 && (row = ListView_GetNextItem(list, row, LVNI_SELECTED)) >= 0;) {
    ListView_SetItemState(list, row, 0, LVIS_SELECTED);
  }
  const int focused = ListView_GetNextItem(list, -1, LVNI_FOCUSED);
  if (focused >= 0) ListView_SetItemState(list, focused, 0, LVIS_FOCUSED);
}

}  // namespace ablagix::app

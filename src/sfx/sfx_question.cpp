#include "sfx/sfx_question.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/text.h"
#include "fileops/win32_handle.h"

namespace ablagix::sfx {
namespace {

enum : int {
  kIdIcon = 300,
  kIdInstruction,
  kIdFacts,
  kIdExplanation,
  kIdForAll,
  kIdReplace,
  kIdKeepBoth,
};

// Layout in 96-dpi units, scaled to the screen, like the main window's.
constexpr int kClientWidth = 520;
constexpr int kMargin = 14;
constexpr int kGap = 8;
constexpr int kButtonHeight = 28;
constexpr int kButtonMinWidth = 96;
constexpr int kButtonPadding = 28;

struct Dialog {
  const QuestionLook* look = nullptr;
  const TakenName* taken = nullptr;
  UniqueFont bold;
  TakenAnswer answer;

  int Scale(int v) const { return MulDiv(v, look->dpi, 96); }
};

// "512 Bytes", "12,3 KB", "4,0 MB": German decimal comma.
std::wstring SizeText(std::uint64_t bytes) {
  if (bytes < 1024) return NumberText(bytes) + (bytes == 1 ? L" Byte" : L" Bytes");
  const wchar_t* const units[] = {L"KB", L"MB", L"GB", L"TB"};
  double value = static_cast<double>(bytes) / 1024;
  int unit = 0;
  while (value >= 1024 && unit < 3) {
    value /= 1024;
    ++unit;
  }
  const auto tenths = static_cast<std::uint64_t>(value * 10 + 0.5);
  return NumberText(tenths / 10) + L"," + NumberText(tenths % 10) + L" " + units[unit];
}

// "03.02.2025 09:05" in local time.
std::wstring TimeText(const FILETIME& utc) {
  SYSTEMTIME system{};
  SYSTEMTIME local{};
  if ((utc.dwLowDateTime == 0 && utc.dwHighDateTime == 0) || !FileTimeToSystemTime(&utc, &system) ||
      !SystemTimeToTzSpecificLocalTime(nullptr, &system, &local)) {
    return L"unbekannt";
  }
  auto two = [](WORD v) {
    return std::wstring{static_cast<wchar_t>(L'0' + v / 10 % 10), static_cast<wchar_t>(L'0' + v % 10)};
  };
  return two(local.wDay) + L"." + two(local.wMonth) + L"." + NumberText(local.wYear) + L" " + two(local.wHour) +
         L":" + two(local.wMinute);
}

std::wstring InstructionText(const TakenName& taken) {
  return L"\u201E" + taken.name + L"\u201C ist im Zielordner schon vorhanden.";
}

std::wstring FactsText(const TakenName& taken) {
  return L"Vorhandene Datei: " + SizeText(taken.existingSize) + L", ge\u00e4ndert am " + TimeText(taken.existingTime) +
         L"\nDatei im Archiv: " + SizeText(taken.newSize) + L", ge\u00e4ndert am " + TimeText(taken.newTime);
}

std::wstring ExplanationText(const TakenName& taken) {
  const std::wstring numbered = NumberedName(taken.name.substr(taken.name.find_last_of(L'\\') + 1), 1);
  return L"Ersetzen: Die vorhandene Datei wird durch die aus dem Archiv ersetzt.\n"
         L"Beide behalten: Die Datei aus dem Archiv bekommt eine Nummer, etwa \u201E" + numbered + L"\u201C.\n"
         L"Abbrechen: Das Entpacken endet hier; schon entpackte Dateien bleiben.";
}

struct Extent {
  int cx = 0;
  int cy = 0;
};

// Measures `text` in `font`: wrapped to `width` pixels, or on one line when `width` is 0.
Extent Measure(HWND dialog, HFONT font, const std::wstring& text, int width) {
  const WindowDc dc(dialog);
  const SelectedObject selected(dc.get(), font);
  RECT r{0, 0, width, 0};
  DrawTextW(dc.get(), text.c_str(), -1, &r, DT_CALCRECT | DT_NOPREFIX | (width ? DT_WORDBREAK : DT_SINGLELINE));
  return {static_cast<int>(r.right), static_cast<int>(r.bottom)};
}

HWND Control(HWND dialog, const wchar_t* cls, const std::wstring& text, DWORD style, int id, HFONT font) {
  HWND h = CreateWindowExW(0, cls, text.c_str(), WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, dialog,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
  SendMessageW(h, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  return h;
}

// Creates the controls and places each from its text's real size, so that no German text is
// cut off whatever font and scaling the system uses; then sizes and centres the dialog.
void Build(HWND dialog, Dialog& d) {
  const TakenName& taken = *d.taken;
  HFONT font = d.look->font;
  SetWindowTextW(dialog, d.look->title.c_str());
  const std::wstring instruction = InstructionText(taken);
  const std::wstring facts = FactsText(taken);
  const std::wstring explanation = ExplanationText(taken);
  const std::wstring forAll = L"F\u00fcr alle weiteren vorhandenen Dateien \u00fcbernehmen";
  const std::wstring labels[] = {L"Ersetzen", L"Beide behalten", L"Abbrechen"};
  const int ids[] = {kIdReplace, kIdKeepBoth, IDCANCEL};

  HWND icon = Control(dialog, L"STATIC", L"", SS_ICON, kIdIcon, font);
  SendMessageW(icon, STM_SETICON, reinterpret_cast<WPARAM>(LoadIconW(nullptr, IDI_WARNING)), 0);
  Control(dialog, L"STATIC", instruction, SS_LEFT | SS_NOPREFIX, kIdInstruction, d.bold.get());
  Control(dialog, L"STATIC", facts, SS_LEFT | SS_NOPREFIX, kIdFacts, font);
  Control(dialog, L"STATIC", explanation, SS_LEFT | SS_NOPREFIX, kIdExplanation, font);
  Control(dialog, L"BUTTON", forAll, WS_TABSTOP | BS_AUTOCHECKBOX, kIdForAll, font);
  for (int i = 0; i < 3; ++i) {
    Control(dialog, L"BUTTON", labels[i], WS_TABSTOP | (ids[i] == kIdKeepBoth ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON),
            ids[i], font);
  }

  const int width = d.Scale(kClientWidth);
  const int margin = d.Scale(kMargin);
  const int gap = d.Scale(kGap);
  const int iconSize = GetSystemMetrics(SM_CXICON);
  const int textLeft = margin + iconSize + d.Scale(12);
  const int textWidth = width - textLeft - margin;
  auto place = [dialog](int id, int x, int top, int cx, int cy) {
    MoveWindow(GetDlgItem(dialog, id), x, top, cx, cy, FALSE);
  };

  int y = margin;
  place(kIdIcon, margin, y, iconSize, iconSize);
  const Extent instructionSize = Measure(dialog, d.bold.get(), instruction, textWidth);
  place(kIdInstruction, textLeft, y, textWidth, instructionSize.cy);
  y += std::max(instructionSize.cy, iconSize / 2) + gap;
  const Extent factsSize = Measure(dialog, font, facts, textWidth);
  place(kIdFacts, textLeft, y, textWidth, factsSize.cy);
  y += factsSize.cy + gap;
  const Extent explanationSize = Measure(dialog, font, explanation, textWidth);
  place(kIdExplanation, textLeft, y, textWidth, explanationSize.cy);
  y = std::max(y + explanationSize.cy, margin + iconSize) + 2 * gap;

  // The check box gets its box, the gap behind it and its text, at most the dialog's width.
  const Extent forAllSize = Measure(dialog, font, forAll, 0);
  const int checkWidth = std::min(textWidth, GetSystemMetrics(SM_CXMENUCHECK) + d.Scale(8) + forAllSize.cx);
  const int checkHeight = std::max(forAllSize.cy, GetSystemMetrics(SM_CYMENUCHECK)) + d.Scale(4);
  place(kIdForAll, textLeft, y, checkWidth, checkHeight);
  y += checkHeight + gap;

  const int buttonHeight = d.Scale(kButtonHeight);
  int right = width - margin;
  for (int i = 2; i >= 0; --i) {
    const int textCx = Measure(dialog, font, labels[i], 0).cx;
    const int buttonWidth = std::max(d.Scale(kButtonMinWidth), textCx + d.Scale(kButtonPadding));
    place(ids[i], right - buttonWidth, y, buttonWidth, buttonHeight);
    right -= buttonWidth + gap;
  }
  y += buttonHeight + margin;

  const DWORD style = static_cast<DWORD>(GetWindowLongPtrW(dialog, GWL_STYLE));
  const DWORD exStyle = static_cast<DWORD>(GetWindowLongPtrW(dialog, GWL_EXSTYLE));
  RECT frame{0, 0, width, y};
  AdjustWindowRectEx(&frame, style, FALSE, exStyle);
  const int cx = frame.right - frame.left;
  const int cy = frame.bottom - frame.top;
  RECT around{};
  HWND owner = GetWindow(dialog, GW_OWNER);
  if (!owner || !GetWindowRect(owner, &around)) SystemParametersInfoW(SPI_GETWORKAREA, 0, &around, 0);
  RECT work{};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  // Over the middle of the window, but never off the screen.
  const int left = std::clamp<int>((around.left + around.right - cx) / 2, work.left,
                                   std::max<int>(work.left, work.right - cx));
  const int top = std::clamp<int>((around.top + around.bottom - cy) / 2, work.top,
                                  std::max<int>(work.top, work.bottom - cy));
  SetWindowPos(dialog, nullptr, left, top, cx, cy, SWP_NOZORDER | SWP_NOACTIVATE);
  SendMessageW(dialog, DM_SETDEFID, kIdKeepBoth, 0);
  SetFocus(GetDlgItem(dialog, kIdKeepBoth));
}

INT_PTR CALLBACK QuestionProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* d = reinterpret_cast<Dialog*>(GetWindowLongPtrW(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      SetWindowLongPtrW(dialog, DWLP_USER, lParam);
      Build(dialog, *reinterpret_cast<Dialog*>(lParam));
      return FALSE;  // the focus is set
    case WM_COMMAND: {
      if (!d) break;
      const int id = LOWORD(wParam);
      if (id != kIdReplace && id != kIdKeepBoth && id != IDOK && id != IDCANCEL) break;
      d->answer.choice = id == kIdReplace ? TakenChoice::kReplace
                         : id == IDCANCEL ? TakenChoice::kCancel
                                          : TakenChoice::kKeepBoth;
      d->answer.forAll = IsDlgButtonChecked(dialog, kIdForAll) == BST_CHECKED;
      EndDialog(dialog, id);
      return TRUE;
    }
  }
  return FALSE;
}

}  // namespace

TakenAnswer AskAboutTakenName(HWND owner, const QuestionLook& look, const TakenName& taken) {
  Dialog d;
  d.look = &look;
  d.taken = &taken;
  LOGFONTW bold{};
  GetObjectW(look.font, sizeof bold, &bold);
  bold.lfWeight = FW_BOLD;
  d.bold.reset(CreateFontIndirectW(&bold));

  // An empty template; the controls are made and placed when the dialog starts.
  static_assert(sizeof(DLGTEMPLATE) == 18);
  alignas(4) WORD words[12] = {};
  DLGTEMPLATE form{};
  form.style = WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFOREGROUND;
  std::memcpy(words, &form, sizeof form);  // the menu, class and title words behind it stay 0
  const INT_PTR result = DialogBoxIndirectParamW(GetModuleHandleW(nullptr), reinterpret_cast<DLGTEMPLATE*>(words),
                                                 owner, QuestionProc, reinterpret_cast<LPARAM>(&d));
  if (result <= 0) {
    // Without the dialog nothing may be replaced: the new file is kept beside the old one.
    return TakenAnswer{};
  }
  return d.answer;
}

}  // namespace ablagix::sfx

#include "app/layout_check.h"

#include <commctrl.h>

#include "app/win_controls.h"
#include "fileops/win32_handle.h"

namespace ablagix::app {
namespace {

struct Control {
  HWND window;
  int id;
  std::wstring className;
  LONG_PTR style;
  std::wstring text;
  RECT rect;  // in page coordinates
};

enum class Kind { PushButton, CheckBox, GroupBox, Label, ChoiceList, Other };

Kind KindOf(const Control& c) {
  if (lstrcmpiW(c.className.c_str(), WC_BUTTONW) == 0) {
    switch (c.style & BS_TYPEMASK) {
      case BS_GROUPBOX: return Kind::GroupBox;
      case BS_CHECKBOX:
      case BS_AUTOCHECKBOX:
      case BS_RADIOBUTTON:
      case BS_AUTORADIOBUTTON:
      case BS_3STATE:
      case BS_AUTO3STATE: return Kind::CheckBox;
      case BS_PUSHBUTTON:
      case BS_DEFPUSHBUTTON: return Kind::PushButton;
      default: return Kind::Other;
    }
  }
  // A list to pick from shows whole entries only; a list one types into scrolls its text.
  if (lstrcmpiW(c.className.c_str(), WC_COMBOBOXW) == 0 && (c.style & 3) == CBS_DROPDOWNLIST) return Kind::ChoiceList;
  if (lstrcmpiW(c.className.c_str(), WC_STATICW) == 0) {
    const LONG_PTR type = c.style & SS_TYPEMASK;
    // Texts that shorten themselves with "..." fit by design.
    if ((c.style & SS_ELLIPSISMASK) != 0) return Kind::Other;
    if (type == SS_LEFT || type == SS_CENTER || type == SS_RIGHT || type == SS_LEFTNOWORDWRAP || type == SS_SIMPLE) {
      return Kind::Label;
    }
  }
  return Kind::Other;
}

// The size `text` takes in `window`'s font, wrapped at `width` when `wrap` (0 for one line).
SIZE TextSize(HWND window, const std::wstring& text, int width, bool wrap, bool prefix) {
  WindowDc dc(window);
  SelectedObject font(dc.get(), reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)));
  RECT rect{0, 0, wrap ? width : 0, 0};
  UINT flags = DT_CALCRECT | (wrap ? DT_WORDBREAK : DT_SINGLELINE) | (prefix ? 0 : DT_NOPREFIX);
  DrawTextW(dc.get(), text.c_str(), static_cast<int>(text.size()), &rect, flags);
  return {rect.right - rect.left, rect.bottom - rect.top};
}

std::wstring Describe(const Control& c, const std::wstring& what) {
  return std::to_wstring(c.id) + L"|" + c.text + L"|" + what;
}

std::wstring Pixels(long needed, long has) {
  return L"braucht " + std::to_wstring(needed) + L" px, hat " + std::to_wstring(has) + L" px";
}

// The visible controls of `page`, with their rectangles in the page's coordinates.
std::vector<Control> VisibleControls(HWND page) {
  std::vector<Control> controls;
  for (HWND child = GetWindow(page, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
    const LONG_PTR style = GetWindowLongPtrW(child, GWL_STYLE);
    if ((style & WS_VISIBLE) == 0) continue;
    wchar_t className[64] = {};
    GetClassNameW(child, className, 64);
    RECT rect{};
    GetWindowRect(child, &rect);
    MapWindowPoints(nullptr, page, reinterpret_cast<POINT*>(&rect), 2);
    controls.push_back({child, GetDlgCtrlID(child), className, style, GetText(child), rect});
  }
  return controls;
}

// Every entry of a drop-down list must fit beside its arrow.
void AddListEntryFaults(const Control& c, std::vector<std::wstring>& faults) {
  const long width = c.rect.right - c.rect.left;
  const long room = width - GetSystemMetrics(SM_CXVSCROLL) - 8;  // the arrow and the frame
  const LRESULT count = SendMessageW(c.window, CB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    const std::wstring entry = ComboEntry(c.window, static_cast<int>(i));
    const SIZE size = TextSize(c.window, entry, 0, false, false);
    if (size.cx > room) faults.push_back(Describe(c, entry + L": " + Pixels(size.cx, room)));
  }
}

// The caption must fit the control; `checkBox` is the room a check box takes before its text.
void AddCaptionFault(const Control& c, long checkBox, std::vector<std::wstring>& faults) {
  const long width = c.rect.right - c.rect.left;
  const long height = c.rect.bottom - c.rect.top;
  switch (KindOf(c)) {
    case Kind::PushButton: {
      const SIZE size = TextSize(c.window, c.text, 0, false, true);
      if (size.cx + 8 > width) faults.push_back(Describe(c, Pixels(size.cx + 8, width)));
      break;
    }
    case Kind::GroupBox: {
      const SIZE size = TextSize(c.window, c.text, 0, false, true);
      if (size.cx + 16 > width) faults.push_back(Describe(c, Pixels(size.cx + 16, width)));
      break;
    }
    case Kind::CheckBox: {
      const long room = width - checkBox;
      const bool multiline = (c.style & BS_MULTILINE) != 0;
      const SIZE size = TextSize(c.window, c.text, static_cast<int>(room), multiline, true);
      if (size.cx > room || size.cy > height) faults.push_back(Describe(c, Pixels(size.cx, room)));
      break;
    }
    case Kind::Label: {
      const long room = width - ((c.style & WS_BORDER) ? 2 : 0);
      const LONG_PTR type = c.style & SS_TYPEMASK;
      const bool wrap = type != SS_LEFTNOWORDWRAP && type != SS_SIMPLE;
      const SIZE size = TextSize(c.window, c.text, static_cast<int>(room), wrap, (c.style & SS_NOPREFIX) == 0);
      if (size.cx > room || size.cy > height) {
        faults.push_back(Describe(c, Pixels(size.cx, room) + L", H\u00f6he " + Pixels(size.cy, height)));
      }
      break;
    }
    case Kind::ChoiceList:
    case Kind::Other: break;
  }
}

// Controls side by side must not cover each other; a group box frames others by design,
// and an up-down control sits on the edge of its buddy.
void AddOverlapFaults(const std::vector<Control>& controls, std::vector<std::wstring>& faults) {
  for (size_t i = 0; i < controls.size(); ++i) {
    for (size_t j = i + 1; j < controls.size(); ++j) {
      const Control& a = controls[i];
      const Control& b = controls[j];
      if (KindOf(a) == Kind::GroupBox || KindOf(b) == Kind::GroupBox) continue;
      if (lstrcmpiW(a.className.c_str(), UPDOWN_CLASSW) == 0 || lstrcmpiW(b.className.c_str(), UPDOWN_CLASSW) == 0) {
        continue;
      }
      RECT overlap{};
      if (IntersectRect(&overlap, &a.rect, &b.rect)) {
        faults.push_back(Describe(a, L"\u00fcberdeckt " + std::to_wstring(b.id) + L" (" + b.text + L")"));
      }
    }
  }
}

}  // namespace

std::vector<std::wstring> FindLayoutFaults(HWND page) {
  const std::vector<Control> controls = VisibleControls(page);
  RECT pageRect{};
  GetClientRect(page, &pageRect);
  const int dpi = static_cast<int>(GetDpiForWindow(page));
  const int checkBox = MulDiv(13 + 5, dpi > 0 ? dpi : 96, 96);  // the box and the gap before the text

  std::vector<std::wstring> faults;
  for (const Control& c : controls) {
    if (c.rect.left < 0 || c.rect.top < 0 || c.rect.right > pageRect.right || c.rect.bottom > pageRect.bottom) {
      faults.push_back(Describe(c, L"ragt aus der Seite"));
    }
    if (KindOf(c) == Kind::ChoiceList) {
      AddListEntryFaults(c, faults);
    } else if (!c.text.empty()) {
      AddCaptionFault(c, checkBox, faults);
    }
  }
  AddOverlapFaults(controls, faults);
  return faults;
}

}  // namespace ablagix::app

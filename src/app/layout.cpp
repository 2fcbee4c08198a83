#include "app/layout.h"

#include <algorithm>
#include <string>

#include <commctrl.h>

#include "app/page_size.h"
#include "fileops/win32_handle.h"

namespace ablagix::app {

int FontMetrics::TextWidth(std::wstring_view text) const {
  WindowDc dc(nullptr);
  SelectedObject selected(dc.get(), font);
  SIZE size{};
  std::wstring copy(text);
  // "&" marks the accelerator and takes no room.
  std::erase(copy, L'&');
  GetTextExtentPoint32W(dc.get(), copy.c_str(), static_cast<int>(copy.size()), &size);
  return (size.cx * 4 + baseX - 1) / baseX;
}

FontMetrics MakeFontMetrics(int dpi) {
  FontMetrics m;
  m.dpi = dpi;
  NONCLIENTMETRICSW ncm{};
  ncm.cbSize = sizeof ncm;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof ncm, &ncm, 0);
  LOGFONTW lf = ncm.lfMessageFont;
  // The system reports the font for the system DPI; the window may sit on another monitor.
  const int systemDpi = GetDeviceCaps(WindowDc(nullptr).get(), LOGPIXELSY);
  if (lf.lfHeight == 0) lf.lfHeight = -12;
  lf.lfHeight = MulDiv(lf.lfHeight, dpi, systemDpi > 0 ? systemDpi : 96);
  lf.lfQuality = CLEARTYPE_QUALITY;
  m.font = CreateFontIndirectW(&lf);

  TEXTMETRICW tm{};
  SIZE size{};
  {
    WindowDc dc(nullptr);
    SelectedObject selected(dc.get(), m.font);
    GetTextMetricsW(dc.get(), &tm);
    static const wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    GetTextExtentPoint32W(dc.get(), kAlphabet, 52, &size);
  }
  m.baseX = (size.cx / 26 + 1) / 2;
  m.baseY = tm.tmHeight;
  if (m.baseX <= 0) m.baseX = 6;
  if (m.baseY <= 0) m.baseY = 13;
  return m;
}

void Layout::Begin(HWND page, const FontMetrics* metrics, int designWidth, int designHeight) {
  page_ = page;
  metrics_ = metrics;
  designWidth_ = designWidth;
  designHeight_ = designHeight;
  items_.clear();
}

HWND Layout::Add(const wchar_t* windowClass, std::wstring_view text, DWORD style, int x, int y,
                 int w, int h, int id, Anchor anchor, DWORD exStyle) {
  std::wstring caption(text);
  HWND window = CreateWindowExW(exStyle, windowClass, caption.c_str(), style | WS_CHILD | WS_VISIBLE,
                                metrics_->X(x), metrics_->Y(y), metrics_->X(w), metrics_->Y(h), page_,
                                reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                                reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(page_, GWLP_HINSTANCE)),
                                nullptr);
  SendMessageW(window, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_->font), FALSE);
  items_.push_back({window, RECT{x, y, x + w, y + h}, anchor});
  return window;
}

HWND Layout::Label(std::wstring_view text, int x, int y, int w, int id, Anchor anchor) {
  return Add(WC_STATICW, text, SS_LEFT, x, y + 2, w, 8, id, anchor);
}

HWND Layout::Group(std::wstring_view text, int x, int y, int w, int h, int id, Anchor anchor) {
  return Add(WC_BUTTONW, text, BS_GROUPBOX, x, y, w, h, id, anchor);
}

HWND Layout::Check(std::wstring_view text, int x, int y, int w, int h, int id, Anchor anchor, DWORD style) {
  return Add(WC_BUTTONW, text, WS_TABSTOP | BS_AUTOCHECKBOX | style, x, y, w, h, id, anchor);
}

HWND Layout::Edit(int x, int y, int w, int id, Anchor anchor, DWORD style) {
  return Add(WC_EDITW, L"", WS_TABSTOP | ES_AUTOHSCROLL | style, x, y, w, kEditHeight, id, anchor, WS_EX_CLIENTEDGE);
}

HWND Layout::Combo(int x, int y, int w, int id, Anchor anchor, ComboKind kind) {
  const DWORD style = kind == ComboKind::kEditable ? CBS_DROPDOWN | CBS_AUTOHSCROLL : CBS_DROPDOWNLIST;
  return Add(WC_COMBOBOXW, L"", WS_TABSTOP | style | WS_VSCROLL, x, y, w, kEditHeight, id, anchor);
}

HWND Layout::Button(std::wstring_view text, int x, int y, int w, int id, Anchor anchor) {
  return Add(WC_BUTTONW, text, WS_TABSTOP | BS_PUSHBUTTON, x, y, w, kButtonHeight, id, anchor);
}

void Layout::Arrange(int width, int height) const {
  const int extraX = std::max(0, width - metrics_->X(designWidth_));
  const int extraY = std::max(0, height - metrics_->Y(designHeight_));
  HDWP batch = BeginDeferWindowPos(static_cast<int>(items_.size()));
  for (const Item& item : items_) {
    int left = metrics_->X(item.dlu.left) + static_cast<int>(item.anchor.left * static_cast<float>(extraX));
    int top = metrics_->Y(item.dlu.top) + static_cast<int>(item.anchor.top * static_cast<float>(extraY));
    int right = metrics_->X(item.dlu.right) + static_cast<int>(item.anchor.right * static_cast<float>(extraX));
    int bottom = metrics_->Y(item.dlu.bottom) + static_cast<int>(item.anchor.bottom * static_cast<float>(extraY));
    // Drop-down lists get their list height on top of the edit height.
    wchar_t className[32] = {};
    GetClassNameW(item.window, className, 32);
    if (lstrcmpiW(className, L"ComboBox") == 0) bottom += metrics_->Y(120);
    if (batch) {
      batch = DeferWindowPos(batch, item.window, nullptr, left, top, right - left, bottom - top,
                             SWP_NOZORDER | SWP_NOACTIVATE);
    }
  }
  if (batch) EndDeferWindowPos(batch);
}

void Layout::ApplyFont() const {
  for (const Item& item : items_) {
    SendMessageW(item.window, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_->font), TRUE);
  }
}

}  // namespace ablagix::app

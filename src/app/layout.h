// Control placement in dialog units. Every control is created with a rectangle in dialog units
// (4 per average character width, 8 per line height of the window's font) and an anchor that
// says how its edges follow the page when it grows. Arrange() turns both into pixels, so the
// same layout fits any font and any monitor DPI without clipped captions.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

namespace ablagix::app {

// Share of the extra width (left, right) and extra height (top, bottom) that each edge moves by.
struct Anchor {
  float left = 0, top = 0, right = 0, bottom = 0;
};
inline constexpr Anchor kFixed{};
inline constexpr Anchor kStretchX{0, 0, 1, 0};
inline constexpr Anchor kStretchXY{0, 0, 1, 1};
inline constexpr Anchor kMoveX{1, 0, 1, 0};
inline constexpr Anchor kMoveY{0, 1, 0, 1};
inline constexpr Anchor kMoveXY{1, 1, 1, 1};
inline constexpr Anchor kMoveYStretchX{0, 1, 1, 1};
// Two columns sharing the extra width half and half.
inline constexpr Anchor kLeftHalf{0, 0, 0.5f, 0};
inline constexpr Anchor kLeftHalfY{0, 0, 0.5f, 1};
inline constexpr Anchor kRightHalf{0.5f, 0, 1, 0};
inline constexpr Anchor kRightHalfY{0.5f, 0, 1, 1};
inline constexpr Anchor kRightHalfMoveX{1, 0, 1, 0};

// The font and its dialog base units, shared by all pages.
struct FontMetrics {
  HFONT font = nullptr;
  int baseX = 6;   // average character width in pixels
  int baseY = 13;  // character height in pixels
  int dpi = 96;

  int X(int dlu) const { return MulDiv(dlu, baseX, 4); }
  int Y(int dlu) const { return MulDiv(dlu, baseY, 8); }
  // The width of `text` in dialog units, rounded up.
  int TextWidth(std::wstring_view text) const;
};

// Creates the font for `dpi` (the system's message font) and measures it.
FontMetrics MakeFontMetrics(int dpi);

class Layout {
 public:
  // Starts the page anew; controls added before are forgotten (the caller destroys them).
  void Begin(HWND page, const FontMetrics* metrics, int designWidth, int designHeight);
  HWND Add(const wchar_t* windowClass, std::wstring_view text, DWORD style, int x, int y, int w,
           int h, int id, Anchor anchor = kFixed, DWORD exStyle = 0);
  // The standard controls of the pages, each with the style and height every page gives it.
  // A label stands 2 units lower than its row, so that its text lines up with the field beside it.
  HWND Label(std::wstring_view text, int x, int y, int w, int id = -1, Anchor anchor = kFixed);
  HWND Group(std::wstring_view text, int x, int y, int w, int h, int id, Anchor anchor);
  // `style`: more than a plain check box (WS_GROUP, BS_MULTILINE ...).
  HWND Check(std::wstring_view text, int x, int y, int w, int h, int id, Anchor anchor = kFixed, DWORD style = 0);
  // One line of text in a sunken frame; `style` adds ES_NUMBER, WS_GROUP ...
  HWND Edit(int x, int y, int w, int id, Anchor anchor = kFixed, DWORD style = 0);
  enum class ComboKind { kPickList, kEditable };
  HWND Combo(int x, int y, int w, int id, Anchor anchor = kFixed, ComboKind kind = ComboKind::kPickList);
  HWND Button(std::wstring_view text, int x, int y, int w, int id, Anchor anchor = kFixed);
  const FontMetrics& metrics() const { return *metrics_; }
  // Places every control for a page of `width` x `height` pixels.
  void Arrange(int width, int height) const;
  // Gives every control the current font (after a DPI change).
  void ApplyFont() const;
  int designWidth() const { return designWidth_; }
  int designHeight() const { return designHeight_; }

 private:
  struct Item {
    HWND window;
    RECT dlu;
    Anchor anchor;
  };
  HWND page_ = nullptr;
  const FontMetrics* metrics_ = nullptr;
  int designWidth_ = 0;
  int designHeight_ = 0;
  std::vector<Item> items_;
};

}  // namespace ablagix::app

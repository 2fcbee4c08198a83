// The main window's rectangle as stored under "Position" ("left;top;width;height" in twips),
// and the rule that puts a restored rectangle back onto a screen that exists today: a window
// saved on a monitor that has since been unplugged reappears on the nearest one.
//
// Plain arithmetic; the window code supplies the monitors, the work area and the resolution.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ablagix {

// Left, top, width, height: the order "Position" stores them in.
struct WindowRect {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;

  int right() const { return left + width; }
  int bottom() const { return top + height; }
  friend bool operator==(const WindowRect&, const WindowRect&) = default;
};

// Twips (1/1440 inch) per screen pixel, horizontally and vertically; 15 at 96 dpi.
struct TwipsPerPixel {
  int x = 15;
  int y = 15;
};

// Four whole numbers separated by ";", blanks around them allowed, width and height positive.
// Anything else gives nullopt, so a damaged value never places the window somewhere odd.
std::optional<WindowRect> ParsePosition(std::wstring_view text);
std::wstring FormatPosition(const WindowRect& twips);

WindowRect TwipsToPixels(const WindowRect& twips, TwipsPerPixel factor);
WindowRect PixelsToTwips(const WindowRect& pixels, TwipsPerPixel factor);

// The monitor that `rect` overlaps most, or when it overlaps none the one closest to it; the
// first of equals wins. kNoMonitor for an empty list.
inline constexpr std::size_t kNoMonitor = static_cast<std::size_t>(-1);
std::size_t NearestMonitor(const WindowRect& rect, std::span<const WindowRect> monitors);

// Shifts the window (never resizes it) so that its left and top edges lie inside `area` and
// not before `monitor`, and so that at least 200 pixels of it stay visible at the right and
// bottom: a window starting further right or down is pulled back to end at the area's edge.
WindowRect FitOntoScreen(WindowRect window, const WindowRect& monitor, const WindowRect& area);

// The whole restore step in pixels: the stored rectangle, or `current` when none was stored or
// it was unreadable, converted and fitted onto the monitor nearest to it and onto `area`.
// `area` is the screen area the window has to stay in; give the work area of the whole desktop,
// otherwise windows on secondary monitors are pulled onto the area's monitor.
WindowRect RestoreWindowRect(const std::optional<WindowRect>& positionTwips,
                             const WindowRect& current, TwipsPerPixel factor,
                             std::span<const WindowRect> monitors, const WindowRect& area);

}  // namespace ablagix

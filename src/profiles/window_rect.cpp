#include "profiles/window_rect.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/text.h"

namespace ablagix {
namespace {

// Far beyond any screen, yet small enough that sums and products of two values stay in int.
constexpr std::int64_t kLimit = 100'000'000;
constexpr int kVisibleMargin = 200;

bool ParseCoordinate(std::wstring_view text, int* out) {
  text = Trim(text);
  const bool negative = !text.empty() && text.front() == L'-';
  if (negative) text.remove_prefix(1);
  std::uint64_t magnitude = 0;
  // ParseWholeNumber allows blanks, so "- 5" would slip through without this check.
  if (text.empty() || text.front() == L' ' || text.front() == L'\t') return false;
  if (!ParseWholeNumber(text, &magnitude) || magnitude > static_cast<std::uint64_t>(kLimit)) {
    return false;
  }
  *out = static_cast<int>(negative ? -static_cast<std::int64_t>(magnitude)
                                   : static_cast<std::int64_t>(magnitude));
  return true;
}

int Positive(int factor) { return factor > 0 ? factor : 15; }

std::int64_t Overlap(int aStart, int aEnd, int bStart, int bEnd) {
  return std::max<std::int64_t>(0, std::int64_t{std::min(aEnd, bEnd)} - std::max(aStart, bStart));
}

// How far apart two ranges are; 0 when they touch or overlap.
std::int64_t Gap(int aStart, int aEnd, int bStart, int bEnd) {
  return std::max<std::int64_t>({0, std::int64_t{bStart} - aEnd, std::int64_t{aStart} - bEnd});
}

}  // namespace

std::optional<WindowRect> ParsePosition(std::wstring_view text) {
  std::vector<std::wstring> parts = Split(text, L';');
  if (parts.size() != 4) return std::nullopt;
  int values[4];
  for (size_t i = 0; i < 4; ++i) {
    if (!ParseCoordinate(parts[i], &values[i])) return std::nullopt;
  }
  if (values[2] <= 0 || values[3] <= 0) return std::nullopt;
  return WindowRect{values[0], values[1], values[2], values[3]};
}

std::wstring FormatPosition(const WindowRect& twips) {
  return std::to_wstring(twips.left) + L";" + std::to_wstring(twips.top) + L";" +
         std::to_wstring(twips.width) + L";" + std::to_wstring(twips.height);
}

WindowRect TwipsToPixels(const WindowRect& twips, TwipsPerPixel factor) {
  const int x = Positive(factor.x);
  const int y = Positive(factor.y);
  return {twips.left / x, twips.top / y, twips.width / x, twips.height / y};
}

WindowRect PixelsToTwips(const WindowRect& pixels, TwipsPerPixel factor) {
  const int x = Positive(factor.x);
  const int y = Positive(factor.y);
  return {pixels.left * x, pixels.top * y, pixels.width * x, pixels.height * y};
}

std::size_t NearestMonitor(const WindowRect& rect, std::span<const WindowRect> monitors) {
  std::size_t best = kNoMonitor;
  std::int64_t bestOverlap = 0;
  std::int64_t bestDistance = 0;
  for (std::size_t i = 0; i < monitors.size(); ++i) {
    const WindowRect& m = monitors[i];
    const std::int64_t overlap = Overlap(rect.left, rect.right(), m.left, m.right()) *
                                 Overlap(rect.top, rect.bottom(), m.top, m.bottom());
    const std::int64_t dx = Gap(rect.left, rect.right(), m.left, m.right());
    const std::int64_t dy = Gap(rect.top, rect.bottom(), m.top, m.bottom());
    const std::int64_t distance = dx * dx + dy * dy;
    // Any overlap beats any distance; among overlaps the largest wins, else the closest.
    const bool better = best == kNoMonitor ||
                        (overlap > 0 ? overlap > bestOverlap
                                     : bestOverlap == 0 && distance < bestDistance);
    if (better) {
      best = i;
      bestOverlap = overlap;
      bestDistance = distance;
    }
  }
  return best;
}

WindowRect FitOntoScreen(WindowRect window, const WindowRect& monitor, const WindowRect& area) {
  if (window.left < area.left) {
    window.left = area.left;
  } else if (window.left < monitor.left) {
    window.left = monitor.left;
  }
  if (window.left > area.right() - kVisibleMargin) window.left = area.right() - window.width;

  if (window.top < area.top) {
    window.top = area.top;
  } else if (window.top < monitor.top) {
    window.top = monitor.top;
  }
  if (window.top > area.bottom() - kVisibleMargin) window.top = area.bottom() - window.height;
  return window;
}

WindowRect RestoreWindowRect(const std::optional<WindowRect>& positionTwips,
                             const WindowRect& current, TwipsPerPixel factor,
                             std::span<const WindowRect> monitors, const WindowRect& area) {
  WindowRect window = current;
  if (positionTwips) {
    WindowRect stored = TwipsToPixels(*positionTwips, factor);
    // A few twips of width round down to no pixels at all; such a window could not be seen.
    if (stored.width > 0 && stored.height > 0) window = stored;
  }
  const std::size_t nearest = NearestMonitor(window, monitors);
  const WindowRect& monitor = nearest < monitors.size() ? monitors[nearest] : area;
  return FitOntoScreen(window, monitor, area);
}

}  // namespace ablagix

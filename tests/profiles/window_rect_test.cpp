#include "profiles/window_rect.h"

#include <gtest/gtest.h>

#include <vector>

#include "test_support.h"

namespace ablagix {
namespace {

TEST(ParsePosition, ReadsFourWholeNumbersAndRejectsEverythingElse) {
  EXPECT_EQ(ParsePosition(L"1500;750;12000;9000"), (WindowRect{1500, 750, 12000, 9000}));
  EXPECT_EQ(ParsePosition(L" -28800 ; -150;12000;9000 "), (WindowRect{-28800, -150, 12000, 9000}));
  EXPECT_EQ(FormatPosition({-28800, 0, 12000, 9000}), L"-28800;0;12000;9000");
  EXPECT_EQ(ParsePosition(FormatPosition({7, -8, 9, 10})), (WindowRect{7, -8, 9, 10}));

  for (const wchar_t* garbage :
       {L"", L"Fenster", L"1500;750;12000", L"1500;750;12000;9000;1", L"1500;750;;9000",
        L"1500;750;12000;9000x", L"1500,5;750;12000;9000", L"- 1500;750;12000;9000",
        L"+1500;750;12000;9000", L"1500;750;0;9000", L"1500;750;12000;-9000",
        L"99999999999;750;12000;9000", L"1500;750;12000;99999999999999999999999"}) {
    EXPECT_FALSE(ParsePosition(garbage).has_value()) << test::U8(garbage);
  }
}

TEST(TwipsToPixels, UsesEachAxisOwnFactor) {
  // 120 dpi horizontally (12 twips a pixel), 96 dpi vertically (15).
  EXPECT_EQ(TwipsToPixels({1200, 1500, 12000, 9000}, {12, 15}), (WindowRect{100, 100, 1000, 600}));
  EXPECT_EQ(PixelsToTwips({100, 100, 1000, 600}, {12, 15}), (WindowRect{1200, 1500, 12000, 9000}));
  // A broken factor must not divide by zero.
  EXPECT_EQ(TwipsToPixels({150, 150, 150, 150}, {0, -1}), (WindowRect{10, 10, 10, 10}));
}

TEST(NearestMonitor, PrefersTheLargestOverlapThenTheShortestDistance) {
  const std::vector<WindowRect> monitors = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
  EXPECT_EQ(NearestMonitor({100, 100, 800, 600}, monitors), 0u);
  EXPECT_EQ(NearestMonitor({1800, 100, 800, 600}, monitors), 1u);  // mostly on the second
  EXPECT_EQ(NearestMonitor({-900, 200, 800, 600}, monitors), 0u);  // left of everything
  EXPECT_EQ(NearestMonitor({3400, 1200, 800, 600}, monitors), 1u);
  EXPECT_EQ(NearestMonitor({2000, 1100, 100, 100}, monitors), 1u);  // below the second only
  // Below both, equally far from each: the first one listed wins.
  const std::vector<WindowRect> twins = {{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}};
  EXPECT_EQ(NearestMonitor({1820, 1200, 200, 100}, twins), 0u);
  EXPECT_EQ(NearestMonitor({0, 0, 10, 10}, {}), kNoMonitor);
}

TEST(FitOntoScreen, ShiftsWithoutResizingAndKeeps200PixelsInView) {
  const WindowRect monitor{0, 0, 1920, 1080};
  const WindowRect area{0, 0, 1920, 1040};  // task bar at the bottom
  // Fully inside: untouched, even right on the 200-pixel line.
  EXPECT_EQ(FitOntoScreen({1720, 840, 800, 600}, monitor, area), (WindowRect{1720, 840, 800, 600}));
  // One pixel beyond it: pulled back so the right and bottom edges meet the area's edges.
  EXPECT_EQ(FitOntoScreen({1721, 841, 800, 600}, monitor, area), (WindowRect{1120, 440, 800, 600}));
  // Left and top of the area: moved onto its edges.
  EXPECT_EQ(FitOntoScreen({-50, -10, 800, 600}, monitor, area), (WindowRect{0, 0, 800, 600}));
  // A window larger than the area keeps its size; its far edges meet the area's edges.
  EXPECT_EQ(FitOntoScreen({1800, 900, 2500, 1200}, monitor, area), (WindowRect{-580, -160, 2500, 1200}));

  // Inside the area but before the monitor (the area spans a gap the monitor does not):
  // moved onto the monitor's edge.
  const WindowRect wide{-1280, 0, 3200, 1040};
  EXPECT_EQ(FitOntoScreen({-1000, 100, 800, 600}, {0, 0, 1920, 1080}, wide),
            (WindowRect{0, 100, 800, 600}));
}

TEST(RestoreWindowRect, WindowFromAnUnpluggedMonitorReappearsOnTheNearestOne) {
  const TwipsPerPixel factor{15, 15};
  const std::vector<WindowRect> monitors = {{0, 0, 1920, 1080}, {-1280, 0, 1280, 1024}};
  const WindowRect desktop{-1280, 0, 3200, 1040};
  const WindowRect current{10, 20, 640, 480};

  // Saved on a third monitor right of the main one that is no longer there.
  auto onGoneMonitor = ParsePosition(FormatPosition(PixelsToTwips({2300, 300, 800, 600}, factor)));
  EXPECT_EQ(RestoreWindowRect(onGoneMonitor, current, factor, monitors, desktop),
            (WindowRect{1120, 300, 800, 600}));
  // Saved far left of the left monitor: lands on its left edge.
  EXPECT_EQ(RestoreWindowRect(PixelsToTwips({-3000, 100, 800, 600}, factor), current, factor,
                              monitors, desktop),
            (WindowRect{-1280, 100, 800, 600}));
  // Saved on a monitor that is still there: stays where it was.
  EXPECT_EQ(RestoreWindowRect(PixelsToTwips({-1200, 50, 800, 600}, factor), current, factor,
                              monitors, desktop),
            (WindowRect{-1200, 50, 800, 600}));

  // Garbage or nothing stored: the current rectangle, fitted like a stored one.
  EXPECT_EQ(RestoreWindowRect(ParsePosition(L"links;oben"), current, factor, monitors, desktop), current);
  EXPECT_EQ(RestoreWindowRect(std::nullopt, {3000, 20, 640, 480}, factor, monitors, desktop),
            (WindowRect{1280, 20, 640, 480}));
  // A stored size that rounds to no pixels cannot be shown; the current one is used instead.
  EXPECT_EQ(RestoreWindowRect(WindowRect{150, 150, 10, 9000}, current, factor, monitors, desktop), current);
  // Without monitor information the area alone decides.
  EXPECT_EQ(RestoreWindowRect(WindowRect{45000, 0, 12000, 9000}, current, factor, {}, desktop),
            (WindowRect{1120, 0, 800, 600}));
}

}  // namespace
}  // namespace ablagix

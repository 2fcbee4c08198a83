// The size every page is designed for, in dialog units; the window never gets smaller.
#pragma once

namespace ablagix::app {

inline constexpr int kPageWidth = 620;
inline constexpr int kPageHeight = 346;
inline constexpr int kMargin = 7;
inline constexpr int kButtonWidth = 74;
inline constexpr int kButtonHeight = 14;
inline constexpr int kEditHeight = 12;

}  // namespace ablagix::app
